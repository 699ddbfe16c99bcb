// Expat calls back for each tag; what is around the objects is followed by its depth alone, and
// each child of IRETURNVALUE, each output and each error becomes a small tree that lives until it
// is read. Nothing is thrown through expat: a failure is kept, stops it, and is thrown behind it.
#include <cim_xml/response_reader.h>
#include <expat.h>
#include <model/names.h>
#include <model/short_text.h>

#include <algorithm>
#include <array>
#include <exception>
#include <new>
#include <pugixml.hpp>
#include <type_traits>
#include <utility>

#include "received_elements.h"
#include "value_text.h"
#include "xml_check.h"

namespace cimom {
namespace {

constexpr std::string_view kWhiteSpace = " \t\r\n";
/// Bytes of one tag or comment.
constexpr std::size_t kLongestTag = std::size_t{64} << 10;
/// Bytes of one object, and elements and attributes in it.
constexpr std::size_t kLargestObject = std::size_t{16} << 20;
constexpr std::size_t kMostNodes = std::size_t{256} << 10;

/// From the root down to what holds the answer.
constexpr std::array<std::string_view, 4> kFrame = {"CIM", "MESSAGE", "SIMPLERSP",
                                                    "IMETHODRESPONSE"};

bool isBlank(std::string_view text) {
  return text.find_first_not_of(kWhiteSpace) == std::string_view::npos;
}

struct Free {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

/// The tree of one element, put together tag by tag.
class GrowingElement {
 public:
  bool isOpen() const { return !node_.empty(); }

  void start(const char* name, const char** attributes) {
    if (!isOpen()) clear();
    if (!isBlank(text_)) addText();
    text_.clear();
    node_ = isOpen() ? node_.append_child(name) : document_.append_child(name);
    count(std::string_view(name).size());
    for (; *attributes != nullptr; attributes += 2) {
      count(std::string_view(attributes[1]).size());
      node_.append_attribute(attributes[0]).set_value(attributes[1]);
    }
  }

  void addCharacters(std::string_view text) {
    text_ += text;
    bytes_ += text.size();
    if (bytes_ > kLargestObject) throw ResponseError("one object is larger than 16 MiB");
  }

  /// True when the whole element has been read.
  bool end() {
    const bool isContainer =
        node_.find_child([](pugi::xml_node child) { return child.type() == pugi::node_element; });
    if (!text_.empty() && !(isContainer && isBlank(text_))) addText();
    text_.clear();
    node_ = node_.parent();
    if (node_.type() != pugi::node_document) return false;
    node_ = {};
    return true;
  }

  pugi::xml_node root() const { return document_.first_child(); }

 private:
  void clear() {
    document_.reset();
    text_.clear();
    bytes_ = 0;
    nodes_ = 0;
  }

  void addText() { node_.append_child(pugi::node_pcdata).set_value(text_.c_str()); }

  void count(std::size_t bytes) {
    bytes_ += bytes;
    if (++nodes_ > kMostNodes || bytes_ > kLargestObject) {
      throw ResponseError("one object has too many elements");
    }
  }

  pugi::xml_document document_;
  pugi::xml_node node_;
  std::string text_;
  std::size_t bytes_ = 0;
  std::size_t nodes_ = 0;
};

}  // namespace

class ResponseReader::Document {
 public:
  Document(std::string method, std::string id, std::string nameSpace, ResponseBudget& budget)
      : method_(std::move(method)),
        id_(std::move(id)),
        nameSpace_(std::move(nameSpace)),
        budget_(budget),
        parser_(XML_ParserCreate("UTF-8")) {
    if (!parser_) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetXmlDeclHandler(parser_.get(), onDeclaration);
    XML_SetStartDoctypeDeclHandler(parser_.get(), onDocumentType);
    XML_SetElementHandler(parser_.get(), onStart, onEnd);
    XML_SetCharacterDataHandler(parser_.get(), onCharacters);
  }

  void read(std::string_view bytes) {
    if (bytes.size() > budget_.bytes) throw ResponseError("the answer is too large");
    budget_.bytes -= bytes.size();
    // Some servers send an empty line first.
    if (fed_ == 0)
      bytes.remove_prefix(std::min(bytes.find_first_not_of(kWhiteSpace), bytes.size()));
    parse(bytes, false);
    fed_ += bytes.size();
    if (fed_ - place() > kLongestTag) throw ResponseError("a tag is longer than 64 KiB");
  }

  void finish() {
    if (fed_ == 0) throw ResponseError("the answer is empty");
    parse({}, true);
    if (!hasResponse_) throw ResponseError("the answer holds no response");
  }

  std::vector<ReceivedObject> takeObjects() { return std::exchange(objects_, {}); }

  std::optional<CimError> error;
  std::optional<bool> endOfSequence;
  std::string context;

 private:
  void parse(std::string_view bytes, bool isLast) {
    const bool isRead = XML_Parse(parser_.get(), bytes.data(), static_cast<int>(bytes.size()),
                                  isLast ? XML_TRUE : XML_FALSE) == XML_STATUS_OK;
    if (failure_) std::rethrow_exception(failure_);
    if (!isRead) refuseXml(XML_ErrorString(XML_GetErrorCode(parser_.get())));
  }

  [[noreturn]] void refuseXml(const std::string& reason) const {
    throw ResponseError("the answer is no XML that can be read: " + reason + " at byte " +
                        std::to_string(place()));
  }

  std::size_t place() const {
    return static_cast<std::size_t>(std::max<XML_Index>(XML_GetCurrentByteIndex(parser_.get()), 0));
  }

