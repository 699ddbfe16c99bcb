#include "service_fixture.h"

namespace servetest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

class QualifierRequests : public ServiceTest {
 protected:
  static CimRequest get(const std::string& name) {
    return CimRequest("GetQualifier").text("QualifierName", name);
  }
  static CimRequest getClass(const std::string& name) {
    return CimRequest("GetClass").className("ClassName", name).flag("LocalOnly", false);
  }
};

TEST_F(QualifierRequests, ADeclarationHasTypeDefaultScopeAndFlavors) {
  const CimResponse key = ask(get("key"));
  EXPECT_STREQ(key.value().name(), "QUALIFIER.DECLARATION");
  EXPECT_THAT(key.select("//IRETURNVALUE/QUALIFIER.DECLARATION[@NAME='Key'][@TYPE='boolean']"
                         "[@ISARRAY='false'][@OVERRIDABLE='false']/VALUE"),
              ElementsAre("FALSE"));
  EXPECT_THAT(key.select("//SCOPE/@*"), ElementsAre("true", "true"));
  EXPECT_THAT(key.select("//SCOPE[@PROPERTY][@REFERENCE]"), testing::SizeIs(1));
  const CimResponse values = ask(get("Values"));
  EXPECT_THAT(values.select("//*[@TYPE='string'][@ISARRAY='true'][@TRANSLATABLE='true']/@NAME"),
              ElementsAre("Values"));
  EXPECT_THAT(values.select("//QUALIFIER.DECLARATION/VALUE"), IsEmpty());
  EXPECT_THAT(ask(get("Abstract")).select("//*[@TOSUBCLASS='false']/@NAME"),
              ElementsAre("Abstract"));
}

TEST_F(QualifierRequests, AllDeclarationsCome) {
  const CimResponse all = ask(CimRequest("EnumerateQualifiers"));
  const std::vector<std::string> names = all.select("//IRETURNVALUE/QUALIFIER.DECLARATION/@NAME");
  EXPECT_THAT(names, IsSupersetOf({"Abstract", "Association", "Description", "In", "Key", "MaxLen",
                                   "Out", "Override", "ValueMap", "Values", "Version"}));
  EXPECT_EQ(all.select("//QUALIFIER.DECLARATION/SCOPE").size(), names.size());
  for (const std::string& name : names) {
    EXPECT_THAT(ask(get(name)).select("//QUALIFIER.DECLARATION/@NAME"), ElementsAre(name));
  }
}

TEST_F(QualifierRequests, EveryQualifierThatAClassUsesIsDeclared) {
  EXPECT_THAT(ask(CimRequest("EnumerateQualifiers")).select("//QUALIFIER.DECLARATION/@NAME"),
              IsSupersetOf(ask(getClass("Test_Marked")).select("//QUALIFIER/@NAME")));
  EXPECT_THAT(ask(get("Made_Count")).select("//QUALIFIER.DECLARATION/@TYPE"),
              ElementsAre("sint64"));
  EXPECT_THAT(ask(get("Made_Names")).select("//QUALIFIER.DECLARATION/@ISARRAY"),
              ElementsAre("true"));
}

TEST_F(QualifierRequests, WhatTheMofDeclaresCounts) {
  const CimResponse rank = ask(get("Made_Rank"));
  EXPECT_THAT(rank.select("//QUALIFIER.DECLARATION[@TYPE='uint16'][@TOSUBCLASS='false']"
                          "[@TRANSLATABLE='true']/VALUE"),
              ElementsAre("7"));
  EXPECT_THAT(rank.select("//SCOPE[@CLASS='true'][@METHOD='true']/@*"), testing::SizeIs(2));
  EXPECT_THAT(ask(get("Made_Unused")).select("//SCOPE/@*"), testing::SizeIs(7));
  EXPECT_THAT(ask(getClass("Test_Marker")).select("//QUALIFIER[@NAME='Made_Rank']/@TYPE"),
              ElementsAre("uint16"));
}

TEST_F(QualifierRequests, UnknownOnesAreNotFound) {
  constexpr int kNotFound = 6;
  constexpr int kInvalidParameter = 4;
  EXPECT_EQ(ask(get("NoSuch")).errorCode(), kNotFound);
  EXPECT_EQ(ask(CimRequest("GetQualifier")).errorCode(), kInvalidParameter);
  EXPECT_EQ(ask(CimRequest("EnumerateQualifiers").text("QualifierName", "Key")).errorCode(),
            kInvalidParameter);
}

TEST_F(QualifierRequests, QualifiersOfClassesCarryTheirFlavors) {
  const CimResponse thing = ask(getClass("Test_Thing"));
  EXPECT_THAT(thing.select("//PROPERTY[@NAME='Id']/QUALIFIER[@NAME='Key']/@OVERRIDABLE"),
              ElementsAre("false"));
  EXPECT_THAT(thing.select("//QUALIFIER[@NAME='MaxLen']/@TYPE"), ElementsAre("uint32"));
  EXPECT_THAT(thing.select("//QUALIFIER[@NAME='Values']/@TRANSLATABLE"), ElementsAre("true"));
  EXPECT_THAT(ask(getClass("Test_Special")).select("//QUALIFIER[@NAME='Override']/@TOSUBCLASS"),
              Contains("false"));
}

TEST_F(QualifierRequests, AMethodThatOverridesAnotherInheritsItsQualifiers) {
  const CimRequest request = getClass("Test_Marked");
  const CimResponse whole = ask(request);
  EXPECT_THAT(whole.select("//METHOD[@NAME='Mark']/QUALIFIER/@NAME"),
              ElementsAre("Description", "Made_Count", "Override"));
  EXPECT_THAT(whole.select("//METHOD/QUALIFIER[@NAME='Made_Count']/@PROPAGATED"),
              ElementsAre("true"));
  EXPECT_THAT(whole.select("//METHOD/QUALIFIER[@NAME='Description']/VALUE"),
              ElementsAre("Marks again."));
  EXPECT_THAT(ask(CimRequest("GetClass").className("ClassName", "Test_Marked"))
                  .select("//METHOD/QUALIFIER/@NAME"),
              ElementsAre("Description", "Override"));
}

}  // namespace
}  // namespace servetest
