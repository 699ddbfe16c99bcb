#pragma once

#include <qarctl/Export.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace HostCtl::Hardware {

/// The identity of one PCI function. Any operation may throw HostCtl::Lib::HostCtlException and
/// may be called from any thread.
class QARCTL_EXPORT PciDeviceBase {
 public:
  PciDeviceBase() = default;
  PciDeviceBase(const PciDeviceBase&) = delete;
  PciDeviceBase& operator=(const PciDeviceBase&) = delete;
  virtual ~PciDeviceBase();

  /// segment:bus:device.function in lower-case hex: the segment in at least four digits, bus and
  /// device in two, the function in one.
  virtual std::string GetAddress() const = 0;
};

/// One PCI function of the host, as configuration space (PCI Local Bus and PCI Express base
/// standards) and the platform describe it. Of a function that does not answer, so that its
/// configuration space reads all ones, nothing is derived from these: it has no capabilities, no
/// type and no subsystem; ids, class, revision and the bus behind it are what the platform
/// remembers, and where it does not, ids, class and revision are ones and the bus is 0. Any
/// operation may throw HostCtl::Lib::HostCtlException and may be called from any thread. It stays
/// as it was when it was read, also without the PciInfo that it came from.
///
///     const bool isBridge = function.GetClassCode() == 0x0604;
///     const bool isUpstream = function.GetPcieDeviceType() == 5;
///     for (auto up = function.GetParent(); up; up = up->GetParent()) Use(*up);  // to the root
class QARCTL_EXPORT PciDevice : public virtual PciDeviceBase {
 public:
  ~PciDevice() override;

  /// Low 16 bits of the PCI segment (domain) number.
  virtual std::uint16_t GetSegmentNumber() const = 0;
  virtual std::uint8_t GetBusNumber() const = 0;
  /// 0 to 31.
  virtual std::uint8_t GetDeviceNumber() const = 0;
  /// 0 to 7.
  virtual std::uint8_t GetFunctionNumber() const = 0;
  /// Number of the physical slot that the function sits in, -1 when none is known. A virtual
  /// function sits where its physical one does.
  virtual std::int32_t GetPhysicalSlot() const = 0;
  /// Configuration space offset 0x00; of a virtual function, whose offset holds ones, what the
  /// platform or a saved physical function tells.
  virtual std::uint16_t GetVendorId() const = 0;
  /// Vendor name from the PCI id list, "Vendor 1234" (hex id) when it holds none.
  virtual std::string GetVendorName() const = 0;
  /// Configuration space offset 0x02; of a virtual function as above.
  virtual std::uint16_t GetDeviceId() const = 0;
  /// Offset 0x2c (header type 0), capability 0x0d (type 1), offset 0x40 (type 2); else 0.
  virtual std::uint16_t GetSubsystemVendorId() const = 0;
  /// Offset 0x2e (header type 0), capability 0x0d (type 1), offset 0x42 (type 2); else 0.
  virtual std::uint16_t GetSubsystemId() const = 0;
  /// Device name from the PCI id list, "Device 5678" (hex id) when it holds none.
  virtual std::string GetDeviceName() const = 0;
  /// Base class in the high byte (offset 0x0b), sub-class in the low byte (offset 0x0a).
  virtual std::uint16_t GetClassCode() const = 0;
  /// Offset 0x08.
  virtual std::uint8_t GetRevisionId() const = 0;
  /// Bus behind a bridge (offset 0x19, header types 1 and 2); 0 for other functions.
  virtual std::uint8_t GetSecondaryBusNumber() const = 0;
  /// CIM capability values (CIM_PCIDevice.Capabilities), ascending, each once; the high 16 bits
  /// of an entry are 0.
  virtual std::vector<std::uint32_t> GetCapabilities() const = 0;
  /// Whether the standard capability list holds the id (0x10: PCI Express, 0x07: PCI-X).
  virtual bool HasCapability(std::uint8_t id) const = 0;
  /// PCI Express capability, flags register, bits 7:4 (5: upstream, 6: downstream port of a
  /// switch); -1 without the capability.
  virtual std::int32_t GetPcieDeviceType() const = 0;
  /// The function directly above this one, owned by the caller; null below a root bus.
  virtual std::unique_ptr<PciDevice> GetParent() const = 0;
};

}  // namespace HostCtl::Hardware
