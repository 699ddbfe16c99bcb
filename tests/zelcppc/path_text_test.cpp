// The text of paths, for logs: at least one object manager writes it into a buffer of 4,096 bytes.
#include "binding_test.h"

namespace zelInt {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t kMostBytes = 1024;
constexpr std::size_t kCutLength = 512;

class PathTextTest : public BindingTest {
 protected:
  PathTextTest() : BindingTest({.pathTextBytes = 4096}) {}

  static CmpiObjectPath pathWith(const std::string& value, const char* key = "Name") {
    CmpiObjectPath path("root/cimv2", "Thing");
    path.setKey(key, CmpiData(value.c_str()));
    return path;
  }

  /// A path in a path in a path ...
  static CmpiObjectPath nested(unsigned depth, const std::string& innermost) {
    CmpiObjectPath path = pathWith(innermost);
    while (depth-- > 0) {
      CmpiObjectPath outer("root/cimv2", "Thing");
      outer.setKey("Next", CmpiData(path));
      path = outer;
    }
    return path;
  }

  std::string managersText(const CmpiObjectPath& path) {
    return cimom::toText(cimom::ObjectPath{
        "", "root/cimv2", "Thing", {{"Name", cimom::Value::text(textOf(path.getKey("Name")))}}});
  }

  std::size_t askedForText() const { return watched.count("objectPath.toString"); }
};

// What the parts of pathWith take beside the value.
constexpr std::size_t kOtherParts = std::string_view("root/cimv2ThingName").size();

TEST_F(PathTextTest, IsTheManagersUpToOneKilobyteOfParts) {
  const CmpiObjectPath path = pathWith(std::string(kMostBytes - kOtherParts, 'x'));
  EXPECT_EQ(path.toString().charPtr(), managersText(path));
  EXPECT_EQ(askedForText(), 1U);
}

TEST_F(PathTextTest, IsCutAboveThat) {
  const CmpiObjectPath path = pathWith(std::string(kMostBytes - kOtherParts + 1, 'x'));
  const std::string text = path.toString().charPtr();
  EXPECT_EQ(askedForText(), 0U);
  EXPECT_EQ(text.size(), kCutLength);
  EXPECT_THAT(text, StartsWith("root/cimv2:Thing.Name=\"xxx"));
  EXPECT_THAT(text, EndsWith("xxx..."));
}

TEST_F(PathTextTest, CountsEveryPart) {
  const std::string half(kMostBytes / 2, 'n');
  CmpiObjectPath twoKeys = pathWith(half);
  twoKeys.setKey("Note", CmpiData(half.c_str()));
  for (const CmpiObjectPath& path :
       {twoKeys, pathWith(half, half.c_str()), CmpiObjectPath((half + half).c_str(), "Thing"),
        CmpiObjectPath("root/cimv2", (half + half).c_str()), nested(1, half + half),
        pathWith(std::string(1U << 22U, 'x'))}) {
    EXPECT_EQ(std::string(path.toString().charPtr()).size(), kCutLength);
  }
  EXPECT_EQ(askedForText(), 0U);
}

TEST_F(PathTextTest, WritesKeysOfAllKinds) {
  CmpiObjectPath path = thingPath();
  path.setKey("Small", rawData(CMPI_sint8, {.sint8 = -3}));
  path.setKey("Next", CmpiData(thingPath("Part")));
  path.setKey("Note", CmpiData(std::string(kMostBytes, 'x').c_str()));
  EXPECT_THAT(path.toString().charPtr(),
              StartsWith("root/cimv2:Thing.Name=\"one\",Number=7,Small=-3,"
                         "Next=\"root/cimv2:Part.Name=\"one\",Number=7\",Note=\"xxx"));
}

TEST_F(PathTextTest, IsNotCutWithinACharacter) {
  for (std::size_t ahead = 0; ahead < 4; ++ahead) {
    std::string value(ahead, 'a');
    while (value.size() < 2 * kMostBytes) value += "\xe2\x82\xac";
    std::string text = pathWith(value).toString().charPtr();
    text.resize(text.size() - 3);
    EXPECT_THAT(text, EndsWith("\xe2\x82\xac"));
    EXPECT_GT(text.size(), kCutLength - 8);
  }
}

// Each path around a quote doubles what it takes.
TEST_F(PathTextTest, OfPathsInPathsWithQuotesFitsTheBuffer) {
  for (unsigned depth = 0; depth < 4; ++depth) {
    nested(depth, std::string(900, '"')).toString();
    nested(depth, std::string(900, '\\')).toString();
  }
  for (unsigned depth = 0; depth < 10; ++depth) nested(depth, "").toString();
  EXPECT_THAT(nested(1, "plain").toString().charPtr(), HasSubstr(R"(Name=\"plain\")"));
}

/// A path of a broker in which it is itself a key.
class BottomlessPath {
 public:
  BottomlessPath() {
    table_.getNameSpace = [](const CMPIObjectPath*, CMPIStatus*) -> CMPIString* { return nullptr; };
    table_.getClassName = [](const CMPIObjectPath*, CMPIStatus*) -> CMPIString* { return nullptr; };
    table_.getKeyCount = [](const CMPIObjectPath*, CMPIStatus*) { return CMPICount{3}; };
    table_.getKeyAt = [](const CMPIObjectPath* path, CMPICount, CMPIString**, CMPIStatus*) {
      ++static_cast<BottomlessPath*>(path->hdl)->reads;
      CMPIData data{CMPI_ref, CMPI_goodValue, {}};
      data.value.ref = const_cast<CMPIObjectPath*>(path);
      return data;
    };
  }
  CmpiObjectPath path() const { return CmpiObjectPath(&record_); }
  unsigned reads = 0;

 private:
  CMPIObjectPathFT table_{};
  CMPIObjectPath record_{this, &table_};
};

TEST_F(PathTextTest, OfABottomlessPathEnds) {
  BottomlessPath bottomless;
  const std::string text = bottomless.path().toString().charPtr();
  EXPECT_THAT(text, StartsWith(R"(.=".=".=")"));
  EXPECT_THAT(text, EndsWith("..."));
  EXPECT_LE(text.size(), kCutLength);
  EXPECT_LT(bottomless.reads, 2'000U);
}

TEST_F(PathTextTest, ThatCannotBeMadeIsAFailure) {
  const CmpiObjectPath path = pathWith(std::string(kMostBytes, 'x'));
  watched.failCall("broker.newString", 0, CMPI_RC_ERR_ACCESS_DENIED, "no strings");
  const CmpiStatus status = statusThrownBy([&] { path.toString(); });
  EXPECT_EQ(status.rc(), CMPI_RC_ERR_ACCESS_DENIED);
  EXPECT_STREQ(status.msg(), "no strings");
}

}  // namespace
}  // namespace zelInt
