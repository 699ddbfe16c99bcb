#include <picture/markup.h>

#include <gtest/gtest.h>

namespace picturetest {
namespace {

using pcicim::markupText;

TEST(MarkupText, EscapesWhatMarkupMeans) {
  EXPECT_EQ(markupText("<script a='b' c=\"d\">&</script>"),
            "&lt;script a=&#39;b&#39; c=&quot;d&quot;&gt;&amp;&lt;/script&gt;");
}

TEST(MarkupText, WritesOutWhatNoDocumentMayHold) {
  EXPECT_EQ(markupText(std::string_view("a\0b\x1b[31m\n", 9)), "a\\x00b\\x1b[31m\\x0a");
  EXPECT_EQ(markupText("\xff"), "\\xff");
  EXPECT_EQ(markupText("a\xe2\x80\xae"
                       "b"),
            "a\\u{202e}b");
  EXPECT_EQ(markupText("\xef\xbf\xbe\xef\xbf\xbf."), "\xef\xbf\xbd\xef\xbf\xbd.");
}

TEST(MarkupText, LeavesOtherTextAsItIs) {
  EXPECT_EQ(markupText("\xc3\xa9 \xe4\xb8\xad \\ \xef\xbf\xbd"),
            "\xc3\xa9 \xe4\xb8\xad \\ \xef\xbf\xbd");
}

}  // namespace
}  // namespace picturetest
