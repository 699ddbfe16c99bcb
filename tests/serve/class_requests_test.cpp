#include "service_fixture.h"

namespace servetest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

class ClassRequests : public ServiceTest {
 protected:
  static CimRequest getClass(const std::string& name) {
    return CimRequest("GetClass").className("ClassName", name);
  }
};

constexpr char kElements[] = "//CLASS/*[self::PROPERTY or self::PROPERTY.ARRAY]/@NAME";
constexpr char kMethods[] = "//CLASS/METHOD/@NAME";

TEST_F(ClassRequests, NamesOfTheTopWithoutAClass) {
  EXPECT_THAT(ask(CimRequest("EnumerateClassNames")).select("//CLASSNAME/@NAME"),
              ElementsAre("Test_Count", "Test_Element", "Test_Link", "Test_Marker"));
}

TEST_F(ClassRequests, NamesRightBelowAClassOrAllBelowIt) {
  const auto below = [this](bool deep) {
    return ask(CimRequest("EnumerateClassNames")
                   .className("ClassName", "test_element")
                   .flag("DeepInheritance", deep))
        .select("//IRETURNVALUE/CLASSNAME/@NAME");
  };
  EXPECT_THAT(below(false), ElementsAre("Test_Counter", "Test_Pair", "Test_Thing"));
  EXPECT_THAT(below(true), ElementsAre("Test_Counter", "Test_Pair", "Test_Thing", "Test_Special"));
}

TEST_F(ClassRequests, ClassesBelowAClassOrAllOfThem) {
  const auto classes = [this](const CimRequest& request) {
    return ask(request).select("//IRETURNVALUE/CLASS/@NAME");
  };
  const CimRequest all = CimRequest("EnumerateClasses").flag("DeepInheritance", true);
  EXPECT_EQ(classes(all).size(), repository.classNames().size());
  EXPECT_THAT(classes(CimRequest("EnumerateClasses").className("ClassName", "Test_Thing")),
              ElementsAre("Test_Special"));
  EXPECT_THAT(classes(CimRequest("EnumerateClasses").className("ClassName", "Test_Special")),
              IsEmpty());
}

TEST_F(ClassRequests, LocalOnlyIsTheDefaultAndLeavesInheritedElementsOut) {
  const CimResponse local = ask(getClass("Test_Special"));
  EXPECT_THAT(local.select(kElements),
              ElementsAre("Note", "Flag", "Level", "Letter", "Ratio", "When", "Sizes"));
  EXPECT_THAT(local.select(kMethods), ElementsAre("Check"));

  const CimResponse whole = ask(getClass("Test_Special").flag("LocalOnly", false));
  EXPECT_THAT(whole.select(kElements), ElementsAre("Caption", "Id", "Numbers", "Note", "Flag",
                                                   "Level", "Letter", "Ratio", "When", "Sizes"));
  EXPECT_THAT(whole.select(kMethods), ElementsAre("Check", "Reset"));
}

TEST_F(ClassRequests, LocalOnlyAppliesToEnumeratedClassesToo) {
  const auto first = [this](const CimRequest& request) {
    return ask(request).select("//CLASS[@NAME='Test_Special']/*/@NAME");
  };
  const CimRequest below = CimRequest("EnumerateClasses").className("ClassName", "Test_Thing");
  EXPECT_THAT(first(below), Not(Contains("Caption")));
  EXPECT_THAT(first(CimRequest(below).flag("LocalOnly", false)), Contains("Caption"));
}

TEST_F(ClassRequests, QualifiersComeUnlessTheyAreNotWanted) {
  const CimResponse with = ask(getClass("Test_Thing"));
  EXPECT_THAT(with.select("//PROPERTY[@NAME='Id']/QUALIFIER/@NAME"), ElementsAre("Key", "MaxLen"));
  EXPECT_THAT(with.select("//QUALIFIER[@NAME='Values']/VALUE.ARRAY/VALUE"),
              ElementsAre("one", "two"));
  EXPECT_THAT(with.select("//METHOD[@NAME='Reset']/QUALIFIER/VALUE"), ElementsAre("Starts again."));
  EXPECT_THAT(with.select("//PARAMETER.ARRAY[@NAME='Names']/QUALIFIER/@NAME"),
              ElementsAre("In", "Out"));
  const CimResponse without = ask(getClass("Test_Thing").flag("IncludeQualifiers", false));
  EXPECT_THAT(without.select("//QUALIFIER"), IsEmpty());
  EXPECT_EQ(without.select(kElements), with.select(kElements));
}

