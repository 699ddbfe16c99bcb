#pragma once

#include <topology/topology.h>

#include <iosfwd>
#include <vector>

namespace pcicim {

/// Prints the topology as one JSON object. "buses": the root buses by number, each with its
/// "functions", and these with those behind them as "functions"; "notPlaced": functions that hang
/// off none, flat, with the address of their "parent"; "notShown": what the tree leaves out. All
/// numbers are numbers; what a function does not have is not there. Of functions with the same
/// address the first takes those behind it. Bytes that are no UTF-8 are replaced.
void printTreeJson(const std::vector<Function>& functions, const std::vector<Function>& leftOut,
                   std::ostream& out);

}  // namespace pcicim
