#pragma once

namespace pcicim {

/// How the command ends, as its manual page tells scripts.
enum ExitCode : int {
  kSuccess = 0,
  kFailure = 1,
  kWrongUse = 2,
  /// Some of several hosts did not answer.
  kPartial = 3,
  /// Of diff, whose 0 and 1 say whether something changed.
  kDifferences = 1,
  kTrouble = 2,
  /// What was asked for by name is not there.
  kNotFound = 4,
};

}  // namespace pcicim
