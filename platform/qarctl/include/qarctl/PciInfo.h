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

  /// Reads the input and returns every function, ascending by segment, bus, device and function,
  /// owned by the caller. The input is read once and in pieces, at most 256 bytes of configuration
  /// space of each live function. Throws HostCtl::Lib::HostCtlException when the input is missing,
  /// unreadable, without an end or, though not empty, without a function.
  virtual std::vector<std::unique_ptr<PciDevice>> GetPciDevices() = 0;
};

}  // namespace HostCtl::Hardware
