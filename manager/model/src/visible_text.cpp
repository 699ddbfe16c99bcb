#include <model/utf8.h>
#include <model/value.h>
#include <model/visible_text.h>

#include <algorithm>
#include <iterator>

namespace cimom {
namespace {

struct Range {
  char32_t first;
  char32_t last;
};

constexpr Range kInvisible[] = {{0x00, 0x1f},     {0x7f, 0x9f},     {0x61c, 0x61c},
                                {0x200e, 0x200f}, {0x2028, 0x202e}, {0x2066, 0x2069}};

bool isInvisible(char32_t code) {
  return std::any_of(std::begin(kInvisible), std::end(kInvisible), [code](const Range& range) {
    return range.first <= code && code <= range.last;
  });
}

void appendHex(std::string& out, char32_t number, int digits, std::string_view alphabet) {
  while (--digits >= 0) out += alphabet[number >> (4 * digits) & 0xf];
}

void appendByte(std::string& out, char32_t byte) {
  out += "\\x";
  appendHex(out, byte, 2, "0123456789abcdef");
}

void appendForPeople(std::string& out, char32_t code) {
  if (code < 0x80) return appendByte(out, code);
  out += "\\u{";
  appendHex(out, code, code > 0xff ? (code > 0xfff ? 4 : 3) : 2, "0123456789abcdef");
  out += '}';
}

/// Always four digits, so that a digit which follows in the text is not taken as one more.
void appendForReaders(std::string& out, char32_t code) {
  out += "\\x";
  appendHex(out, code, 4, "0123456789ABCDEF");
}

template <typename Append>
std::string withEscapes(std::string_view text, const Append& append) {
  // Nearly all text is plain.
  if (std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; })) {
    return std::string(text);
  }
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const Utf8Character character = firstCharacter(text);
    if (character.length == 0) {
      appendByte(out, static_cast<unsigned char>(text.front()));
    } else if (isInvisible(character.code)) {
      append(out, character.code);
    } else {
      out += text.substr(0, character.length);
    }
    text.remove_prefix(std::max<std::size_t>(character.length, 1));
  }
  return out;
}

}  // namespace

std::string visibleText(std::string_view text) {
  return withEscapes(text, appendForPeople);
}

std::string visibleText(const ObjectPath& path) {
  return withEscapes(toText(path), appendForReaders);
}

}  // namespace cimom
