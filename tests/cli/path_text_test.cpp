#include "path_text.h"

#include <gtest/gtest.h>

namespace clitest {
namespace {

using pcicim::parsePath;
using pcicim::PathText;

TEST(ParsePath, ReadsAClassAlone) {
  const PathText path = parsePath("Zelmar_PCIPort");
  EXPECT_EQ(path.className, "Zelmar_PCIPort");
  EXPECT_TRUE(path.nameSpace.empty());
  EXPECT_TRUE(path.keys.empty());
}

TEST(ParsePath, ReadsKeysOfEachKind) {
  const PathText path = parsePath("C.a=\"x,y=z.:\",b=-12,c=TRUE,d=false");
  ASSERT_EQ(path.keys.size(), 4U);
  EXPECT_EQ(path.keys[0].value, "x,y=z.:");
  EXPECT_EQ(path.keys[0].kind, PathText::Key::Kind::kString);
  EXPECT_EQ(path.keys[1].value, "-12");
  EXPECT_EQ(path.keys[1].kind, PathText::Key::Kind::kNumber);
  EXPECT_EQ(path.keys[2].value, "true");
  EXPECT_EQ(path.keys[3].kind, PathText::Key::Kind::kBoolean);
  EXPECT_EQ(path.keys[1].position, 17U);
}

TEST(ParsePath, ReadsNamespaceAndDropsTheHost) {
  EXPECT_EQ(parsePath("root/cimv2:C.k=\"a:b\"").nameSpace, "root/cimv2");
  const PathText path = parsePath("//host.example:5988/root/cimv2:C.k=\"v\"");
  EXPECT_EQ(path.nameSpace, "root/cimv2");
  EXPECT_EQ(path.className, "C");
}

TEST(ParsePath, ResolvesEscapes) {
  EXPECT_EQ(parsePath(R"(C.k="\"\\\n\t\x41\xe9")").keys[0].value, "\"\\\n\tA\xc3\xa9");
}

TEST(ParsePath, DropsTheHostThatOtherClientsPrint) {
  for (const char* host :
       {"//node7/", "127.0.0.1:5988/", "node7.example:5989/", "[::1]:5988/", "alice@node7:5988/",
        "http://node7/", "http://alice@127.0.0.1:5988/", "HTTPS://[::1]:5989/", ""}) {
    const PathText path = parsePath(std::string(host) + R"(root/cimv2:C.k="a:1/b",n=0x1F)");
    EXPECT_EQ(path.nameSpace, "root/cimv2") << host;
    EXPECT_EQ(path.className, "C") << host;
    ASSERT_EQ(path.keys.size(), 2U) << host;
    EXPECT_EQ(path.keys[0].value, "a:1/b") << host;
    EXPECT_EQ(path.keys[1].value, "0x1F") << host;
  }
}

TEST(ParsePath, TakesNothingElseForAHost) {
  EXPECT_EQ(parsePath(R"(C.k="h:1/x")").keys[0].value, "h:1/x");
  for (const char* wrong : {"http://node7", "node7:5988/C", ":5988/root/cimv2:C", "node7:/root:C",
                            "C.k=0x", "http://node7/C"}) {
    EXPECT_THROW(parsePath(wrong), pcicim::PathError) << wrong;
  }
}

TEST(ParsePath, ReadsAPathNestedInAKey) {
  const PathText outer = parsePath(R"(A.Member="root/cimv2:B.k=\"a\\\"b\"",Other="C.n=1")");
  ASSERT_EQ(outer.keys.size(), 2U);
  const PathText inner = parsePath(outer.keys[0].value);
  EXPECT_EQ(inner.className, "B");
  EXPECT_EQ(inner.keys[0].value, "a\"b");
}

TEST(ParsePath, RefusesEveryBeginningOfAPathThatEndsWithinAKey) {
  const std::string whole = R"(root/cimv2:C.key="va\"lue",n=12)";
  for (const char* end : {"C.", "key", "=", "\"", "va", "\\", "lue", ",", "n", "n="}) {
    const std::string cut = whole.substr(0, whole.find(end, 11) + std::string(end).size());
    EXPECT_THROW(parsePath(cut), pcicim::PathError) << cut;
  }
}

}  // namespace
}  // namespace clitest
