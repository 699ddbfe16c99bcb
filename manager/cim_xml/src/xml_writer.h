#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace cimom {

/// Builds an XML document in memory, or hands it on as it grows. Whatever bytes it is given, the
/// document is well-formed UTF-8: a byte that is no part of a UTF-8 character becomes the character
/// that ISO 8859-1 gives it, so old name lists stay readable, and what XML cannot hold becomes
/// U+FFFD. Names of elements and attributes are the program's own and not checked. Not safe for
/// several threads.
class XmlWriter {
 public:
  /// A place to which the document can be taken back.
  struct Mark {
    std::size_t length;
    std::size_t depth;
  };

  /// Starts with the XML declaration. Once there are more bytes than given, no further element can
  /// be started: CimError (SERVER_LIMITS_EXCEEDED).
  explicit XmlWriter(std::size_t mostBytes = std::string::npos);

  /// Takes what is written so far; may throw.
  using Outlet = std::function<void(std::string_view)>;
  /// From now on an element that starts when there are more bytes than given does not fail: what
  /// is written goes to `outlet`, which outlives the writer, and then whenever `partBytes` are
  /// there.
  void handOnBeyond(std::size_t bytes, std::size_t partBytes, const Outlet& outlet);
  /// True once something went to the outlet: there is no way back then.
  bool hasHandedOn() const { return hasHandedOn_; }
  /// Hands on what is left.
  void handOn();

  /// One for elements that are put into a document later; starts with nothing.
  static XmlWriter fragment();

  void start(const char* element);
  /// Only right after start().
  void attribute(const char* name, std::string_view value);
  void text(std::string_view text);
  /// Adds elements that a writer of a fragment has written.
  void elements(std::string_view fragment);
  void end();

  /// Only where no tag is half written: after text(), end() or a mark's first child, and before
  /// anything is handed on.
  Mark mark();
  void rewind(const Mark& mark);

  /// The document; all elements must be ended.
  std::string take();

 private:
  XmlWriter(std::string_view beginning, std::size_t mostBytes);
  void finishTag();

  std::size_t mostBytes_;
  std::size_t partBytes_ = 0;
  const Outlet* outlet_ = nullptr;
  bool hasHandedOn_ = false;
  std::string out_;
  std::vector<const char*> open_;
  bool inTag_ = false;
};

/// An element that ends with its scope.
class XmlElement {
 public:
  XmlElement(XmlWriter& writer, const char* name) : writer_(writer) { writer.start(name); }
  ~XmlElement() { writer_.end(); }
  XmlElement(const XmlElement&) = delete;
  XmlElement& operator=(const XmlElement&) = delete;

  XmlElement& attribute(const char* name, std::string_view value) {
    writer_.attribute(name, value);
    return *this;
  }

 private:
  XmlWriter& writer_;
};

}  // namespace cimom
