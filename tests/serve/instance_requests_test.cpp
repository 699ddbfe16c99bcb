// CIM-XML requests about instances, handed to the service without HTTP. The operations behind it
// are scripted: a test sets what they return or throw, and sees with what they were called. Wrong
// names of instances have to be refused before anything is called.
#include <model/cim_error.h>

#include <stdexcept>

#include "service_fixture.h"

namespace servetest {
namespace {

using cimom::CimType;
using cimom::Instance;
using cimom::ObjectPath;
using cimom::Scalar;
using cimom::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kInvalidParameter = 4;
constexpr int kInvalidClass = 5;

class InstanceRequests : public ServiceTest {
 protected:
  static Instance special(const std::string& id) {
    Instance instance{thing(id, "Test_Special"), {}};
    instance.properties = {{"Id", Value::text(id)},
                           {"Numbers",
                            {CimType::kUint16,
                             true,
                             false,
                             {Scalar(std::uint64_t{1}), Scalar(), Scalar(std::uint64_t{65535})}}},
                           {"Note", Value::text("<a & \"b\", 'c'>\r\n\tend ")},
                           {"Flag", Value::boolean(true)},
                           {"Level", Value::signedNumber(CimType::kSint32, -2147483647 - 1)},
                           {"Letter", Value::number(CimType::kChar16, 0x20ac)},
                           {"Ratio", {CimType::kReal64, false, false, {Scalar(0.25)}}},
                           {"When", Value::null(CimType::kDateTime)}};
    return instance;
  }

