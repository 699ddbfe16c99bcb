#include "mof_lexer.h"

#include <charconv>
#include <limits>
#include <utility>

#include <model/utf8.h>
#include <mof/mof_error.h>

#include "mof_characters.h"

namespace cimom {
namespace {

bool isPunctuation(char c) {
  return std::string_view("{}()[],;:=$#").find(c) != std::string::npos;
}

std::uint32_t hexValue(char c) {
  if (isDigit(c)) return static_cast<std::uint32_t>(c - '0');
  return static_cast<std::uint32_t>((c | 0x20) - 'a') + 10;
}

std::string describe(char c) {
  if (c >= ' ' && c <= '~') return std::string("'") + c + "'";
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto value = static_cast<unsigned char>(c);
  return std::string("byte 0x") + kDigits[value >> 4] + kDigits[value & 0xf];
}

}  // namespace

MofLexer::MofLexer(std::string_view text, std::string file)
    : text_(withoutByteOrderMark(text)), file_(std::move(file)) {}

MofLexer::MofLexer(const MofPart& part)
    : text_(part.source->text().substr(0, part.end)),
      file_(part.source->file()),
      position_(part.begin),
      place_(part.place) {}

void MofLexer::moveTo(std::size_t position) {
  place_ = placeOf(text_, position, position_, place_);
  position_ = position;
}

void MofLexer::fail(const MofPlace& place, const std::string& reason) const {
  throw MofError(file_, place.line, place.column, reason);
}

char MofLexer::peek(std::size_t ahead) const noexcept {
  return ahead < text_.size() - position_ ? text_[position_ + ahead] : '\0';
}

char MofLexer::take() noexcept {
  const char c = text_[position_++];
  if (c == '\n') {
    ++place_.line;
    place_.column = 1;
  } else {
    ++place_.column;
  }
  return c;
}

void MofLexer::skipBlanksAndComments() {
  while (!atEnd()) {
    if (isBlank(peek())) {
      take();
    } else if (peek() == '/' && peek(1) == '/') {
      skipLineComment();
    } else if (peek() == '/' && peek(1) == '*') {
      skipBlockComment();
    } else {
      return;
    }
  }
}

void MofLexer::skipLineComment() {
  while (!atEnd() && peek() != '\n') take();
}

void MofLexer::skipBlockComment() {
  const MofPlace start = place_;
  take();
  take();
  while (!atEnd()) {
    if (take() == '*' && peek() == '/') {
      take();
      return;
    }
  }
  fail(start, "comment is not closed");
}

MofToken MofLexer::next() {
  skipBlanksAndComments();
  const MofPlace place = place_;
  if (atEnd()) return {MofToken::Kind::kEnd, {}, place};
  const char c = peek();
  if (isNameStart(c)) return readIdentifier(place);
  if (isDigit(c) || c == '+' || c == '-' || c == '.') return readNumber(place);
  if (c == '"' || c == '\'') return readQuoted(place, take());
  if (!isPunctuation(c)) fail(place, "unexpected " + describe(c));
  return {MofToken::Kind::kPunctuation, std::string(1, take()), place};
}

std::string MofLexer::takeDigits(bool (*accepted)(char)) {
  std::string digits;
  while (!atEnd() && accepted(peek())) digits += take();
  return digits;
}

MofToken MofLexer::readIdentifier(const MofPlace& place) {
  return {MofToken::Kind::kIdentifier, takeDigits(isNamePart), place};
}

MofToken MofLexer::readNumber(const MofPlace& place) {
  const bool negative = peek() == '-';
  if (peek() == '+' || negative) take();
  if (peek() == '0' && (peek(1) == 'x' || peek(1) == 'X')) {
    const std::string digits = readHexadecimal(place);
    return {MofToken::Kind::kInteger, toDecimal(place, digits, 16, negative), place};
  }
  const std::string digits = takeDigits(isDigit);
  if (peek() == '.') {
    return {MofToken::Kind::kReal, (negative ? "-" : "") + digits + readFraction(), place};
  }
  unsigned base = digits.size() > 1 && digits[0] == '0' ? 8 : 10;
  if (peek() == 'b' || peek() == 'B') {
    take();
    base = 2;
  }
  if (!atEnd() && isNamePart(peek())) fail(place, "malformed number");
  return {MofToken::Kind::kInteger, toDecimal(place, digits, base, negative), place};
}

std::string MofLexer::readHexadecimal(const MofPlace& place) {
  take();
  take();
  std::string digits = takeDigits(isHexDigit);
  if (!atEnd() && isNamePart(peek())) fail(place, "malformed number");
  return digits;
}

std::string MofLexer::readFraction() {
  const MofPlace place = place_;
  std::string fraction(1, take());
  fraction += takeDigits(isDigit);
  if (fraction.size() == 1) fail(place, "malformed number");
  if (peek() == 'e' || peek() == 'E') {
    fraction += take();
    if (peek() == '+' || peek() == '-') fraction += take();
    const std::string exponent = takeDigits(isDigit);
    if (exponent.empty()) fail(place, "malformed number");
    fraction += exponent;
  }
  if (!atEnd() && isNamePart(peek())) fail(place, "malformed number");
  return fraction;
}

std::string MofLexer::toDecimal(const MofPlace& place, std::string_view digits, unsigned base,
                                bool negative) const {
  std::uint64_t value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, static_cast<int>(base));
  if (error == std::errc::result_out_of_range) fail(place, "number does not fit in 64 bits");
  if (error != std::errc() || end != digits.data() + digits.size()) fail(place, "malformed number");
  constexpr auto kLowest = std::uint64_t{1} << 63;
  if (negative && value > kLowest) fail(place, "number does not fit in 64 bits");
  return (negative && value != 0 ? "-" : "") + std::to_string(value);
}

MofToken MofLexer::readQuoted(const MofPlace& place, char quote) {
  std::string out;
  while (true) {
    if (atEnd() || peek() == '\n') {
      fail(place, quote == '"' ? "string is not closed on its line" : "character is not closed");
    }
    const char c = peek();
    if (c == '\0') fail(place_, "unexpected byte 0x00");
    if (c == '\\') {
      readEscape(out);
      continue;
    }
    take();
    if (c == quote) break;
    out += c;
  }
  if (quote == '\'' && out.empty()) fail(place, "character is empty");
  return {quote == '"' ? MofToken::Kind::kString : MofToken::Kind::kCharacter, std::move(out),
          place};
}

void MofLexer::readEscape(std::string& out) {
  const MofPlace place = place_;
  take();
  if (atEnd()) fail(place, "escape is not complete");
  constexpr std::string_view kLetters = "btnfr\"'\\";
  constexpr std::string_view kMeanings = "\b\t\n\f\r\"'\\";
  const char c = take();
  if (const auto index = kLetters.find(c); index != std::string_view::npos) {
    out += kMeanings[index];
  } else if (c == 'x' || c == 'X') {
    appendUtf8(out, readHexEscape(place));
  } else {
    fail(place, "unknown escape of " + describe(c));
  }
}

std::uint32_t MofLexer::readHexEscape(const MofPlace& place) {
  std::uint32_t value = 0;
  int digits = 0;
  for (; digits < 4 && !atEnd() && isHexDigit(peek()); ++digits)
    value = value * 16 + hexValue(take());
  if (digits == 0) fail(place, "escape is not complete");
  const bool isSurrogate = value >= 0xd800 && value <= 0xdfff;
  if (value == 0 || isSurrogate) fail(place, "escape names no character");
  return value;
}

}  // namespace cimom
