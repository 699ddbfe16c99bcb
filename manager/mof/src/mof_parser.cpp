// Parses MOF (DMTF DSP0004) with one token of lookahead. The default of a property has to suit its
// type; whether names exist is checked when classes are related to each other, since a superclass
// may come in a later file. The first error ends parsing, with file, line and column. A parser
// belongs to one text and one thread. One that reads a part of a text leaves out the qualifiers of
// properties, which are much of it; they hold on to the text and are read when somebody looks.
#include "mof_parser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include <mof/mof_error.h>

#include "mof_skipper.h"

namespace cimom {
namespace {

using Kind = MofToken::Kind;
using ValueKind = MofValue::Kind;

bool isTrueQualifier(const QualifierMap& qualifiers, std::string_view name) {
  const MofValue* value = findQualifier(qualifiers, name);
  return value != nullptr && value->isTrue();
}

MofValue singleValue(ValueKind kind, std::string text) {
  MofValue value;
  value.elements.push_back({kind, std::move(text)});
  return value;
}

bool kindSuits(ValueKind kind, CimType type) {
  switch (type) {
    case CimType::kBoolean:
      return kind == ValueKind::kBoolean;
    case CimType::kChar16:
      return kind == ValueKind::kCharacter;
    case CimType::kString:
    case CimType::kDateTime:
      return kind == ValueKind::kString;
    case CimType::kReference:
      return kind == ValueKind::kString || kind == ValueKind::kAlias;
    default:
      return kind == ValueKind::kNumber;
  }
}

bool valueSuits(const MofValue& value, CimType type, bool isArray) {
  const auto suits = [type](const MofValue::Element& element) {
    return element.kind == ValueKind::kNull || kindSuits(element.kind, type);
  };
  const bool isNull = !value.isArray && value.elements.front().kind == ValueKind::kNull;
  return isNull || (value.isArray == isArray && std::ranges::all_of(value.elements, suits));
}

// Recursive descent without recursion: nothing in the grammar nests inside itself, so that no
// input can exhaust the stack.
class MofParser {
 public:
  MofParser(std::string_view text, const std::string& file)
      : lexer_(text, file), token_(lexer_.next()) {}
  explicit MofParser(const MofPart& part)
      : lexer_(part), token_(lexer_.next()), source_(part.source) {}

  MofDocument parse();
  QualifierMap parseQualifiers();

 private:
  [[noreturn]] void fail(const std::string& reason) const { failAt(token_.place, reason); }
  [[noreturn]] void failAt(const MofPlace& place, const std::string& reason) const {
    throw MofError(lexer_.file(), place.line, place.column, reason);
  }
  [[noreturn]] void failExpecting(std::string_view what) const;

  MofToken take() { return std::exchange(token_, lexer_.next()); }
  bool isPunctuation(char c) const {
    return token_.kind == Kind::kPunctuation && token_.text.front() == c;
  }
  bool isKeyword(std::string_view word) const {
    return token_.kind == Kind::kIdentifier && sameName(token_.text, word);
  }
  bool takeIf(char c);
  bool takeIf(std::string_view keyword);
  void expect(char c);
  void expect(std::string_view keyword);
  MofToken takeName(std::string_view what);

  void parseDirective();
  void parseDeclaration();
  void parseQualifierDeclaration();
  std::vector<std::string> parseNames(std::string_view keyword);
  void parseClass(QualifierMap qualifiers);
  void parseFeature(ClassDeclaration& declaration);
  void parseFeatureQualifiers(PropertyDeclaration& property);
  bool passQualifiers(PropertyDeclaration& property);
  void parseProperty(ClassDeclaration& declaration, PropertyDeclaration property);
  void parseMethod(ClassDeclaration& declaration, MethodDeclaration method);
  PropertyDeclaration parseParameter();
  void parseInstance();
  void parseInstanceProperty(MofInstance& instance);

