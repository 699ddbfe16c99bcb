#include "diagnostics.h"

#include <model/visible_text.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace pcicim {

void complain(std::string_view text) {
  const std::string line = "pcicim: " + cimom::visibleText(text) + '\n';
  const char* at = line.data();
  const char* const end = at + line.size();
  while (at != end) {
    const ssize_t written = write(STDERR_FILENO, at, static_cast<std::size_t>(end - at));
    if (written < 0 && errno != EINTR) return;
    at += written > 0 ? written : 0;
  }
}

}  // namespace pcicim
