// Reads a saved inventory the slow way, to compare the reader with. The whole text is cut into
// lines, each line gets its kind (a function's own, a row, text, other), and each section between
// two own lines is read by itself, looking ahead where the rules need it. It shares no code with
// the reader but the parsing of an address and the types of the result, so that a mistake in one is
// not in the other. Safe from any thread.
#include "inventory_judge.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <optional>
#include <string>

using HostCtl::FunctionAddress;
using HostCtl::LineIds;
using HostCtl::SavedFunction;

namespace inventoryjudge {
namespace {

constexpr std::size_t kRowBytes = 16;
constexpr std::size_t kSpace = 4096;
constexpr std::size_t kLongest = 4096;

enum class Kind { kOwn, kRow, kText, kOther };

struct Line {
  Kind kind = Kind::kOther;
  /// Behind an address or an offset: the rest.
  std::string rest;
  FunctionAddress address;
  std::size_t offset = 0;
};

bool isHex(const std::string& text) {
  for (const char c : text) {
    if (std::isxdigit(static_cast<unsigned char>(c)) == 0) return false;
  }
  return !text.empty();
}

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

std::size_t number(const std::string& digits) {
  return std::stoul(digits, nullptr, 16);
}

std::vector<std::string> split(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.emplace_back(text.substr(0, std::min(end, kLongest)));
    text.remove_prefix(std::min(end + 1, text.size()));
    std::string& line = lines.back();
    if (lines.size() == 1 && line.rfind("\xef\xbb\xbf", 0) == 0) line.erase(0, 3);
    if (!line.empty() && line.back() == '\r') line.pop_back();
  }
  return lines;
}

/// The first word of a line that begins with one.
std::string word(const std::string& line) {
  return line.substr(0, line.find_first_of(" \t"));
}

bool isOwn(const std::string& line, FunctionAddress& address) {
  const std::string first = word(line);
  return !first.empty() && HostCtl::ParseAddress(first, address) == first.size();
}

bool isRow(const std::string& line, std::size_t& offset) {
  const std::string first = word(line);
  if (first.size() < 3 || first.size() > 5 || first.back() != ':') return false;
  const std::string digits = first.substr(0, first.size() - 1);
  if (!isHex(digits)) return false;
  offset = number(digits);
  return true;
}

Line lineOf(const std::string& text) {
  Line line;
  line.rest = text.substr(word(text).size());
  if (isOwn(text, line.address)) {
    line.kind = Kind::kOwn;
  } else if (isRow(text, line.offset)) {
    line.kind = Kind::kRow;
  } else if (text.empty() || isBlank(text.front())) {
    line.kind = Kind::kText;
    line.rest = text;
  }
  return line;
}

std::string trimmed(const std::string& text) {
  return text.substr(0, text.find_last_not_of(" \t") + 1);
}

/// The lines without the marks of quotes or indentation in front.
std::vector<Line> linesOf(std::string_view text) {
  std::vector<Line> lines;
  std::optional<std::string> mark;
  FunctionAddress address;
  for (std::string line : split(text)) {
    const std::size_t begin = std::min(line.find_first_not_of(" \t>"), line.size());
    if (!mark && isOwn(line.substr(begin), address)) mark = line.substr(0, begin);
    if (mark && !mark->empty()) {
      const bool empty = trimmed(line).empty() || trimmed(line) == trimmed(*mark);
      if (line.rfind(*mark, 0) == 0) {
        line.erase(0, mark->size());
      } else if (empty) {
        line.clear();
      } else if (isOwn(line, address)) {
        mark = "";
      } else {
        lines.emplace_back();
        continue;
      }
    }
    lines.push_back(lineOf(line));
  }
  return lines;
}

std::optional<LineIds> idsOf(const std::string& text) {
  const auto at = [&text](std::size_t begin) -> std::optional<LineIds> {
    const std::string ids = text.substr(begin, 9);
    if (ids.size() != 9 || ids[4] != ':') return std::nullopt;
    if (!isHex(ids.substr(0, 4)) || !isHex(ids.substr(5))) return std::nullopt;
    return LineIds{static_cast<std::uint16_t>(number(ids.substr(0, 4))),
                   static_cast<std::uint16_t>(number(ids.substr(5)))};
  };
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string::npos) return std::nullopt;
  const std::string code = text.substr(begin, 6);
  if (code.size() == 6 && isHex(code.substr(0, 4)) && code.substr(4) == ": ") {
    const std::size_t end = begin + 15;
    if (text.size() == end) return at(begin + 6);
    if (text.size() > end && isBlank(text[end])) return at(begin + 6);
  }
  for (std::size_t end = text.size(); end-- > begin + 10;) {
    if (text[end] != ']' || text[end - 10] != '[') continue;
    if (const auto ids = at(end - 9)) return ids;
  }
  return std::nullopt;
}

