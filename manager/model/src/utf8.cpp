#include <model/utf8.h>

namespace cimom {
namespace {

constexpr char32_t kLastCharacter = 0x10ffff;

std::size_t lengthByFirstByte(unsigned char byte) {
  if (byte < 0x80) return 1;
  if (byte < 0xc2) return 0;
  if (byte < 0xe0) return 2;
  if (byte < 0xf0) return 3;
  return byte < 0xf5 ? 4 : 0;
}

char32_t smallestOfLength(std::size_t length) {
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return kSmallest[length];
}

bool isSurrogate(char32_t code) {
  return code >= 0xd800 && code <= 0xdfff;
}

}  // namespace

Utf8Character firstCharacter(std::string_view text) {
  if (text.empty()) return {};
  const auto first = static_cast<unsigned char>(text.front());
  const std::size_t length = lengthByFirstByte(first);
  if (length == 0 || length > text.size()) return {};
  if (length == 1) return {first, 1};
  char32_t code = first & (0xffU >> (length + 1));
  for (const char c : text.substr(1, length - 1)) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xc0) != 0x80) return {};
    code = code << 6 | (byte & 0x3fU);
  }
  const bool isValid =
      code >= smallestOfLength(length) && code <= kLastCharacter && !isSurrogate(code);
  return isValid ? Utf8Character{code, length} : Utf8Character{};
}

void appendUtf8(std::string& out, char32_t character) {
  const auto lead = [&](char32_t mark, int shift) {
    out += static_cast<char>(mark | character >> shift);
  };
  const auto follow = [&](int shift) {
    out += static_cast<char>(0x80 | (character >> shift & 0x3f));
  };
  if (character < 0x80) return lead(0, 0);
  if (character < 0x800) {
    lead(0xc0, 6);
  } else if (character < 0x10000) {
    lead(0xe0, 12);
    follow(6);
  } else {
    lead(0xf0, 18);
    follow(12);
    follow(6);
  }
  follow(0);
}

}  // namespace cimom
