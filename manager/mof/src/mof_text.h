#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "mof_characters.h"

namespace cimom {

/// A text that is read when something of it is wanted, with the name that errors carry.
class MofText {
 public:
  MofText(std::string text, std::string file) : text_(std::move(text)), file_(std::move(file)) {}

  /// Without a byte order mark.
  std::string_view text() const noexcept { return withoutByteOrderMark(text_); }
  const std::string& file() const noexcept { return file_; }

 private:
  std::string text_;
  std::string file_;
};

/// A part of a text, from one position to another.
struct MofPart {
  std::shared_ptr<const MofText> source;
  std::size_t begin = 0;
  std::size_t end = 0;
  /// Where it begins.
  MofPlace place;
};

/// A class of which only name and superclass are known yet.
struct UnreadClass {
  std::string name;
  /// Empty for a class at the top.
  std::string superclass;
  MofPart part;
  /// Where the name stands.
  std::size_t position = 0;

  MofPlace place() const { return placeOf(part.source->text(), position, part.begin, part.place); }
};

}  // namespace cimom
