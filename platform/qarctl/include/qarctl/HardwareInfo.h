#pragma once

#include <qarctl/Export.h>
#include <qarctl/PciInfo.h>
#include <qarctl/SystemInfo.h>

#include <memory>

namespace HostCtl::Hardware {

/// Entry to what the host knows of its hardware. Neither operation opens the PCI input.
class QARCTL_EXPORT HardwareInfo {
 public:
  HardwareInfo() = default;
  HardwareInfo(const HardwareInfo&) = delete;
  HardwareInfo& operator=(const HardwareInfo&) = delete;
  virtual ~HardwareInfo();

  /// The PCI part, owned by the caller.
  virtual std::unique_ptr<PciInfo> GetPciInfo() = 0;
  virtual SystemInfo GetSystemInfo() = 0;
};

}  // namespace HostCtl::Hardware
