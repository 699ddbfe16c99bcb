#include "text_file.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace HostCtl {

namespace {

std::error_code LastError() {
  return {errno, std::generic_category()};
}

/// Appends what one read call gives; false at the end and on an error.
bool ReadSome(int descriptor, std::string& text, std::error_code& error) {
  char buffer[16384];
  ssize_t count = 0;
  do {
    count = read(descriptor, buffer, sizeof buffer);
  } while (count < 0 && errno == EINTR);
  if (count < 0) error = LastError();
  if (count > 0) text.append(buffer, static_cast<std::size_t>(count));
  return count > 0;
}

}  // namespace

std::string ReadTextFile(const std::string& path, std::error_code& error) {
  error.clear();
  std::string text;
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    error = LastError();
    return text;
  }
  while (ReadSome(descriptor, text, error)) {
  }
  close(descriptor);
  return text;
}

}  // namespace HostCtl
