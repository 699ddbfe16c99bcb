#pragma once

namespace cimom {

/// True for the characters that an XML 1.0 document can hold.
constexpr bool isXmlCharacter(char32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  const bool isSurrogate = code >= 0xd800 && code <= 0xdfff;
  return code <= 0x10ffff && !isSurrogate && code != 0xfffe && code != 0xffff;
}

}  // namespace cimom
