#include "report.h"

#include <model/visible_text.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace pcicim {
namespace {

void writeWhole(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
    if (count < 0 && errno != EINTR) return;
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace

bool isJournal() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat errors {};
  return stream != nullptr && fstat(STDERR_FILENO, &errors) == 0 &&
         stream == std::to_string(errors.st_dev) + ':' + std::to_string(errors.st_ino);
}

void report(Severity severity, std::string_view text) {
  // What the process has at its start decides; nothing changes it later.
  static const bool kHasSeverities = isJournal();
  const std::string prefix =
      kHasSeverities ? '<' + std::to_string(static_cast<int>(severity)) + '>' : "";
  writeWhole(prefix + "pcicim: " + cimom::visibleText(text) + '\n');
}

}  // namespace pcicim