  /// Runs a handler; what it throws waits until expat has returned.
  template <typename Handler>
  static void handle(void* data, Handler handler) {
    Document& document = *static_cast<Document*>(data);
    if (document.failure_) return;
    try {
      handler(document);
    } catch (...) {
      document.failure_ = std::current_exception();
      XML_StopParser(document.parser_.get(), XML_FALSE);
    }
  }

  static void XMLCALL onDeclaration(void* data, const XML_Char* version, const XML_Char* encoding,
                                    int /*standalone*/) {
    handle(data, [&](Document& document) {
      if (const char* reason = refusalOfDeclaration(version, encoding)) document.refuseXml(reason);
    });
  }

  static void XMLCALL onDocumentType(void* data, const XML_Char* /*name*/,
                                     const XML_Char* /*system*/, const XML_Char* /*publicId*/,
                                     int /*hasInternalSubset*/) {
    handle(data, [](Document& document) { document.refuseXml("a document type declaration"); });
  }

  static void XMLCALL onStart(void* data, const XML_Char* name, const XML_Char** attributes) {
    handle(data, [&](Document& document) { document.start(name, attributes); });
  }

  static void XMLCALL onEnd(void* data, const XML_Char* /*name*/) {
    handle(data, [](Document& document) { document.end(); });
  }

  static void XMLCALL onCharacters(void* data, const XML_Char* text, int length) {
    handle(data, [&](Document& document) {
      if (document.element_.isOpen()) {
        document.element_.addCharacters({text, static_cast<std::size_t>(length)});
      }
    });
  }

  void start(const char* name, const char** attributes) {
    if (++depth_ > kDeepestXml) refuseXml("elements nest too deep");
    if (element_.isOpen()) return element_.start(name, attributes);
    if (depth_ <= kFrame.size()) return startFrame(name, attributes);
    const bool isObject = depth_ == kFrame.size() + 2;
    if (!isObject && std::string_view(name) == "IRETURNVALUE") return;
    if (isObject && budget_.objects-- == 0) throw ResponseError("the answer has too many objects");
    element_.start(name, attributes);
  }

  void startFrame(std::string_view name, const char** attributes) {
    const std::string_view expected = kFrame.at(depth_ - 1);
    if (name != expected) {
      throw ResponseError("the answer is no response to the operation: an element " +
                          shortText(name) + " where " + std::string(expected) + " is expected");
    }
    if (depth_ == 2) requireSame(attributes, "ID", id_, "message");
    if (depth_ != kFrame.size()) return;
    requireSame(attributes, "NAME", method_, "operation");
    if (std::exchange(hasResponse_, true)) throw ResponseError("the answer has a second response");
  }

  static void requireSame(const char** attributes, std::string_view name,
                          const std::string& expected, const char* what) {
    for (; *attributes != nullptr; attributes += 2) {
      if (name != attributes[0]) continue;
      if (sameName(attributes[1], expected)) return;
      break;
    }
    throw ResponseError(std::string("the answer belongs to another ") + what);
  }

  void end() {
    const std::size_t ended = depth_--;
    if (!element_.isOpen() || !element_.end()) return;
    if (ended == kFrame.size() + 2) {
      objects_.push_back(readReceivedObject(element_.root(), nameSpace_));
    } else {
      readResult(element_.root());
    }
  }

  void readResult(pugi::xml_node element) {
    const std::string_view kind = element.name();
    if (kind == "ERROR") return readError(element);
    if (kind == "PARAMVALUE") return readOutput(element);
    throw ResponseError("an element " + shortText(kind) + " in the response");
  }

  void readError(pugi::xml_node element) {
    const auto code = readUint32(element.attribute("CODE").value());
    if (!code || *code == 0) throw ResponseError("the answer reports an error without its code");
    error.emplace(static_cast<CMPIrc>(*code), shortText(element.attribute("DESCRIPTION").value()));
  }

  void readOutput(pugi::xml_node element) {
    const std::string_view name = element.attribute("NAME").value();
    std::string value = textOf(element.child("VALUE"));
    if (sameName(name, "EnumerationContext")) {
      context = std::move(value);
    } else if (sameName(name, "EndOfSequence")) {
      const auto read = readScalar(CimType::kBoolean, value);
      if (!read) throw ResponseError("EndOfSequence is neither TRUE nor FALSE");
      endOfSequence = std::get<bool>(*read);
    }
  }

  const std::string method_;
  const std::string id_;
  const std::string nameSpace_;
  ResponseBudget& budget_;
  std::unique_ptr<std::remove_pointer_t<XML_Parser>, Free> parser_;
  std::exception_ptr failure_;
  std::size_t fed_ = 0;
  std::size_t depth_ = 0;
  bool hasResponse_ = false;
  GrowingElement element_;
  std::vector<ReceivedObject> objects_;
};

ResponseReader::ResponseReader(std::string method, std::string id, std::string nameSpace,
                               ResponseBudget& budget)
    : document_(std::make_unique<Document>(std::move(method), std::move(id), std::move(nameSpace),
                                           budget)) {}

ResponseReader::~ResponseReader() = default;

void ResponseReader::read(std::string_view bytes) {
  document_->read(bytes);
}

void ResponseReader::finish() {
  document_->finish();
}

std::vector<ReceivedObject> ResponseReader::takeObjects() {
  return document_->takeObjects();
}

const std::optional<CimError>& ResponseReader::error() const noexcept {
  return document_->error;
}

std::optional<bool> ResponseReader::endOfSequence() const noexcept {
  return document_->endOfSequence;
}

const std::string& ResponseReader::enumerationContext() const noexcept {
  return document_->context;
}

}  // namespace cimom
