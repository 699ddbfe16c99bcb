#include "snapshot.h"

#include "name_list.h"

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

  std::int32_t GetPhysicalSlot() const override {
    if (Record().slot) return *Record().slot;
    const std::size_t parent = snapshot_->Parent(index_);
    const std::uint32_t slot =
        parent != Snapshot::kNone ? snapshot_->Function(parent).config.SlotNumberBelow() : 0;
    return slot != 0 ? static_cast<std::int32_t>(slot) : -1;
  }

  std::uint16_t GetVendorId() const override {
    return Record().vendorId.value_or(Record().config.VendorId());
  }
  std::string GetVendorName() const override { return LookUpVendorName(GetVendorId()); }
  std::uint16_t GetDeviceId() const override {
    return Record().deviceId.value_or(Record().config.DeviceId());
  }
  std::uint16_t GetSubsystemVendorId() const override {
    return Record().subsystemVendorId.value_or(Record().config.SubsystemVendorId());
  }
  std::uint16_t GetSubsystemId() const override {
    return Record().subsystemId.value_or(Record().config.SubsystemId());
  }
  std::string GetDeviceName() const override {
    return LookUpDeviceName(GetVendorId(), GetDeviceId());
  }
  std::uint16_t GetClassCode() const override {
    return Record().classCode.value_or(Record().config.ClassCode());
  }
  std::uint8_t GetRevisionId() const override {
    return Record().revisionId.value_or(Record().config.RevisionId());
  }
  std::uint8_t GetSecondaryBusNumber() const override { return Record().config.SecondaryBus(); }
  std::vector<std::uint32_t> GetCapabilities() const override {
    return Record().config.CimCapabilities();
  }
  bool HasCapability(std::uint8_t id) const override {
    return Record().config.FindCapability(id) != 0;
  }
  std::int32_t GetPcieDeviceType() const override { return Record().config.PcieDeviceType(); }
  std::unique_ptr<PciDevice> GetParent() const override {
    const std::size_t parent = snapshot_->Parent(index_);
    return parent != Snapshot::kNone ? snapshot_->MakeDevice(parent) : nullptr;
  }

 private:
  const FunctionRecord& Record() const { return snapshot_->Function(index_); }

  std::shared_ptr<const Snapshot> snapshot_;
  std::size_t index_;
};

}  // namespace

Snapshot::Snapshot(HostInput input) : functions_(std::move(input.functions)) {
  std::stable_sort(functions_.begin(), functions_.end(),
                   [](const FunctionRecord& left, const FunctionRecord& right) {
                     return left.address < right.address;
                   });
  parents_.assign(functions_.size(), kNone);
  if (input.parentsKnown) {
    FindParentsByName();
  } else {
    FindParentsByBusRange();
  }
}

void Snapshot::FindParentsByName() {
  const auto isBefore = [](const FunctionRecord& function, const FunctionAddress& address) {
    return function.address < address;
  };
  for (std::size_t index = 0; index < functions_.size(); ++index) {
    const auto& name = functions_[index].parentAddress;
    if (!name) continue;
    const auto found = std::lower_bound(functions_.begin(), functions_.end(), *name, isBefore);
    if (found == functions_.end() || *name < found->address) continue;
    const auto parent = static_cast<std::size_t>(found - functions_.begin());
    if (parent != index) parents_[index] = parent;
  }
}

// Each segment stands together: the functions are in order.
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
    const ConfigSpace& config = functions_[index].config;
    const unsigned first = config.SecondaryBus();
    const unsigned last = config.SubordinateBus();
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
