#pragma once

#include <qarctl/Export.h>
#include <qarctl/Host.h>

namespace HostCtl {

class QARCTL_EXPORT HostFactory {
 public:
  /// The process's host; owned by the library, never null. Never throws; safe from any thread.
  static Host* GetHost();
};

}  // namespace HostCtl
