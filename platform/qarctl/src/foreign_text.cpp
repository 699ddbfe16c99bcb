#include "foreign_text.h"

#include <algorithm>
#include <utility>

namespace HostCtl {

namespace {

constexpr std::size_t kBeginBytes = 64;

/// What a file of this kind begins with.
constexpr std::pair<std::string_view, const char*> kKinds[] = {
    {"\xff\xfe", "UTF-16 text"},
    {"\xfe\xff", "UTF-16 text"},
    {"\x1f\x8b", "a file compressed by gzip"},
    {"\xfd\x37zXZ", "a file compressed by xz"},
    {"BZh", "a file compressed by bzip2"},
    {"\x28\xb5\x2f\xfd", "a file compressed by zstd"},
    {"PK\x03\x04", "a zip archive"},
};

/// ASCII in two bytes a character.
bool IsWide(std::string_view text) {
  std::size_t even = 0;
  std::size_t odd = 0;
  for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
    if (text[at] == '\0') ++even;
    if (text[at + 1] == '\0') ++odd;
  }
  return text.size() >= 4 && (even == 0) != (odd == 0) && even + odd == text.size() / 2;
}

}  // namespace

void ForeignText::TakeBytes(std::string_view piece) {
  begin_.append(piece.substr(0, kBeginBytes - std::min(begin_.size(), kBeginBytes)));
}

void ForeignText::TakeLine(std::string_view line) {
  if (line.starts_with("Slot:\t")) fields_ = true;
  if (line.starts_with("-[") || line.starts_with("-+-[")) tree_ = true;
}

std::string ForeignText::Description() const {
  for (const auto& [begin, kind] : kKinds) {
    if (begin_.starts_with(begin)) return kind;
  }
  if (IsWide(begin_)) return "UTF-16 text";
  if (begin_.find('\0') != std::string::npos) return "bytes that are no text";
  if (functionsWithoutBytes_) return "functions without their bytes (lspci without -x)";
  if (bytesWithoutFunctions_) return "bytes without the lines that name their functions";
  if (fields_) return "the fields of lspci -vmm";
  if (tree_) return "the tree of lspci -t";
  return "other text";
}

}  // namespace HostCtl
