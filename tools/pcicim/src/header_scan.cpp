#include "header_scan.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <system_error>

namespace pcicim {
namespace {

constexpr unsigned kHeaderBytes = 64;

}  // namespace

void HeaderScan::take(std::string_view piece) {
  // Marks of quotes, an offset and a byte.
  constexpr std::size_t kLongest = 64;
  while (!piece.empty() && !sawMore_) {
    const std::size_t end = piece.find('\n');
    const std::string_view part = piece.substr(0, end);
    line_ += part.substr(0, kLongest - std::min(kLongest, line_.size()));
    if (end == std::string_view::npos) {
      return;
    }
    takeLine();
    line_.clear();
    piece.remove_prefix(end + 1);
  }
}

/// A row is an offset, a colon and bytes.
void HeaderScan::takeLine() {
  std::string_view line = line_;
  line.remove_prefix(std::min(line.find_first_not_of("> \t"), line.size()));
  unsigned offset = 0;
  const char* const end = line.data() + line.size();
  const auto [stop, error] = std::from_chars(line.data(), end, offset, 16);
  const auto digits = static_cast<std::size_t>(stop - line.data());
  if (error != std::errc() || digits < 2 || digits > 3 || !line.substr(digits).starts_with(": ")) {
    return;
  }
  unsigned byte = 0;
  if (std::from_chars(stop + 2, end, byte, 16).ec == std::errc()) {
    (offset < kHeaderBytes ? sawHeader_ : sawMore_) = true;
  }
}

bool holdsHeadersAlone(const std::filesystem::path& inventory) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(inventory, error)) {
    return false;
  }
  std::ifstream in(inventory, std::ios::binary);
  HeaderScan scan;
  std::array<char, 65536> piece{};
  while (!scan.sawMore() && (in.read(piece.data(), piece.size()) || in.gcount() > 0)) {
    scan.take({piece.data(), static_cast<std::size_t>(in.gcount())});
  }
  scan.take("\n");
  return scan.sawHeadersAlone();
}

bool givesHeadersAlone(const std::filesystem::path& sysfs) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(sysfs / "bus/pci/devices", error)) {
    const int file = open((entry.path() / "config").c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
      continue;
    }
    char byte = 0;
    const bool ends = pread(file, &byte, 1, kHeaderBytes) == 0;
    const bool hasHeader = ends && pread(file, &byte, 1, kHeaderBytes - 1) == 1;
    close(file);
    if (hasHeader) {
      return true;
    }
  }
  return false;
}

}  // namespace pcicim
