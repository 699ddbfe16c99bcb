#include "snapshot.h"

#include "name_list.h"

#include <algorithm>
#include <array>
#include <bit>
#include <new>
#include <string>
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

}  // namespace

/// A function of the snapshot. What requests over all functions ask for again and again lies ready.
class DeviceView final : public Hardware::PciDevice {
 public:
  DeviceView() = default;

  void Show(const Snapshot& snapshot, const FunctionRecord& record) {
    snapshot_ = &snapshot;
    record_ = &record;
    const std::string address = record.address.ToText();
    addressLength_ = static_cast<std::uint8_t>(address.copy(address_, sizeof address_));
  }
  void SetParent(DeviceView* parent) { parent_ = parent; }
  DeviceView* Parent() const { return parent_; }

  /// The same function once more, for another owner.
  std::unique_ptr<PciDevice> Share() {
    snapshot_->TakeShare();
    return std::unique_ptr<PciDevice>(this);
  }
  /// What an owner gives up is its share; the view stays with the others of the snapshot.
  static void operator delete(DeviceView* view, std::destroying_delete_t) {
    view->snapshot_->GiveShareBack();
  }

  std::string GetAddress() const override {
    // A length that the compiler knows makes this a few moves.
    if (addressLength_ == kUsualAddressLength) return {address_, kUsualAddressLength};
    return LongAddress();
  }
  std::uint16_t GetSegmentNumber() const override {
    return static_cast<std::uint16_t>(record_->address.segment);
  }
  std::uint8_t GetBusNumber() const override { return record_->address.bus; }
  std::uint8_t GetDeviceNumber() const override { return record_->address.device; }
  std::uint8_t GetFunctionNumber() const override { return record_->address.function; }

  std::int32_t GetPhysicalSlot() const override { return record_->slot.value_or(-1); }
  std::uint16_t GetVendorId() const override { return Config().vendorId; }
  std::string GetVendorName() const override {
    return Name(
        vendorName_, [this] { return FindVendorName(GetVendorId()); },
        [this] { return VendorNumber(GetVendorId()); });
  }
  std::uint16_t GetDeviceId() const override { return Config().deviceId; }
  std::uint16_t GetSubsystemVendorId() const override { return Config().subsystemVendorId; }
  std::uint16_t GetSubsystemId() const override { return Config().subsystemId; }
  std::string GetDeviceName() const override {
    return Name(
        deviceName_, [this] { return FindDeviceName(GetVendorId(), GetDeviceId()); },
        [this] { return DeviceNumber(GetDeviceId()); });
  }
  std::uint16_t GetClassCode() const override { return Config().classCode; }
  std::uint8_t GetRevisionId() const override { return Config().revisionId; }
  std::uint8_t GetSecondaryBusNumber() const override { return Config().secondaryBus; }
  std::vector<std::uint32_t> GetCapabilities() const override {
    unsigned mask = Config().cimCapabilities;
    std::vector<std::uint32_t> values(static_cast<std::size_t>(std::popcount(mask)));
    for (std::uint32_t& value : values) {
      value = static_cast<std::uint32_t>(std::countr_zero(mask));
      mask &= mask - 1;
    }
    return values;
  }
  bool HasCapability(std::uint8_t id) const override { return Config().capabilityIds[id]; }
  std::int32_t GetPcieDeviceType() const override { return Config().pcieDeviceType; }
  std::unique_ptr<PciDevice> GetParent() const override {
    return parent_ != nullptr ? parent_->Share() : nullptr;
  }

 private:
  static constexpr std::uint8_t kUsualAddressLength = sizeof "ssss:bb:dd.f" - 1;
  static constexpr std::size_t kMostAddressLength = sizeof "ssssssss:bb:dd.f" - 1;

  /// A name of the list, once it was found.
  using KnownName = std::atomic<const std::string*>;

  const DecodedConfig& Config() const { return record_->config; }

  /// Of a segment beyond 16 bits.
  [[gnu::noinline]] std::string LongAddress() const { return {address_, addressLength_}; }

  /// The name that lies ready, else what `find` finds, else what `number` makes, which needs no
  /// memory.
  template <class Find, class Number>
  static std::string Name(KnownName& known, Find find, Number number) {
    const std::string* name = known.load(std::memory_order_acquire);
    if (name == nullptr) {
      name = find();
      known.store(name, std::memory_order_release);
    }
    try {
      if (name != nullptr) return *name;
    } catch (const std::bad_alloc&) {
    }
    return number();
  }

  const Snapshot* snapshot_ = nullptr;
  const FunctionRecord* record_ = nullptr;
  DeviceView* parent_ = nullptr;
  mutable KnownName vendorName_{nullptr};
  mutable KnownName deviceName_{nullptr};
  char address_[kMostAddressLength];
  std::uint8_t addressLength_ = 0;
};

namespace {

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

void Snapshot::GiveShareBack() const {
  // The last one sees all that the others did.
  if (shares_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

Snapshot::~Snapshot() = default;

Snapshot::Snapshot(HostInput input) : functions_(std::move(input.functions)) {
  functions_.shrink_to_fit();
  // Sorting takes room of its own, and most inputs are in order.
  if (!std::is_sorted(functions_.begin(), functions_.end(), IsBefore)) {
    std::stable_sort(functions_.begin(), functions_.end(), IsBefore);
  }
  views_ = std::make_unique<DeviceView[]>(Size());
  for (std::size_t index = 0; index < Size(); ++index) views_[index].Show(*this, functions_[index]);
  if (input.parentsKnown) {
    FindParentsByName();
  } else {
    FindParentsByBusRange();
  }
  FindSlots();
}

std::size_t Snapshot::Parent(std::size_t index) const {
  const DeviceView* parent = views_[index].Parent();
  return parent != nullptr ? static_cast<std::size_t>(parent - views_.get()) : kNone;
}

void Snapshot::SetParent(std::size_t index, std::size_t parent) {
  if (parent != kNone) views_[index].SetParent(&views_[parent]);
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
  return views_[index].Share();
}

}  // namespace HostCtl
