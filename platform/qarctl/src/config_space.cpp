#include "config_space.h"

#include <algorithm>

namespace HostCtl {

void ConfigSpace::Put(std::size_t offset, const std::uint8_t* bytes, std::size_t count) {
  if (offset >= kMostBytes) return;
  count = std::min(count, kMostBytes - offset);
  if (count == 0) return;
  std::copy_n(bytes, count, bytes_.data() + offset);
  std::fill_n(there_.data() + offset, count, true);
  end_ = std::max(end_, offset + count);
}

void ConfigSpace::CutAt(std::size_t offset) {
  if (offset >= end_) return;
  std::fill(there_.data() + offset, there_.data() + end_, false);
  // What is left may end before the cut.
  while (offset > 0 && !there_[offset - 1]) --offset;
  end_ = offset;
}

bool ConfigSpace::Has(std::size_t offset, std::size_t count) const {
  if (offset + count > end_) return false;
  const auto begin = there_.begin() + static_cast<std::ptrdiff_t>(offset);
  return std::all_of(begin, begin + static_cast<std::ptrdiff_t>(count), [](bool is) { return is; });
}

std::uint8_t ConfigSpace::Byte(std::size_t offset) const {
  return Has(offset) ? bytes_[offset] : std::uint8_t{0};
}

std::uint16_t ConfigSpace::Word(std::size_t offset) const {
  if (!Has(offset, 2)) return 0;
  return static_cast<std::uint16_t>(bytes_[offset] | (bytes_[offset + 1] << 8U));
}

std::uint32_t ConfigSpace::Long(std::size_t offset) const {
  if (!Has(offset, 4)) return 0;
  return Word(offset) | (static_cast<std::uint32_t>(Word(offset + 2)) << 16U);
}

}  // namespace HostCtl
