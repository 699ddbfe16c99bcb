#include "binding_test.h"

namespace zelInt {
namespace {

using test_support::FilterManner;
using test_support::Manners;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using InstanceTest = BindingTest;

TEST_F(InstanceTest, PropertiesReachTheBrokerAndComeBack) {
  CmpiInstance instance(thingPath());
  instance.setProperty("Note", CmpiData("words"));
  instance.setProperty("Small", CmpiData(static_cast<unsigned char>(3)));
  instance.setProperty("Flag", CmpiData(false));
  instance.setProperty("Next", CmpiData(thingPath()));
  EXPECT_EQ(textOf(instance.getProperty("note")), "words");
  EXPECT_EQ(instance.getProperty("Small").raw().value.uint8, 3);
  EXPECT_EQ(instance.getProperty("Flag").raw().value.boolean, 0);
  EXPECT_TRUE(CmpiObjectPath(instance.getProperty("Next")) == instance.getObjectPath());
}

TEST_F(InstanceTest, ThrowsWhatTheBrokerSaysAboutAProperty) {
  CmpiInstance instance(thingPath());
  const CmpiStatus unknown = statusThrownBy([&] { instance.setProperty("Colour", CmpiData("")); });
  EXPECT_EQ(unknown.rc(), CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_THAT(unknown.msg(), HasSubstr("Colour"));
  EXPECT_EQ(codeThrownBy([&] { instance.setProperty("Small", CmpiData("3")); }),
            CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(codeThrownBy([&] { instance.getProperty("Note"); }), CMPI_RC_ERR_NO_SUCH_PROPERTY);
}

TEST_F(InstanceTest, ANewInstanceOfAnUnknownClassThrows) {
  EXPECT_EQ(codeThrownBy([] { CmpiInstance instance(thingPath("Nothing")); }),
            CMPI_RC_ERR_INVALID_CLASS);
}

/// Whether newInstance copies the keys.
class KeyPropertiesTest : public BindingTest, public testing::WithParamInterface<bool> {
 protected:
  KeyPropertiesTest() : BindingTest(mannersFor(GetParam())) {}
  static Manners mannersFor(bool copies) {
    Manners manners;
    manners.newInstanceCopiesKeys = copies;
    return manners;
  }
};

TEST_P(KeyPropertiesTest, KeysArePropertiesUnderEveryObjectManager) {
  const CmpiInstance instance(thingPath());
  EXPECT_THAT(propertyNames(instance), ElementsAre("Name", "Number"));
  EXPECT_EQ(textOf(instance.getProperty("Name")), "one");
  EXPECT_EQ(instance.getProperty("Number").raw().value.uint16, 7);
}

TEST_P(KeyPropertiesTest, KeysAreSetOnlyWhereTheyDidNotComeWithTheInstance) {
  const CmpiObjectPath path = thingPath();
  watched.clear();
  const CmpiInstance instance(path);
  EXPECT_EQ(watched.count("instance.setProperty"), GetParam() ? 0U : 2U);
}

TEST_P(KeyPropertiesTest, AReferenceAsTheLastKeyTellsToo) {
  CmpiObjectPath path = thingPath();
  path.setKey("Next", CmpiData(thingPath()));
  watched.clear();
  const CmpiInstance instance(path);
  EXPECT_EQ(watched.count("instance.setProperty"), GetParam() ? 0U : 3U);
}

/// Object managers differ in how they say that an instance lacks a property.
TEST_P(KeyPropertiesTest, HoweverTheQuestionForAKeyIsDeniedTheKeysAreSet) {
  const CmpiObjectPath path = thingPath();
  for (const CMPIrc code : {CMPI_RC_ERR_NO_SUCH_PROPERTY, CMPI_RC_ERR_NOT_FOUND, CMPI_RC_OK}) {
    watched.failNothing();
    watched.clear();
    watched.failCall("instance.getProperty", 0, code);
    const CmpiInstance instance(path);
    EXPECT_EQ(watched.count("instance.setProperty"), 2U) << code;
    watched.failNothing();
    EXPECT_EQ(textOf(instance.getProperty("Name")), "one") << code;
  }
}

TEST_P(KeyPropertiesTest, ReferencesAmongTheKeysBecomePropertiesToo) {
  CmpiObjectPath path = thingPath();
  path.setKey("Next", CmpiData(thingPath()));
  const CmpiInstance instance(path);
  EXPECT_TRUE(CmpiObjectPath(instance.getProperty("Next")) == thingPath());
}

TEST_P(KeyPropertiesTest, AKeyWithoutAValueIsNotSet) {
  CmpiObjectPath path("root/cimv2", "Thing");
  path.setKey("Name", rawData(CMPI_string, {}, CMPI_nullValue));
  watched.clear();
  const CmpiInstance instance(path);
  EXPECT_EQ(watched.count("instance.setProperty"), 0U);
}

INSTANTIATE_TEST_SUITE_P(NewInstance, KeyPropertiesTest, testing::Bool(), [](const auto& testInfo) {
  return testInfo.param ? "CopiesKeys" : "LeavesKeysOut";
});

/// A broker that does something with each new instance before it hands it out.
class NewInstanceTest : public BindingTest {
 protected:
  using Change = void (*)(CMPIInstance* instance);

  explicit NewInstanceTest() {
    original = inner.record()->eft;
    table.newInstance = [](const CMPIBroker* broker, const CMPIObjectPath* path,
                           CMPIStatus* status) {
      CMPIInstance* instance = original->newInstance(broker, path, status);
      change(instance);
      return instance;
    };
  }

  CmpiInstance madeWith(Change changeOfInstance) {
    change = changeOfInstance;
    const CurrentBrokerScope scope(&changing);
    return CmpiInstance(thingPath());
  }

  static inline const CMPIBrokerEncFT* original = nullptr;
  static inline Change change = nullptr;

  CMPIBrokerEncFT table = *inner.record()->eft;
  CMPIBroker changing{inner.record()->hdl, inner.record()->bft, &table, inner.record()->xft,
                      inner.record()->mft};
};

TEST_F(NewInstanceTest, AKeyThatCameWithAnotherValueIsSet) {
  const CmpiInstance instance = madeWith([](CMPIInstance* made) {
    const CMPIValue number{.uint16 = 1};
    made->ft->setProperty(made, "Number", &number, CMPI_uint16);
  });
  EXPECT_EQ(instance.getProperty("Number").raw().value.uint16, 7);
}

TEST_F(NewInstanceTest, WhereTheQuestionForAKeyIsMissingTheKeysAreSet) {
  static CMPIInstanceFT silent;
  static int set = 0;
  const CmpiInstance instance = madeWith([](CMPIInstance* made) {
    silent = *made->ft;
    silent.getProperty = nullptr;
    silent.setProperty = [](const CMPIInstance*, const char*, const CMPIValue*, CMPIType) {
      ++set;
      return CMPIStatus{CMPI_RC_OK, nullptr};
    };
    made->ft = &silent;
  });
  EXPECT_EQ(set, 2);
}

TEST_F(InstanceTest, HandsTheOwnKeyNamesOnWhereTheCallerListsNone) {
  CmpiInstance instance(thingPath());
  instance.setProperty("Note", CmpiData("words"));
  instance.setProperty("Small", CmpiData(static_cast<unsigned char>(3)));
  const char* properties[] = {"Note", nullptr};
  instance.setPropertyFilter(properties, nullptr);
  EXPECT_THAT(watched.callTexts("instance.setPropertyFilter"),
              ElementsAre("instance.setPropertyFilter([Note], [Name, Number])"));
  EXPECT_THAT(propertyNames(instance), UnorderedElementsAre("Name", "Number", "Note"));
}

TEST_F(InstanceTest, AnEmptyPropertyListLeavesTheKeys) {
  CmpiInstance instance(thingPath());
  instance.setProperty("Note", CmpiData("words"));
  const char* properties[] = {nullptr};
  instance.setPropertyFilter(properties, nullptr);
  EXPECT_THAT(propertyNames(instance), UnorderedElementsAre("Name", "Number"));
}

TEST_F(InstanceTest, ThePathsKeyNamesCountAlsoWhenTheyCameWithTheInstance) {
  // An instance of an upcall: its path is the broker's, not one that was made here.
  upcalls.instances = {{{"", "root/cimv2", "Thing", {{"Name", cimom::Value::text("up")}}},
                        {{"Name", cimom::Value::text("up")}, {"Note", cimom::Value::text("n")}}}};
  const CmpiBroker broker(watched.record());
  CmpiInstance instance =
      broker.enumInstances(CmpiContext(request.newContext("root/cimv2", 0)), thingPath(), nullptr)
          .getNext();
  const char* properties[] = {nullptr};
  instance.setPropertyFilter(properties, nullptr);
  EXPECT_THAT(propertyNames(instance), ElementsAre("Name"));
}

TEST_F(InstanceTest, ANullPropertyListStaysANullCall) {
  CmpiInstance instance(thingPath());
  instance.setProperty("Note", CmpiData("words"));
  watched.clear();
  instance.setPropertyFilter(nullptr, nullptr);
  EXPECT_THAT(watched.callTexts(), ElementsAre("instance.setPropertyFilter(null, null)"));
  EXPECT_THAT(propertyNames(instance), ElementsAre("Name", "Number", "Note"));
}

TEST_F(InstanceTest, TheCallersKeyListIsHandedOnAsItIs) {
  CmpiInstance instance(thingPath());
  const char* properties[] = {"Note", nullptr};
  const char* keys[] = {"Number", nullptr};
  instance.setPropertyFilter(properties, keys);
  instance.setPropertyFilter(nullptr, keys);
  EXPECT_THAT(watched.callTexts("instance.setPropertyFilter"),
              ElementsAre("instance.setPropertyFilter([Note], [Number])",
                          "instance.setPropertyFilter(null, [Number])"));
}

}  // namespace
}  // namespace zelInt
