#include "mof_skipper.h"

#include <array>
#include <cstdint>

#include "mof_characters.h"

namespace cimom {
namespace {

// What makes the skipper stop between brackets.
constexpr std::string_view kStops = "\"'/,;()[]{}";

constexpr std::array<bool, 256> markEach(std::string_view characters) {
  std::array<bool, 256> marked{};
  for (const char c : characters) marked[static_cast<unsigned char>(c)] = true;
  return marked;
}

constexpr auto kIsStop = markEach(kStops);
// A text of several lines is an error.
constexpr auto kEndsDoubleQuoted = markEach("\"\\\n");
constexpr auto kEndsSingleQuoted = markEach("'\\\n");

char closingOf(char opening) {
  switch (opening) {
    case '(':
      return ')';
    case '[':
      return ']';
    default:
      return '}';
  }
}

bool isOpening(char c) {
  return c == '(' || c == '[' || c == '{';
}

bool isClosing(char c) {
  return c == ')' || c == ']' || c == '}';
}

}  // namespace

bool MofSkipper::skipBlanks() {
  while (!atEnd()) {
    if (isBlank(text_[position_])) {
      ++position_;
    } else if (text_[position_] != '/') {
      return true;
    } else if (!skipComment()) {
      return false;
    }
  }
  return true;
}

bool MofSkipper::skipComment() {
  const std::string_view start = text_.substr(position_, 2);
  if (start == "//") {
    position_ = text_.find('\n', position_);
    if (position_ == std::string_view::npos) position_ = text_.size();
    return true;
  }
  if (start != "/*") return false;
  const std::size_t end = text_.find("*/", position_ + 2);
  if (end == std::string_view::npos) return false;
  position_ = end + 2;
  return true;
}

bool MofSkipper::skipQuoted(char quote) {
  const auto& ends = quote == '"' ? kEndsDoubleQuoted : kEndsSingleQuoted;
  ++position_;
  while (!atEnd()) {
    const char c = text_[position_];
    if (!ends[static_cast<unsigned char>(c)]) {
      ++position_;
    } else if (c == '\\' && text_.substr(position_ + 1, 1) != "\n") {
      position_ += 2;
    } else {
      ++position_;
      return c == quote;
    }
  }
  return false;
}

bool MofSkipper::take(char c) {
  if (atEnd() || text_[position_] != c) return false;
  ++position_;
  return skipBlanks();
}

std::string_view MofSkipper::takeName() {
  const std::size_t start = position_;
  if (atEnd() || !isNameStart(text_[start])) return {};
  while (!atEnd() && isNamePart(text_[position_])) ++position_;
  const std::string_view name = text_.substr(start, position_ - start);
  return skipBlanks() ? name : std::string_view();
}

bool MofSkipper::skipBrackets(std::vector<std::string_view>* names) {
  // Nothing in MOF nests deeper than a value in a qualifier in a class.
  constexpr std::size_t kDeepest = 8;
  std::array<char, kDeepest> closing{};
  std::size_t depth = 0;
  while (!atEnd()) {
    const char c = text_[position_];
    if (!kIsStop[static_cast<unsigned char>(c)]) {
      ++position_;
      continue;
    }
    if (c == '"' || c == '\'') {
      if (!skipQuoted(c)) return false;
      continue;
    }
    if (c == '/') {
      if (!skipComment()) return false;
      continue;
    }
    ++position_;
    if (isOpening(c)) {
      if (depth == kDeepest) return false;
      closing[depth++] = closingOf(c);
    } else if (isClosing(c)) {
      if (closing[--depth] != c) return false;
      if (depth == 0) return true;
    }
    const bool beginsItem = depth == 1 && (isOpening(c) || c == ',');
    if (names != nullptr && beginsItem) {
      if (!skipBlanks()) return false;
      names->push_back(takeName());
    }
  }
  return false;
}

bool MofSkipper::skipStatement() {
  while (skipBlanks() && !atEnd()) {
    const char c = text_[position_];
    if (c == ';') {
      ++position_;
      return true;
    }
    if (isOpening(c)) {
      if (!skipBrackets()) return false;
    } else if (c == '"' || c == '\'') {
      if (!skipQuoted(c)) return false;
    } else {
      ++position_;
    }
  }
  return false;
}

}  // namespace cimom
