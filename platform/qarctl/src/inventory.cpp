#include "function_record.h"
#include "text_file.h"

#include <qarctl/HostCtlException.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <utility>

#include <syslog.h>

namespace HostCtl {

namespace {

constexpr std::size_t kBytesPerLine = 16;

bool IsHex(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}
bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

/// Whether a byte stands at `at`: two hex digits, then a blank or the end.
bool IsByte(const std::string& line, std::size_t at) {
  return at + 1 < line.size() && IsHex(line[at]) && IsHex(line[at + 1]) &&
         (at + 2 == line.size() || IsBlank(line[at + 2]));
}

/// Length of the offset that a line of bytes begins with: hex digits, a colon and a blank; 0 for
/// any other line.
std::size_t OffsetLength(const std::string& line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string::npos || colon < 2 || colon > 4) return 0;
  const auto end = line.begin() + static_cast<std::ptrdiff_t>(colon);
  if (!std::all_of(line.begin(), end, IsHex)) return 0;
  return colon + 1 == line.size() || IsBlank(line[colon + 1]) ? colon : 0;
}

/// Reads the text of a saved inventory line by line.
class InventoryReader {
 public:
  explicit InventoryReader(std::string name) : name_(std::move(name)) {}

  HostInput Read(std::string_view text);

 private:
  void ReadLine(const std::string& line);
  bool ReadFunctionLine(const std::string& line);
  bool ReadHexLine(const std::string& line);
  bool ReadText(const std::string& line);
  void TakeLine(const std::string& line, std::size_t at, std::size_t offset);
  void TakeBytes(const std::string& line, std::size_t at, std::size_t offset);
  void CloseFunction();
  void Skip(const char* why);
  void NoteDamage(std::size_t lineNumber, const char* what);
  void ReportDamage() const;

  std::string name_;
  HostInput input_;
  /// The function being read, when `open_`: its line's number and its bytes so far.
  bool open_ = false;
  std::size_t functionLine_ = 0;
  ConfigSpace config_;
  /// Where its next line of bytes belongs, and how many lines were skipped since the last one.
  std::size_t nextOffset_ = 0;
  std::size_t skippedLines_ = 0;

  std::size_t lineNumber_ = 0;
  std::size_t firstDamagedLine_ = 0;
  std::size_t lastDamagedLine_ = 0;
  std::string firstDamage_;
  std::size_t damagedLines_ = 0;
};

HostInput InventoryReader::Read(std::string_view text) {
  // Editors put it in front of a text; it belongs to no line.
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  std::size_t start = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    std::string line(text.substr(start, end - start));
    if (!line.empty() && line.back() == '\r') line.pop_back();
    ++lineNumber_;
    ReadLine(line);
    start = end + 1;
  }
  CloseFunction();
  ReportDamage();
  if (input_.functions.empty() && !text.empty()) {
    throw Lib::HostCtlException("PCI inventory " + name_ + " holds no PCI function");
  }
  return std::move(input_);
}

void InventoryReader::ReadLine(const std::string& line) {
  if (ReadFunctionLine(line) || ReadHexLine(line) || ReadText(line)) return;
  Skip("neither a function nor bytes");
}

bool InventoryReader::ReadFunctionLine(const std::string& line) {
  FunctionAddress address;
  const std::size_t length = ParseAddress(line, address);
  if (length == 0 || (length < line.size() && !IsBlank(line[length]))) return false;
  CloseFunction();
  input_.functions.emplace_back().address = address;
  open_ = true;
  functionLine_ = lineNumber_;
  nextOffset_ = 0;
  skippedLines_ = 0;
  return true;
}

/// Empty lines and indented ones: decode text, of which only the slot matters.
bool InventoryReader::ReadText(const std::string& line) {
  constexpr std::string_view kLabel = "Physical Slot:";
  if (!line.empty() && !IsBlank(line.front())) return false;
  const std::size_t start = std::min(line.find_first_not_of(" \t"), line.size());
  // Behind a skipped line the text may be another function's.
  if (!open_ || skippedLines_ != 0 || line.compare(start, kLabel.size(), kLabel) != 0) return true;
  const std::string_view value = std::string_view(line).substr(start + kLabel.size());
  input_.functions.back().slot =
      LeadingNumber(value.substr(std::min(value.find_first_not_of(" \t"), value.size())));
  return true;
}

bool InventoryReader::ReadHexLine(const std::string& line) {
  const std::size_t length = OffsetLength(line);
  if (length == 0) return false;
  TakeLine(line, length + 1, std::strtoul(line.c_str(), nullptr, 16));
  return true;
}

/// Takes the bytes of a line if its place among the others vouches for its offset: it follows the
/// line before it, or the lines between them were there and skipped.
void InventoryReader::TakeLine(const std::string& line, std::size_t at, std::size_t offset) {
  if (open_ && offset < nextOffset_) {
    // Another function begins whose own line is lost: nothing more belongs to this one.
    CloseFunction();
  }
  if (!open_) {
    Skip("bytes of no known function");
  } else if (offset >= ConfigSpace::kMostBytes) {
    Skip("offset beyond configuration space");
  } else if (offset - nextOffset_ > kBytesPerLine * skippedLines_) {
    Skip("lines missing before these bytes");
  } else {
    TakeBytes(line, at, offset);
    nextOffset_ = offset + kBytesPerLine;
    skippedLines_ = 0;
  }
}

void InventoryReader::TakeBytes(const std::string& line, std::size_t at, std::size_t offset) {
  for (std::size_t count = 0; count < kBytesPerLine; ++count) {
    at = line.find_first_not_of(" \t", at);
    if (at == std::string::npos) return;
    if (!IsByte(line, at)) {
      NoteDamage(lineNumber_, "unreadable byte");
      return;
    }
    const unsigned long byte = std::strtoul(line.substr(at, 2).c_str(), nullptr, 16);
    config_.Put(offset + count, static_cast<std::uint8_t>(byte));
    at += 2;
  }
}

void InventoryReader::CloseFunction() {
  if (open_ && config_.Has(0x00, 2)) {
    input_.functions.back().config = config_;
  } else if (open_) {
    // With an address alone, not even the vendor known, there is nothing to publish.
    input_.functions.pop_back();
    if (lastDamagedLine_ < functionLine_) NoteDamage(functionLine_, "a function without bytes");
  }
  config_ = ConfigSpace();
  open_ = false;
}

void InventoryReader::Skip(const char* why) {
  ++skippedLines_;
  NoteDamage(lineNumber_, why);
}

void InventoryReader::NoteDamage(std::size_t lineNumber, const char* what) {
  if (damagedLines_++ == 0) {
    firstDamagedLine_ = lineNumber;
    firstDamage_ = what;
  }
  lastDamagedLine_ = lineNumber;
}

void InventoryReader::ReportDamage() const {
  if (damagedLines_ == 0) return;
  syslog(LOG_WARNING, "PCI inventory %s line %zu: %s; %zu more lines could not be read",
         name_.c_str(), firstDamagedLine_, firstDamage_.c_str(), damagedLines_ - 1);
}

}  // namespace

HostInput ReadInventory(const std::string& file) {
  std::error_code error;
  const std::string text = ReadTextFile(file, error);
  if (error) {
    throw Lib::HostCtlException("cannot read PCI inventory " + file + ": " + error.message());
  }
  return ReadInventoryText(text, file);
}

HostInput ReadInventoryText(std::string_view text, const std::string& name) {
  return InventoryReader(name).Read(text);
}

}  // namespace HostCtl