  void parseQualifier(QualifierMap& qualifiers);
  void skipFlavors();
  std::string parseAlias();
  template <class Declaration>
  void parseDimension(Declaration& property);
  MofValue parseValue();
  MofValue parseArray();
  MofValue::Element parseElement();
  MofValue::Element parseWord();
  std::string parseText();

  MofLexer lexer_;
  MofToken token_;
  /// Of a part alone.
  std::shared_ptr<const MofText> source_;
  MofDocument document_;
};

void MofParser::failExpecting(std::string_view what) const {
  const std::string found = token_.kind == Kind::kEnd      ? "the end of the text"
                            : token_.kind == Kind::kString ? "a string"
                                                           : "'" + token_.text + "'";
  fail("expected " + std::string(what) + ", found " + found);
}

bool MofParser::takeIf(char c) {
  if (!isPunctuation(c)) return false;
  take();
  return true;
}

bool MofParser::takeIf(std::string_view keyword) {
  if (!isKeyword(keyword)) return false;
  take();
  return true;
}

void MofParser::expect(char c) {
  if (!takeIf(c)) failExpecting(std::string("'") + c + "'");
}

void MofParser::expect(std::string_view keyword) {
  if (!takeIf(keyword)) failExpecting("'" + std::string(keyword) + "'");
}

MofToken MofParser::takeName(std::string_view what) {
  if (token_.kind != Kind::kIdentifier) failExpecting(what);
  return take();
}

MofDocument MofParser::parse() {
  while (token_.kind != Kind::kEnd) {
    if (isPunctuation('#')) {
      parseDirective();
    } else {
      parseDeclaration();
    }
  }
  return std::move(document_);
}

void MofParser::parseDirective() {
  take();
  expect("pragma");
  const MofToken name = takeName("the pragma's name");
  expect('(');
  const MofPlace place = token_.place;
  std::string parameter = parseText();
  expect(')');
  if (sameName(name.text, "include")) document_.includes.push_back({std::move(parameter), place});
}

void MofParser::parseDeclaration() {
  if (isKeyword("qualifier")) return parseQualifierDeclaration();
  QualifierMap qualifiers = parseQualifiers();
  if (isKeyword("instance")) return parseInstance();
  if (!isKeyword("class")) failExpecting("a class, an instance, a qualifier or a pragma");
  parseClass(std::move(qualifiers));
}

void MofParser::parseQualifierDeclaration() {
  take();
  QualifierDeclaration declaration;
  declaration.name = takeName("the qualifier's name").text;
  expect(':');
  const MofToken type = takeName("a type");
  const std::optional<CimType> known = typeNamed(type.text);
  if (!known) failAt(type.place, "unknown type '" + type.text + "'");
  declaration.type = *known;
  parseDimension(declaration);
  if (takeIf('=')) declaration.defaultValue = parseValue();
  expect(',');
  declaration.scopes = parseNames("scope");
  if (takeIf(',')) declaration.flavors = parseNames("flavor");
  expect(';');
  document_.qualifiers.push_back(std::move(declaration));
}

std::vector<std::string> MofParser::parseNames(std::string_view keyword) {
  std::vector<std::string> names;
  expect(keyword);
  expect('(');
  do {
    names.push_back(takeName("a name").text);
  } while (takeIf(','));
  expect(')');
  return names;
}

void MofParser::parseClass(QualifierMap qualifiers) {
  take();
  const MofToken name = takeName("the class's name");
  ClassDeclaration declaration;
  declaration.name = name.text;
  declaration.qualifiers = std::move(qualifiers);
  declaration.isAssociation = isTrueQualifier(declaration.qualifiers, "association");
  declaration.isAbstract = isTrueQualifier(declaration.qualifiers, "abstract");
  declaration.file = lexer_.file();
  declaration.line = name.place.line;
  declaration.column = name.place.column;
  parseAlias();
  if (takeIf(':')) declaration.superclass = takeName("the superclass's name").text;
  expect('{');
  while (!takeIf('}')) parseFeature(declaration);
  expect(';');
  document_.classes.push_back(std::move(declaration));
}

void MofParser::parseFeature(ClassDeclaration& declaration) {
  PropertyDeclaration property;
  parseFeatureQualifiers(property);
  const MofToken type = takeName("a property, a method or '}'");
  property.originClass = declaration.name;
  const std::optional<CimType> known = typeNamed(type.text);
  const bool isReference = takeIf("ref");
  if (isReference) {
    property.type = CimType::kReference;
    property.referenceClass = type.text;
  } else if (known) {
    property.type = *known;
  } else if (!sameName(type.text, "void")) {
    failAt(type.place, "unknown type '" + type.text + "'");
  }
  const MofToken name = takeName("a name");
  if (!isReference && isPunctuation('(')) {
    return parseMethod(declaration, {name.text, known, property.qualifiers, {}});
  }
  if (!isReference && !known) failAt(type.place, "a property cannot be of type void");
  property.name = name.text;
  property.line = name.place.line;
  property.column = name.place.column;
  parseProperty(declaration, std::move(property));
}

void MofParser::parseFeatureQualifiers(PropertyDeclaration& property) {
  if (source_ != nullptr && passQualifiers(property)) return;
  QualifierMap qualifiers = parseQualifiers();
  property.isKey = isTrueQualifier(qualifiers, "key");
  property.overrides = findQualifier(qualifiers, "override") != nullptr;
  property.qualifiers = std::move(qualifiers);
}

// Moves behind the qualifiers that are here. Those that say whether this is a key have to be read,
// and those that are not well formed, too, to say why not.
bool MofParser::passQualifiers(PropertyDeclaration& property) {
  if (!isPunctuation('[')) return false;
  const std::size_t begin = lexer_.position() - 1;
  MofSkipper skipper(lexer_.text(), begin);
  std::vector<std::string_view> names;
  if (!skipper.skipBrackets(&names)) return false;
  const auto isNamed = [&names](std::string_view wanted) {
    return std::ranges::any_of(names, [wanted](auto name) { return sameName(name, wanted); });
  };
  if (isNamed("key")) return false;
  property.overrides = isNamed("override");
  const MofPart passed{source_, begin, skipper.position(), token_.place};
  property.qualifiers =
      Qualifiers::onDemand([passed] { return MofParser(passed).parseQualifiers(); });
  lexer_.moveTo(skipper.position());
  take();
  return true;
}

void MofParser::parseProperty(ClassDeclaration& declaration, PropertyDeclaration property) {
  parseDimension(property);
  if (takeIf('=')) {
    const MofPlace place = token_.place;
    property.defaultValue = parseValue();
    if (!valueSuits(*property.defaultValue, property.type, property.isArray)) {
      failAt(place, "the default of '" + property.name + "' does not suit its type");
    }
  }
  expect(';');
  declaration.properties.push_back(std::move(property));
}

void MofParser::parseMethod(ClassDeclaration& declaration, MethodDeclaration method) {
  expect('(');
  while (!isPunctuation(')')) {
    method.parameters.push_back(parseParameter());
    if (!takeIf(',')) break;
  }
  expect(')');
  expect(';');
  declaration.methods.push_back(std::move(method));
}

PropertyDeclaration MofParser::parseParameter() {
  PropertyDeclaration parameter;
  parameter.qualifiers = parseQualifiers();
  const MofToken type = takeName("a parameter or ')'");
  const std::optional<CimType> known = typeNamed(type.text);
  if (takeIf("ref")) {
    parameter.type = CimType::kReference;
    parameter.referenceClass = type.text;
  } else if (known) {
    parameter.type = *known;
  } else {
    failAt(type.place, "unknown type '" + type.text + "'");
  }
  parameter.name = takeName("the parameter's name").text;
  parseDimension(parameter);
  if (takeIf('=')) parseValue();
  return parameter;
}

void MofParser::parseInstance() {
  take();
  expect("of");
  MofInstance instance;
  instance.className = takeName("the class's name").text;
  instance.alias = parseAlias();
  expect('{');
  while (!takeIf('}')) parseInstanceProperty(instance);
  expect(';');
  document_.instances.push_back(std::move(instance));
}

void MofParser::parseInstanceProperty(MofInstance& instance) {
  parseQualifiers();
  std::string name = takeName("a property or '}'").text;
  expect('=');
  instance.properties.emplace_back(std::move(name), parseValue());
  expect(';');
}

QualifierMap MofParser::parseQualifiers() {
  QualifierMap qualifiers;
  if (!takeIf('[')) return qualifiers;
  do {
    parseQualifier(qualifiers);
  } while (takeIf(','));
  expect(']');
  return qualifiers;
}

void MofParser::parseQualifier(QualifierMap& qualifiers) {
  const MofToken name = takeName("a qualifier");
  MofValue value = singleValue(ValueKind::kBoolean, "true");
  if (takeIf('(')) {
    value = parseValue();
    expect(')');
  } else if (isPunctuation('{')) {
    value = parseArray();
  }
  skipFlavors();
  if (!qualifiers.emplace(name.text, std::move(value)).second) {
    failAt(name.place, "qualifier '" + name.text + "' stands twice");
  }
}

void MofParser::skipFlavors() {
  if (!takeIf(':')) return;
  takeName("a flavor");
  while (token_.kind == Kind::kIdentifier) take();
}

std::string MofParser::parseAlias() {
  if (!takeIf("as")) return {};
  expect('$');
  return takeName("the alias's name").text;
}

template <class Declaration>
void MofParser::parseDimension(Declaration& property) {
  if (!takeIf('[')) return;
  property.isArray = true;
  if (token_.kind == Kind::kInteger) {
    const MofToken token = take();
    std::size_t size = 0;
    const char* end = token.text.data() + token.text.size();
    const auto result = std::from_chars(token.text.data(), end, size);
    if (result.ptr != end || size == 0) failAt(token.place, "an array needs at least one element");
    property.arraySize = size;
  }
  expect(']');
}

MofValue MofParser::parseValue() {
  if (isPunctuation('{')) return parseArray();
  MofValue value;
  value.elements.push_back(parseElement());
  return value;
}

MofValue MofParser::parseArray() {
  expect('{');
  MofValue value;
  value.isArray = true;
  if (takeIf('}')) return value;
  do {
    value.elements.push_back(parseElement());
  } while (takeIf(','));
  expect('}');
  return value;
}

MofValue::Element MofParser::parseElement() {
  switch (token_.kind) {
    case Kind::kString:
      return {ValueKind::kString, parseText()};
    case Kind::kCharacter:
      return {ValueKind::kCharacter, take().text};
    case Kind::kInteger:
    case Kind::kReal:
      return {ValueKind::kNumber, take().text};
    case Kind::kIdentifier:
      return parseWord();
    default:
      if (!takeIf('$')) failExpecting("a value");
      return {ValueKind::kAlias, takeName("the alias's name").text};
  }
}

MofValue::Element MofParser::parseWord() {
  if (takeIf("true")) return {ValueKind::kBoolean, "true"};
  if (takeIf("false")) return {ValueKind::kBoolean, "false"};
  if (takeIf("null")) return {ValueKind::kNull, {}};
  failExpecting("a value");
}

std::string MofParser::parseText() {
  if (token_.kind != Kind::kString) failExpecting("a string");
  std::string text;
  while (token_.kind == Kind::kString) text += take().text;
  return text;
}

}  // namespace

MofDocument parseMof(std::string_view text, const std::string& file) {
  return MofParser(text, file).parse();
}

ClassDeclaration parseMofClass(const UnreadClass& found) {
  return std::move(MofParser(found.part).parse().classes.front());
}

QualifierDeclaration parseMofQualifierDeclaration(const MofPart& part) {
  return std::move(MofParser(part).parse().qualifiers.front());
}

}  // namespace cimom
