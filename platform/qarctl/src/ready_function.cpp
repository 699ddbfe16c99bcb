#include "ready_function.h"

#include "name_list.h"
#include "snapshot.h"

#include <bit>
#include <new>

namespace HostCtl {

void ReadyFunction::Show(const Snapshot& snapshot, const FunctionRecord& record) {
  snapshot_ = &snapshot;
  record_ = &record;
  const std::string address = record.address.ToText();
  addressLength_ = static_cast<std::uint8_t>(address.copy(address_, sizeof address_));
}

inline std::string ReadyFunction::Address() const {
  // A length that the compiler knows makes this a few moves.
  if (addressLength_ == kUsualAddressLength) return {address_, kUsualAddressLength};
  return LongAddress();
}

[[gnu::noinline]] std::string ReadyFunction::LongAddress() const {
  return {address_, addressLength_};
}

/// The name that lies ready, else what `find` finds, else what `number` makes, which needs no
/// memory.
template <class Find, class Number>
std::string ReadyFunction::NameOf(KnownName& known, Find find, Number number) {
  const std::string* name = known.load(std::memory_order_acquire);
  if (name == nullptr) {
    name = find();
    if (name == nullptr) return number();
    known.store(name, std::memory_order_release);
  }
  try {
    return *name;
  } catch (const std::bad_alloc&) {
    return number();
  }
}

std::string ReadyFunction::VendorName() {
  const std::uint16_t vendor = record_->config.vendorId;
  return NameOf(
      vendorName_, [vendor] { return FindVendorName(vendor); },
      [vendor] { return VendorNumber(vendor); });
}

std::string ReadyFunction::DeviceName() {
  const std::uint16_t vendor = record_->config.vendorId;
  const std::uint16_t device = record_->config.deviceId;
  return NameOf(
      deviceName_, [vendor, device] { return FindDeviceName(vendor, device); },
      [device] { return DeviceNumber(device); });
}

inline std::unique_ptr<Hardware::PciDevice> ReadyFunction::MakeParent() {
  if (isOut_.exchange(true, std::memory_order_acquire)) return MakeDevice();
  snapshot_->TakeShare();
  return std::unique_ptr<Hardware::PciDevice>(&view_);
}

[[gnu::noinline]] std::unique_ptr<Hardware::PciDevice> ReadyFunction::MakeDevice() {
  auto view = std::make_unique<HeapView>(*this);
  snapshot_->TakeShare();
  return view;
}

inline void ReadyFunction::TakeShareBack() const {
  snapshot_->GiveShareBack();
}

inline void ReadyFunction::TakeViewBack() {
  isOut_.store(false, std::memory_order_release);
  TakeShareBack();
}

HeapView::~HeapView() {
  Function().TakeShareBack();
}

void ReadyView::GiveBack() {
  Function().TakeViewBack();
}

const FunctionRecord& DeviceView::Record() const {
  return function_.Record();
}
std::string DeviceView::GetAddress() const {
  return function_.Address();
}
std::uint16_t DeviceView::GetSegmentNumber() const {
  return static_cast<std::uint16_t>(Record().address.segment);
}
std::uint8_t DeviceView::GetBusNumber() const {
  return Record().address.bus;
}
std::uint8_t DeviceView::GetDeviceNumber() const {
  return Record().address.device;
}
std::uint8_t DeviceView::GetFunctionNumber() const {
  return Record().address.function;
}
std::int32_t DeviceView::GetPhysicalSlot() const {
  return Record().slot.value_or(-1);
}
std::uint16_t DeviceView::GetVendorId() const {
  return Config().vendorId;
}
std::string DeviceView::GetVendorName() const {
  return function_.VendorName();
}
std::uint16_t DeviceView::GetDeviceId() const {
  return Config().deviceId;
}
std::uint16_t DeviceView::GetSubsystemVendorId() const {
  return Config().subsystemVendorId;
}
std::uint16_t DeviceView::GetSubsystemId() const {
  return Config().subsystemId;
}
std::string DeviceView::GetDeviceName() const {
  return function_.DeviceName();
}
std::uint16_t DeviceView::GetClassCode() const {
  return Config().classCode;
}
std::uint8_t DeviceView::GetRevisionId() const {
  return Config().revisionId;
}
std::uint8_t DeviceView::GetSecondaryBusNumber() const {
  return Config().secondaryBus;
}
std::vector<std::uint32_t> DeviceView::GetCapabilities() const {
  unsigned mask = Config().cimCapabilities;
  std::vector<std::uint32_t> values(static_cast<std::size_t>(std::popcount(mask)));
  for (std::uint32_t& value : values) {
    value = static_cast<std::uint32_t>(std::countr_zero(mask));
    mask &= mask - 1;
  }
  return values;
}
bool DeviceView::HasCapability(std::uint8_t id) const {
  return Config().capabilityIds[id];
}
std::int32_t DeviceView::GetPcieDeviceType() const {
  return Config().pcieDeviceType;
}
std::unique_ptr<Hardware::PciDevice> DeviceView::GetParent() const {
  ReadyFunction* parent = function_.Parent();
  return parent != nullptr ? parent->MakeParent() : nullptr;
  // The caller owns what is returned; the analyzer loses sight of it on the way.
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
}

}  // namespace HostCtl
