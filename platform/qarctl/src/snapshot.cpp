#include "snapshot.h"

#include "name_list.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <utility>

namespace HostCtl {

namespace {

/// A bridge's claim on a range of buses.
struct Claim {
  std::size_t index = Snapshot::kNone;
  unsigned width = 0;
};

/// For each bus of a segment the two best claims, the narrower first, the lower address on a tie:
/// a bridge that claims its own bus must not be its own parent, so the second best steps in.
using BusClaims = std::array<std::array<Claim, 2>, 256>;

bool Better(const Claim& candidate, const Claim& held) {
  return held.index == Snapshot::kNone || candidate.width < held.width;
}

void Offer(std::array<Claim, 2>& best, const Claim& candidate) {
  if (Better(candidate, best[0])) {
    best[1] = std::exchange(best[0], candidate);
  } else if (Better(candidate, best[1])) {
    best[1] = candidate;
  }
}

class DeviceView : public Hardware::PciDevice {
 public:
  DeviceView(std::shared_ptr<const Snapshot> snapshot, std::size_t index)
      : snapshot_(std::move(snapshot)), index_(index) {}

  std::string GetAddress() const override { return Record().address.ToText(); }
  std::uint16_t GetSegmentNumber() const override {
    return static_cast<std::uint16_t>(Record().address.segment);
  }
  std::uint8_t GetBusNumber() const override { return Record().address.bus; }
  std::uint8_t GetDeviceNumber() const override { return Record().address.device; }
  std::uint8_t GetFunctionNumber() const override { return Record().address.function; }

  std::int32_t GetPhysicalSlot() const override { return snapshot_->Slot(index_); }
  std::uint16_t GetVendorId() const override { return Config().vendorId; }
  std::string GetVendorName() const override { return LookUpVendorName(GetVendorId()); }
  std::uint16_t GetDeviceId() const override { return Config().deviceId; }
  std::uint16_t GetSubsystemVendorId() const override { return Config().subsystemVendorId; }
  std::uint16_t GetSubsystemId() const override { return Config().subsystemId; }
  std::string GetDeviceName() const override {
    return LookUpDeviceName(GetVendorId(), GetDeviceId());
  }
  std::uint16_t GetClassCode() const override { return Config().classCode; }
  std::uint8_t GetRevisionId() const override { return Config().revisionId; }
  std::uint8_t GetSecondaryBusNumber() const override { return Config().secondaryBus; }
  std::vector<std::uint32_t> GetCapabilities() const override {
    std::vector<std::uint32_t> values;
    const std::bitset<16> mask(Config().cimCapabilities);
    for (std::uint32_t value = 0; value < mask.size(); ++value) {
      if (mask[value]) values.push_back(value);
    }
    return values;
  }
  bool HasCapability(std::uint8_t id) const override { return Config().capabilityIds[id]; }
  std::int32_t GetPcieDeviceType() const override { return Config().pcieDeviceType; }
  std::unique_ptr<PciDevice> GetParent() const override {
    const std::size_t parent = snapshot_->Parent(index_);
    return parent != Snapshot::kNone ? snapshot_->MakeDevice(parent) : nullptr;
  }

 private:
  const FunctionRecord& Record() const { return snapshot_->Function(index_); }
  const DecodedConfig& Config() const { return Record().config; }

  std::shared_ptr<const Snapshot> snapshot_;
  std::size_t index_;
};

bool IsBefore(const FunctionRecord& left, const FunctionRecord& right) {
  return left.address < right.address;
}

}  // namespace

Snapshot::Snapshot(HostInput input) : functions_(std::move(input.functions)) {
  functions_.shrink_to_fit();
  // Sorting takes room of its own, and most inputs are in order.
  if (!std::is_sorted(functions_.begin(), functions_.end(), IsBefore)) {
    std::stable_sort(functions_.begin(), functions_.end(), IsBefore);
  }
  parents_.assign(functions_.size(), kNone);
  if (input.parentsKnown) {
    FindParentsByName();
  } else {
    FindParentsByBusRange();
  }
  FindSlots();
}

std::size_t Snapshot::Find(const FunctionAddress& address) const {
  const auto found =
      std::lower_bound(functions_.begin(), functions_.end(), address,
                       [](const FunctionRecord& function, const FunctionAddress& sought) {
                         return function.address < sought;
                       });
  if (found == functions_.end() || address < found->address) return kNone;
  return static_cast<std::size_t>(found - functions_.begin());
}

void Snapshot::FindParentsByName() {
  for (std::size_t index = 0; index < functions_.size(); ++index) {
    const auto& name = functions_[index].parentAddress;
    const std::size_t parent = name ? Find(*name) : kNone;
    if (parent != index) parents_[index] = parent;
  }
}

/// A function that names no slot sits in that of the port above it. Where a virtual function's
/// address lies says nothing: it sits where its physical one does.
void Snapshot::FindSlots() {
  for (std::size_t index = 0; index < functions_.size(); ++index) {
    FunctionRecord& function = functions_[index];
    if (function.slot || parents_[index] == kNone) continue;
    const std::uint16_t number = functions_[parents_[index]].config.slotBelow;
    if (number != 0) function.slot = number;
  }
  for (FunctionRecord& function : functions_) {
    const std::size_t physical = function.physicalAddress ? Find(*function.physicalAddress) : kNone;
    if (physical != kNone && functions_[physical].slot) function.slot = functions_[physical].slot;
  }
}

// The functions of a segment are contiguous: they are in order.
void Snapshot::FindParentsByBusRange() {
  std::size_t begin = 0;
  for (std::size_t end = 1; end <= functions_.size(); ++end) {
    const std::uint32_t segment = functions_[begin].address.segment;
    if (end < functions_.size() && functions_[end].address.segment == segment) continue;
    FindParentsInSegment(begin, end);
    begin = end;
  }
}

// Every bridge is looked at once for each bus that it claims, every function once.
void Snapshot::FindParentsInSegment(std::size_t begin, std::size_t end) {
  BusClaims claims{};
  for (std::size_t index = begin; index < end; ++index) {
    const unsigned first = functions_[index].config.secondaryBus;
    const unsigned last = functions_[index].config.subordinateBus;
    if (first == 0 || last < first) continue;
    for (unsigned bus = first; bus <= last; ++bus) Offer(claims[bus], {index, last - first});
  }
  for (std::size_t index = begin; index < end; ++index) {
    const auto& best = claims[functions_[index].address.bus];
    parents_[index] = best[0].index == index ? best[1].index : best[0].index;
  }
}

std::unique_ptr<Hardware::PciDevice> Snapshot::MakeDevice(std::size_t index) const {
  return std::make_unique<DeviceView>(shared_from_this(), index);
}

}  // namespace HostCtl
