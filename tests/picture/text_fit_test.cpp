#include "text_fit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace picturetest {
namespace {

using pcicim::cutToFit;
using pcicim::TextStyle;
using pcicim::textWidth;
using pcicim::wrapToFit;
using testing::ElementsAre;

constexpr TextStyle kStyle = TextStyle::kName;

TEST(CutToFit, LeavesWhatFitsAsItIs) {
  const std::string text = "82574L Gigabit Network Connection";
  EXPECT_EQ(cutToFit(text, textWidth(text, kStyle), kStyle), text);
  EXPECT_EQ(cutToFit("", 0, kStyle), "");
}

TEST(CutToFit, NeverTakesMoreThanThereIs) {
  const std::string text = "Wide \xe4\xb8\xad\xe6\x96\x87 and \xc3\xa9t\xc3\xa9 Mix";
  for (int width = 0; width <= textWidth(text, kStyle); ++width) {
    const std::string cut = cutToFit(text, width, kStyle);
    EXPECT_LE(textWidth(cut, kStyle), width) << cut;
    if (!cut.empty() && cut != text) {
      EXPECT_TRUE(cut.ends_with("\xe2\x80\xa6")) << cut;
    }
  }
}

TEST(WrapToFit, BreaksBetweenWordsAndCutsTheLastLine) {
  const int width = textWidth("one two", kStyle);
  EXPECT_THAT(wrapToFit("one two three", width, kStyle, 2), ElementsAre("one two", "three"));
  EXPECT_THAT(wrapToFit(" one", width, kStyle, 2), ElementsAre("one"));
  EXPECT_THAT(wrapToFit("one two six ten", width, kStyle, 2), ElementsAre("one two", "six ten"));
  const auto lines = wrapToFit("one two three four", width, kStyle, 2);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[1].ends_with("\xe2\x80\xa6")) << lines[1];
}

TEST(WrapToFit, BreaksAWordThatIsLongerThanALine) {
  const int width = textWidth("aaaa", kStyle);
  EXPECT_THAT(wrapToFit("aaaaaa", width, kStyle, 2), ElementsAre("aaaa", "aa"));
}

TEST(WrapToFit, HasALineForNothing) {
  EXPECT_THAT(wrapToFit("", 10, kStyle, 2), ElementsAre(""));
  EXPECT_EQ(wrapToFit("text", 0, kStyle, 2).size(), 1U);
}

}  // namespace
}  // namespace picturetest
