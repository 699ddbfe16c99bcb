#pragma once

#include <qarctl/Export.h>
#include <qarctl/HardwareInfo.h>

#include <memory>

namespace HostCtl {

/// The host; one object serves the whole process and belongs to the library.
class QARCTL_EXPORT Host {
 public:
  /// Hardware information, owned by the caller. Never throws: some object managers hang on an
  /// exception out of a factory. Safe from any thread.
  static std::unique_ptr<Hardware::HardwareInfo> GetHardwareInfo();
};

}  // namespace HostCtl
