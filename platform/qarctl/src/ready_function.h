#pragma once

#include "function_record.h"

#include <qarctl/PciDevice.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace HostCtl {

class ReadyFunction;
class Snapshot;

/// A function as its owner sees it.
class DeviceView : public Hardware::PciDevice {
 public:
  std::string GetAddress() const override;
  std::uint16_t GetSegmentNumber() const override;
  std::uint8_t GetBusNumber() const override;
  std::uint8_t GetDeviceNumber() const override;
  std::uint8_t GetFunctionNumber() const override;
  std::int32_t GetPhysicalSlot() const override;
  std::uint16_t GetVendorId() const override;
  std::string GetVendorName() const override;
  std::uint16_t GetDeviceId() const override;
  std::uint16_t GetSubsystemVendorId() const override;
  std::uint16_t GetSubsystemId() const override;
  std::string GetDeviceName() const override;
  std::uint16_t GetClassCode() const override;
  std::uint8_t GetRevisionId() const override;
  std::uint8_t GetSecondaryBusNumber() const override;
  std::vector<std::uint32_t> GetCapabilities() const override;
  bool HasCapability(std::uint8_t id) const override;
  std::int32_t GetPcieDeviceType() const override;
  std::unique_ptr<PciDevice> GetParent() const override;

 protected:
  explicit DeviceView(ReadyFunction& function) : function_(function) {}
  ReadyFunction& Function() const { return function_; }

 private:
  const FunctionRecord& Record() const;
  const DecodedConfig& Config() const { return Record().config; }

  ReadyFunction& function_;
};

/// A view in the heap.
class HeapView final : public DeviceView {
 public:
  explicit HeapView(ReadyFunction& function) : DeviceView(function) {}
  ~HeapView() override;
};

/// A view that lies ready, for one owner at a time, who gives it back by deleting it.
class ReadyView final : public DeviceView {
 public:
  explicit ReadyView(ReadyFunction& function) : DeviceView(function) {}
  static void operator delete(ReadyView* view, std::destroying_delete_t) { view->GiveBack(); }

 private:
  void GiveBack();
};

/// What lies ready of a function in a snapshot: all that requests over all functions ask for again
/// and again. Safe on any thread once it is shown.
class ReadyFunction {
 public:
  ReadyFunction() = default;
  ReadyFunction(const ReadyFunction&) = delete;
  ReadyFunction& operator=(const ReadyFunction&) = delete;

  /// To be called first. Both live as long as this.
  void Show(const Snapshot& snapshot, const FunctionRecord& record);
  void SetParent(ReadyFunction* parent) { parent_ = parent; }

  const FunctionRecord& Record() const { return *record_; }
  ReadyFunction* Parent() const { return parent_; }
  std::string Address() const;
  std::string VendorName();
  std::string DeviceName();

  /// The function for an owner, who has a share in the snapshot with it: the view that lies ready,
  /// unless another owner has it at this time. For owners who soon give it back.
  std::unique_ptr<Hardware::PciDevice> MakeParent();
  /// The same, always a view in the heap.
  std::unique_ptr<Hardware::PciDevice> MakeDevice();
  void TakeShareBack() const;
  void TakeViewBack();

 private:
  /// A name of the list, once it was found.
  using KnownName = std::atomic<const std::string*>;

  static constexpr std::uint8_t kUsualAddressLength = sizeof "ssss:bb:dd.f" - 1;
  static constexpr std::size_t kMostAddressLength = sizeof "ssssssss:bb:dd.f" - 1;

  /// Of a segment beyond 16 bits.
  std::string LongAddress() const;
  template <class Find, class Number>
  static std::string NameOf(KnownName& known, Find find, Number number);

  const Snapshot* snapshot_ = nullptr;
  const FunctionRecord* record_ = nullptr;
  ReadyFunction* parent_ = nullptr;
  KnownName vendorName_{nullptr};
  KnownName deviceName_{nullptr};
  ReadyView view_{*this};
  char address_[kMostAddressLength];
  std::uint8_t addressLength_ = 0;
  std::atomic<bool> isOut_{false};
};

}  // namespace HostCtl
