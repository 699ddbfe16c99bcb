#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace cimom {

/// One character at the start of a text, as UTF-8 encodes it.
struct Utf8Character {
  char32_t code = 0;
  /// Bytes that it takes; 0 when there is no well-formed character.
  std::size_t length = 0;
};

/// The first character of the text; overlong forms, surrogates and what lies beyond U+10FFFF are
/// not well-formed. Safe from any thread, as all functions here.
Utf8Character firstCharacter(std::string_view text);

/// Appends the character in UTF-8; at most U+10FFFF.
void appendUtf8(std::string& out, char32_t character);

}  // namespace cimom
