#pragma once

#include <qarctl/Export.h>
#include <qarctl/Host.h>

namespace HostCtl {

/// Where every use of host control begins:
///
///     const auto pci = HostFactory::GetHost()->GetHardwareInfo()->GetPciInfo();
///     for (const auto& function : pci->GetPciDevices()) Use(*function);  // reads the host
///     // Lib::HostCtlException where it cannot be read; the objects keep what they need alive
class QARCTL_EXPORT HostFactory {
 public:
  /// The process's host; owned by the library, never null. Never throws; safe from any thread.
  static Host* GetHost();
};

}  // namespace HostCtl
