// The MOF grammar, through ClassRepository::parse: what is accepted and what it becomes, and that
// every error names file, line and column. The tests at the end damage a text at every byte, which
// has to end in an error or a repository, never in anything else.
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <mof/class_repository.h>

namespace cimom {
namespace {

// The error that parsing the text ends with; fails the test when there is none.
MofError parseError(std::string_view text) {
  try {
    ClassRepository::parse(text, "test.mof");
  } catch (const MofError& error) {
    return error;
  }
  ADD_FAILURE() << "no error for: " << text;
  return MofError("", 0, 0, "");
}

MofValue defaultOf(std::string_view declaration) {
  const auto repository =
      ClassRepository::parse("class A { " + std::string(declaration) + " };", "test.mof");
  const PropertyDeclaration* property = repository.findProperty("A", "p");
  if (property == nullptr || !property->defaultValue) {
    ADD_FAILURE() << "no default in: " << declaration;
    return {};
  }
  return *property->defaultValue;
}

TEST(MofTest, EmptyTextDeclaresNothing) {
  for (const std::string_view text :
       {"", "  \r\n\t", "// only this", "/* and ** this */", "/**/"}) {
    EXPECT_TRUE(ClassRepository::parse(text).classNames().empty()) << text;
  }
}

TEST(MofTest, ByteOrderMarkIsSkipped) {
  EXPECT_NE(ClassRepository::parse("\xef\xbb\xbf"
                                   "class A {};")
                .find("A"),
            nullptr);
}

TEST(MofTest, ReadsEveryPropertyType) {
  const auto repository = ClassRepository::parse(R"(
    class A {
      boolean b; char16 c; uint8 u8; uint16 u16; uint32 u32; uint64 u64;
      sint8 s8; sint16 s16; sint32 s32; sint64 s64; real32 r32; real64 r64;
      string s; DateTime d;
    };)");
  const std::vector<CimType> expected = {
      CimType::kBoolean, CimType::kChar16, CimType::kUint8,  CimType::kUint16,  CimType::kUint32,
      CimType::kUint64,  CimType::kSint8,  CimType::kSint16, CimType::kSint32,  CimType::kSint64,
      CimType::kReal32,  CimType::kReal64, CimType::kString, CimType::kDateTime};
  const auto& properties = repository.allProperties("A");
  ASSERT_EQ(properties.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(properties[i].type, expected[i]) << i;
}

TEST(MofTest, ReadsArraysAndReferences) {
  const auto repository = ClassRepository::parse(
      "class A { uint16 open[]; uint32 fixed[6]; string one; };"
      "[Association] class B { [Key] A REF First; [Key] A ref Second; };");
  EXPECT_TRUE(repository.findProperty("A", "open")->isArray);
  EXPECT_FALSE(repository.findProperty("A", "open")->arraySize);
  EXPECT_EQ(repository.findProperty("A", "fixed")->arraySize, 6u);
  EXPECT_FALSE(repository.findProperty("A", "one")->isArray);
  const PropertyDeclaration* reference = repository.findProperty("B", "second");
  ASSERT_NE(reference, nullptr);
  EXPECT_EQ(reference->type, CimType::kReference);
  EXPECT_EQ(reference->referenceClass, "A");
  EXPECT_TRUE(reference->isKey);
  EXPECT_TRUE(repository.find("B")->isAssociation);
  EXPECT_FALSE(repository.find("A")->isAssociation);
}

TEST(MofTest, ReadsQualifiers) {
  const auto repository = ClassRepository::parse(R"(
    [Version ("1.2.3"): Restricted, Abstract, Description ("one " // a remark
       "text"): ToSubclass Translatable]
    class A {
      [Values {"a", "b"}, ValueMap {"0", "1"}, MaxLen (256), Read (false)] uint16 p;
    };)");
  const ClassDeclaration* declaration = repository.find("A");
  ASSERT_NE(declaration, nullptr);
  EXPECT_TRUE(declaration->isAbstract);
  EXPECT_EQ(findQualifier(declaration->qualifiers, "VERSION")->text(), "1.2.3");
  EXPECT_EQ(findQualifier(declaration->qualifiers, "description")->text(), "one text");
  EXPECT_EQ(findQualifier(declaration->qualifiers, "Key"), nullptr);
  const QualifierMap& qualifiers = declaration->properties.front().qualifiers;
  ASSERT_EQ(findQualifier(qualifiers, "values")->elements.size(), 2u);
  EXPECT_EQ(findQualifier(qualifiers, "values")->elements[1].text, "b");
  EXPECT_EQ(findQualifier(qualifiers, "maxlen")->text(), "256");
  EXPECT_FALSE(findQualifier(qualifiers, "read")->isTrue());
}

TEST(MofTest, KeyFalseIsNoKey) {
  const auto repository = ClassRepository::parse("class A { [Key(false)] string p; };");
  EXPECT_TRUE(repository.keys("A").empty());
}

TEST(MofTest, ReadsNumbers) {
  EXPECT_EQ(defaultOf("uint32 p = 42;").text(), "42");
  EXPECT_EQ(defaultOf("uint32 p = +7;").text(), "7");
  EXPECT_EQ(defaultOf("sint32 p = -7;").text(), "-7");
  EXPECT_EQ(defaultOf("uint32 p = 0x1fF;").text(), "511");
  EXPECT_EQ(defaultOf("uint32 p = 101b;").text(), "5");
  EXPECT_EQ(defaultOf("uint32 p = 017;").text(), "15");
  EXPECT_EQ(defaultOf("uint32 p = 0;").text(), "0");
  EXPECT_EQ(defaultOf("uint64 p = 18446744073709551615;").text(), "18446744073709551615");
  EXPECT_EQ(defaultOf("sint64 p = -9223372036854775808;").text(), "-9223372036854775808");
  EXPECT_EQ(defaultOf("real64 p = -1.5e+3;").text(), "-1.5e+3");
  EXPECT_EQ(defaultOf("real32 p = .5;").text(), ".5");
}

TEST(MofTest, RefusesMalformedNumbers) {
  for (const std::string_view number : {"18446744073709551616", "-9223372036854775809", "0x", "0xg",
                                        "12ab", "08", "2b", "+", "-", "1.", "1.5e", "1.5x"}) {
    const MofError error = parseError("class A { uint64 p = " + std::string(number) + "; };");
    EXPECT_EQ(error.line(), 1u) << number;
    EXPECT_NE(error.reason().find("number"), std::string::npos) << number << ": " << error.what();
  }
}

TEST(MofTest, ReadsStringsWithEscapes) {
  EXPECT_EQ(defaultOf(R"(string p = "a\"b\\c\td\ne\'f";)").text(), "a\"b\\c\td\ne'f");
  EXPECT_EQ(defaultOf(R"(string p = "\x41\x00e4\x20AC";)").text(), "A\xc3\xa4\xe2\x82\xac");
  EXPECT_EQ(defaultOf("string p = \"one\" /* and */ \" two\"\n  \" three\";").text(),
            "one two three");
  EXPECT_EQ(defaultOf("string p = \"\";").text(), "");
  EXPECT_EQ(defaultOf("string p = \"// no comment\";").text(), "// no comment");
}

TEST(MofTest, ReadsOtherDefaults) {
  EXPECT_TRUE(defaultOf("boolean p = TRUE;").isTrue());
  EXPECT_FALSE(defaultOf("boolean p = false;").isTrue());
  EXPECT_EQ(defaultOf("string p = NULL;").elements.front().kind, MofValue::Kind::kNull);
  EXPECT_EQ(defaultOf("char16 p = 'x';").text(), "x");
  const MofValue array = defaultOf("uint8 p[] = {1, 2, 0x3};");
  ASSERT_TRUE(array.isArray);
  ASSERT_EQ(array.elements.size(), 3u);
  EXPECT_EQ(array.elements[2].text, "3");
  EXPECT_TRUE(defaultOf("uint8 p[] = {};").elements.empty());
}

TEST(MofTest, RefusesDefaultsOfAnotherType) {
  for (const std::string_view declaration :
       {"uint8 p = \"1\";", "string p = 1;", "boolean p = 1;", "uint8 p = {1};", "uint8 p[] = 1;",
        "string p[] = {\"a\", 1};", "char16 p = \"x\";", "datetime p = true;"}) {
    const MofError error = parseError("class A { " + std::string(declaration) + " };");
    EXPECT_EQ(error.reason(), "the default of 'p' does not suit its type") << declaration;
  }
}

TEST(MofTest, KeepsMethodsWithTheirParameters) {
  const auto repository = ClassRepository::parse(R"(
    class A {
        [Description("resets")]
      uint32 Reset([In, Description("how")] uint16 How, [Out] A REF What, string List[]);
      void Nothing();
      string p;
    };)");
  const auto& methods = repository.find("A")->methods;
  ASSERT_EQ(methods.size(), 2u);
  EXPECT_EQ(methods[0].name, "Reset");
  EXPECT_EQ(methods[0].returnType, CimType::kUint32);
  EXPECT_EQ(findQualifier(methods[0].qualifiers, "Description")->text(), "resets");
  ASSERT_EQ(methods[0].parameters.size(), 3u);
  EXPECT_EQ(methods[0].parameters[0].type, CimType::kUint16);
  EXPECT_TRUE(findQualifier(methods[0].parameters[0].qualifiers, "In")->isTrue());
  EXPECT_EQ(methods[0].parameters[1].referenceClass, "A");
  EXPECT_TRUE(methods[0].parameters[2].isArray);
  EXPECT_EQ(methods[1].name, "Nothing");
  EXPECT_EQ(methods[1].returnType, std::nullopt);
  EXPECT_EQ(repository.allProperties("A").size(), 1u);
}

TEST(MofTest, AcceptsPragmasAndQualifierDeclarations) {
  const auto repository = ClassRepository::parse(R"(
    #pragma namespace ("root/cimv2")
    #pragma locale ("en" "_US")
    #PRAGMA unheardof ("x")
    Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride, ToSubclass);
    Qualifier Values : string[], Scope(property, method);
    class A as $Alias { string p; };)");
  EXPECT_NE(repository.find("a"), nullptr);
}

TEST(MofTest, KeepsInstances) {
  const auto repository = ClassRepository::parse(R"(
    instance of Registration as $R {
      Name = "pci" "provider"; Kinds = {1, 2}; [Description("x")] Other = $Else; Empty = NULL;
    };
    [Description("y")] Instance Of Registration { };)");
  ASSERT_EQ(repository.instances().size(), 2u);
  const MofInstance& instance = repository.instances().front();
  EXPECT_EQ(instance.className, "Registration");
  EXPECT_EQ(instance.alias, "R");
  ASSERT_EQ(instance.properties.size(), 4u);
  EXPECT_EQ(instance.properties[0].second.text(), "pciprovider");
  EXPECT_EQ(instance.properties[1].second.elements.size(), 2u);
  EXPECT_EQ(instance.properties[2].second.elements.front().kind, MofValue::Kind::kAlias);
  EXPECT_TRUE(repository.instances()[1].properties.empty());
}

TEST(MofTest, ErrorsNameFileLineAndColumn) {
  const MofError error = parseError("class A {\n  uint16 p\n  string q;\n};");
  EXPECT_EQ(error.file(), "test.mof");
  EXPECT_EQ(error.line(), 3u);
  EXPECT_EQ(error.column(), 3u);
  EXPECT_EQ(error.reason(), "expected ';', found 'string'");
  EXPECT_STREQ(error.what(), "test.mof:3:3: expected ';', found 'string'");
}

struct Malformed {
  std::string_view text;
  std::size_t line;
  std::size_t column;
  std::string_view reason;
};

TEST(MofTest, RefusesMalformedText) {
  const std::vector<Malformed> cases = {
      {"klass A {};", 1, 1,
       "expected a class, an instance, a qualifier or a pragma, found 'klass'"},
      {"class", 1, 6, "expected the class's name, found the end of the text"},
      {"class A {", 1, 10, "expected a property, a method or '}', found the end of the text"},
      {"class A {}", 1, 11, "expected ';', found the end of the text"},
      {"class A : {};", 1, 11, "expected the superclass's name, found '{'"},
      {"class A { uint7 p; };", 1, 11, "unknown type 'uint7'"},
      {"class A { void p; };", 1, 11, "a property cannot be of type void"},
      {"class A { uint8 p[0]; };", 1, 19, "an array needs at least one element"},
      {"class A { uint8 p = ; };", 1, 21, "expected a value, found ';'"},
      {"[Key, Key] class A {};", 1, 7, "qualifier 'Key' stands twice"},
      {"[", 1, 2, "expected a qualifier, found the end of the text"},
      {"/* open", 1, 1, "comment is not closed"},
      {"class A { string p = \"open", 1, 22, "string is not closed on its line"},
      {"class A { string p = \"open\n\"; };", 1, 22, "string is not closed on its line"},
      {"class A { string p = \"\\q\"; };", 1, 23, "unknown escape of 'q'"},
      {"class A { string p = \"\\xD800\"; };", 1, 23, "escape names no character"},
      {"class A { string p = \"\\x0\"; };", 1, 23, "escape names no character"},
      {"class A { string p = \"\\xg\"; };", 1, 23, "escape is not complete"},
      {"class A { string p = \"\\", 1, 23, "escape is not complete"},
      {"class A { char16 p = ''; };", 1, 22, "character is empty"},
      {"#include \"x\"", 1, 2, "expected 'pragma', found 'include'"},
      {"#pragma include (\"x.mof\")", 1, 18, "only a file can include others"},
      {"\n  @", 2, 3, "unexpected '@'"},
      {"instance A {};", 1, 10, "expected 'of', found 'A'"},
  };
  for (const Malformed& item : cases) {
    const MofError error = parseError(item.text);
    EXPECT_EQ(error.line(), item.line) << item.text;
    EXPECT_EQ(error.column(), item.column) << item.text;
    EXPECT_EQ(error.reason(), item.reason) << item.text;
  }
}

TEST(MofTest, RefusesBytesThatAreNoText) {
  using std::string_view_literals::operator""sv;
  EXPECT_EQ(parseError("class A\0 {};"sv).reason(), "unexpected byte 0x00");
  EXPECT_EQ(parseError("\x01").reason(), "unexpected byte 0x01");
  EXPECT_EQ(parseError("class A { string p = \"a\0b\"; };"sv).reason(), "unexpected byte 0x00");
}

TEST(MofTest, EveryPrefixEndsInAnErrorOrAnAnswer) {
  const std::string text = R"([Version("1"), Values {"\x41", "b"}: ToSubclass]
    class A : B { /* c */ [Key] uint8 p[3] = {1, 0x2, -3}; B REF r = "x"; void m([In] string s); };
    class B {}; instance of A as $x { p = {1.5e3, 'c', null, $x}; }; #pragma namespace("n")
    Qualifier Q : string = "x", Scope(any), Flavor(Restricted);)";
  for (std::size_t length = 0; length < text.size(); ++length) {
    try {
      const auto repository = ClassRepository::parse(text.substr(0, length), "cut.mof");
      EXPECT_LE(repository.classNames().size(), 2u);
    } catch (const MofError& error) {
      EXPECT_EQ(error.file(), "cut.mof");
      EXPECT_FALSE(error.reason().empty());
    }
  }
  EXPECT_NO_THROW(ClassRepository::parse(text));
}

TEST(MofTest, EveryFlippedByteEndsInAnErrorOrAnAnswer) {
  const std::string text = "[Key(true)] class A { [V{\"a\\x41\"}] uint8 p[2] = {0x1, 10b}; };";
  for (std::size_t index = 0; index < text.size(); ++index) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string damaged = text;
      damaged[index] = static_cast<char>(byte);
      try {
        EXPECT_LE(ClassRepository::parse(damaged).classNames().size(), 1u);
      } catch (const MofError& error) {
        EXPECT_GT(error.line(), 0u);
      }
    }
  }
}

TEST(MofTest, HugeNestingIsAnError) {
  for (const char c : {'{', '[', '(', '#', '$'}) {
    EXPECT_THROW(ClassRepository::parse("class A { string p = " + std::string(1'000'000, c)),
                 MofError);
  }
}

}  // namespace
}  // namespace cimom
