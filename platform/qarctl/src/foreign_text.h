#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace HostCtl {

/// Recognises what people take for a saved inventory, from its first bytes and the lines that are
/// none of an inventory's.
class ForeignText {
 public:
  /// The next piece of the text; only the first bytes of all count.
  void TakeBytes(std::string_view piece);
  /// A line that is neither a function's own nor one of bytes.
  void TakeLine(std::string_view line);
  /// A function's own line that no bytes followed.
  void TakeFunctionWithoutBytes() { functionsWithoutBytes_ = true; }
  /// Bytes without a function's own line above them.
  void TakeBytesWithoutFunction() { bytesWithoutFunctions_ = true; }

  /// What was found, as the object of a sentence.
  std::string Description() const;

 private:
  std::string begin_;
  bool fields_ = false;
  bool tree_ = false;
  bool functionsWithoutBytes_ = false;
  bool bytesWithoutFunctions_ = false;
};

}  // namespace HostCtl
