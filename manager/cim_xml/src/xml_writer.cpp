#include "xml_writer.h"

#include <algorithm>
#include <array>
#include <utility>

#include <model/cim_error.h>
#include <model/utf8.h>

#include "cim_status.h"
#include "xml_character.h"

namespace cimom {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";

/// The reference that replaces a character; null for a character written as it is. White space in
/// attributes and carriage returns anywhere would be changed by the reader.
const char* reference(char32_t code, bool inAttribute) {
  switch (code) {
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '&':
      return "&amp;";
    case '\r':
      return "&#13;";
    case '"':
      return inAttribute ? "&quot;" : nullptr;
    case '\n':
      return inAttribute ? "&#10;" : nullptr;
    case '\t':
      return inAttribute ? "&#9;" : nullptr;
    default:
      return nullptr;
  }
}

/// Length of the text up to the first byte that may need another form.
std::size_t plainLength(std::string_view text) {
  const auto isPlain = [](char c) {
    return c >= ' ' && c != '<' && c != '>' && c != '&' && c != '"';
  };
  return static_cast<std::size_t>(std::ranges::find_if_not(text, isPlain) - text.begin());
}

/// Appends the first character of the text; returns how many bytes of the text it took.
std::size_t appendCharacter(std::string& out, std::string_view text, bool inAttribute) {
  const auto [code, length] = firstCharacter(text);
  if (length == 0) {
    appendUtf8(out, static_cast<unsigned char>(text.front()));
    return 1;
  }
  if (const char* entity = reference(code, inAttribute)) {
    out += entity;
  } else if (isXmlCharacter(code)) {
    out += text.substr(0, length);
  } else {
    out += kReplacement;
  }
  return length;
}

void appendText(std::string& out, std::string_view text, bool inAttribute) {
  while (!text.empty()) {
    const std::size_t plain = plainLength(text);
    out += text.substr(0, plain);
    text.remove_prefix(plain);
    if (!text.empty()) text.remove_prefix(appendCharacter(out, text, inAttribute));
  }
}

/// Some clients read an element without content in its short form only where no content is ever
/// allowed, as XML itself advises.
bool neverHasContent(std::string_view element) {
  constexpr std::array<std::string_view, 5> kEmpty = {"CLASSNAME", "ERROR", "NAMESPACE", "SCOPE",
                                                      "VALUE.NULL"};
  return std::ranges::find(kEmpty, element) != kEmpty.end();
}

}  // namespace

XmlWriter::XmlWriter(std::size_t mostBytes)
    : XmlWriter("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n", mostBytes) {}

XmlWriter::XmlWriter(std::string_view beginning, std::size_t mostBytes)
    : mostBytes_(mostBytes), out_(beginning) {}

XmlWriter XmlWriter::fragment() {
  return {"", std::string::npos};
}

void XmlWriter::handOnBeyond(std::size_t bytes, std::size_t partBytes, const Outlet& outlet) {
  mostBytes_ = bytes;
  partBytes_ = partBytes;
  outlet_ = &outlet;
}

void XmlWriter::handOn() {
  hasHandedOn_ = true;
  mostBytes_ = partBytes_;
  (*outlet_)(out_);
  out_.clear();
}

void XmlWriter::start(const char* element) {
  finishTag();
  if (out_.size() > mostBytes_) {
    if (outlet_ == nullptr) {
      throw CimError(kServerLimitsExceeded, "the answer is too long; it can be pulled in parts");
    }
    handOn();
  }
  out_.append("<").append(element);
  open_.push_back(element);
  inTag_ = true;
}

void XmlWriter::attribute(const char* name, std::string_view value) {
  out_.append(" ").append(name).append("=\"");
  appendText(out_, value, true);
  out_ += '"';
}

void XmlWriter::text(std::string_view text) {
  finishTag();
  appendText(out_, text, false);
}

void XmlWriter::elements(std::string_view fragment) {
  finishTag();
  out_ += fragment;
}

void XmlWriter::end() {
  if (inTag_ && neverHasContent(open_.back())) {
    out_ += "/>";
    inTag_ = false;
  } else {
    finishTag();
    out_.append("</").append(open_.back()).append(">");
  }
  open_.pop_back();
}

XmlWriter::Mark XmlWriter::mark() {
  finishTag();
  return {out_.size(), open_.size()};
}

void XmlWriter::rewind(const Mark& mark) {
  out_.resize(mark.length);
  open_.resize(mark.depth);
  inTag_ = false;
}

std::string XmlWriter::take() {
  return std::move(out_);
}

void XmlWriter::finishTag() {
  if (std::exchange(inTag_, false)) out_ += '>';
}

}  // namespace cimom
