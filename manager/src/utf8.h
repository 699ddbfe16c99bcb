#pragma once

#include <cstddef>
#include <string_view>

namespace cimom {

/// One character at the start of a text, as UTF-8 encodes it.
struct Utf8Character {
  char32_t code = 0;
  /// Bytes that it takes; 0 when no well-formed character stands there.
  std::size_t length = 0;
};

/// The first character of the text; overlong forms, surrogates and what lies beyond U+10FFFF are
/// not well-formed. Safe from any thread, as all functions here.
Utf8Character firstCharacter(std::string_view text);

/// True for the characters that an XML 1.0 document can hold.
bool isXmlCharacter(char32_t code);

}  // namespace cimom
