#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "mof_text.h"

namespace cimom {

/// The smallest piece of MOF text that has a meaning.
struct MofToken {
  enum class Kind { kEnd, kIdentifier, kInteger, kReal, kString, kCharacter, kPunctuation };

  Kind kind = Kind::kEnd;
  /// Names as written; strings and characters without quotes, their escapes resolved; whole numbers
  /// in decimal; one character of punctuation.
  std::string text;
  MofPlace place;
};

/// Cuts MOF text into tokens; comments and blanks fall away. Each call of next() moves on, at the
/// end it goes on returning kEnd. Throws MofError on anything that cannot begin or end a token.
/// The text must outlive the lexer. One thread at a time.
class MofLexer {
 public:
  MofLexer(std::string_view text, std::string file);
  /// Reads a part of a text, and names places of the whole.
  explicit MofLexer(const MofPart& part);

  MofToken next();
  const std::string& file() const noexcept { return file_; }

  /// What the lexer reads, and how far it has come there.
  std::string_view text() const noexcept { return text_; }
  std::size_t position() const noexcept { return position_; }
  /// Goes on at a later position.
  void moveTo(std::size_t position);

 private:
  [[noreturn]] void fail(const MofPlace& place, const std::string& reason) const;
  bool atEnd() const noexcept { return position_ >= text_.size(); }
  char peek(std::size_t ahead = 0) const noexcept;
  char take() noexcept;
  void skipBlanksAndComments();
  void skipLineComment();
  void skipBlockComment();
  std::string takeDigits(bool (*accepted)(char));
  MofToken readIdentifier(const MofPlace& place);
  MofToken readNumber(const MofPlace& place);
  std::string readHexadecimal(const MofPlace& place);
  std::string readFraction();
  std::string toDecimal(const MofPlace& place, std::string_view digits, unsigned base,
                        bool negative) const;
  MofToken readQuoted(const MofPlace& place, char quote);
  void readEscape(std::string& out);
  std::uint32_t readHexEscape(const MofPlace& place);

  std::string_view text_;
  std::string file_;
  std::size_t position_ = 0;
  MofPlace place_;
};

}  // namespace cimom
