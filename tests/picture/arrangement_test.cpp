#include <topology/arrangement.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "made_machine.h"

namespace picturetest {
namespace {

using pcicim::arrange;
using pcicim::Arrangement;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Arrange, PutsFunctionsBelowTheirParentsInTheOrderOfAddresses) {
  const Arrangement made =
      arrange({function("0000:01:00.1", "0000:00:01.0"), function("0000:80:00.0", ""),
               function("0000:00:01.0", ""), function("0000:01:00.0", "0000:00:01.0")});
  ASSERT_EQ(made.buses.size(), 2U);
  EXPECT_EQ(made.buses[1].bus, 0x80U);
  EXPECT_THAT(made.buses[0].functions, ElementsAre(0U));
  EXPECT_THAT(made.children[0], ElementsAre(1U, 2U));
  EXPECT_EQ(made.functions[1].address, "0000:01:00.0");
  EXPECT_THAT(made.misplaced, IsEmpty());
  EXPECT_THAT(made.circles, IsEmpty());
}

TEST(Arrange, KeepsWhatHasNoPlaceApart) {
  const Arrangement made = arrange({function("no address", ""), function("0000:05:00.0", "lost"),
                                    function("0000:05:01.0", "0000:05:00.0")});
  EXPECT_THAT(made.buses, IsEmpty());
  EXPECT_THAT(made.misplaced, ElementsAre(0U, 2U));
  EXPECT_THAT(made.children[0], ElementsAre(1U));
}

TEST(Arrange, CutsEachCircleAboveItsLowestFunction) {
  const Arrangement made =
      arrange({function("0000:08:01.0", "0000:07:00.0"), function("0000:07:00.0", "0000:08:00.0"),
               function("0000:08:00.0", "0000:07:00.0"), function("0000:01:00.0", "0000:01:00.0")});
  EXPECT_THAT(made.circles, ElementsAre(0U, 1U));
  EXPECT_THAT(made.children[0], IsEmpty());
  EXPECT_THAT(made.children[1], ElementsAre(2U, 3U));
  EXPECT_THAT(made.children[2], IsEmpty());
}

TEST(Arrange, GivesTheChildrenOfADoubleAddressToTheFirst) {
  const Arrangement made = arrange({function("0000:01:00.0", ""), function("0000:01:00.0", ""),
                                    function("0000:02:00.0", "0000:01:00.0")});
  EXPECT_THAT(made.buses.at(0).functions, ElementsAre(0U, 1U));
  EXPECT_THAT(made.children[0], ElementsAre(2U));
  EXPECT_THAT(made.children[1], IsEmpty());
}

}  // namespace
}  // namespace picturetest
