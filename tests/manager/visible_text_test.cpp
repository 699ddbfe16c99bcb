// Foreign text on its way to a terminal.
#include <gtest/gtest.h>
#include <model/value.h>
#include <model/visible_text.h>

#include <string>
#include <string_view>

namespace cimom {
namespace {

using namespace std::string_view_literals;

TEST(VisibleText, LeavesWhatAnyTerminalShows) {
  for (const std::string_view text :
       {""sv, "Red Hat, Inc. Virtio 1.0 RNG"sv, "C:\\x1b"sv, "\"quoted\""sv, "Köln Ω 中文 😀"sv,
        "\xc2\xa0\xe2\x80\x8d"sv, "\xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xaa"sv}) {
    EXPECT_EQ(visibleText(text), text);
  }
}

TEST(VisibleText, WritesControlsOut) {
  EXPECT_EQ(visibleText("\x1b[31mred"), "\\x1b[31mred");
  EXPECT_EQ(visibleText("a\r\n\tb\x7f"), "a\\x0d\\x0a\\x09b\\x7f");
  EXPECT_EQ(visibleText("\0\x1f"sv), "\\x00\\x1f");
  EXPECT_EQ(visibleText("\xc2\x80\xc2\x9b\xc2\x9f"), "\\u{80}\\u{9b}\\u{9f}");
}

TEST(VisibleText, WritesSeparatorsAndDirectionMarksOut) {
  EXPECT_EQ(visibleText("\u2028\u2029"), "\\u{2028}\\u{2029}");
  EXPECT_EQ(visibleText("\u061c\u200e\u200f\u202a\u202b\u202c\u202d\u202e"),
            "\\u{61c}\\u{200e}\\u{200f}\\u{202a}\\u{202b}\\u{202c}\\u{202d}\\u{202e}");
  EXPECT_EQ(visibleText("\u2066\u2067\u2068\u2069"), "\\u{2066}\\u{2067}\\u{2068}\\u{2069}");
}

TEST(VisibleText, WritesBytesOutThatAreNoCharacter) {
  EXPECT_EQ(visibleText("a\xff\x9b"
                        "b\xe2\x80"),
            "a\\xff\\x9bb\\xe2\\x80");
}

TEST(VisibleText, OfAPathIsWhatReadersOfPathsTakeBack) {
  ObjectPath path;
  path.className = "Some_Class";
  path.keys.push_back({"Name", Value::text("\x1b"
                                           "0\u202e\"\xff")});
  EXPECT_EQ(visibleText(path), "Some_Class.Name=\"\\x001B0\\x202E\\\"\\xff\"");
}

}  // namespace
}  // namespace cimom
