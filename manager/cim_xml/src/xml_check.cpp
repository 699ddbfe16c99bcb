#include "xml_check.h"

#include <expat.h>

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>

#include <model/names.h>

namespace cimom {
namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

/// Expat takes any text for a version.
bool isVersionOne(std::string_view version) {
  return version.size() > 2 && version.starts_with("1.") &&
         version.find_first_not_of("0123456789", 2) == std::string_view::npos;
}

/// Runs one text through expat, with the rules that go beyond well-formedness.
class XmlChecker {
 public:
  /// `offset` is where the text begins in what errors speak of. Only the beginning of a document
  /// may hold a declaration and a document type.
  XmlChecker(std::string_view text, std::size_t offset, bool isBeginning)
      : text_(text),
        offset_(offset),
        isBeginning_(isBeginning),
        parser_(XML_ParserCreate("UTF-8")) {
    if (!parser_) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetXmlDeclHandler(parser_.get(), onDeclaration);
    XML_SetDoctypeDeclHandler(parser_.get(), onDocumentType, onDocumentTypeEnd);
    XML_SetElementHandler(parser_.get(), onStart, onEnd);
  }

  /// Returns where the document type declaration ends, if there is one: nothing behind it has been
  /// checked then.
  std::optional<std::size_t> run() {
    // Expat skips one where a text begins, and what it gets need not be the document's beginning.
    if (text_.starts_with(kByteOrderMark))
      throw XmlError("a byte order mark out of place", offset_);
    const bool isRead = XML_Parse(parser_.get(), text_.data(), static_cast<int>(text_.size()),
                                  XML_TRUE) == XML_STATUS_OK;
    if (refusal_ != nullptr) fail(refusal_);
    if (documentTypeEnd_) return documentTypeEnd_;
    if (!isRead) fail(XML_ErrorString(XML_GetErrorCode(parser_.get())));
    return std::nullopt;
  }

 private:
  [[noreturn]] void fail(const char* reason) const { throw XmlError(reason, offset_ + place()); }
  std::size_t place() const {
    return static_cast<std::size_t>(std::max<XML_Index>(XML_GetCurrentByteIndex(parser_.get()), 0));
  }
  void stop() { XML_StopParser(parser_.get(), XML_FALSE); }
  void refuseIf(bool holds, const char* reason) {
    if (!holds || refusal_ != nullptr) return;
    refusal_ = reason;
    stop();
  }

  static XmlChecker& of(void* data) { return *static_cast<XmlChecker*>(data); }

  static void XMLCALL onDeclaration(void* data, const XML_Char* version, const XML_Char* encoding,
                                    int /*standalone*/) {
    of(data).refuseIf(!of(data).isBeginning_, "an XML declaration out of place");
    const char* reason = refusalOfDeclaration(version, encoding);
    of(data).refuseIf(reason != nullptr, reason);
  }

  static void XMLCALL onDocumentType(void* data, const XML_Char* /*name*/,
                                     const XML_Char* /*system*/, const XML_Char* /*publicId*/,
                                     int hasInternalSubset) {
    of(data).refuseIf(!of(data).isBeginning_, "a second document type declaration");
    of(data).refuseIf(hasInternalSubset != 0, "declarations inside the document are refused");
  }

  static void XMLCALL onDocumentTypeEnd(void* data) {
    XmlChecker& checker = of(data);
    if (checker.refusal_ != nullptr) return;
    checker.documentTypeEnd_ = checker.place() + 1;
    checker.stop();
  }

  static void XMLCALL onStart(void* data, const XML_Char* /*name*/,
                              const XML_Char** /*attributes*/) {
    of(data).refuseIf(++of(data).depth_ > kDeepestXml, "elements nest too deep");
  }

  static void XMLCALL onEnd(void* data, const XML_Char* /*name*/) { --of(data).depth_; }

  struct Free {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  std::string_view text_;
  std::size_t offset_;
  bool isBeginning_;
  std::unique_ptr<std::remove_pointer_t<XML_Parser>, Free> parser_;
  std::size_t depth_ = 0;
  const char* refusal_ = nullptr;
  std::optional<std::size_t> documentTypeEnd_;
};

std::size_t lengthBeforeDeclaration(std::string_view text) {
  std::size_t length = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  length = text.find_first_not_of(" \t\r\n", length);
  return std::min(length, text.size());
}

}  // namespace

const char* refusalOfDeclaration(const char* version, const char* encoding) {
  const std::string_view name = encoding != nullptr ? encoding : "utf-8";
  if (version == nullptr || !isVersionOne(version)) return "a version of XML other than 1";
  const bool isRead = sameName(name, "utf-8") || sameName(name, "us-ascii");
  return isRead ? nullptr : "an encoding other than UTF-8";
}

void checkXml(std::string_view text) {
  if (text.size() > kLargestXml) throw XmlError("the document is too large", kLargestXml);
  const std::size_t start = lengthBeforeDeclaration(text);
  const auto end = XmlChecker(text.substr(start), start, true).run();
  if (!end) return;
  // After a document type that lies elsewhere, expat takes an entity that it does not know for one
  // that is declared there. What follows is a document of its own without that declaration.
  const std::size_t rest = start + *end;
  XmlChecker(text.substr(rest), rest, false).run();
}

}  // namespace cimom
