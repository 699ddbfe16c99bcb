#pragma once

#include <mof/class_repository.h>

#include <iosfwd>

#include "options.h"

namespace pcicim {

/// Compares the two sides that the options name, prints what changed, and returns the exit code: as
/// diff(1) kSuccess, kDifferences or kTrouble. A
/// side is a file, "-" for standard input (saved answers or a saved inventory, whichever it turns
/// out to hold), the URL of a CIM server, or "live:", this host. Inventories and hosts are asked by
/// a process of their own each, which says itself on standard error what is wrong: kTrouble is
/// returned then. Throws std::runtime_error for saved answers that cannot be read and for sides
/// that make no sense.
int diff(const cimom::ClassRepository& classes, const Options& options, std::ostream& out);

}  // namespace pcicim
