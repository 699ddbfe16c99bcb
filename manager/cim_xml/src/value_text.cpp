// Values as the text of elements, which requests and answers write in the same way.
#include "value_text.h"

#include <charconv>
#include <cstdint>
#include <system_error>
#include <type_traits>

#include <model/names.h>
#include <model/utf8.h>

namespace cimom {
namespace {

template <typename Number>
std::optional<Number> readInteger(std::string_view text) {
  const bool negative = text.starts_with('-');
  if (text.starts_with('+') || negative) text.remove_prefix(1);
  if (text.starts_with('-')) return std::nullopt;
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  const std::string digits = (negative ? "-" : "") + std::string(text);
  Number number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number, isHex ? 16 : 10);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

template <typename Number>
std::optional<Scalar> readNumber(std::string_view text) {
  const std::optional<Number> number = readInteger<Number>(text);
  if (!number) return std::nullopt;
  if constexpr (std::is_signed_v<Number>) {
    return Scalar(std::int64_t{*number});
  } else {
    return Scalar(std::uint64_t{*number});
  }
}

std::optional<Scalar> readReal(std::string_view text) {
  double number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return Scalar(number);
}

std::optional<Scalar> readBoolean(std::string_view text) {
  if (sameName(text, "true")) return Scalar(true);
  if (sameName(text, "false")) return Scalar(false);
  return std::nullopt;
}

std::optional<Scalar> readCharacter(std::string_view text) {
  const auto [code, length] = firstCharacter(text);
  if (length == 0 || length != text.size() || code > 0xffff) return std::nullopt;
  return Scalar(std::uint64_t{code});
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

}  // namespace

std::string textOf(pugi::xml_node element) {
  std::string text;
  for (const pugi::xml_node child : element.children()) {
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
      text += child.value();
    }
  }
  return text;
}

std::string joinedNameSpace(pugi::xml_node path) {
  std::string name;
  for (const pugi::xml_node part : path.children("NAMESPACE")) {
    name += (name.empty() ? "" : "/") + std::string(part.attribute("NAME").value());
  }
  return name;
}

std::optional<std::uint32_t> readUint32(std::string_view text) {
  return readInteger<std::uint32_t>(trimmed(text));
}

std::optional<Scalar> readScalar(CimType type, const std::string& text) {
  switch (type) {
    case CimType::kString:
    case CimType::kDateTime:
      return Scalar(text);
    case CimType::kBoolean:
      return readBoolean(trimmed(text));
    case CimType::kChar16:
      return readCharacter(text);
    case CimType::kUint8:
      return readNumber<std::uint8_t>(trimmed(text));
    case CimType::kUint16:
      return readNumber<std::uint16_t>(trimmed(text));
    case CimType::kUint32:
      return readNumber<std::uint32_t>(trimmed(text));
    case CimType::kUint64:
      return readNumber<std::uint64_t>(trimmed(text));
    case CimType::kSint8:
      return readNumber<std::int8_t>(trimmed(text));
    case CimType::kSint16:
      return readNumber<std::int16_t>(trimmed(text));
    case CimType::kSint32:
      return readNumber<std::int32_t>(trimmed(text));
    case CimType::kSint64:
      return readNumber<std::int64_t>(trimmed(text));
    case CimType::kReal32:
    case CimType::kReal64:
      return readReal(trimmed(text));
    case CimType::kReference:
      break;
  }
  return std::nullopt;
}

}  // namespace cimom
