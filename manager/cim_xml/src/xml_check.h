#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cimom {

/// A text that is no XML document, or none that is read here; what() says why and at which byte.
class XmlError : public std::runtime_error {
 public:
  XmlError(const std::string& reason, std::size_t offset)
      : std::runtime_error(reason + " at byte " + std::to_string(offset)) {}
};

/// Elements within each other that are still read.
constexpr std::size_t kDeepestXml = 64;
/// Bytes of a document that is still read.
constexpr std::size_t kLargestXml = std::size_t{64} << 20;

/// Why a document with that XML declaration is not read, a constant text; null where it is read.
/// Either argument may be null: it is not given.
const char* refusalOfDeclaration(const char* version, const char* encoding);

/// Throws XmlError unless the text is one well-formed XML 1.0 document in UTF-8 of at most
/// kLargestXml bytes whose elements nest no deeper than kDeepestXml. A document type declaration
/// that declares anything itself is refused, and with it every entity beyond the five that XML
/// knows: nothing that is read later can grow or lead elsewhere. White space before the declaration
/// is let pass, since some clients send it. Safe from any thread.
void checkXml(std::string_view text);

}  // namespace cimom
