#include "binding_test.h"

#include <zelcppc/CmpiArray.h>

#include <type_traits>

namespace zelInt {
namespace {

using testing::HasSubstr;

using DataTest = BindingTest;

// A pointer of any other kind must not turn into a boolean on its way.
static_assert(!std::is_constructible_v<CmpiData, const CMPIString*>);
static_assert(!std::is_constructible_v<CmpiData, void*>);
static_assert(std::is_constructible_v<CmpiData, char*>);

TEST_F(DataTest, CarriesTypeAndValue) {
  EXPECT_EQ(CmpiData(static_cast<unsigned char>(9)).type(), CMPI_uint8);
  EXPECT_EQ(CmpiData(static_cast<unsigned char>(9)).raw().value.uint8, 9);
  EXPECT_EQ(CmpiData(static_cast<unsigned short>(900)).type(), CMPI_uint16);
  EXPECT_EQ(CmpiData(static_cast<unsigned short>(900)).raw().value.uint16, 900);
  EXPECT_EQ(CmpiData(true).type(), CMPI_boolean);
  EXPECT_EQ(CmpiData(true).raw().value.boolean, 1);
  EXPECT_EQ(CmpiData(CmpiArray(2, CMPI_uint16)).type(), CMPI_ARRAY | CMPI_uint16);
  EXPECT_EQ(CmpiData(thingPath()).type(), CMPI_ref);
  EXPECT_FALSE(CmpiData("x").isNull());
}

TEST_F(DataTest, HandsTextOverAsThePointerItself) {
  const char* text = "characters";
  const CmpiData data(text);
  EXPECT_EQ(data.type(), CMPI_chars);
  EXPECT_EQ(static_cast<const void*>(data.valuePointer()), text);
  const CmpiData number(static_cast<unsigned char>(9));
  EXPECT_EQ(number.valuePointer(), &number.raw().value);
}

TEST_F(DataTest, ANullPointerIsEmptyText) {
  const char* missing = nullptr;
  EXPECT_EQ(textOf(CmpiData(missing)), "");
  CmpiObjectPath path("root/cimv2", "Thing");
  path.setKey("Name", CmpiData(missing));
  EXPECT_EQ(textOf(path.getKey("Name")), "");
}

TEST_F(DataTest, CharsAndStringBothReadAsText) {
  EXPECT_EQ(textOf(rawData(CMPI_chars, charsValue("from chars"))), "from chars");
  CMPIValue value{};
  value.string = watched.record()->eft->newString(watched.record(), "from string", nullptr);
  EXPECT_EQ(textOf(rawData(CMPI_string, value)), "from string");
}

TEST_F(DataTest, NullTextIsEmptyText) {
  EXPECT_EQ(textOf(rawData(CMPI_string, {}, CMPI_nullValue)), "");
  EXPECT_EQ(textOf(rawData(CMPI_chars, {}, CMPI_nullValue)), "");
  EXPECT_EQ(textOf(rawData(CMPI_null, {}, CMPI_nullValue)), "");
  EXPECT_EQ(textOf(rawData(CMPI_string)), "");
  EXPECT_EQ(textOf(rawData(CMPI_chars)), "");
}

TEST_F(DataTest, TextOfAnotherTypeIsATypeMismatch) {
  for (const CMPIType type : {CMPI_boolean, CMPI_char16, CMPI_uint8, CMPI_uint16, CMPI_sint64,
                              CMPI_real32, CMPI_ref, CMPI_instance, CMPI_dateTime}) {
    EXPECT_EQ(codeThrownBy([&] { textOf(rawData(type)); }), CMPI_RC_ERR_TYPE_MISMATCH) << type;
  }
  const auto array = static_cast<CMPIType>(CMPI_ARRAY | CMPI_string);
  const CmpiStatus status = statusThrownBy([&] { textOf(rawData(array)); });
  EXPECT_EQ(status.rc(), CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_THAT(status.msg(), HasSubstr("array of string"));
}

TEST_F(DataTest, ReferencesAndInstancesConvertToTheirKindAlone) {
  const CmpiObjectPath path = thingPath();
  EXPECT_EQ(CmpiObjectPath(CmpiData(path)).getHandle(), path.getHandle());
  CMPIValue value{};
  value.inst = const_cast<CMPIInstance*>(CmpiInstance(path).getHandle());
  const CmpiData instance = rawData(CMPI_instance, value);
  EXPECT_EQ(static_cast<CmpiInstance>(instance).getHandle(), value.inst);
  EXPECT_EQ(codeThrownBy([&] { static_cast<void>(static_cast<CmpiObjectPath>(instance)); }),
            CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(codeThrownBy([&] { static_cast<void>(static_cast<CmpiInstance>(CmpiData(path))); }),
            CMPI_RC_ERR_TYPE_MISMATCH);
}

TEST_F(DataTest, NullObjectsDoNotConvert) {
  for (const CMPIValueState state : {CMPI_goodValue, CMPI_nullValue}) {
    EXPECT_EQ(codeThrownBy([&] {
                static_cast<void>(static_cast<CmpiObjectPath>(rawData(CMPI_ref, {}, state)));
              }),
              CMPI_RC_ERR_TYPE_MISMATCH);
    EXPECT_EQ(codeThrownBy([&] {
                static_cast<void>(static_cast<CmpiInstance>(rawData(CMPI_instance, {}, state)));
              }),
              CMPI_RC_ERR_TYPE_MISMATCH);
  }
}

/// One object manager marks all data of an enumeration as null.
TEST_F(DataTest, APointerIsBelievedWhateverTheStateSays) {
  const CmpiObjectPath path = thingPath();
  const CmpiInstance instance(path);
  CMPIValue value{};
  for (const CMPIValueState state :
       {CMPI_goodValue, CMPI_nullValue, CMPI_keyValue, CMPI_notFound, CMPI_badValue}) {
    value.ref = const_cast<CMPIObjectPath*>(path.getHandle());
    EXPECT_EQ(CmpiObjectPath(rawData(CMPI_ref, value, state)).getHandle(), path.getHandle());
    EXPECT_FALSE(rawData(CMPI_ref, value, state).isNull());
    value.inst = const_cast<CMPIInstance*>(instance.getHandle());
    EXPECT_EQ(CmpiInstance(rawData(CMPI_instance, value, state)).getHandle(), value.inst);
    value.string = watched.record()->eft->newString(watched.record(), "text", nullptr);
    EXPECT_EQ(textOf(rawData(CMPI_string, value, state)), "text");
    EXPECT_EQ(textOf(rawData(CMPI_chars, charsValue("text"), state)), "text");
    EXPECT_FALSE(rawData(CMPI_chars, charsValue("text"), state).isNull());
    EXPECT_FALSE(CmpiData(CmpiArray(1, CMPI_uint16)).isNull());
  }
}

TEST_F(DataTest, WithoutAPointerNothingIsThereWhateverTheStateSays) {
  for (const CMPIType type :
       {CMPI_ref, CMPI_instance, CMPI_string, CMPI_chars, CMPI_dateTime, CMPI_enumeration}) {
    EXPECT_TRUE(rawData(type).isNull()) << type;
  }
  EXPECT_TRUE(rawData(static_cast<CMPIType>(CMPI_ARRAY | CMPI_uint16)).isNull());
  EXPECT_TRUE(rawData(CMPI_null).isNull());
}

TEST_F(DataTest, TheStateTellsOfNumbersAndBooleans) {
  for (const CMPIType type : {CMPI_boolean, CMPI_char16, CMPI_real64, CMPI_uint8, CMPI_sint64}) {
    EXPECT_FALSE(rawData(type).isNull()) << type;
    EXPECT_FALSE(rawData(type, {}, CMPI_keyValue).isNull()) << type;
    EXPECT_TRUE(rawData(type, {}, CMPI_nullValue).isNull()) << type;
  }
}

/// What the conversion to a reference says of data with that type and state and no pointer.
std::string complaintAbout(CMPIType type, CMPIValueState state = CMPI_goodValue) {
  return statusThrownBy([&] { static_cast<void>(CmpiObjectPath(rawData(type, {}, state))); }).msg();
}

TEST_F(DataTest, AMismatchNamesTheTypeInWords) {
  const std::string expected = "a value of type reference was expected, but the type is ";
  for (const auto& [type, word] : std::vector<std::pair<CMPIType, std::string>>{
           {CMPI_null, "null"},         {CMPI_boolean, "boolean"},
           {CMPI_char16, "char16"},     {CMPI_real32, "real32"},
           {CMPI_real64, "real64"},     {CMPI_uint8, "uint8"},
           {CMPI_uint16, "uint16"},     {CMPI_uint32, "uint32"},
           {CMPI_uint64, "uint64"},     {CMPI_sint8, "sint8"},
           {CMPI_sint16, "sint16"},     {CMPI_sint32, "sint32"},
           {CMPI_sint64, "sint64"},     {CMPI_instance, "instance"},
           {CMPI_args, "arguments"},    {CMPI_enumeration, "enumeration"},
           {CMPI_string, "string"},     {CMPI_chars, "characters"},
           {CMPI_dateTime, "datetime"}, {CMPIType{77}, "code 77"}}) {
    EXPECT_EQ(complaintAbout(type), expected + word);
    EXPECT_EQ(complaintAbout(static_cast<CMPIType>(CMPI_ARRAY | type)),
              expected + "array of " + word);
  }
}

TEST_F(DataTest, AMismatchSaysWhatIsWrong) {
  EXPECT_EQ(complaintAbout(CMPI_ref),
            "a value of type reference was expected, but the pointer is null");
  EXPECT_EQ(
      complaintAbout(CMPI_ref, CMPI_nullValue),
      "a value of type reference was expected, but the pointer is null and the state is null");
  EXPECT_EQ(complaintAbout(CMPI_null, CMPI_nullValue),
            "a value of type reference was expected, but the type is null and the state is null");
  EXPECT_EQ(complaintAbout(CMPI_uint8, CMPI_badValue | CMPI_notFound),
            "a value of type reference was expected, but the type is uint8 and the state is not "
            "found and the state is bad");
  EXPECT_STREQ(
      statusThrownBy([] { textOf(rawData(CMPI_chars, charsValue(""), CMPI_nullValue)); }).msg(),
      "");
  EXPECT_STREQ(
      statusThrownBy([] {
        static_cast<void>(CmpiInstance(rawData(CMPI_chars, charsValue(""), CMPI_nullValue)));
      }).msg(),
      "a value of type instance was expected, but the type is characters");
}

TEST_F(DataTest, ANullStringReadsAsEmptyText) {
  EXPECT_STREQ(CmpiString(static_cast<const CMPIString*>(nullptr)).charPtr(), "");
  EXPECT_STREQ(CmpiString(static_cast<const char*>(nullptr)).charPtr(), "");
  watched.failCall("string.getCharPtr", 0, CMPI_RC_OK);
  EXPECT_STREQ(thingPath().getClassName().charPtr(), "");
}

// Arrays

TEST_F(DataTest, ArrayElementsAreStoredAndRead) {
  const CmpiArray array(2, CMPI_uint16);
  array[0] = CmpiData(static_cast<unsigned short>(11));
  array[1] = CmpiData(static_cast<unsigned short>(12));
  EXPECT_EQ(static_cast<CmpiData>(array[0]).raw().value.uint16, 11);
  EXPECT_EQ(static_cast<CmpiData>(array[1]).raw().value.uint16, 12);
  EXPECT_THAT(watched.callTexts("array.setElementAt"),
              testing::ElementsAre("array.setElementAt(0, 11)", "array.setElementAt(1, 12)"));
}

TEST_F(DataTest, AnElementCanBeAssignedToAnother) {
  const CmpiArray array(2, CMPI_string);
  array[0] = CmpiData("first");
  array[1] = array[0];
  EXPECT_EQ(textOf(array[1]), "first");
}

TEST_F(DataTest, ArraysTravelAsProperties) {
  CmpiInstance instance(thingPath());
  CmpiArray words(1, CMPI_string);
  words[0] = CmpiData("word");
  instance.setProperty("Words", CmpiData(words));
  const CMPIData read = instance.getProperty("Words").raw();
  const CmpiArray back(read.value.array);
  EXPECT_EQ(back.elementType(), CMPI_string);
  EXPECT_EQ(textOf(back[0]), "word");
}

TEST_F(DataTest, ThrowsWhatTheBrokerSaysAboutAnArray) {
  CmpiArray array(1, CMPI_uint16);
  EXPECT_EQ(codeThrownBy([&] { array[0] = CmpiData("text"); }), CMPI_RC_ERR_TYPE_MISMATCH);
  EXPECT_EQ(codeThrownBy([&] { array[1] = CmpiData(static_cast<unsigned short>(1)); }),
            CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(codeThrownBy([&] { static_cast<void>(static_cast<CmpiData>(array[1])); }),
            CMPI_RC_ERR_NO_SUCH_PROPERTY);
  EXPECT_EQ(codeThrownBy([] { CmpiArray wrong(1, CMPI_instance); }), CMPI_RC_ERR_INVALID_DATA_TYPE);
}

}  // namespace
}  // namespace zelInt
