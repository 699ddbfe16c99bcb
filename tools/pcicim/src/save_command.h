#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "asked_host.h"
#include "options.h"

namespace pcicim {

/// Writes all answers of the host to the file that the options name, which appears whole or not at
/// all, or for "-" to `out`: the instances of the `published` classes, and the functions that are
/// in no enumeration. `inventory` is what the host was read from; empty for a running one. Throws
/// what asking the host throws, std::system_error when the file cannot be written, and
/// OutputFailure when `out` cannot.
void save(AskedHost& host, const std::string& inventory, const Options& options,
          const std::vector<std::string>& published, std::ostream& out);

}  // namespace pcicim
