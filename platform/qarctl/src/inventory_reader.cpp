// Takes pieces of text, cuts them into lines and hands each function over when the next one begins
// or the text ends; the rules for damaged text are at the class. A row behind a gap is taken and at
// the same time remembered as held: when a later offset falls back, the held rows are dropped
// again. For one thread. At any time no more is kept than one line and one function, so that an
// inventory may be of any length.
#include "inventory_reader.h"

#include "hex_digit.h"

#include <qarctl/HostCtlException.h>

#include <algorithm>
#include <utility>

#include <syslog.h>

namespace HostCtl {

namespace {

/// An inventory that goes on for longer than this without a function has no end: the text of one
/// function is some 20 KiB.
constexpr std::size_t kMostBytesWithoutFunction = std::size_t{64} << 20U;
/// Sixteen segments with a function at every address.
constexpr std::size_t kMostFunctions = std::size_t{1} << 20U;

constexpr std::string_view kBlanks = " \t";

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

// Mostly there is one, so that a search costs more than a look.
std::string_view WithoutBlanksInFront(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  return text;
}

std::string_view WithoutBlanksBehind(std::string_view text) {
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

/// Length of the address of a function's own line, 0 for any other line.
std::size_t OwnAddressLength(std::string_view line, FunctionAddress& address) {
  const std::size_t length = ParseAddress(line, address);
  return length == line.size() || IsBlank(line[length]) ? length : 0;
}

/// Length of the offset that a row begins with: hex digits, a colon and a blank; 0 for any other
/// line.
std::size_t OffsetLength(std::string_view line) {
  std::size_t length = 0;
  while (length < line.size() && HexValue(line[length]) >= 0) ++length;
  if (length < 2 || length > 4 || length == line.size() || line[length] != ':') return 0;
  return length + 1 == line.size() || IsBlank(line[length + 1]) ? length : 0;
}

std::size_t HexNumber(std::string_view digits) {
  std::size_t number = 0;
  for (const char digit : digits) number = number * 16 + static_cast<std::size_t>(HexValue(digit));
  return number;
}

bool IsHex(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return HexValue(c) >= 0; });
}

/// The byte that a text begins with, two hex digits before a blank or the end; negative when it
/// begins with none.
int ByteAt(std::string_view text) {
  if (text.size() < 2 || (text.size() > 2 && !IsBlank(text[2]))) return -1;
  const int high = HexValue(text[0]);
  const int low = HexValue(text[1]);
  return high < 0 || low < 0 ? -1 : high * 16 + low;
}

/// "8086:10d3" at the start of a text.
std::optional<LineIds> IdsAt(std::string_view text) {
  if (text.size() < 9 || text[4] != ':') return std::nullopt;
  const std::string_view vendor = text.substr(0, 4);
  const std::string_view device = text.substr(5, 4);
  if (!IsHex(vendor) || !IsHex(device)) return std::nullopt;
  return LineIds{static_cast<std::uint16_t>(HexNumber(vendor)),
                 static_cast<std::uint16_t>(HexNumber(device))};
}

/// As `lspci -nn` has them: in brackets, behind the names, which may hold brackets too.
std::optional<LineIds> IdsInBrackets(std::string_view line) {
  constexpr std::size_t kLength = 9;
  for (std::size_t close = line.rfind(']'); close != std::string_view::npos && close > kLength;
       close = line.rfind(']', close - 1)) {
    if (line[close - kLength - 1] != '[') continue;
    if (const auto ids = IdsAt(line.substr(close - kLength, kLength))) return ids;
  }
  return std::nullopt;
}

/// The ids in what follows the address in a function's own line: `lspci -n` has them behind the
/// class, "0200: 8086:10d3 (rev 03)".
std::optional<LineIds> IdsIn(std::string_view text) {
  constexpr std::size_t kClassLength = 6;
  text = WithoutBlanksInFront(text);
  if (text.size() > kClassLength && IsHex(text.substr(0, 4)) && text.substr(4, 2) == ": ") {
    const std::string_view ids = text.substr(kClassLength);
    if (ids.size() == 9 || (ids.size() > 9 && IsBlank(ids[9]))) return IdsAt(ids);
  }
  return IdsInBrackets(text);
}

}  // namespace

