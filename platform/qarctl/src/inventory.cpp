#include "function_record.h"

#include <qarctl/HostCtlException.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

#include <sys/stat.h>
#include <syslog.h>

namespace HostCtl {

namespace {

bool IsHex(char c) {
  return std::isxdigit(static_cast<unsigned char>(c)) != 0;
}
bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

/// Reads the text of a saved inventory line by line.
class InventoryReader {
 public:
  explicit InventoryReader(std::string file) : file_(std::move(file)) {}

  HostInput Read();

 private:
  void ReadLine(const std::string& line);
  bool ReadFunctionLine(const std::string& line);
  bool ReadHexLine(const std::string& line);
  bool ReadSlotLine(const std::string& line);
  void ReadBytes(const std::string& line, std::size_t at, std::size_t offset);
  void CloseFunction();
  void ReportDamage(const char* what);

  std::string file_;
  HostInput input_;
  std::vector<std::uint8_t> bytes_;
  bool open_ = false;
  std::size_t lineNumber_ = 0;
  std::size_t firstDamagedLine_ = 0;
  std::string firstDamage_;
  std::size_t moreDamage_ = 0;
};

std::string ReadWholeFile(const std::string& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    throw Lib::HostCtlException("cannot read PCI inventory " + file + ": it is a directory");
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    throw Lib::HostCtlException("cannot read PCI inventory " + file + ": " + std::strerror(errno));
  }
  std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (stream.bad()) throw Lib::HostCtlException("cannot read PCI inventory " + file);
  return text;
}

HostInput InventoryReader::Read() {
  const std::string text = ReadWholeFile(file_);
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    ++lineNumber_;
    ReadLine(line);
    start = end + 1;
  }
  CloseFunction();
  if (firstDamagedLine_ != 0) {
    syslog(LOG_WARNING, "PCI inventory %s line %lu: %s, and %lu more such lines", file_.c_str(),
           static_cast<unsigned long>(firstDamagedLine_), firstDamage_.c_str(),
           static_cast<unsigned long>(moreDamage_));
  }
  if (input_.functions.empty() && !text.empty()) {
    throw Lib::HostCtlException("PCI inventory " + file_ + " holds no PCI function");
  }
  return std::move(input_);
}

void InventoryReader::ReadLine(const std::string& line) {
  if (ReadFunctionLine(line) || ReadHexLine(line)) return;
  ReadSlotLine(line);
}

bool InventoryReader::ReadFunctionLine(const std::string& line) {
  FunctionAddress address;
  const std::size_t length = ParseAddress(line, address);
  if (length == 0 || (length < line.size() && !IsBlank(line[length]))) return false;
  CloseFunction();
  input_.functions.emplace_back().address = address;
  open_ = true;
  return true;
}

bool InventoryReader::ReadSlotLine(const std::string& line) {
  constexpr char kLabel[] = "Physical Slot:";
  const std::size_t start = line.find_first_not_of(" \t");
  if (!open_ || start == std::string::npos || line.compare(start, sizeof kLabel - 1, kLabel) != 0) {
    return false;
  }
  const char* number = line.c_str() + start + sizeof kLabel - 1;
  char* end = nullptr;
  const long slot = std::strtol(number, &end, 10);
  if (end == number || slot < 0 || slot > 0x7fffffffL) {
    ReportDamage("unreadable slot number");
  } else {
    input_.functions.back().slot = static_cast<std::int32_t>(slot);
  }
  return true;
}

/// A line of bytes: a hex offset, a colon, and after a blank the bytes.
bool InventoryReader::ReadHexLine(const std::string& line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string::npos || colon < 2 || colon > 4) return false;
  if (!std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(colon), IsHex)) {
    return false;
  }
  if (colon + 1 < line.size() && !IsBlank(line[colon + 1])) return false;
  const std::size_t offset = std::strtoul(line.c_str(), nullptr, 16);
  if (!open_) {
    ReportDamage("bytes before the first function");
  } else if (offset >= ConfigSpace::kMostBytes) {
    ReportDamage("offset beyond configuration space");
  } else {
    ReadBytes(line, colon + 1, offset);
  }
  return true;
}

void InventoryReader::ReadBytes(const std::string& line, std::size_t at, std::size_t offset) {
  if (offset > bytes_.size()) {
    // Bytes behind a gap would stand at offsets that nothing vouches for.
    ReportDamage("bytes missing before this offset");
    return;
  }
  for (int count = 0; count < 16; ++count) {
    while (at < line.size() && IsBlank(line[at])) ++at;
    if (at >= line.size()) return;
    const bool isByte = at + 1 < line.size() && IsHex(line[at]) && IsHex(line[at + 1]) &&
                        (at + 2 >= line.size() || IsBlank(line[at + 2]));
    if (!isByte) {
      ReportDamage("unreadable byte");
      return;
    }
    const auto byte =
        static_cast<std::uint8_t>(std::strtoul(line.substr(at, 2).c_str(), nullptr, 16));
    if (offset < bytes_.size()) {
      bytes_[offset] = byte;
    } else if (offset < ConfigSpace::kMostBytes) {
      bytes_.push_back(byte);
    }
    ++offset;
    at += 2;
  }
}

void InventoryReader::CloseFunction() {
  if (open_ && bytes_.empty()) {
    // Without a byte nothing is known but an address: no function to publish.
    input_.functions.pop_back();
    ReportDamage("a function without bytes ends before this line");
  } else if (open_) {
    input_.functions.back().config = ConfigSpace(std::move(bytes_));
  }
  bytes_ = {};
  open_ = false;
}

void InventoryReader::ReportDamage(const char* what) {
  if (firstDamagedLine_ == 0) {
    firstDamagedLine_ = lineNumber_;
    firstDamage_ = what;
  } else {
    ++moreDamage_;
  }
}

}  // namespace

HostInput ReadInventory(const std::string& file) {
  return InventoryReader(file).Read();
}

}  // namespace HostCtl
