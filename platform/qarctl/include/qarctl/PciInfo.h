#pragma once

#include <qarctl/Export.h>
#include <qarctl/PciDevice.h>

#include <memory>
#include <vector>

namespace HostCtl::Hardware {

/// The host's PCI functions.
class QARCTL_EXPORT PciInfo {
 public:
  PciInfo() = default;
  PciInfo(const PciInfo&) = delete;
  PciInfo& operator=(const PciInfo&) = delete;
  virtual ~PciInfo();

  /// Reads the input and answers every function, ascending by segment, bus, device and function,
  /// owned by the caller. Throws HostCtl::Lib::HostCtlException when the input is missing,
  /// unreadable or, though not empty, holds no function.
  virtual std::vector<std::unique_ptr<PciDevice>> GetPciDevices() = 0;
};

}  // namespace HostCtl::Hardware
