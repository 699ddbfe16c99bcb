#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>
#include <mof/class_repository.h>
#include <mof/mof_writer.h>

namespace cimom {
namespace {

using Kind = MofValue::Kind;

MofValue single(Kind kind, std::string text) {
  return {false, {{kind, std::move(text)}}};
}

MofInstance sampleInstance() {
  return {"Sample",
          "",
          {{"Text", single(Kind::kString, "a \"quoted\" \\ text")},
           {"Number", single(Kind::kNumber, "-42")},
           {"Truth", single(Kind::kBoolean, "true")},
           {"Nothing", single(Kind::kNull, "")},
           {"Letter", single(Kind::kCharacter, "'")},
           {"Numbers", {true, {{Kind::kNumber, "1"}, {Kind::kNull, ""}, {Kind::kNumber, "2"}}}},
           {"None", {true, {}}}}};
}

std::string written(std::string_view text) {
  return writeMof(single(Kind::kString, std::string(text)));
}

TEST(MofWriterTest, EscapesStrings) {
  EXPECT_EQ(written(""), R"("")");
  EXPECT_EQ(written("it's \"so\" \\"), R"("it's \"so\" \\")");
  EXPECT_EQ(written("\b\t\n\f\r"), R"("\b\t\n\f\r")");
  EXPECT_EQ(written("\x01"
                    "1\x7f"),
            R"("\x00011\x007F")");
  EXPECT_EQ(written("\xc3\xa4"), "\"\xc3\xa4\"");
  EXPECT_EQ(written(std::string_view("a\0b", 3)), R"("ab")");
}

TEST(MofWriterTest, WritesValues) {
  EXPECT_EQ(writeMof(MofValue{}), "NULL");
  EXPECT_EQ(writeMof(single(Kind::kAlias, "Other")), "$Other");
  EXPECT_EQ(writeMof(single(Kind::kCharacter, "x")), "'x'");
}

TEST(MofWriterTest, WritesInstances) {
  EXPECT_EQ(writeMof(sampleInstance()), R"(instance of Sample {
  Text = "a \"quoted\" \\ text";
  Number = -42;
  Truth = true;
  Nothing = NULL;
  Letter = '\'';
  Numbers = {1, NULL, 2};
  None = {};
};
)");
}

TEST(MofWriterTest, ReaderReadsWhatTheWriterWrote) {
  MofInstance instance = sampleInstance();
  std::string everyByte;
  for (int byte = 1; byte < 256; ++byte) everyByte += static_cast<char>(byte);
  instance.properties.emplace_back("Bytes", single(Kind::kString, everyByte));
  instance.alias = "Here";
  const auto repository = ClassRepository::parse(writeMof(instance));
  ASSERT_EQ(repository.instances().size(), 1u);
  const MofInstance& read = repository.instances().front();
  EXPECT_EQ(read.className, instance.className);
  EXPECT_EQ(read.alias, instance.alias);
  ASSERT_EQ(read.properties.size(), instance.properties.size());
  for (std::size_t i = 0; i < read.properties.size(); ++i) {
    const auto& [name, value] = read.properties[i];
    EXPECT_EQ(name, instance.properties[i].first);
    EXPECT_EQ(value.isArray, instance.properties[i].second.isArray) << name;
    EXPECT_EQ(value.text(), instance.properties[i].second.text()) << name;
    EXPECT_EQ(writeMof(value), writeMof(instance.properties[i].second)) << name;
  }
}

TEST(MofWriterTest, WritesInstancesOfTheManager) {
  const ObjectPath target = {"", "root/cimv2", "Port", {{"Name", Value::text("a\"b")}}};
  Value list = Value::null(CimType::kUint16, true);
  list.isNull = false;
  list.elements = {std::uint64_t{2}, Scalar{}, std::uint64_t{13}};
  Value empty = list;
  empty.elements.clear();
  const Instance instance = {{"", "root/cimv2", "Sample", {}},
                             {{"Text", Value::text("one\ntwo")},
                              {"Small", Value::number(CimType::kUint8, 255)},
                              {"Below", Value::signedNumber(CimType::kSint32, -7)},
                              {"Truth", Value::boolean(false)},
                              {"Letter", Value::number(CimType::kChar16, 0x20ac)},
                              {"Nothing", Value::null(CimType::kUint8)},
                              {"NoList", Value::null(CimType::kUint8, true)},
                              {"List", list},
                              {"Empty", empty},
                              {"End", Value::reference(target)}}};
  EXPECT_EQ(writeMof(toMof(instance)), R"(instance of Sample {
  Text = "one\ntwo";
  Small = 255;
  Below = -7;
  Truth = false;
  Letter = ')"
                                       "\xe2\x82\xac"
                                       R"(';
  Nothing = NULL;
  NoList = NULL;
  List = {2, NULL, 13};
  Empty = {};
  End = "root/cimv2:Port.Name=\"a\\\"b\"";
};
)");
}

}  // namespace
}  // namespace cimom