TEST_F(ClassRequests, QualifiersOfAnOverrideSayWhichAreInherited) {
  const CimResponse whole = ask(getClass("Test_Thing").flag("LocalOnly", false));
  EXPECT_THAT(whole.select("//PROPERTY[@NAME='Caption']/QUALIFIER/@PROPAGATED"),
              ElementsAre("true"));
  EXPECT_THAT(whole.select("//PROPERTY[@NAME='Caption']/QUALIFIER/VALUE"),
              ElementsAre("What it is \"called\" <here> & there."));
  EXPECT_THAT(whole.select("/CIM//CLASS/QUALIFIER[@NAME='Description']/@PROPAGATED"),
              ElementsAre("true"));
  // Abstract and Version are of the class that declares them alone.
  EXPECT_THAT(whole.select("/CIM//CLASS/QUALIFIER/@NAME"), ElementsAre("Description"));
}

TEST_F(ClassRequests, OriginsComeOnlyWhenWanted) {
  const CimRequest plain = getClass("Test_Special").flag("LocalOnly", false);
  EXPECT_THAT(ask(plain).select("//@CLASSORIGIN"), IsEmpty());
  const CimResponse with = ask(CimRequest(plain).flag("IncludeClassOrigin", true));
  EXPECT_THAT(with.select("//PROPERTY[@NAME='Caption']/@CLASSORIGIN"), ElementsAre("Test_Element"));
  EXPECT_THAT(with.select("//PROPERTY[@NAME='Note']/@CLASSORIGIN"), ElementsAre("Test_Thing"));
  EXPECT_THAT(with.select("//PROPERTY[@NAME='Level']/@CLASSORIGIN"), ElementsAre("Test_Special"));
  EXPECT_THAT(with.select("//METHOD[@NAME='Check']/@CLASSORIGIN"), ElementsAre("Test_Thing"));
  EXPECT_THAT(with.select("//*[@PROPAGATED='true']/@NAME"),
              IsSupersetOf({"Caption", "Id", "Numbers", "Reset"}));
  EXPECT_THAT(with.select("//PROPERTY[@PROPAGATED='true']/@NAME"), Not(Contains("Note")));
}

TEST_F(ClassRequests, APropertyListNarrowsPropertiesAndKeepsMethods) {
  const auto narrowed = [&](const std::vector<std::string>& names) {
    return ask(getClass("Test_Special").flag("LocalOnly", false).names("PropertyList", names));
  };
  EXPECT_THAT(narrowed({"ID", "Level", "NoSuch", "level"}).select(kElements),
              ElementsAre("Id", "Level"));
  EXPECT_THAT(narrowed({}).select(kElements), IsEmpty());
  EXPECT_THAT(narrowed({}).select(kMethods), ElementsAre("Check", "Reset"));
}

TEST_F(ClassRequests, EveryKindOfElementHasItsTypeAndDefault) {
  const CimResponse special = ask(getClass("Test_Special"));
  EXPECT_THAT(special.select("//PROPERTY/@TYPE"),
              ElementsAre("string", "boolean", "sint32", "char16", "real64", "datetime"));
  EXPECT_THAT(special.select("//PROPERTY.ARRAY[@TYPE='uint8']/@ARRAYSIZE"), ElementsAre("4"));
  EXPECT_THAT(special.select("//PROPERTY[@NAME='Level']/VALUE"), ElementsAre("-3"));
  EXPECT_THAT(special.select("//CLASS/@SUPERCLASS"), ElementsAre("Test_Thing"));
  const CimResponse link = ask(getClass("Test_ThingLink"));
  EXPECT_THAT(link.select("//PROPERTY.REFERENCE/@REFERENCECLASS"),
              ElementsAre("Test_Thing", "Test_Thing"));
  const CimResponse thing = ask(getClass("Test_Thing"));
  EXPECT_THAT(thing.select("//METHOD[@NAME='Reset']/@TYPE"), ElementsAre("uint32"));
  EXPECT_THAT(thing.select("//METHOD/PARAMETER.REFERENCE/@REFERENCECLASS"),
              ElementsAre("Test_Thing"));
}

TEST_F(ClassRequests, UnknownClassesAreTold) {
  constexpr int kInvalidClass = 5;
  constexpr int kNotFound = 6;
  EXPECT_EQ(ask(getClass("Test_None")).errorCode(), kNotFound);
  for (const char* operation : {"EnumerateClasses", "EnumerateClassNames"}) {
    const CimResponse answer = ask(CimRequest(operation).className("ClassName", "Test_None"));
    EXPECT_EQ(answer.errorCode(), kInvalidClass) << operation;
    EXPECT_THAT(answer.errorText(), testing::HasSubstr("Test_None"));
  }
}

}  // namespace
}  // namespace servetest