InventoryReader::InventoryReader(std::string name, Sink sink)
    : name_(std::move(name)), sink_(std::move(sink)) {}

void InventoryReader::Take(std::string_view piece) {
  foreign_.TakeBytes(piece);
  while (!piece.empty()) {
    const std::size_t end = piece.find('\n');
    const std::size_t length = std::min(end, piece.size());
    bytesTaken_ += length;
    if (end == std::string_view::npos) {
      KeepPart(piece);
      break;
    }
    ++bytesTaken_;
    if (part_.empty()) {
      ReadLine(piece.substr(0, std::min(length, kMostLineBytes)));
    } else {
      KeepPart(piece.substr(0, length));
      ReadLine(part_);
      part_.clear();
    }
    piece.remove_prefix(length + 1);
  }
  CheckProgress();
}

void InventoryReader::KeepPart(std::string_view part) {
  part_.append(part.substr(0, kMostLineBytes - std::min(part_.size(), kMostLineBytes)));
}

void InventoryReader::CheckProgress() const {
  if (functions_ > kMostFunctions) {
    Fail(" holds more than " + std::to_string(kMostFunctions) + " PCI functions");
  }
  if (bytesTaken_ - lastFunctionEnd_ > kMostBytesWithoutFunction) {
    const std::string size = std::to_string(kMostBytesWithoutFunction >> 20U) + " MiB";
    Fail((functions_ == 0 ? " holds no PCI function in its first " + size
                          : " goes on for " + size + " behind its last PCI function") +
         ": found " + foreign_.Description() + ", expected what lspci -D -xxxx writes");
  }
}

void InventoryReader::Finish() {
  if (!part_.empty()) ReadLine(part_);
  CloseFunction();
  ReportDamage();
  if (functions_ == 0 && bytesTaken_ != 0) {
    Fail(" holds no PCI function: found " + foreign_.Description() +
         ", expected what lspci -D -xxxx writes");
  }
}

void InventoryReader::Fail(const std::string& what) const {
  throw Lib::HostCtlException("PCI inventory " + name_ + what);
}

void InventoryReader::ReadLine(std::string_view line) {
  // Editors put it in front of a text; it belongs to no line.
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (++lineNumber_ == 1 && line.starts_with(kByteOrderMark)) {
    line.remove_prefix(kByteOrderMark.size());
  }
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (!TakeMarkOff(line)) {
    Skip("without what is in front of the lines above");
  } else if (!ReadFunctionLine(line) && !ReadRow(line) && !ReadText(line)) {
    foreign_.TakeLine(line);
    Skip("neither a function nor bytes");
  }
}

/// Returns false for a line without the mark of the others, of which nothing but a function's own
/// line is read.
bool InventoryReader::TakeMarkOff(std::string_view& line) {
  FunctionAddress address;
  if (!mark_) {
    const std::size_t length = std::min(line.find_first_not_of(" \t>"), line.size());
    if (OwnAddressLength(line.substr(length), address) != 0) mark_ = line.substr(0, length);
  }
  if (!mark_ || mark_->empty()) return true;
  if (line.starts_with(*mark_)) {
    line.remove_prefix(mark_->size());
    return true;
  }
  const std::string_view text = WithoutBlanksBehind(line);
  if (text.empty() || text == WithoutBlanksBehind(*mark_)) {
    line = {};
    return true;
  }
  if (OwnAddressLength(line, address) == 0) return false;
  mark_ = "";
  return true;
}

bool InventoryReader::ReadFunctionLine(std::string_view line) {
  FunctionAddress address;
  const std::size_t length = OwnAddressLength(line, address);
  if (length == 0) return false;
  CloseFunction();
  open_ = true;
  functionLine_ = lineNumber_;
  function_.address = address;
  function_.ids = IdsIn(line.substr(length));
  function_.slot.reset();
  nextOffset_ = 0;
  skippedLines_ = 0;
  lastRowLine_ = 0;
  lastRowEnd_ = 0;
  return true;
}

