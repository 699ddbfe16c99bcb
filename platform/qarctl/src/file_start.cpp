#include "file_start.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace HostCtl {

std::vector<std::uint8_t> ReadFileStart(const std::string& path, std::size_t most) {
  std::vector<std::uint8_t> bytes(most);
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  ssize_t count = -1;
  if (descriptor >= 0) {
    do {
      count = pread(descriptor, bytes.data(), bytes.size(), 0);
    } while (count < 0 && errno == EINTR);
    close(descriptor);
  }
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return bytes;
}

}  // namespace HostCtl
