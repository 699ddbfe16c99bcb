#include "xml_check.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>
#include <vector>

#include <model/names.h>

#include <model/utf8.h>

namespace cimom {
namespace {

constexpr std::string_view kSpace = " \t\r\n";

bool isSpace(char c) {
  return kSpace.find(c) != std::string_view::npos;
}

bool startsName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
         static_cast<unsigned char>(c) > 0x7f;
}

bool continuesName(char c) {
  return startsName(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

class XmlChecker {
 public:
  explicit XmlChecker(std::string_view text) : text_(text) {}

  void run() {
    checkCharacters();
    takeIf("\xef\xbb\xbf");
    skipSpace();
    if (at("<?xml") && isSpace(peek(5))) checkDeclaration();
    while (place_ < text_.size()) {
      at("<") ? markup() : characterData();
    }
    require(sawRoot_ && open_.empty(), "the document ends too early");
  }

 private:
  [[noreturn]] void fail(const std::string& reason) const { throw XmlError(reason, place_); }
  void require(bool holds, const char* reason) const {
    if (!holds) fail(reason);
  }

  char peek(std::size_t ahead = 0) const {
    return place_ + ahead < text_.size() ? text_[place_ + ahead] : '\0';
  }
  bool at(std::string_view word) const { return text_.substr(place_).starts_with(word); }
  bool takeIf(std::string_view word) {
    if (!at(word)) return false;
    place_ += word.size();
    return true;
  }
  bool skipSpace() {
    const std::size_t start = place_;
    while (isSpace(peek())) ++place_;
    return place_ != start;
  }
  /// Takes what stands before `end`, and `end` itself.
  std::string_view takeUntil(std::string_view end) {
    const std::size_t found = text_.find(end, place_);
    if (found == std::string_view::npos) fail("'" + std::string(end) + "' is missing");
    const std::string_view taken = text_.substr(place_, found - place_);
    place_ = found + end.size();
    return taken;
  }
  std::string_view takeName() {
    require(startsName(peek()), "a name is missing");
    const std::size_t start = place_;
    while (continuesName(peek())) ++place_;
    return text_.substr(start, place_ - start);
  }

  void checkCharacters() {
    for (; place_ < text_.size();) {
      const auto [code, length] = firstCharacter(text_.substr(place_));
      require(length != 0, "bytes that are no UTF-8");
      require(isXmlCharacter(code), "a character that XML cannot hold");
      place_ += length;
    }
    place_ = 0;
  }

  void checkDeclaration() {
    const std::string_view declaration = takeUntil("?>");
    const std::size_t encoding = declaration.find("encoding");
    if (encoding == std::string_view::npos) return;
    const std::size_t quote = declaration.find_first_of("\"'", encoding);
    require(quote != std::string_view::npos, "the encoding is not in quotes");
    const std::string_view rest = declaration.substr(quote + 1);
    const std::string_view name = rest.substr(0, rest.find(declaration[quote]));
    require(sameName(name, "utf-8") || sameName(name, "us-ascii"), "an encoding other than UTF-8");
  }

  void markup() {
    if (takeIf("<!--")) {
      takeUntil("--");
      require(takeIf(">"), "a comment holds '--'");
    } else if (takeIf("<![CDATA[")) {
      require(!open_.empty(), "text outside the root element");
      takeUntil("]]>");
    } else if (takeIf("<!DOCTYPE")) {
      checkDocumentType();
    } else if (takeIf("<?")) {
      require(!sameName(takeName(), "xml"), "a second XML declaration");
      takeUntil("?>");
    } else if (takeIf("</")) {
      endTag();
    } else {
      takeIf("<");
      startTag();
    }
  }

  void checkDocumentType() {
    require(!sawRoot_ && !sawDocumentType_, "a document type declaration out of place");
    sawDocumentType_ = true;
    const std::string_view declaration = takeUntil(">");
    require(declaration.find_first_of("[<&%") == std::string_view::npos,
            "declarations inside the document are refused");
  }

  void startTag() {
    require(!sawRoot_ || !open_.empty(), "a second root element");
    sawRoot_ = true;
    require(open_.size() < kDeepestXml, "elements nest too deep");
    open_.push_back(takeName());
    std::vector<std::string_view> names;
    for (bool spaced = skipSpace(); !at(">") && !at("/>"); spaced = skipSpace()) {
      require(spaced, "an attribute is not set apart");
      names.push_back(takeName());
      attributeValue();
    }
    std::ranges::sort(names);
    require(std::ranges::adjacent_find(names) == names.end(), "an attribute stands twice");
    if (takeIf("/")) open_.pop_back();
    takeIf(">");
  }

  void attributeValue() {
    skipSpace();
    require(takeIf("="), "an attribute has no value");
    skipSpace();
    const char quote = peek();
    require(quote == '"' || quote == '\'', "an attribute's value is not in quotes");
    ++place_;
    while (peek() != quote) {
      require(place_ < text_.size() && peek() != '<', "an attribute's value does not end");
      at("&") ? checkReference() : static_cast<void>(++place_);
    }
    ++place_;
  }

  void endTag() {
    const std::string_view name = takeName();
    require(!open_.empty() && open_.back() == name, "an end tag without its start");
    open_.pop_back();
    skipSpace();
    require(takeIf(">"), "an end tag does not end");
  }

  void characterData() {
    require(!at("]]>"), "']]>' outside its section");
    require(!open_.empty() || isSpace(peek()), "text outside the root element");
    at("&") ? checkReference() : static_cast<void>(++place_);
  }

  void checkReference() {
    takeIf("&");
    if (takeIf("#")) return checkCharacterReference();
    constexpr std::array<std::string_view, 5> kKnown = {"lt;", "gt;", "amp;", "quot;", "apos;"};
    require(std::ranges::any_of(kKnown, [this](std::string_view name) { return takeIf(name); }),
            "an entity that is not declared");
  }

  void checkCharacterReference() {
    const int base = takeIf("x") ? 16 : 10;
    const char* end = text_.data() + text_.size();
    std::uint32_t code = 0;
    const auto [stop, error] = std::from_chars(text_.data() + place_, end, code, base);
    require(error == std::errc() && stop != end && *stop == ';' && isXmlCharacter(code),
            "a reference to no character");
    place_ = static_cast<std::size_t>(stop - text_.data()) + 1;
  }

  std::string_view text_;
  std::size_t place_ = 0;
  std::vector<std::string_view> open_;
  bool sawRoot_ = false;
  bool sawDocumentType_ = false;
};

}  // namespace

bool isXmlCharacter(char32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  const bool isSurrogate = code >= 0xd800 && code <= 0xdfff;
  return code <= 0x10ffff && !isSurrogate && code != 0xfffe && code != 0xffff;
}

void checkXml(std::string_view text) {
  XmlChecker(text).run();
}

}  // namespace cimom
