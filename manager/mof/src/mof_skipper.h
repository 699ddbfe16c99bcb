#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace cimom {

/// Moves over MOF text without making anything of it: comments, texts and brackets with what is
/// between them. It knows no more of the grammar than that brackets come in pairs; whoever reads
/// what was passed by judges it. One thread at a time.
class MofSkipper {
 public:
  /// The text must outlive the skipper, which begins at `position`.
  explicit MofSkipper(std::string_view text, std::size_t position = 0)
      : text_(text), position_(position) {}

  std::size_t position() const noexcept { return position_; }
  bool atEnd() const noexcept { return position_ >= text_.size(); }

  /// Moves to the next character that is neither blank nor in a comment; false when a comment is
  /// not closed.
  bool skipBlanks();
  /// Moves behind `c` and the blanks behind it; false, and nowhere, when another character is here.
  bool take(char c);
  /// Moves behind a name and the blanks behind it; empty when there is none here.
  std::string_view takeName();
  /// Moves behind the bracket that closes the one here; false when brackets do not match or a text
  /// is not closed. `names`, where given, gets those that begin an item of the outermost brackets.
  bool skipBrackets(std::vector<std::string_view>* names = nullptr);
  /// Moves behind the next ';' outside of brackets; false when there is none.
  bool skipStatement();

 private:
  bool skipComment();
  bool skipQuoted(char quote);

  std::string_view text_;
  std::size_t position_;
};

}  // namespace cimom
