#include "text_fit.h"

#include <model/utf8.h>

#include <algorithm>

namespace pcicim {
namespace {

constexpr std::string_view kEllipsis = "\xe2\x80\xa6";

/// Hundredths of the font's size that a character takes in wide sans-serif fonts.
int characterWidth(char32_t code) {
  constexpr std::string_view kNarrow = " !'()*,-./:;I[\\]fijlrt|`\"";
  constexpr std::string_view kWide = "@%&MWmw+<=>#~";
  if (code < 0x80) {
    const char c = static_cast<char>(code);
    if (kNarrow.find(c) != std::string_view::npos) return 42;
    if (kWide.find(c) != std::string_view::npos) return 100;
    return c >= 'A' && c <= 'Z' ? 78 : 64;
  }
  return code < 0x2e80 ? 85 : 110;
}

int scaled(int hundredths, TextStyle style) {
  // Bold letters are up to a tenth wider.
  const int bold = isBold(style) ? 110 : 100;
  return (hundredths * fontSize(style) * bold + 9999) / 10000;
}

/// The bytes of the first character; what is no UTF-8 counts byte by byte.
cimom::Utf8Character nextCharacter(std::string_view text) {
  const cimom::Utf8Character character = cimom::firstCharacter(text);
  return character.length != 0 ? character : cimom::Utf8Character{0xfffd, 1};
}

/// How many bytes of the text fit.
std::size_t fittingBytes(std::string_view text, int width, TextStyle style) {
  int hundredths = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    const cimom::Utf8Character character = nextCharacter(text.substr(at));
    hundredths += characterWidth(character.code);
    if (scaled(hundredths, style) > width) break;
    at += character.length;
  }
  return at;
}

std::string_view withoutBlanksAtEnd(std::string_view text) {
  const std::size_t last = text.find_last_not_of(' ');
  return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

std::string_view withoutBlanksAtBegin(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

/// Where a line that has room for so many bytes ends; in the middle of a word that fills it.
std::size_t lineEnd(std::string_view text, std::size_t fitting) {
  if (fitting == text.size()) return fitting;
  const std::size_t blank = text.rfind(' ', fitting);
  return blank == std::string_view::npos || blank == 0 ? fitting : blank;
}

}  // namespace

int textWidth(std::string_view text, TextStyle style) {
  int hundredths = 0;
  while (!text.empty()) {
    const cimom::Utf8Character character = nextCharacter(text);
    hundredths += characterWidth(character.code);
    text.remove_prefix(character.length);
  }
  return scaled(hundredths, style);
}

std::string cutToFit(std::string_view text, int width, TextStyle style) {
  if (fittingBytes(text, width, style) == text.size()) return std::string(text);
  const int room = width - textWidth(kEllipsis, style);
  if (room < 0) return "";
  const std::size_t fitting = fittingBytes(text, room, style);
  return std::string(withoutBlanksAtEnd(text.substr(0, fitting))).append(kEllipsis);
}

std::vector<std::string> wrapToFit(std::string_view text, int width, TextStyle style,
                                   std::size_t lines) {
  std::vector<std::string> result;
  text = withoutBlanksAtBegin(text);
  while (result.size() + 1 < lines && !text.empty()) {
    const std::size_t end = lineEnd(text, fittingBytes(text, width, style));
    if (end == 0) break;
    result.emplace_back(withoutBlanksAtEnd(text.substr(0, end)));
    text = withoutBlanksAtBegin(text.substr(end));
  }
  if (!text.empty() || result.empty()) result.push_back(cutToFit(text, width, style));
  return result;
}

}  // namespace pcicim
