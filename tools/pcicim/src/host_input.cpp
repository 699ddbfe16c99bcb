#include "host_input.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace pcicim {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(int error, const std::string& place) {
  throw std::runtime_error(place + ": " + std::generic_category().message(error));
}

void checkDirectory(const fs::path& place, bool mayBeAbsent) {
  std::error_code error;
  const fs::directory_iterator opened(place, error);
  if (error && !(mayBeAbsent && error == std::errc::no_such_file_or_directory)) {
    fail(error.value(), place.string());
  }
}

/// Where in the file that descriptor stands, as the kernel tells.
std::uint64_t positionOf(const std::string& descriptor) {
  std::ifstream info("/proc/self/fdinfo/" + descriptor);
  std::string word;
  std::uint64_t position = 0;
  return info >> word >> position && word == "pos:" ? position : 0;
}

}  // namespace

void checkSysfs(const fs::path& root) {
  checkDirectory(root, false);
  checkDirectory(root / "bus/pci/devices", true);
  std::error_code error;
  if (!fs::exists(root / "bus", error) && !error) {
    throw std::runtime_error(root.string() + ": no sysfs is mounted here");
  }
}

void checkInventory(const std::string& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) {
    fail(errno, file);
  }
  if (S_ISDIR(status.st_mode)) {
    fail(EISDIR, file);
  }
  if (access(file.c_str(), R_OK) != 0) {
    fail(errno, file);
  }
}

std::string readingState(const std::string& file) {
  struct stat wanted {};
  if (stat(file.c_str(), &wanted) != 0 || !S_ISREG(wanted.st_mode) || wanted.st_size == 0) {
    return "";
  }
  std::error_code error;
  std::uint64_t position = 0;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd", error)) {
    struct stat status {};
    if (stat(entry.path().c_str(), &status) == 0 && status.st_dev == wanted.st_dev &&
        status.st_ino == wanted.st_ino) {
      position = std::max(position, positionOf(entry.path().filename().string()));
    }
  }
  const auto size = static_cast<std::uint64_t>(wanted.st_size);
  return ": " + std::to_string(std::min(position, size) * 100 / size) + " %";
}

}  // namespace pcicim
