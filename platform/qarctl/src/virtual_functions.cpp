#include "virtual_functions.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace HostCtl {

namespace {

constexpr std::uint16_t kNoId = 0xffff;
/// As many as there are routing ids in a segment.
constexpr std::uint32_t kMostInSegment = 0x10000;

std::uint32_t RoutingId(const FunctionAddress& address) {
  return static_cast<std::uint32_t>(address.bus << 8U | address.device << 3U | address.function);
}

/// A function without ids of its own, by its place.
struct Candidate {
  std::uint32_t segment = 0;
  std::uint32_t routingId = 0;
  std::size_t index = 0;

  bool operator<(const Candidate& other) const {
    return std::tie(segment, routingId, index) <
           std::tie(other.segment, other.routingId, other.index);
  }
};

void Identify(const PhysicalFunction& physical, FunctionRecord& function) {
  function.physicalAddress = physical.address;
  if (function.config.vendorId != kNoId || function.config.deviceId != kNoId) return;
  function.config.vendorId = physical.vendorId;
  function.config.deviceId = physical.virtuals.deviceId;
}

/// Goes from candidate to candidate, so that what a register claims costs nothing where no
/// function is.
void IdentifyVirtualsOf(const PhysicalFunction& physical, const std::vector<Candidate>& candidates,
                        std::vector<FunctionRecord>& functions) {
  const VirtualFunctions& virtuals = physical.virtuals;
  const std::uint32_t first = RoutingId(physical.address) + virtuals.firstOffset;
  // Without a stride there is no second one.
  const std::uint32_t stride = std::max<std::uint32_t>(virtuals.stride, 1);
  const std::uint32_t count = virtuals.stride == 0 ? 1 : virtuals.count;
  auto at = candidates.begin();
  for (std::uint32_t number = 0; number < count;) {
    const std::uint32_t wanted = first + number * stride;
    at = std::lower_bound(at, candidates.end(), Candidate{physical.address.segment, wanted, 0});
    if (at == candidates.end() || at->segment != physical.address.segment) return;
    if (at->routingId == wanted && functions[at->index].physicalAddress) {
      // So are all others at this address, and going through them again for each physical function
      // takes long.
      ++number;
    } else if (at->routingId == wanted) {
      Identify(physical, functions[at->index]);
      ++at;
    } else {
      number = (at->routingId - first + stride - 1) / stride;
    }
  }
}

}  // namespace

void IdentifyVirtualFunctions(const std::vector<PhysicalFunction>& physicals,
                              const std::vector<std::size_t>& candidates,
                              std::vector<FunctionRecord>& functions) {
  std::vector<Candidate> places;
  for (const std::size_t index : candidates) {
    const FunctionAddress& address = functions[index].address;
    places.push_back({address.segment, RoutingId(address), index});
  }
  std::sort(places.begin(), places.end());
  // Registers that claim more than there can be are made up, and following them all takes long.
  std::map<std::uint32_t, std::uint32_t> claimed;
  for (const PhysicalFunction& physical : physicals) {
    std::uint32_t& inSegment = claimed[physical.address.segment];
    inSegment = std::min(inSegment + physical.virtuals.count, kMostInSegment + 1);
    if (inSegment <= kMostInSegment) IdentifyVirtualsOf(physical, places, functions);
  }
}

}  // namespace HostCtl
