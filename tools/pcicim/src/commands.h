#pragma once

#include <iosfwd>

#include "options.h"

namespace pcicim {

/// Does what the command line asks for and prints the answer. Nothing is printed before the whole
/// answer is there; `serve` prints where it listens and returns when a signal stops it. Throws
/// std::exception with a reason for the user: PathError, CimError, MofError and others.
/// Returns the exit code: kSuccess, or what `diff` found.
int runCommand(const Options& options, std::ostream& out);

}  // namespace pcicim
