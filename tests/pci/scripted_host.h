#pragma once

#include <qarctl/HardwareInfo.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

/// A host made by the test, in place of the platform's: its functions, and a hook that every call
/// passes through before it answers. The hook may throw.
namespace scripted {

struct Function {
  std::string address;
  std::uint8_t bus = 0;
  std::uint16_t classCode = 0x0200;
  std::int32_t pcieType = -1;
  std::string parent = {};
  std::uint8_t secondaryBus = 0;
  std::int32_t slot = -1;
  bool pciX = false;
  std::uint16_t segment = 0;
  std::uint8_t device = 3;
  std::uint8_t number = 0;
  std::string vendorName = "Acme";
  std::string deviceName = "Widget";
  std::vector<std::uint32_t> capabilities = {0x10006};
  /// Says that there is no PCI Express capability, whatever the type.
  bool hidesPcie = false;
  /// Names of the operations that throw HostCtlException("<operation> of <address>").
  std::set<std::string> failing = {};
};

struct Host {
  std::string name = "HostA01";
  std::vector<Function> functions;
  std::function<void(const std::string& call)> onCall = [](const std::string&) {};
  /// Called when an object that the host handed out is released: "HardwareInfo" or "PciInfo".
  std::function<void(const std::string& object)> onRelease = [](const std::string&) {};
  /// What the function of an address calls itself when it is asked.
  std::function<std::string(const std::string& address)> addressNow =
      [](const std::string& address) { return address; };
  /// Whether the file that raises the build's trace can be read.
  bool traceFile = false;
};

/// The process's host.
Host& host();

/// Functions that the host handed out and that were not destroyed yet.
int devicesAlive();

/// A line of the log.
struct LogLine {
  int priority;
  std::string text;
};

/// Whether the thread sanitizer runs. Its own pthread_once does not notice an exception that leaves
/// the routine, and lets no call in again.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool kOnceForgetsExceptions = true;
#else
inline constexpr bool kOnceForgetsExceptions = false;
#endif

/// What was logged so far, in order. To be read while nothing logs.
std::vector<LogLine>& logLines();

}  // namespace scripted
