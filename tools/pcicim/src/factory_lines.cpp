#include "factory_lines.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

namespace pcicim {
namespace {

constexpr std::string_view kFactoryLine = "--- _Create_InstanceMI() ";

void passOn(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno != EINTR) return;
    text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
  }
}

/// One line, with its end where it has one. A factory's comes as a whole: it is one call.
bool isOfFactory(std::string_view line) {
  return line.starts_with(kFactoryLine) && line.ends_with('\n');
}

/// The stream has a lock of its own, so that one call comes after the other.
ssize_t takeFromStream(void* /*cookie*/, const char* text, std::size_t size) {
  static bool atLineStart = true;
  std::string kept;
  for (std::string_view rest(text, size); !rest.empty();) {
    const std::string_view line = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
    if (!atLineStart || !isOfFactory(line)) {
      kept += line;
      atLineStart = line.ends_with('\n');
    }
    rest.remove_prefix(line.size());
  }
  passOn(kept);
  return static_cast<ssize_t>(size);
}

}  // namespace

void leaveOutFactoryLines() {
  cookie_io_functions_t functions{};
  functions.write = takeFromStream;
  std::FILE* stream = fopencookie(nullptr, "w", functions);
  if (stream == nullptr) {
    return;
  }
  // Unbuffered as the one before: each call of a printing function comes as one piece.
  setvbuf(stream, nullptr, _IONBF, 0);
  // The C library's streams are variables; GNU's may be set.
  stderr = stream;
}

}  // namespace pcicim
