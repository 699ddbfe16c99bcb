#pragma once

#include <cstddef>
#include <vector>

namespace pcicim {

struct Size {
  int width = 0;
  int height = 0;
};

struct Spot {
  int x = 0;
  int y = 0;
};

/// Rectangles placed beside and below each other.
struct Packing {
  /// Of all of them together.
  Size size;
  /// Upper left corners, in the order of the rectangles.
  std::vector<Spot> spots;
};

/// Places rectangles in rows, `gap` pixels apart and in their order: first those of one size, as
/// many as `equal` says, as a grid, then the others below it; in a row, also below each other where
/// one beside them is higher. Rows are as long as makes the whole
/// about four to three. Time grows as n log n. Safe from any thread.
Packing pack(const std::vector<Size>& sizes, std::size_t equal, int gap);

}  // namespace pcicim