  static CimRequest on(const std::string& operation, const std::string& className) {
    return CimRequest(operation).className("ClassName", className);
  }
  static CimRequest get(const std::string& path) {
    return CimRequest("GetInstance").xml("InstanceName", path);
  }
};

constexpr char kProperties[] = "//INSTANCE/*/@NAME";

TEST_F(InstanceRequests, NamesOfInstances) {
  host.paths = {thing("a"), thing("b", "Test_Special")};
  const CimResponse answer = ask(on("EnumerateInstanceNames", "test_thing"));
  EXPECT_THAT(host.seen, ElementsAre("enumerateInstanceNames root/cimv2:test_thing"));
  EXPECT_THAT(answer.select("//IRETURNVALUE/INSTANCENAME/@CLASSNAME"),
              ElementsAre("Test_Thing", "Test_Special"));
  EXPECT_THAT(answer.select("//KEYBINDING[@NAME='Id']/KEYVALUE[@VALUETYPE='string']"),
              ElementsAre("a", "b"));
}

TEST_F(InstanceRequests, InstancesComeWithTheirNamesAndEveryTypeOfValue) {
  host.instances = {special("a")};
  const CimResponse answer = ask(on("EnumerateInstances", "Test_Special"));
  EXPECT_THAT(answer.select("//VALUE.NAMEDINSTANCE/INSTANCENAME//KEYVALUE"), ElementsAre("a"));
  EXPECT_THAT(answer.select("//VALUE.NAMEDINSTANCE/INSTANCE/@CLASSNAME"),
              ElementsAre("Test_Special"));
  EXPECT_THAT(answer.select("//INSTANCE/PROPERTY/@TYPE"),
              ElementsAre("string", "string", "boolean", "sint32", "char16", "real64", "datetime"));
  EXPECT_THAT(
      answer.select("//INSTANCE/PROPERTY/VALUE"),
      ElementsAre("a", "<a & \"b\", 'c'>\r\n\tend ", "TRUE", "-2147483648", "\u20ac", "0.25"));
  EXPECT_THAT(answer.select("//PROPERTY.ARRAY/VALUE.ARRAY/VALUE"), ElementsAre("1", "65535"));
  EXPECT_THAT(answer.select("//VALUE.ARRAY/*[2][self::VALUE.NULL]"), ElementsAre(""));
  EXPECT_THAT(answer.select("//PROPERTY[@NAME='When']/VALUE"), IsEmpty());
}

TEST_F(InstanceRequests, DeepInheritanceIsTheDefaultAndWithoutItTheClassesOwnPropertiesCome) {
  host.instances = {special("a")};
  EXPECT_THAT(ask(on("EnumerateInstances", "Test_Thing")).select(kProperties), testing::SizeIs(8));
  const CimResponse shallow =
      ask(on("EnumerateInstances", "Test_Thing").flag("DeepInheritance", false));
  EXPECT_THAT(shallow.select(kProperties), ElementsAre("Id", "Numbers", "Note"));
  EXPECT_THAT(shallow.select("//INSTANCE/@CLASSNAME"), ElementsAre("Test_Special"));
}

TEST_F(InstanceRequests, APropertyListGoesToTheProviderAndNarrowsWhatItAnswers) {
  host.instances = {special("a")};
  const CimResponse some = ask(
      on("EnumerateInstances", "Test_Thing").names("PropertyList", {"note", "Level", "NoSuch"}));
  EXPECT_THAT(some.select(kProperties), ElementsAre("Note", "Level"));
  const CimResponse none = ask(on("EnumerateInstances", "Test_Thing").names("PropertyList", {}));
  EXPECT_THAT(none.select(kProperties), IsEmpty());
  EXPECT_THAT(none.select("//KEYVALUE"), ElementsAre("a"));
  EXPECT_THAT(host.seen, ElementsAre("enumerateInstances root/cimv2:Test_Thing [note,Level,NoSuch]",
                                     "enumerateInstances root/cimv2:Test_Thing []"));
}

TEST_F(InstanceRequests, AListWithoutAValueIsNoList) {
  host.instances = {special("a")};
  const CimResponse answer = ask(on("EnumerateInstances", "Test_Thing").xml("PropertyList", ""));
  EXPECT_THAT(answer.select(kProperties), testing::SizeIs(8));
  EXPECT_THAT(host.seen, ElementsAre("enumerateInstances root/cimv2:Test_Thing all"));
}

TEST_F(InstanceRequests, QualifiersAndOriginsComeOnlyWhenWanted) {
  host.instances = {special("a")};
  const CimRequest plain = get(instanceName("Test_Special", {{"Id", "a"}}));
  EXPECT_THAT(ask(plain).select("//QUALIFIER | //@CLASSORIGIN"), IsEmpty());
  const CimResponse with =
      ask(CimRequest(plain).flag("IncludeQualifiers", true).flag("IncludeClassOrigin", true));
  EXPECT_THAT(with.select("//PROPERTY[@NAME='Id']/QUALIFIER/@NAME"), ElementsAre("Key", "MaxLen"));
  EXPECT_THAT(with.select("//PROPERTY[@NAME='Note']/@CLASSORIGIN"), ElementsAre("Test_Thing"));
}

TEST_F(InstanceRequests, LocalOnlyLosesNothingOfInstances) {
  host.instances = {special("a")};
  const CimRequest path = get(instanceName("Test_Special", {{"Id", "a"}}));
  EXPECT_EQ(ask(CimRequest(path).flag("LocalOnly", true)).text(),
            ask(CimRequest(path).flag("LocalOnly", false)).text());
}

TEST_F(InstanceRequests, GetInstanceAnswersAnInstanceWithoutItsName) {
  host.instances = {special("a")};
  const CimResponse answer =
      ask(get(instanceName("test_special", {{"ID", "a"}})).names("PropertyList", {"Flag"}));
  EXPECT_THAT(host.seen, ElementsAre("getInstance root/cimv2:Test_Special.Id=\"a\" [Flag]"));
  EXPECT_STREQ(answer.value().name(), "INSTANCE");
  EXPECT_THAT(answer.select(kProperties), ElementsAre("Flag"));
}

TEST_F(InstanceRequests, GetPropertyAnswersOneValue) {
  host.instances = {special("a")};
  const auto property = [this](const char* name) {
    return ask(CimRequest("GetProperty")
                   .xml("InstanceName", instanceName("Test_Special", {{"Id", "a"}}))
                   .text("PropertyName", name));
  };
  EXPECT_THAT(property("level").select("//IRETURNVALUE/VALUE"), ElementsAre("-2147483648"));
  EXPECT_THAT(property("Numbers").select("//IRETURNVALUE/VALUE.ARRAY/VALUE"),
              ElementsAre("1", "65535"));
  EXPECT_FALSE(property("When").value());
  EXPECT_FALSE(property("Caption").value());
  constexpr int kNoSuchProperty = 12;
  EXPECT_EQ(property("NoSuch").errorCode(), kNoSuchProperty);
}

TEST_F(InstanceRequests, KeysGetTheTypesThatTheirClassDeclares) {
  host.instances = {{{}, {}}};
  host.instances.front().path.className = "Test_Pair";
  ask(
      get("<INSTANCENAME CLASSNAME=\"Test_Pair\">"
          "<KEYBINDING NAME=\"First\"><KEYVALUE VALUETYPE=\"string\"> 12 </KEYVALUE></KEYBINDING>"
          "<KEYBINDING NAME=\"Second\"><KEYVALUE VALUETYPE=\"numeric\"> -0x10 </KEYVALUE>"
          "</KEYBINDING><KEYBINDING NAME=\"Third\"><KEYVALUE VALUETYPE=\"boolean\">TRUE</KEYVALUE>"
          "</KEYBINDING></INSTANCENAME>"));
  ask(
      get("<INSTANCENAME CLASSNAME=\"Test_Counter\"><KEYVALUE>4294967295</KEYVALUE>"
          "</INSTANCENAME>"));
  EXPECT_THAT(
      host.seen,
      ElementsAre("getInstance root/cimv2:Test_Pair.First=\" 12 \",Second=-16,Third=true all",
                  "getInstance root/cimv2:Test_Counter.Number=4294967295 all"));
}

struct WrongPath {
  const char* xml;
  int code;
};

class WrongInstanceName : public InstanceRequests, public testing::WithParamInterface<WrongPath> {};

TEST_P(WrongInstanceName, IsRefusedBeforeAnybodyIsAsked) {
  EXPECT_EQ(ask(get(GetParam().xml)).errorCode(), GetParam().code);
  EXPECT_THAT(host.seen, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Paths, WrongInstanceName,
    testing::Values(
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_None\"/>", kInvalidClass},
        WrongPath{"<INSTANCENAME/>", kInvalidParameter},
        WrongPath{"<CLASSNAME NAME=\"Test_Thing\"/>", kInvalidParameter},
        WrongPath{"", kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Thing\"><KEYBINDING NAME=\"Note\"><KEYVALUE>a"
                  "</KEYVALUE></KEYBINDING></INSTANCENAME>",
                  kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Thing\"><KEYBINDING NAME=\"Id\"><KEYVALUE>a"
                  "</KEYVALUE></KEYBINDING><KEYBINDING NAME=\"id\"><KEYVALUE>b</KEYVALUE>"
                  "</KEYBINDING></INSTANCENAME>",
                  kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Pair\"><KEYVALUE>a</KEYVALUE></INSTANCENAME>",
                  kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Counter\"><KEYVALUE>4294967296</KEYVALUE>"
                  "</INSTANCENAME>",
                  kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Counter\"><KEYVALUE>-1</KEYVALUE></INSTANCENAME>",
                  kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Counter\"><KEYVALUE>12a</KEYVALUE>"
                  "</INSTANCENAME>",
                  kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Counter\"><KEYVALUE></KEYVALUE></INSTANCENAME>",
                  kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Pair\"><KEYBINDING NAME=\"Third\"><KEYVALUE>maybe"
                  "</KEYVALUE></KEYBINDING></INSTANCENAME>",
                  kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Link\"><KEYBINDING NAME=\"Left\"><KEYVALUE>a"
                  "</KEYVALUE></KEYBINDING></INSTANCENAME>",
                  kInvalidParameter},
        WrongPath{"<INSTANCENAME CLASSNAME=\"Test_Link\"><KEYBINDING NAME=\"Left\">"
                  "<VALUE.REFERENCE><INSTANCENAME CLASSNAME=\"Test_None\"/></VALUE.REFERENCE>"
                  "</KEYBINDING></INSTANCENAME>",
                  kInvalidParameter}));

struct WrongParameter {
  const char* name;
  const char* xml;
};

class WrongParameters : public InstanceRequests,
                        public testing::WithParamInterface<WrongParameter> {};

TEST_P(WrongParameters, AreRefusedByName) {
  const CimResponse answer =
      ask(on("EnumerateInstances", "Test_Thing").xml(GetParam().name, GetParam().xml));
  EXPECT_EQ(answer.errorCode(), kInvalidParameter);
  EXPECT_THAT(answer.errorText(), HasSubstr(GetParam().name));
  EXPECT_THAT(host.seen, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, WrongParameters,
    testing::Values(WrongParameter{"DeepInheritance", "<VALUE>perhaps</VALUE>"},
                    WrongParameter{"DeepInheritance", "<VALUE></VALUE>"},
                    WrongParameter{"DeepInheritance", "<CLASSNAME NAME=\"Test_Thing\"/>"},
                    WrongParameter{"PropertyList", "<VALUE>Note</VALUE>"},
                    WrongParameter{"classname", "<CLASSNAME NAME=\"Test_Thing\"/>"},
                    WrongParameter{"Colour", "<VALUE>red</VALUE>"},
                    WrongParameter{"Role", "<VALUE>Left</VALUE>"}));

TEST_F(InstanceRequests, UnknownClassesAndMissingOnesAreTold) {
  for (const char* operation : {"EnumerateInstances", "EnumerateInstanceNames"}) {
    EXPECT_EQ(ask(on(operation, "Test_None")).errorCode(), kInvalidClass) << operation;
    EXPECT_EQ(ask(CimRequest(operation)).errorCode(), kInvalidParameter) << operation;
    EXPECT_EQ(ask(on(operation, "")).errorCode(), kInvalidParameter) << operation;
  }
  EXPECT_THAT(host.seen, IsEmpty());
}

TEST_F(InstanceRequests, ErrorsOfProvidersComeWithTheirCodeAndText) {
  const CimRequest request = on("EnumerateInstances", "Test_Thing");
  host.failure =
      std::make_exception_ptr(cimom::CimError(CMPI_RC_ERR_ACCESS_DENIED, "not \"you\" & <them>"));
  const CimResponse denied = ask(request);
  EXPECT_EQ(denied.errorCode(), 2);
  EXPECT_EQ(denied.errorText(), "not \"you\" & <them>");
  EXPECT_THAT(denied.select("//IRETURNVALUE"), IsEmpty());

  // A code that is CMPI's own means nothing to a client.
  host.failure =
      std::make_exception_ptr(cimom::CimError(CMPI_RC_ERR_INVALID_HANDLE, "a wrong handle"));
  EXPECT_EQ(ask(request).errorCode(), 1);
  host.failure = std::make_exception_ptr(std::runtime_error("the roof is on fire"));
  EXPECT_EQ(ask(request).errorCode(), 1);
  EXPECT_EQ(ask(request).errorText(), "the roof is on fire");
}

TEST_F(InstanceRequests, BytesThatAreNoUtf8AreReadAsLatin1AndWhatXmlCannotHoldIsReplaced) {
  Instance instance{thing("\xe9t\xe9"), {{"Note", Value::text("caf\xe9 \xc3\xa9 \x01 \xff\xfe")}}};
  host.instances = {instance};
  const CimResponse answer = ask(on("EnumerateInstances", "Test_Thing"));
  EXPECT_THAT(answer.select("//PROPERTY/VALUE"),
              ElementsAre("caf\u00e9 \u00e9 \ufffd \u00ff\u00fe"));
  EXPECT_THAT(answer.select("//KEYVALUE"), ElementsAre("\u00e9t\u00e9"));
}

TEST_F(InstanceRequests, EverythingElseIsNotSupported) {
  constexpr int kNotSupported = 7;
  for (const char* operation :
       {"CreateInstance", "ModifyInstance", "DeleteInstance", "CreateClass", "ModifyClass",
        "DeleteClass", "SetProperty", "ExecQuery", "SetQualifier", "DeleteQualifier",
        "OpenQueryInstances", "EnumerationCount", "Nonsense"}) {
    const CimResponse answer = ask(CimRequest(operation));
    EXPECT_EQ(answer.errorCode(), kNotSupported) << operation;
    EXPECT_THAT(answer.select("//IMETHODRESPONSE/@NAME"), ElementsAre(operation));
  }
}

TEST_F(InstanceRequests, OtherNamespacesAreUnknown) {
  constexpr int kInvalidNamespace = 3;
  for (const char* name : {"root", "root/cimv2/deeper", "root/other", ""}) {
    const CimRequest request = on("EnumerateInstances", "Test_Thing").nameSpace(name);
    if (*name == '\0') continue;
    EXPECT_EQ(ask(request).errorCode(), kInvalidNamespace) << name;
  }
  host.instances = {special("a")};
  EXPECT_EQ(ask(on("EnumerateInstances", "Test_Thing").nameSpace("ROOT/CIMV2")).errorCode(), 0);
}

}  // namespace
}  // namespace servetest
