#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <vector>

#include "asked_host.h"
#include "exit_code.h"
#include "options.h"

namespace pcicim {

/// Some of the hosts that were asked, or all, have failed, and each failure has been told.
class HostsFailed : public std::runtime_error {
 public:
  explicit HostsFailed(bool isPartial)
      : std::runtime_error("hosts have failed"), isPartial_(isPartial) {}

  /// Whether there are answers of others.
  ExitCode exitCode() const noexcept { return isPartial_ ? kPartial : kFailure; }

 private:
  bool isPartial_;
};

/// Writes the answer of one host.
using HostCommand = std::function<void(AskedHost&, std::ostream&)>;

/// Asks each of the hosts, eight at a time, and prints the answers in the order of the hosts, each
/// under its name: as a heading, in MOF a comment, in JSON the name of a member; lines of JSON
/// stand alone. A host that fails is told on standard error, without what it has answered; then
/// HostsFailed is thrown in the end. All answers together may have 512 MiB.
void askEachHost(const std::vector<std::unique_ptr<AskedHost>>& hosts, Format format,
                 std::ostream& out, const HostCommand& command);

}  // namespace pcicim
