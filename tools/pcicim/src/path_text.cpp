#include "path_text.h"

#include <model/utf8.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace pcicim {
namespace {

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isNamePart(char c) {
  return isLetter(c) || isDigit(c) || static_cast<unsigned char>(c) > 127;
}
char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string lowerCase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), lower);
  return result;
}

int hexValue(char c) {
  if (isDigit(c)) {
    return c - '0';
  }
  const char small = lower(c);
  return small >= 'a' && small <= 'f' ? small - 'a' + 10 : -1;
}

class PathReader {
 public:
  explicit PathReader(std::string_view text) : text_(text) {}

  PathText read() {
    PathText path;
    readNamespace(path);
    path.className = readName("a class name");
    if (atEnd()) {
      return path;
    }
    expect('.', "'.' and keys");
    do {
      readKey(path);
    } while (accept(','));
    if (!atEnd()) {
      fail("expected ',' or the end");
    }
    return path;
  }

 private:
  [[noreturn]] void fail(std::string_view reason) const { throw PathError(reason, at_ + 1); }

  bool atEnd() const { return at_ == text_.size(); }
  char next() const { return atEnd() ? '\0' : text_[at_]; }

  bool accept(char c) {
    if (atEnd() || text_[at_] != c) {
      return false;
    }
    ++at_;
    return true;
  }

  void expect(char c, std::string_view what) {
    if (!accept(c)) {
      fail("expected " + std::string(what));
    }
  }

  /// Behind the slashes of a URL; 0 without them.
  std::size_t beginOfHost() const {
    for (const std::string_view scheme : {"//", "http://", "https://"}) {
      if (lowerCase(text_.substr(0, scheme.size())) == scheme) {
        return scheme.size();
      }
    }
    return 0;
  }

  /// Of "node7.example:5988/" and the like at the beginning, with the slash; 0 when it is not
  /// there. No namespace has a number and a slash behind a colon.
  std::size_t lengthOfHostAndPort() const {
    const std::size_t slash = std::min(text_.find('/'), text_.find('"'));
    if (slash == std::string_view::npos || text_[slash] != '/') {
      return 0;
    }
    const std::size_t colon = text_.substr(0, slash).rfind(':');
    if (colon == std::string_view::npos || colon == 0 || colon + 1 == slash) {
      return 0;
    }
    const std::string_view port = text_.substr(colon + 1, slash - colon - 1);
    return std::all_of(port.begin(), port.end(), isDigit) ? slash + 1 : 0;
  }

  void readNamespace(PathText& path) {
    if (const std::size_t host = beginOfHost(); host != 0) {
      at_ = text_.find('/', host);
      if (at_ == std::string_view::npos) {
        at_ = text_.size();
        fail("expected a namespace behind the host name");
      }
      ++at_;
    } else {
      at_ = lengthOfHostAndPort();
    }
    const std::size_t end = text_.find_first_of(":.=\",", at_);
    if (end == std::string_view::npos || text_[end] != ':') {
      if (at_ != 0) {
        fail("expected a namespace and ':'");
      }
      return;
    }
    if (end == at_) {
      fail("expected a namespace before ':'");
    }
    path.nameSpace = text_.substr(at_, end - at_);
    at_ = end + 1;
  }

  std::string readName(std::string_view what) {
    const std::size_t begin = at_;
    if (isDigit(next())) {
      fail("expected " + std::string(what) + ", which begins with a letter");
    }
    while (!atEnd() && isNamePart(text_[at_])) {
      ++at_;
    }
    if (at_ == begin) {
      fail("expected " + std::string(what));
    }
    return std::string(text_.substr(begin, at_ - begin));
  }

  void readKey(PathText& path) {
    const std::size_t begin = at_;
    PathText::Key key;
    key.name = readName("a key name");
    const bool known = std::any_of(path.keys.begin(), path.keys.end(), [&key](const auto& other) {
      return lowerCase(other.name) == lowerCase(key.name);
    });
    if (known) {
      throw PathError("the key " + key.name + " stands here a second time", begin + 1);
    }
    expect('=', "'=' behind the key name");
    readValue(key);
    path.keys.push_back(std::move(key));
  }

  void readValue(PathText::Key& key) {
    key.position = at_ + 1;
    if (accept('"')) {
      key.kind = PathText::Key::Kind::kString;
      key.value = readString();
    } else if (isDigit(next()) || next() == '-' || next() == '+') {
      key.kind = PathText::Key::Kind::kNumber;
      key.value = readNumber();
    } else {
      key.kind = PathText::Key::Kind::kBoolean;
      key.value = readBoolean();
    }
  }

  std::string readString() {
    const std::size_t begin = at_;
    std::string value;
    while (!accept('"')) {
      if (atEnd()) {
        throw PathError("this string has no closing '\"'", begin);
      }
      if (accept('\\')) {
        readEscape(value);
      } else {
        value.push_back(text_[at_++]);
      }
    }
    return value;
  }

  void readEscape(std::string& value) {
    static constexpr std::string_view kNames = "btnfr\"'\\";
    static constexpr std::string_view kMeanings = "\b\t\n\f\r\"'\\";
    if (accept('x') || accept('X')) {
      cimom::appendUtf8(value, readCodePoint());
      return;
    }
    const std::size_t found = atEnd() ? std::string_view::npos : kNames.find(text_[at_]);
    if (found == std::string_view::npos) {
      fail("no such escape; a backslash itself is written \\\\");
    }
    value.push_back(kMeanings[found]);
    ++at_;
  }

  std::uint32_t readCodePoint() {
    const std::size_t begin = at_;
    std::uint32_t code = 0;
    int digits = 0;
    for (; digits < 4 && hexValue(next()) >= 0; ++digits) {
      code = code * 16 + static_cast<std::uint32_t>(hexValue(text_[at_++]));
    }
    if (digits == 0) {
      fail("expected hexadecimal digits");
    }
    // A null would end the key for the provider, which then finds what was not asked for.
    const bool isSurrogate = code >= 0xd800 && code <= 0xdfff;
    if (code == 0 || isSurrogate) {
      at_ = begin;
      fail("this escape names no character");
    }
    return code;
  }

  std::string readNumber() {
    const std::size_t begin = at_;
    if (!accept('-')) {
      accept('+');
    }
    const bool isHex = text_.substr(at_, 2) == "0x" || text_.substr(at_, 2) == "0X";
    at_ += isHex ? 2 : 0;
    const std::size_t digits = at_;
    while (isHex ? hexValue(next()) >= 0 : isDigit(next())) {
      ++at_;
    }
    if (at_ == digits) {
      fail("expected a digit");
    }
    return std::string(text_.substr(begin, at_ - begin));
  }

  std::string readBoolean() {
    const std::size_t begin = at_;
    while (isLetter(next())) {
      ++at_;
    }
    std::string word = lowerCase(text_.substr(begin, at_ - begin));
    if (word != "true" && word != "false") {
      at_ = begin;
      fail("expected a value: \"text in double quotes\", a whole number, TRUE or FALSE");
    }
    return word;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

PathError::PathError(std::string_view reason, std::size_t position)
    : std::runtime_error("malformed object path: " + std::string(reason) + " (character " +
                         std::to_string(position) + ")") {}

PathText parsePath(std::string_view text) {
  return PathReader(text).read();
}

}  // namespace pcicim
