#pragma once

#include <cstddef>
#include <string_view>

namespace cimom {

/// A place in a text, counted from 1; columns count bytes.
struct MofPlace {
  std::size_t line = 1;
  std::size_t column = 1;
};

/// The place of a position, reached from an earlier position of a known place.
inline MofPlace placeOf(std::string_view text, std::size_t position, std::size_t from,
                        MofPlace place) {
  for (auto end = text.find('\n', from); end < position; end = text.find('\n', from)) {
    from = end + 1;
    place = {place.line + 1, 1};
  }
  return {place.line, place.column + position - from};
}

/// Editors put the mark in front of UTF-8; it is no part of the text.
inline std::string_view withoutByteOrderMark(std::string_view text) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  return text;
}

inline bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

inline bool isHexDigit(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

inline bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// Names may hold letters of any alphabet; in UTF-8 those are the bytes from 0x80 on.
inline bool isNameStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

inline bool isNamePart(char c) {
  return isNameStart(c) || isDigit(c);
}

}  // namespace cimom
