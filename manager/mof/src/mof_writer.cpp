#include <mof/mof_writer.h>

#include <cstdint>
#include <utility>
#include <variant>

#include <model/utf8.h>

namespace cimom {
namespace {

using Kind = MofValue::Kind;

bool isControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7f;
}

// Always four digits, so that a digit which follows in the text is not taken as one more.
void appendHexEscape(std::string& out, char c) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(c);
  out += "\\x00";
  out += kDigits[byte >> 4];
  out += kDigits[byte & 0xf];
}

void appendEscaped(std::string& out, char c, char quote) {
  constexpr std::string_view kMeanings = "\b\t\n\f\r\\";
  constexpr std::string_view kLetters = "btnfr\\";
  if (const auto index = kMeanings.find(c); index != std::string_view::npos) {
    out += '\\';
    out += kLetters[index];
  } else if (c == quote) {
    out += '\\';
    out += c;
  } else if (!isControl(c)) {
    out += c;
  } else if (c != '\0') {
    appendHexEscape(out, c);
  }
}

std::string enclose(std::string_view text, char quote) {
  std::string out(1, quote);
  for (const char c : text) appendEscaped(out, c, quote);
  return out + quote;
}

std::string writeElement(const MofValue::Element& element) {
  switch (element.kind) {
    case Kind::kNull:
      return "NULL";
    case Kind::kString:
      return enclose(element.text, '"');
    case Kind::kCharacter:
      return enclose(element.text, '\'');
    case Kind::kAlias:
      return "$" + element.text;
    case Kind::kBoolean:
    case Kind::kNumber:
      break;
  }
  return element.text;
}

std::string writeArray(const MofValue& value) {
  std::string out = "{";
  std::string_view separator;
  for (const MofValue::Element& element : value.elements) {
    out.append(separator).append(writeElement(element));
    separator = ", ";
  }
  return out + "}";
}

Kind kindOf(CimType type) {
  switch (type) {
    case CimType::kBoolean:
      return Kind::kBoolean;
    case CimType::kChar16:
      return Kind::kCharacter;
    case CimType::kString:
    case CimType::kDateTime:
    case CimType::kReference:
      return Kind::kString;
    default:
      return Kind::kNumber;
  }
}

// Values keep a char16 as its number, MOF shows the character itself.
std::string characterText(const Scalar& scalar) {
  std::string text;
  if (const auto* code = std::get_if<std::uint64_t>(&scalar)) {
    appendUtf8(text, static_cast<std::uint32_t>(*code & 0xffff));
  }
  return text;
}

MofValue::Element toElement(const Scalar& scalar, CimType type) {
  if (std::holds_alternative<std::monostate>(scalar)) return {Kind::kNull, {}};
  const Kind kind = kindOf(type);
  return {kind, kind == Kind::kCharacter ? characterText(scalar) : toText(scalar)};
}

}  // namespace

std::string writeMof(const MofValue& value) {
  if (value.isArray) return writeArray(value);
  return value.elements.empty() ? "NULL" : writeElement(value.elements.front());
}

std::string writeMof(const MofInstance& instance) {
  std::string out = "instance of " + instance.className;
  if (!instance.alias.empty()) out += " as $" + instance.alias;
  out += " {\n";
  for (const auto& [name, value] : instance.properties) {
    out.append("  ").append(name).append(" = ").append(writeMof(value)).append(";\n");
  }
  return out + "};\n";
}

MofValue toMof(const Value& value) {
  MofValue mof;
  mof.isArray = value.isArray && !value.isNull;
  if (value.isNull) {
    mof.elements.push_back({Kind::kNull, {}});
    return mof;
  }
  for (const Scalar& scalar : value.elements) mof.elements.push_back(toElement(scalar, value.type));
  return mof;
}

MofInstance toMof(const Instance& instance) {
  MofInstance mof;
  mof.className = instance.path.className;
  for (const auto& [name, value] : instance.properties) {
    mof.properties.emplace_back(name, toMof(value));
  }
  return mof;
}

}  // namespace cimom
