#pragma once

#include <string>

namespace HostCtl::Hardware {

/// What the host says of itself as a system; a field that it does not know is empty.
struct SystemInfo {
  std::string operatingSystem;
  std::string machine;
  std::string hostName;
};

}  // namespace HostCtl::Hardware
