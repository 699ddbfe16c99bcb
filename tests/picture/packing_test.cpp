#include "packing.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace picturetest {
namespace {

using pcicim::pack;
using pcicim::Packing;
using pcicim::Size;

constexpr int kGap = 5;

/// Each in the whole, and `kGap` away from all others.
void expectApart(const std::vector<Size>& sizes, const Packing& packing) {
  ASSERT_EQ(packing.spots.size(), sizes.size());
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    const auto& one = packing.spots[i];
    EXPECT_GE(one.x, 0);
    EXPECT_GE(one.y, 0);
    EXPECT_LE(one.x + sizes[i].width, packing.size.width);
    EXPECT_LE(one.y + sizes[i].height, packing.size.height);
    for (std::size_t j = 0; j < i; ++j) {
      const auto& other = packing.spots[j];
      EXPECT_TRUE(
          one.x >= other.x + sizes[j].width + kGap || other.x >= one.x + sizes[i].width + kGap ||
          one.y >= other.y + sizes[j].height + kGap || other.y >= one.y + sizes[i].height + kGap)
          << i << " and " << j;
    }
  }
}

TEST(Pack, KeepsRectanglesOfAnySizesApart) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> side(1, 400);
  std::uniform_int_distribution<std::size_t> count(0, 40);
  for (int round = 0; round < 200; ++round) {
    std::vector<Size> sizes(count(random));
    for (Size& size : sizes) size = {side(random), side(random)};
    const std::size_t equal = sizes.empty() ? 0 : count(random) % (sizes.size() + 1);
    for (std::size_t i = 1; i < equal; ++i) sizes[i] = sizes[0];
    expectApart(sizes, pack(sizes, equal, kGap));
  }
}

TEST(Pack, MakesAGridOfEqualRectanglesThatIsAboutFourToThree) {
  const std::vector<Size> sizes(400, Size{40, 20});
  const Packing packing = pack(sizes, sizes.size(), kGap);
  expectApart(sizes, packing);
  EXPECT_GT(packing.size.width, packing.size.height);
  EXPECT_LT(packing.size.width, 2 * packing.size.height);
}

TEST(Pack, PutsLowRectanglesBelowEachOtherBesideAHighOne) {
  const Packing packing = pack({{100, 100}, {100, 40}, {100, 40}}, 0, kGap);
  EXPECT_EQ(packing.spots[1].x, packing.spots[2].x);
  EXPECT_EQ(packing.size.height, 100);
}

TEST(Pack, OfNothingTakesNoRoom) {
  EXPECT_EQ(pack({}, 0, kGap).size.width, 0);
  EXPECT_EQ(pack({}, 0, kGap).size.height, 0);
}

}  // namespace
}  // namespace picturetest
