// Answers in the manners of different servers, read whole and byte by byte.
#include <cim_xml/response_reader.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace clienttest {
namespace {

using cimom::ReceivedObject;
using cimom::ResponseBudget;
using cimom::ResponseError;
using cimom::ResponseReader;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kHead[] =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
    "<MESSAGE ID=\"7\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP><IMETHODRESPONSE NAME=\"Ask\">";
constexpr char kTail[] = "</IMETHODRESPONSE></SIMPLERSP></MESSAGE></CIM>";

std::string response(const std::string& elements) {
  return kHead + elements + kTail;
}
std::string result(const std::string& objects) {
  return response("<IRETURNVALUE>" + objects + "</IRETURNVALUE>");
}

std::vector<ReceivedObject> readAll(const std::string& document, std::size_t step,
                                    ResponseBudget budget = {}) {
  ResponseReader reader("Ask", "7", "root/cimv2", budget);
  std::vector<ReceivedObject> all;
  for (std::size_t at = 0; at < document.size(); at += step) {
    reader.read(std::string_view(document).substr(at, step));
    for (ReceivedObject& object : reader.takeObjects()) all.push_back(std::move(object));
  }
  reader.finish();
  return all;
}

std::string valueText(const cimom::Value& value) {
  if (value.isNull) return "null";
  std::string text;
  for (const cimom::Scalar& element : value.elements) {
    const bool isNull = std::holds_alternative<std::monostate>(element);
    text += (text.empty() ? "" : ",") + (isNull ? "null" : cimom::toText(element));
  }
  return value.isArray ? "{" + text + "}" : text;
}

/// The path, its host in front, and the properties with their types.
std::string described(const ReceivedObject& object) {
  const cimom::Instance& instance = object.instance;
  std::string text = instance.path.host + "|" + cimom::toText(instance.path);
  for (const auto& [name, value] : instance.properties) {
    text += "|" + name + ":" + std::string(cimom::typeName(value.type)) + "=" + valueText(value);
  }
  return text;
}

std::vector<std::string> describedAll(const std::string& objects) {
  std::vector<std::string> whole;
  for (const auto& object : readAll(result(objects), std::string::npos / 2)) {
    whole.push_back(described(object));
  }
  std::vector<std::string> bytes;
  for (const auto& object : readAll(result(objects), 1)) bytes.push_back(described(object));
  EXPECT_EQ(bytes, whole);
  return whole;
}

std::string refusal(const std::string& document, std::size_t step = 100,
                    ResponseBudget budget = {}) {
  try {
    readAll(document, step, budget);
  } catch (const ResponseError& error) {
    return error.what();
  }
  return "read";
}

constexpr char kName[] =
    "<INSTANCENAME CLASSNAME=\"A\"><KEYBINDING NAME=\"B\"><KEYVALUE VALUETYPE=\"string\">b"
    "</KEYVALUE></KEYBINDING></INSTANCENAME>";
constexpr char kNameSpace[] =
    "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"x\"/></LOCALNAMESPACEPATH>";

std::string fullPath() {
  return std::string("<INSTANCEPATH><NAMESPACEPATH><HOST>node7</HOST>") + kNameSpace +
         "</NAMESPACEPATH>" + kName + "</INSTANCEPATH>";
}
std::string localPath() {
  return std::string("<LOCALINSTANCEPATH>") + kNameSpace + kName + "</LOCALINSTANCEPATH>";
}
std::string instance(const std::string& properties) {
  return "<INSTANCE CLASSNAME=\"A\">" + properties + "</INSTANCE>";
}
std::string property(const std::string& type, const std::string& value) {
  return "<PROPERTY NAME=\"P\" TYPE=\"" + type + "\">" + value + "</PROPERTY>";
}

TEST(ResponseReader, ReadsPathsInEachForm) {
  EXPECT_THAT(describedAll(kName + fullPath() + localPath() + "<OBJECTPATH>" + fullPath() +
                           "</OBJECTPATH><OBJECTPATH>" + localPath() + "</OBJECTPATH>"),
              ElementsAre("|root/cimv2:A.B=\"b\"", "node7|root/x:A.B=\"b\"", "|root/x:A.B=\"b\"",
                          "node7|root/x:A.B=\"b\"", "|root/x:A.B=\"b\""));
}

TEST(ResponseReader, ReadsInstancesInEachForm) {
  const std::string value = instance(property("uint8", "<VALUE>5</VALUE>"));
  EXPECT_THAT(
      describedAll("<VALUE.NAMEDINSTANCE>" + (kName + value) + "</VALUE.NAMEDINSTANCE>" +
                   "<VALUE.INSTANCEWITHPATH>" + fullPath() + value + "</VALUE.INSTANCEWITHPATH>" +
                   "<VALUE.OBJECTWITHPATH>" + localPath() + value + "</VALUE.OBJECTWITHPATH>" +
                   "<VALUE.NAMEDOBJECT>" + kName + value + "</VALUE.NAMEDOBJECT>" +
                   "<VALUE.OBJECT>" + value + "</VALUE.OBJECT>" + value),
      ElementsAre("|root/cimv2:A.B=\"b\"|P:uint8=5", "node7|root/x:A.B=\"b\"|P:uint8=5",
                  "|root/x:A.B=\"b\"|P:uint8=5", "|root/cimv2:A.B=\"b\"|P:uint8=5",
                  "|root/cimv2:A|P:uint8=5", "|root/cimv2:A|P:uint8=5"));
}

TEST(ResponseReader, ReadsKeysByWhateverTypeStandsWithThem) {
  const auto key = [](const std::string& attributes, const std::string& text) {
    return "<INSTANCENAME CLASSNAME=\"A\"><KEYBINDING NAME=\"B\"><KEYVALUE" + attributes + ">" +
           text + "</KEYVALUE></KEYBINDING></INSTANCENAME>";
  };
  EXPECT_THAT(
      describedAll(key("", "12") + key(" VALUETYPE=\"numeric\"", "12") +
                   key(" VALUETYPE=\"numeric\"", " -12 ") + key(" VALUETYPE=\"numeric\"", "1.5") +
                   key(" VALUETYPE=\"boolean\"", "true") +
                   key(" VALUETYPE=\"numeric\" TYPE=\"uint16\"", "0x1F") +
                   key(" TYPE=\"datetime\"", "20250101000000.000000+000")),
      ElementsAre("|root/cimv2:A.B=\"12\"", "|root/cimv2:A.B=12", "|root/cimv2:A.B=-12",
                  "|root/cimv2:A.B=1.5", "|root/cimv2:A.B=true", "|root/cimv2:A.B=31",
                  "|root/cimv2:A.B=\"20250101000000.000000+000\""));
}

TEST(ResponseReader, ReadsValuesOfEachKind) {
  const std::string qualifier =
      "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>";
  EXPECT_THAT(
      describedAll(
          instance(property("string", "<VALUE>a &amp; &#x62;<![CDATA[<c>]]></VALUE>")) +
          instance(property("string", "<VALUE></VALUE>")) + instance(property("string", "")) +
          instance("<PROPERTY NAME=\"P\"><VALUE> x </VALUE></PROPERTY>") +
          instance(property("boolean", qualifier + "<VALUE> False </VALUE>")) +
          instance(property("sint8", "<VALUE>-5</VALUE>")) +
          instance("<PROPERTY.ARRAY NAME=\"P\" TYPE=\"uint16\"><VALUE.ARRAY>\n<VALUE>1</VALUE>\n"
                   "<VALUE.NULL/><VALUE>3</VALUE></VALUE.ARRAY></PROPERTY.ARRAY>") +
          instance("<PROPERTY.ARRAY NAME=\"P\" TYPE=\"uint16\"><VALUE.ARRAY/></PROPERTY.ARRAY>") +
          instance("<PROPERTY.ARRAY NAME=\"P\" TYPE=\"uint16\"/>") +
          instance("<PROPERTY.REFERENCE NAME=\"P\"><VALUE.REFERENCE>" + localPath() +
                   "</VALUE.REFERENCE></PROPERTY.REFERENCE>") +
          instance("<PROPERTY.REFERENCE NAME=\"P\"/>")),
      ElementsAre("|root/cimv2:A|P:string=a & b<c>",
                  "|root/cimv2:A|P:string=", "|root/cimv2:A|P:string=null",
                  "|root/cimv2:A|P:string= x ", "|root/cimv2:A|P:boolean=false",
                  "|root/cimv2:A|P:sint8=-5", "|root/cimv2:A|P:uint16={1,null,3}",
                  "|root/cimv2:A|P:uint16={}", "|root/cimv2:A|P:uint16=null",
                  "|root/cimv2:A|P:reference=root/x:A.B=\"b\"", "|root/cimv2:A|P:reference=null"));
}

TEST(ResponseReader, HandsAnObjectOverAtItsEnd) {
  ResponseBudget budget;
  ResponseReader reader("Ask", "7", "root/cimv2", budget);
  reader.read(std::string(kHead) + "<IRETURNVALUE>" + kName + "<INSTANCENAME CLASSNAME=\"B\">");
  EXPECT_EQ(reader.takeObjects().size(), 1U);
  reader.read("</INSTANCENAME>");
  EXPECT_EQ(reader.takeObjects().size(), 1U);
}

TEST(ResponseReader, ReadsErrorsAndOutputsBesideAResult) {
  ResponseBudget budget;
  ResponseReader failed("ask", "7", "root/cimv2", budget);
  failed.read("\r\n" + response("<ERROR CODE=\"6\" DESCRIPTION=\"no &quot;x&quot;\"/>"));
  failed.finish();
  ASSERT_TRUE(failed.error());
  EXPECT_STREQ(failed.error()->what(), "CIM_ERR_NOT_FOUND: no \"x\"");
  ResponseReader part("Ask", "7", "root/cimv2", budget);
  part.read(
      response("<PARAMVALUE NAME=\"endOfSequence\" PARAMTYPE=\"boolean\"><VALUE>false</VALUE>"
               "</PARAMVALUE><PARAMVALUE NAME=\"EnumerationContext\"><VALUE>c 1</VALUE>"
               "</PARAMVALUE><IRETURNVALUE/>"));
  part.finish();
  EXPECT_EQ(part.endOfSequence(), false);
  EXPECT_EQ(part.enumerationContext(), "c 1");
}

struct Refused {
  const char* name;
  std::string document;
  const char* reason;
};

class RefusedAnswer : public testing::TestWithParam<Refused> {};

TEST_P(RefusedAnswer, IsRefusedWithTheReason) {
  for (const std::size_t step : {1U, 100U, 1U << 20U}) {
    EXPECT_THAT(refusal(GetParam().document, step), HasSubstr(GetParam().reason)) << step;
  }
}

std::string deep() {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "<VALUE.OBJECT>";
  return result(text);
}

INSTANTIATE_TEST_SUITE_P(
    ResponseReader, RefusedAnswer,
    testing::Values(
        Refused{"Empty", "", "the answer is empty"},
        Refused{"Page", "<html><body>Hi</body></html>", "an element html where CIM is expected"},
        Refused{"Garbage", "\x01\x02\x03", "no XML that can be read: not well-formed"},
        Refused{"NoUtf8", result("<INSTANCENAME CLASSNAME=\"\xff\"/>"), "not well-formed"},
        Refused{"Cut", std::string(kHead) + "<IRETURNVALUE>", "no element found"},
        Refused{"NoResponse", "<CIM/>", "holds no response"},
        Refused{"Entities",
                "<?xml version=\"1.0\"?><!DOCTYPE CIM [<!ENTITY a \"b\">]>" + response(""),
                "a document type declaration"},
        Refused{"Encoding", "<?xml version=\"1.0\" encoding=\"utf-16\"?>" + response("").substr(38),
                "an encoding other than UTF-8"},
        Refused{"Deep", deep(), "elements nest too deep"},
        Refused{"OtherOperation",
                "<CIM><MESSAGE ID=\"7\"><SIMPLERSP><IMETHODRESPONSE NAME=\"Other\"/></SIMPLERSP>"
                "</MESSAGE></CIM>",
                "belongs to another operation"},
        Refused{"OtherMessage", "<CIM><MESSAGE ID=\"8\"/></CIM>", "belongs to another message"},
        Refused{"TwoResponses",
                std::string(kHead) + "</IMETHODRESPONSE><IMETHODRESPONSE NAME=\"Ask\">" + kTail,
                "a second response"},
        Refused{"UnknownElement", response("<CLASS/>"), "an element CLASS in the response"},
        Refused{"Class", result("<CLASS NAME=\"A\"/>"),
                "an element CLASS where an instance is expected"},
        Refused{"ErrorWithoutCode", response("<ERROR DESCRIPTION=\"x\"/>"), "without its code"},
        Refused{"NoClassName", result("<INSTANCENAME/>"), "INSTANCENAME without CLASSNAME"},
        Refused{"KeyTwice",
                result("<INSTANCENAME CLASSNAME=\"A\"><KEYBINDING NAME=\"B\"><KEYVALUE>1</KEYVALUE>"
                       "</KEYBINDING><KEYBINDING NAME=\"b\"><KEYVALUE>1</KEYVALUE></KEYBINDING>"
                       "</INSTANCENAME>"),
                "a path of A with the key b twice"},
        Refused{"UnnamedKey",
                result("<INSTANCENAME CLASSNAME=\"A\"><KEYVALUE>1</KEYVALUE></INSTANCENAME>"),
                "a path of A that does not name its key"},
        Refused{"NoKeyValue",
                result("<INSTANCENAME CLASSNAME=\"A\"><KEYBINDING NAME=\"B\"/></INSTANCENAME>"),
                "KEYBINDING without KEYVALUE"},
        Refused{"NoNumberKey",
                result("<INSTANCENAME CLASSNAME=\"A\"><KEYBINDING NAME=\"B\"><KEYVALUE "
                       "VALUETYPE=\"numeric\">one</KEYVALUE></KEYBINDING></INSTANCENAME>"),
                "a key whose value is no number: one"},
        Refused{"NoInstance", result("<VALUE.OBJECT/>"), "VALUE.OBJECT without INSTANCE"},
        Refused{"UnknownType", result(instance(property("uint7", ""))),
                "property P is of the unknown type uint7"},
        Refused{"WrongValue", result(instance(property("uint8", "<VALUE>256</VALUE>"))),
                "property P of type uint8 has the value 256"},
        Refused{"NoNameSpace",
                result("<INSTANCEPATH><INSTANCENAME CLASSNAME=\"A\"/></INSTANCEPATH>"),
                "without LOCALNAMESPACEPATH"}),
    [](const auto& test) { return test.param.name; });

TEST(ResponseReader, BoundsTagsObjectsAndTheWhole) {
  const std::string longTag = result("<INSTANCE CLASSNAME=\"" + std::string(1 << 20, 'a') + "\"/>");
  EXPECT_THAT(refusal(longTag, 4096), HasSubstr("a tag is longer than 64 KiB"));
  const std::string large =
      result(instance(property("string", "<VALUE>" + std::string(17U << 20U, 'a') + "</VALUE>")));
  EXPECT_THAT(refusal(large, 1 << 16), HasSubstr("one object is larger than 16 MiB"));
  std::string many;
  for (int i = 0; i < 270000; ++i) many += "<P/>";
  EXPECT_THAT(refusal(result(instance(many)), 1 << 16), HasSubstr("too many elements"));
  EXPECT_THAT(refusal(result(kName), 10, {.bytes = 200, .objects = 9}),
              HasSubstr("the answer is too large"));
  EXPECT_THAT(refusal(result(std::string(kName) + kName), 10, {.bytes = 10000, .objects = 1}),
              HasSubstr("too many objects"));
  EXPECT_EQ(refusal(result(kName), 10, {.bytes = 10000, .objects = 1}), "read");
}

}  // namespace
}  // namespace clienttest