/// Empty lines and indented ones: decode text, of which only the slot matters.
bool InventoryReader::ReadText(std::string_view line) {
  constexpr std::string_view kLabel = "Physical Slot:";
  if (!line.empty() && !IsBlank(line.front())) return false;
  const std::string_view text = WithoutBlanksInFront(line);
  // Behind a skipped line or a missing row the text may be another function's.
  if (!open_ || skippedLines_ != 0 || hold_ || !text.starts_with(kLabel)) return true;
  function_.slot = LeadingNumber(WithoutBlanksInFront(text.substr(kLabel.size())));
  return true;
}

bool InventoryReader::ReadRow(std::string_view line) {
  const std::size_t length = OffsetLength(line);
  if (length == 0) return false;
  TakeRow(line.substr(length + 1), HexNumber(line.substr(0, length)));
  return true;
}

void InventoryReader::TakeRow(std::string_view text, std::size_t offset) {
  if (hold_ && offset < lastRowEnd_) DropHold();
  if (open_ && offset < nextOffset_) {
    // Another function begins whose own line is lost: nothing more belongs to this one.
    CloseFunction();
  }
  const bool follows = skippedLines_ == 0 && lineNumber_ == lastRowLine_ + 1;
  if (!open_) {
    foreign_.TakeBytesWithoutFunction();
    Skip("bytes of no known function");
  } else if (offset >= ConfigSpace::kMostBytes) {
    Skip("offset beyond configuration space");
  } else if (offset - nextOffset_ <= kBytesPerRow * skippedLines_) {
    TakeBytes(text, offset);
  } else {
    NoteDamage(lineNumber_, "lines missing before these bytes");
    if (follows) {
      if (!hold_) hold_ = Hold{offset, nextOffset_, 0, 0};
      TakeBytes(text, offset);
    } else {
      CountSkipped();
    }
  }
  lastRowLine_ = lineNumber_;
  lastRowEnd_ = offset + kBytesPerRow;
}

void InventoryReader::TakeBytes(std::string_view text, std::size_t offset) {
  std::uint8_t bytes[kBytesPerRow];
  std::size_t count = 0;
  for (text = WithoutBlanksInFront(text); count < kBytesPerRow && !text.empty();
       text = WithoutBlanksInFront(text)) {
    const int byte = ByteAt(text);
    if (byte < 0) {
      NoteDamage(lineNumber_, "unreadable byte");
      break;
    }
    bytes[count++] = static_cast<std::uint8_t>(byte);
    text.remove_prefix(2);
  }
  function_.config.Put(offset, bytes, count);
  nextOffset_ = offset + kBytesPerRow;
  skippedLines_ = 0;
  if (hold_) {
    ++hold_->lines;
    hold_->undamagedRows += lastDamagedLine_ != lineNumber_ ? 1 : 0;
  }
}

/// Offsets fall back behind a gap: its rows count as lines that could not be read.
void InventoryReader::DropHold() {
  function_.config.CutAt(hold_->offset);
  nextOffset_ = hold_->nextOffset;
  skippedLines_ = hold_->lines;
  damagedLines_ += hold_->undamagedRows;
  hold_.reset();
}

void InventoryReader::CloseFunction() {
  if (open_ && function_.config.Has(0x00, 2)) {
    ++functions_;
    lastFunctionEnd_ = bytesTaken_;
    sink_(function_);
  } else if (open_) {
    // With an address alone, not even the vendor known, there is nothing to publish.
    foreign_.TakeFunctionWithoutBytes();
    if (lastDamagedLine_ < functionLine_) NoteDamage(functionLine_, "a function without bytes");
  }
  function_.config.CutAt(0);
  hold_.reset();
  open_ = false;
}

void InventoryReader::Skip(const char* why) {
  NoteDamage(lineNumber_, why);
  CountSkipped();
}

void InventoryReader::CountSkipped() {
  ++skippedLines_;
  if (hold_) ++hold_->lines;
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
  std::string more;
  if (damagedLines_ > 1) {
    more = "; " + std::to_string(damagedLines_ - 1) + " more " +
           (damagedLines_ == 2 ? "line" : "lines") + " could not be read";
  }
  syslog(LOG_WARNING, "PCI inventory %s line %zu: %s%s", name_.c_str(), firstDamagedLine_,
         firstDamage_.c_str(), more.c_str());
}

}  // namespace HostCtl
