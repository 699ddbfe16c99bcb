#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace cimom {

/// Trouble in MOF text: what() reads "file:line:column: reason". A file that cannot be read, and
/// trouble between classes such as an unknown superclass, is reported the same way.
class MofError : public std::runtime_error {
 public:
  /// `line` and `column` count from 1; both are 0 where the trouble has no place in the text.
  MofError(std::string file, std::size_t line, std::size_t column, std::string reason);

  const std::string& file() const noexcept { return file_; }
  std::size_t line() const noexcept { return line_; }
  std::size_t column() const noexcept { return column_; }
  const std::string& reason() const noexcept { return reason_; }

 private:
  std::string file_;
  std::size_t line_;
  std::size_t column_;
  std::string reason_;
};

}  // namespace cimom
