#include "object_url.h"

#include <model/names.h>
#include <model/utf8.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace pcicim {
namespace {

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '.' || c == '_' || c == '~';
}

bool isText(std::string_view text) {
  while (!text.empty()) {
    const cimom::Utf8Character character = cimom::firstCharacter(text);
    if (character.length == 0 || character.code == 0) return false;
    text.remove_prefix(character.length);
  }
  return true;
}

template <typename Number>
Number numberOf(const std::string& name, const std::string& text) {
  Number number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (text.empty() || error != std::errc() || stop != end) {
    throw UrlError("The key " + name + " is a number.");
  }
  return number;
}

cimom::Value valueOf(const cimom::PropertyDeclaration& key, const std::string& text) {
  using cimom::CimType;
  switch (key.type) {
    case CimType::kString:
      return cimom::Value::text(text);
    case CimType::kDateTime: {
      cimom::Value value = cimom::Value::text(text);
      value.type = key.type;
      return value;
    }
    case CimType::kBoolean:
      if (text != "true" && text != "false")
        throw UrlError("The key " + key.name + " is a boolean.");
      return cimom::Value::boolean(text == "true");
    case CimType::kSint8:
    case CimType::kSint16:
    case CimType::kSint32:
    case CimType::kSint64:
      return cimom::Value::signedNumber(key.type, numberOf<std::int64_t>(key.name, text));
    case CimType::kReference:
    case CimType::kReal32:
    case CimType::kReal64:
      throw UrlError("Objects with the key " + key.name + " have no page of their own.");
    default:
      return cimom::Value::number(key.type, numberOf<std::uint64_t>(key.name, text));
  }
}

[[noreturn]] void refuseKey(const std::string& className, const std::string& name) {
  throw UrlError(className + " has no key " + name + '.');
}

}  // namespace

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (isPlain(c)) {
      out += c;
    } else {
      out += {'%', kDigits[byte >> 4], kDigits[byte & 0xf]};
    }
  }
  return out;
}

std::string percentDecoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out += text[i];
      continue;
    }
    unsigned byte = 0;
    const std::string_view digits = text.substr(i + 1, 2);
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, byte, 16);
    if (digits.size() != 2 || error != std::errc() || stop != end) {
      throw UrlError("A % comes with two hexadecimal digits.");
    }
    out += static_cast<char>(byte);
    i += 2;
  }
  if (!isText(out)) throw UrlError("The address is not in UTF-8.");
  return out;
}

std::vector<std::pair<std::string, std::string>> parseQuery(std::string_view query) {
  std::vector<std::pair<std::string, std::string>> values;
  while (!query.empty()) {
    const std::string_view part = query.substr(0, query.find('&'));
    const std::size_t equals = part.find('=');
    if (equals == std::string_view::npos || equals == 0) {
      throw UrlError("The query is not of the form NAME=VALUE&NAME=VALUE.");
    }
    std::string name = percentDecoded(part.substr(0, equals));
    const bool isKnown = std::any_of(values.begin(), values.end(), [&name](const auto& other) {
      return cimom::sameName(other.first, name);
    });
    if (isKnown) throw UrlError("The query names " + name + " twice.");
    values.emplace_back(std::move(name), percentDecoded(part.substr(equals + 1)));
    if (part.size() == query.size()) break;
    query.remove_prefix(part.size() + 1);
    if (query.empty()) throw UrlError("The query ends with &.");
  }
  return values;
}

std::string objectUrl(const cimom::ObjectPath& path) {
  std::string url = "/object/" + percentEncoded(path.className);
  char separator = '?';
  for (const auto& [name, value] : path.keys) {
    const bool isNamed = !value.isNull && !value.isArray && value.elements.size() == 1 &&
                         value.type != cimom::CimType::kReference &&
                         value.type != cimom::CimType::kReal32 &&
                         value.type != cimom::CimType::kReal64;
    if (!isNamed) return "";
    url += separator + percentEncoded(name) + '=' +
           percentEncoded(cimom::toText(value.elements.front()));
    separator = '&';
  }
  return path.keys.empty() ? "" : url;
}

cimom::ObjectPath objectOf(const std::string& className, std::string_view query,
                           const cimom::ClassRepository& classes) {
  cimom::ObjectPath path;
  path.className = className;
  for (const auto& [name, text] : parseQuery(query)) {
    const auto* key = classes.findProperty(className, name);
    if (key == nullptr || !key->isKey) refuseKey(className, name);
    path.keys.push_back({key->name, valueOf(*key, text)});
  }
  if (path.keys.empty()) throw UrlError("The address names no key of an object.");
  return path;
}

}  // namespace pcicim
