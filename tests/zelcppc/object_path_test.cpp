// Object paths of the binding: keys of every type, comparison, class tests, text, and what becomes
// of a broker's failures. Each test makes paths through a decorated broker, so that it sees the
// calls that reach the broker and can have them fail.
#include "binding_test.h"

#include <zelcppc/CmpiArray.h>
#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiEnumeration.h>

#include <functional>
#include <ostream>

namespace zelInt {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Not;

using ObjectPathTest = BindingTest;

TEST_F(ObjectPathTest, ANewPathHasNamespaceAndClassButNoKeys) {
  const CmpiObjectPath path("root/other", "Thing");
  EXPECT_STREQ(path.getNameSpace().charPtr(), "root/other");
  EXPECT_STREQ(path.getClassName().charPtr(), "Thing");
  EXPECT_EQ(path.getKeyCount(), 0U);
}

TEST_F(ObjectPathTest, KeysOfEveryTypeReachTheBrokerAndComeBack) {
  CmpiObjectPath path("root/cimv2", "Thing");
  path.setKey("Text", CmpiData("plain"));
  path.setKey("Small", CmpiData(static_cast<unsigned char>(200)));
  path.setKey("Wide", CmpiData(static_cast<unsigned short>(60000)));
  path.setKey("Flag", CmpiData(true));
  path.setKey("Path", CmpiData(thingPath()));
  EXPECT_EQ(textOf(path.getKey("Text")), "plain");
  EXPECT_EQ(path.getKey("Small").raw().value.uint8, 200);
  EXPECT_EQ(path.getKey("Wide").raw().value.uint16, 60000);
  EXPECT_EQ(path.getKey("Flag").type(), CMPI_boolean);
  EXPECT_TRUE(CmpiObjectPath(path.getKey("Path")) == thingPath());
  EXPECT_THAT(watched.callTexts("objectPath.addKey"),
              Contains("objectPath.addKey(Text, \"plain\")"));
}

TEST_F(ObjectPathTest, ACopyIsAHandleOnTheSameObject) {
  CmpiObjectPath path("root/cimv2", "Thing");
  CmpiObjectPath copy = path;
  copy.setKey("Name", CmpiData("through the copy"));
  EXPECT_EQ(textOf(path.getKey("Name")), "through the copy");
  EXPECT_EQ(copy.getHandle(), path.getHandle());
}

TEST_F(ObjectPathTest, NothingIsClonedOrReleased) {
  {
    const CmpiObjectPath path = thingPath();
    CmpiInstance instance(path);
    const CmpiInstance copy = instance;
    instance.setProperty("Note", CmpiData(path.toString().charPtr()));
    instance.setPropertyFilter(nullptr, nullptr);
    copy.getObjectPath().getKey("Name");
  }
  for (const test_support::Call& call : watched.calls()) {
    EXPECT_THAT(call.function, Not(EndsWith(".clone")));
    EXPECT_THAT(call.function, Not(EndsWith(".release")));
  }
}

TEST_F(ObjectPathTest, ReadsKeysByPlace) {
  const CmpiObjectPath path = thingPath();
  CMPIString* name = nullptr;
  EXPECT_EQ(path.getKeyAt(1, &name).raw().value.uint16, 7);
  EXPECT_STREQ(CmpiString(name).charPtr(), "Number");
  EXPECT_NE(codeThrownBy([&] { path.getKeyAt(2, &name); }), CMPI_RC_OK);
}

TEST_F(ObjectPathTest, TextComesFromThePathsOwnTable) {
  const CmpiObjectPath path = thingPath();
  watched.clear();
  watched.failCall("broker.toString", 0, CMPI_RC_ERR_FAILED);
  EXPECT_STREQ(path.toString().charPtr(), R"(root/cimv2:Thing.Name="one",Number=7)");
  const CmpiObject& object = path;
  EXPECT_STREQ(object.toString().charPtr(), R"(root/cimv2:Thing.Name="one",Number=7)");
  EXPECT_EQ(watched.count("objectPath.toString"), 2U);
  EXPECT_EQ(watched.count("broker.toString"), 0U);
}

TEST_F(ObjectPathTest, AnInstancesTextComesFromTheBroker) {
  const CmpiInstance instance(thingPath());
  EXPECT_STREQ(instance.toString().charPtr(), R"(root/cimv2:Thing.Name="one",Number=7)");
  EXPECT_EQ(watched.count("broker.toString"), 1U);
}

TEST_F(ObjectPathTest, AsksTheBrokerAboutInheritance) {
  EXPECT_TRUE(thingPath("Part").classPathIsA("Thing"));
  EXPECT_TRUE(thingPath("part").classPathIsA("PART"));
  EXPECT_FALSE(thingPath("Thing").classPathIsA("Part"));
  EXPECT_FALSE(thingPath("Thing").classPathIsA("Unknown"));
  EXPECT_EQ(watched.count("broker.classPathIsA"), 4U);
}

/// Whether the broker reports a missing key as an error or only as a state.
class MissingKeyTest : public BindingTest, public testing::WithParamInterface<bool> {
 protected:
  MissingKeyTest() : BindingTest(mannersFor(GetParam())) {}
  static test_support::Manners mannersFor(bool isAnError) {
    test_support::Manners manners;
    manners.missingKeyIsAnError = isAnError;
    return manners;
  }
};

TEST_P(MissingKeyTest, ThrowsNotFound) {
  const CmpiObjectPath path = thingPath();
  const CmpiStatus status = statusThrownBy([&] { path.getKey("DeviceID"); });
  EXPECT_EQ(status.rc(), CMPI_RC_ERR_NOT_FOUND);
  EXPECT_STREQ(status.msg(), "the path has no key DeviceID");
}

INSTANTIATE_TEST_SUITE_P(Brokers, MissingKeyTest, testing::Bool(), [](const auto& testInfo) {
  return testInfo.param ? "AnError" : "AState";
});

TEST_F(ObjectPathTest, AKeyWhoseValueIsThereIsFoundWhateverItsStateSays) {
  static CMPIValue value{};
  CMPIObjectPathFT table{};
  const CMPIObjectPath record{nullptr, &table};
  const CmpiObjectPath path(&record);
  value.string = watched.record()->eft->newString(watched.record(), "there", nullptr);
  table.getKey = [](const CMPIObjectPath*, const char* name, CMPIStatus*) {
    return CMPIData{static_cast<CMPIType>(*name == 'T' ? CMPI_string : CMPI_uint8), CMPI_notFound,
                    value};
  };
  EXPECT_EQ(textOf(path.getKey("Text")), "there");
  EXPECT_EQ(codeThrownBy([&] { path.getKey("Number"); }), CMPI_RC_ERR_NOT_FOUND);
  value.string = nullptr;
  EXPECT_EQ(codeThrownBy([&] { path.getKey("Text"); }), CMPI_RC_ERR_NOT_FOUND);
}

/// A broker that marks good data as null.
class MarkedDataTest : public BindingTest {
 protected:
  MarkedDataTest() : BindingTest({.newInstanceCopiesKeys = false, .marksDataNull = true}) {}
};

TEST_F(MarkedDataTest, KeysAreComparedCopiedAndReadAsEver) {
  CmpiObjectPath left = thingPath();
  CmpiObjectPath right = thingPath();
  left.setKey("Next", CmpiData(thingPath()));
  right.setKey("Next", CmpiData(thingPath("Part")));
  EXPECT_EQ(textOf(left.getKey("Name")), "one");
  EXPECT_EQ(left.getKey("Name").raw().state, CMPI_nullValue);
  EXPECT_TRUE(thingPath() == thingPath());
  EXPECT_FALSE(left == right);
  const CmpiInstance instance(left);
  EXPECT_THAT(propertyNames(instance), ElementsAre("Name", "Number", "Next"));
  EXPECT_EQ(textOf(instance.getProperty("Name")), "one");
  EXPECT_TRUE(CmpiObjectPath(instance.getProperty("Next")) == thingPath());
}

TEST_F(MarkedDataTest, ElementsAreThere) {
  upcalls.paths = {{"", "root/cimv2", "Thing", {{"Name", cimom::Value::text("a")}}}};
  upcalls.instances = {{upcalls.paths[0], upcalls.paths[0].keys}};
  const CmpiBroker broker(watched.record());
  const CmpiContext context(request.newContext("root/cimv2", 0));
  const CmpiObjectPath path = broker.enumInstanceNames(context, thingPath()).getNext();
  EXPECT_EQ(textOf(path.getKey("Name")), "a");
  const CmpiInstance instance = broker.enumInstances(context, thingPath(), nullptr).getNext();
  EXPECT_EQ(textOf(instance.getProperty("Name")), "a");
  CmpiArray words(1, CMPI_string);
  words[0] = CmpiData("word");
  EXPECT_EQ(textOf(words[0]), "word");
}

// Equality

CMPIValue unsignedValue(CMPIUint64 number) {
  CMPIValue value{};
  value.uint64 = number;
  return value;
}
CMPIValue signedValue(CMPISint64 number) {
  CMPIValue value{};
  value.sint64 = number;
  return value;
}

using Change = std::function<void(CmpiObjectPath&)>;

Change key(const char* name, CMPIType type, CMPIValue value,
           CMPIValueState state = CMPI_goodValue) {
  return [=](CmpiObjectPath& path) { path.setKey(name, rawData(type, value, state)); };
}
Change text(const char* name, const char* value) {
  return [=](CmpiObjectPath& path) { path.setKey(name, CmpiData(value)); };
}
Change both(const Change& first, const Change& second) {
  return [=](CmpiObjectPath& path) {
    first(path);
    second(path);
  };
}
Change reference(const char* target) {
  return [=](CmpiObjectPath& path) {
    CmpiObjectPath end("root/cimv2", "Thing");
    end.setKey("Name", CmpiData(target));
    path.setKey("Next", CmpiData(end));
  };
}
Change placed(const char* nameSpace, const char* host) {
  return [=](CmpiObjectPath& path) {
    path.getHandle()->ft->setNameSpace(path.getHandle(), nameSpace);
    path.getHandle()->ft->setHostname(path.getHandle(), host);
  };
}
void nothing(CmpiObjectPath&) {}

CMPIValue real64(double number) {
  CMPIValue value{};
  value.real64 = number;
  return value;
}
CMPIValue real32(float number) {
  CMPIValue value{};
  value.real32 = number;
  return value;
}

struct EqualityCase {
  const char* name;
  bool equal;
  const char* leftClass;
  Change left;
  const char* rightClass;
  Change right;
};

void PrintTo(const EqualityCase& testCase, std::ostream* out) {
  *out << testCase.name;
}

class PathEqualityTest : public BindingTest, public testing::WithParamInterface<EqualityCase> {};

TEST_P(PathEqualityTest, HoldsInBothDirections) {
  CmpiObjectPath left("root/cimv2", GetParam().leftClass);
  CmpiObjectPath right("root/cimv2", GetParam().rightClass);
  GetParam().left(left);
  GetParam().right(right);
  EXPECT_EQ(left == right, GetParam().equal);
  EXPECT_EQ(right == left, GetParam().equal);
  EXPECT_EQ(left != right, !GetParam().equal);
  EXPECT_TRUE(left == left);
}

const std::vector<EqualityCase> kEqualityCases{
    {"BothBare", true, "Thing", nothing, "Thing", nothing},
    {"ClassInOtherCase", true, "Thing", nothing, "tHING", nothing},
    {"Subclass", false, "Thing", nothing, "Part", nothing},
    {"SameText", true, "Thing", text("Name", "a"), "Thing", text("Name", "a")},
    {"TextInOtherCase", false, "Thing", text("Name", "a"), "Thing", text("Name", "A")},
    {"KeyNameInOtherCase", true, "Thing", text("Name", "a"), "Thing", text("nAME", "a")},
    {"OtherKeyName", false, "Thing", text("Name", "a"), "Thing", text("Note", "a")},
    {"KeyMissing", false, "Thing", text("Name", "a"), "Thing", nothing},
    {"OneKeyMore", false, "Thing", text("Name", "a"), "Thing",
     both(text("Name", "a"), text("Note", "b"))},
    {"KeysInAnyOrder", true, "Thing", both(text("Name", "a"), text("Note", "b")), "Thing",
     both(text("Note", "b"), text("Name", "a"))},
    {"ValuesSwapped", false, "Thing", both(text("Name", "a"), text("Note", "b")), "Thing",
     both(text("Name", "b"), text("Note", "a"))},
    {"IntegersOfOtherWidth", true, "Thing", key("Number", CMPI_uint8, unsignedValue(7)), "Thing",
     key("Number", CMPI_uint64, unsignedValue(7))},
    {"SignedAndUnsigned", true, "Thing", key("Number", CMPI_sint16, signedValue(7)), "Thing",
     key("Number", CMPI_uint32, unsignedValue(7))},
    {"NegativeOfOtherWidth", true, "Thing", key("Number", CMPI_sint8, signedValue(-7)), "Thing",
     key("Number", CMPI_sint64, signedValue(-7))},
    {"NegativeIsNotItsBits", false, "Thing", key("Number", CMPI_sint64, signedValue(-1)), "Thing",
     key("Number", CMPI_uint64, unsignedValue(~CMPIUint64{0}))},
    {"SignCounts", false, "Thing", key("Number", CMPI_sint32, signedValue(-7)), "Thing",
     key("Number", CMPI_sint32, signedValue(7))},
    {"OtherInteger", false, "Thing", key("Number", CMPI_uint16, unsignedValue(7)), "Thing",
     key("Number", CMPI_uint16, unsignedValue(8))},
    {"LargestUnsigned", true, "Thing", key("Number", CMPI_uint64, unsignedValue(~CMPIUint64{0})),
     "Thing", key("Number", CMPI_uint64, unsignedValue(~CMPIUint64{0}))},
    {"TextIsNoInteger", false, "Thing", text("Number", "7"), "Thing",
     key("Number", CMPI_uint16, unsignedValue(7))},
    {"Booleans", true, "Thing", key("Flag", CMPI_boolean, unsignedValue(1)), "Thing",
     key("Flag", CMPI_boolean, unsignedValue(2))},
    {"OtherBoolean", false, "Thing", key("Flag", CMPI_boolean, unsignedValue(1)), "Thing",
     key("Flag", CMPI_boolean, unsignedValue(0))},
    {"BooleanIsNoInteger", false, "Thing", key("Flag", CMPI_boolean, unsignedValue(1)), "Thing",
     key("Flag", CMPI_uint8, unsignedValue(1))},
    {"Characters", true, "Thing", key("C", CMPI_char16, unsignedValue(65)), "Thing",
     key("C", CMPI_char16, unsignedValue(65))},
    {"OtherCharacter", false, "Thing", key("C", CMPI_char16, unsignedValue(65)), "Thing",
     key("C", CMPI_char16, unsignedValue(66))},
    {"Reals", true, "Thing", key("R", CMPI_real64, real64(0.5)), "Thing",
     key("R", CMPI_real64, real64(0.5))},
    {"OtherReal", false, "Thing", key("R", CMPI_real64, real64(0.5)), "Thing",
     key("R", CMPI_real64, real64(0.25))},
    {"ShortReals", true, "Thing", key("R", CMPI_real32, real32(0.5F)), "Thing",
     key("R", CMPI_real32, real32(0.5F))},
    {"OtherShortReal", false, "Thing", key("R", CMPI_real32, real32(0.5F)), "Thing",
     key("R", CMPI_real32, real32(1.5F))},
    {"EmptyAndNullText", true, "Thing", text("Name", ""), "Thing",
     key("Name", CMPI_string, {}, CMPI_nullValue)},
    {"NullTextAndText", false, "Thing", text("Name", "a"), "Thing",
     key("Name", CMPI_string, {}, CMPI_nullValue)},
    {"SameReference", true, "Thing", reference("a"), "Thing", reference("a")},
    {"OtherReference", false, "Thing", reference("a"), "Thing", reference("b")},
    {"ReferenceIsNoText", false, "Thing", reference("a"), "Thing", text("Next", "a")},
    {"NullAndReference", false, "Thing", key("Next", CMPI_ref, {}, CMPI_nullValue), "Thing",
     reference("a")},
    {"NullReferences", true, "Thing", key("Next", CMPI_ref, {}, CMPI_nullValue), "Thing",
     key("Next", CMPI_ref, {}, CMPI_nullValue)},
    {"OneNamespaceMissing", true, "Thing", placed("", ""), "Thing", nothing},
    {"NamespaceInOtherCase", true, "Thing", placed("ROOT/cimv2", ""), "Thing", nothing},
    {"OtherNamespace", false, "Thing", placed("root/other", ""), "Thing", nothing},
    {"OtherHost", true, "Thing", placed("root/cimv2", "a"), "Thing", placed("root/cimv2", "b")},
};

INSTANTIATE_TEST_SUITE_P(Paths, PathEqualityTest, testing::ValuesIn(kEqualityCases),
                         [](const auto& testInfo) { return std::string(testInfo.param.name); });

}  // namespace
}  // namespace zelInt
