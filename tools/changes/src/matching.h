#pragma once

#include <cstddef>
#include <vector>

#include "function_tree.h"

namespace pcicim {

/// How a function of one side is found again on the other.
enum class Link {
  kNowhere,
  /// At the same place: the same device and function numbers all the way from its root bus.
  kSamePlace,
  kMoved,
  /// Behind one that moved, as before.
  kCarried,
};

/// Which function of one side is which of the other, by indices; kNone where there is none.
struct Matching {
  std::vector<std::size_t> after;
  std::vector<std::size_t> before;
  /// Of the functions before.
  std::vector<Link> links;
};

/// Finds the functions of one side on the other: those at the same place first, then cards that
/// sit elsewhere, with all that is behind them, and last single functions. Of equal cards the
/// first ones in the order of addresses belong together. Takes time in proportion to the functions,
/// but for sorting them.
Matching match(const FunctionTree& before, const FunctionTree& after);

}  // namespace pcicim
