#include "packing.h"

#include <algorithm>

namespace pcicim {
namespace {

/// Fills rows of a length from the left, one below the other. What is low enough goes below the one
/// before it, in the same row.
class Rows {
 public:
  Rows(int length, int gap) : length_(length), gap_(gap) {}

  const Size& used() const { return used_; }

  Spot place(const Size& size) {
    const bool fitsBelow = columnBottom_ > row_ &&
                           columnBottom_ + gap_ + size.height <= rowBottom_ &&
                           column_ + size.width <= std::max(length_, columnEnd_);
    if (!fitsBelow) startColumn(size.width);
    const Spot spot{column_, columnBottom_ > row_ ? columnBottom_ + gap_ : row_};
    columnBottom_ = spot.y + size.height;
    columnEnd_ = std::max(columnEnd_, spot.x + size.width);
    rowBottom_ = std::max(rowBottom_, columnBottom_);
    used_.width = std::max(used_.width, columnEnd_);
    used_.height = std::max(used_.height, rowBottom_);
    return spot;
  }

  void startRow() {
    if (rowBottom_ > row_) row_ = rowBottom_ + gap_;
    column_ = columnEnd_ = 0;
    columnBottom_ = rowBottom_ = row_;
  }

 private:
  void startColumn(int width) {
    if (columnBottom_ == row_) return;
    column_ = columnEnd_ + gap_;
    columnBottom_ = row_;
    if (column_ + width > length_) startRow();
  }

  int length_;
  int gap_;
  int row_ = 0;
  int rowBottom_ = 0;
  int column_ = 0;
  int columnEnd_ = 0;
  int columnBottom_ = 0;
  Size used_;
};

template <typename Take>
Size fill(const std::vector<Size>& sizes, std::size_t equal, int length, int gap,
          const Take& take) {
  Rows rows(length, gap);
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    if (i == equal) rows.startRow();
    take(rows.place(sizes[i]));
  }
  return rows.used();
}

/// How large a page of four to three is that holds it.
long long pageSide(const Size& size) {
  return std::max(3LL * size.width, 4LL * size.height);
}

}  // namespace

Packing pack(const std::vector<Size>& sizes, std::size_t equal, int gap) {
  long long longest = 0;
  int length = 0;
  for (const Size& size : sizes) {
    longest += size.width + gap;
    length = std::max(length, size.width);
  }
  int best = length;
  long long bestSide = -1;
  while (true) {
    const long long side = pageSide(fill(sizes, equal, length, gap, [](const Spot&) {}));
    if (bestSide < 0 || side < bestSide) {
      bestSide = side;
      best = length;
    }
    if (length >= longest) break;
    length = static_cast<int>(std::min<long long>(longest, length + length / 6 + 1));
  }
  Packing packing;
  packing.spots.reserve(sizes.size());
  packing.size = fill(sizes, equal, best, gap,
                      [&packing](const Spot& spot) { packing.spots.push_back(spot); });
  return packing;
}

}  // namespace pcicim
