#pragma once

#include "provider_requests.h"
#include "scripted_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

/// What the tests of requests over a scripted host share.
namespace scripted {

/// A machine with every kind of function that the provider tells apart:
///   H  host bridge, has no ports             B  PCI-to-PCI bridge, secondary bus 1
///   O, R  bridges of sub-class 0x0a, 0x0b    X  PCI-X endpoint       N  plain PCI endpoint
///   U  switch upstream port below B, with the downstream ports P and Q
///   K  downstream port right below B         D  PCI Express endpoint below P
inline std::vector<Function> machine() {
  return {{"H", 0, 0x0600},
          {"B", 0, 0x0604, 4, "", 1},
          {"O", 0, 0x060a, -1, "", 8},
          {"R", 0, 0x060b, -1, "", 9},
          {.address = "X", .classCode = 0x0100, .pciX = true},
          {"N", 0, 0x0c03},
          {"U", 1, 0x0604, 5, "B", 2},
          {"P", 2, 0x0604, 6, "U", 3},
          {"Q", 2, 0x0604, 6, "U", 4},
          {"K", 1, 0x0604, 6, "B", 5},
          {"D", 3, 0x0200, 0, "P"}};
}

/// Names of the machine's ports, in their order.
inline const std::vector<std::string>& machinePorts() {
  static const std::vector<std::string> names{"B-pri", "B-sec", "O-pri", "O-sec", "R-pri",
                                              "R-sec", "X-ep",  "N-ep",  "U-up",  "P-ep",
                                              "Q-ep",  "K-ep",  "D-ep"};
  return names;
}

/// `prefix` + each name + `suffix`.
inline std::vector<std::string> each(const std::string& prefix,
                                     const std::vector<std::string>& names,
                                     const std::string& suffix = "") {
  std::vector<std::string> result;
  for (const std::string& name : names) result.push_back(prefix + name + suffix);
  return result;
}

inline std::vector<std::string> operator+(std::vector<std::string> first,
                                          const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// Sends requests to the built library over the machine, or over what a test puts in its place
/// before the first request.
class RequestTest : public testing::Test {
 protected:
  RequestTest() {
    setenv("QARCTL_HOST_NAME", "HostA01", 1);
    host().functions = machine();
  }

  requests::Outcome send(const requests::Request& request) { return provider.send(request); }

  /// Sends it once so that the snapshot is there, then again with only its own log lines kept.
  requests::Outcome sendLogged(const requests::Request& request) {
    provider.send(request);
    logLines().clear();
    return provider.send(request);
  }

  requests::ProviderUnderTest provider{PROVIDER_LIBRARY};
};

inline auto logged(int priority, const std::string& text) {
  return testing::AllOf(testing::Field(&LogLine::priority, priority),
                        testing::Field(&LogLine::text, text));
}

}  // namespace scripted
