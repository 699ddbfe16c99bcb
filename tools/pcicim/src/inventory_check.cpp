#include "inventory_check.h"

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "topology.h"

namespace pcicim {
namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

std::ifstream open(const std::filesystem::path& file) {
  if (std::filesystem::is_directory(file)) {
    throw std::system_error(EISDIR, std::generic_category(), file.string());
  }
  // The provider reads it again, and what has gone through a pipe does not come twice.
  if (std::filesystem::is_fifo(file)) {
    throw std::runtime_error(file.string() + ": is a pipe; save the inventory in a file first");
  }
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    throw std::system_error(errno, std::generic_category(), file.string());
  }
  return in;
}

}  // namespace

void checkInventory(const std::filesystem::path& file,
                    const std::function<bool(const std::string& address)>& isServed) {
  std::ifstream in = open(file);
  bool empty = true;
  for (std::string line; std::getline(in, line);) {
    if (empty && line.starts_with(kByteOrderMark)) {
      line.erase(0, kByteOrderMark.size());
    }
    empty = false;
    const std::string_view word = std::string_view(line).substr(0, line.find_first_of(" \t\r"));
    const auto address = parseAddress(word);
    if (address && isServed(addressText(*address))) {
      return;
    }
  }
  if (in.bad()) {
    throw std::runtime_error(file.string() + ": cannot be read to its end");
  }
  if (!empty) {
    throw std::runtime_error(file.string() + ": no PCI function could be read from it");
  }
}

}  // namespace pcicim