/// The lines of one function: from behind its own line to the next one or the end.
class Section {
 public:
  Section(const std::vector<Line>& lines, std::size_t begin, std::size_t end)
      : lines_(lines), at_(begin), end_(end) {}

  void read(SavedFunction& function) {
    for (; at_ < end_ && !lost_; ++at_) {
      const Line& line = lines_[at_];
      if (line.kind == Kind::kRow) readRow(function);
      if (line.kind == Kind::kText) readText(function);
      if (line.kind == Kind::kOther) ++skipped_;
    }
  }

 private:
  /// The first row behind a row whose offset falls back behind the row before it; the end without.
  std::size_t fallsBackBehind(std::size_t row) const {
    std::size_t last = lines_[row].offset;
    for (std::size_t at = row + 1; at < end_; ++at) {
      if (lines_[at].kind != Kind::kRow) continue;
      if (lines_[at].offset < last + kRowBytes) return at;
      last = lines_[at].offset;
    }
    return end_;
  }

  bool followsARow() const { return at_ > 0 && skipped_ == 0 && rowBefore_ == at_ - 1; }

  void readRow(SavedFunction& function) {
    const Line& line = lines_[at_];
    if (line.offset < expected_) {
      lost_ = true;
      return;
    }
    if (line.offset >= kSpace) {
      ++skipped_;
    } else if (line.offset - expected_ <= kRowBytes * skipped_) {
      takeBytes(function);
    } else if (!followsARow()) {
      ++skipped_;
    } else if (fallsBackBehind(at_) == end_) {
      behindGap_ = true;
      takeBytes(function);
    } else {
      skipTo(fallsBackBehind(at_));
      return;
    }
    rowBefore_ = at_;
  }

  void skipTo(std::size_t row) {
    for (; at_ < row; ++at_) {
      if (lines_[at_].kind != Kind::kText) ++skipped_;
      if (lines_[at_].kind == Kind::kRow) rowBefore_ = at_;
    }
    // The loop over the lines steps onto it.
    --at_;
  }

  void takeBytes(SavedFunction& function) {
    const Line& line = lines_[at_];
    std::string byte;
    std::vector<std::uint8_t> bytes;
    for (std::size_t begin = 0; bytes.size() < kRowBytes; begin += byte.size()) {
      begin = line.rest.find_first_not_of(" \t", begin);
      if (begin == std::string::npos) break;
      byte = word(line.rest.substr(begin));
      if (byte.size() != 2 || !isHex(byte)) break;
      bytes.push_back(static_cast<std::uint8_t>(number(byte)));
    }
    function.config.Put(line.offset, bytes.data(), bytes.size());
    expected_ = line.offset + kRowBytes;
    skipped_ = 0;
  }

  void readText(SavedFunction& function) const {
    const std::string label = "Physical Slot:";
    const std::string& text = lines_[at_].rest;
    const std::size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
    if (skipped_ != 0 || behindGap_ || text.compare(begin, label.size(), label) != 0) return;
    const std::size_t value = text.find_first_not_of(" \t", begin + label.size());
    function.slot = HostCtl::LeadingNumber(value == std::string::npos ? "" : text.substr(value));
  }

  const std::vector<Line>& lines_;
  std::size_t at_;
  std::size_t end_;
  std::size_t expected_ = 0;
  std::size_t skipped_ = 0;
  std::size_t rowBefore_ = static_cast<std::size_t>(-1);
  bool behindGap_ = false;
  bool lost_ = false;
};

}  // namespace

std::vector<SavedFunction> functionsOf(std::string_view text) {
  std::vector<SavedFunction> functions;
  const std::vector<Line> lines = linesOf(text);
  for (std::size_t at = 0; at < lines.size(); ++at) {
    if (lines[at].kind != Kind::kOwn) continue;
    std::size_t end = at + 1;
    while (end < lines.size() && lines[end].kind != Kind::kOwn) ++end;
    SavedFunction function;
    function.address = lines[at].address;
    function.ids = idsOf(lines[at].rest);
    Section(lines, at + 1, end).read(function);
    if (function.config.Has(0, 2)) functions.push_back(function);
  }
  return functions;
}

}  // namespace inventoryjudge
