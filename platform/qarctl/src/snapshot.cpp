#include "snapshot.h"

#include <algorithm>
#include <array>
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

bool IsBefore(const FunctionRecord& left, const FunctionRecord& right) {
  return left.address < right.address;
}

}  // namespace

void ReleaseShare::operator()(const Snapshot* snapshot) const {
  snapshot->GiveShareBack();
}

SnapshotShare Snapshot::Make(HostInput input) {
  return SnapshotShare(new Snapshot(std::move(input)));
}

Snapshot::~Snapshot() = default;

void Snapshot::Delete() const {
  delete this;
}

Snapshot::Snapshot(HostInput input) : functions_(std::move(input.functions)) {
  functions_.shrink_to_fit();
  // Sorting takes room of its own, and most inputs are in order.
  if (!std::is_sorted(functions_.begin(), functions_.end(), IsBefore)) {
    std::stable_sort(functions_.begin(), functions_.end(), IsBefore);
  }
  ready_ = std::make_unique<ReadyFunction[]>(Size());
  for (std::size_t index = 0; index < Size(); ++index) ready_[index].Show(*this, functions_[index]);
  if (input.parentsKnown) {
    FindParentsByName();
  } else {
    FindParentsByBusRange();
  }
  FindSlots();
}

std::size_t Snapshot::Parent(std::size_t index) const {
  const ReadyFunction* parent = ready_[index].Parent();
  return parent != nullptr ? static_cast<std::size_t>(parent - ready_.get()) : kNone;
}

void Snapshot::SetParent(std::size_t index, std::size_t parent) {
  if (parent != kNone) ready_[index].SetParent(&ready_[parent]);
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
    if (parent != index) SetParent(index, parent);
  }
}

/// A function that names no slot sits in that of the port above it. Where a virtual function's
/// address lies says nothing: it sits where its physical one does.
void Snapshot::FindSlots() {
  for (std::size_t index = 0; index < functions_.size(); ++index) {
    FunctionRecord& function = functions_[index];
    const std::size_t parent = Parent(index);
    if (function.slot || parent == kNone) continue;
    const std::uint16_t number = functions_[parent].config.slotBelow;
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
    SetParent(index, best[0].index == index ? best[1].index : best[0].index);
  }
}

std::unique_ptr<Hardware::PciDevice> Snapshot::MakeDevice(std::size_t index) const {
  return ready_[index].MakeDevice();
}

}  // namespace HostCtl
