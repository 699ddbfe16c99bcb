#include "report.h"

#include <model/utf8.h>
#include <model/visible_text.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

namespace pcicim {
namespace {

constexpr std::string_view kStartOfEmptiedLine = "\r\x1b[K";

std::mutex mutex;
/// What stands in the last line of the terminal.
std::string status;

void writeWhole(std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
    if (count < 0 && errno != EINTR) return;
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
}

std::string_view emptiedLine() {
  return status.empty() ? "" : kStartOfEmptiedLine;
}

std::size_t widthOfTerminal() {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return known ? size.ws_col : kUsual;
}

/// The first characters of the text, each counted as one column.
std::string_view cut(std::string_view text, std::size_t columns) {
  std::size_t bytes = 0;
  for (; columns > 0 && bytes < text.size(); --columns) {
    bytes += std::max<std::size_t>(cimom::firstCharacter(text.substr(bytes)).length, 1);
  }
  return text.substr(0, bytes);
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
  const std::string line = prefix + "pcicim: " + cimom::visibleText(text) + '\n';
  const std::lock_guard<std::mutex> lock(mutex);
  writeWhole(std::string(emptiedLine()) + line + status);
}

void showStatus(std::string_view text) {
  const std::string line = "pcicim: " + cimom::visibleText(text);
  const std::lock_guard<std::mutex> lock(mutex);
  status = cut(line, widthOfTerminal() - 1);
  writeWhole(std::string(kStartOfEmptiedLine) + status);
}

void clearStatus() {
  const std::lock_guard<std::mutex> lock(mutex);
  writeWhole(emptiedLine());
  status.clear();
}

}  // namespace pcicim
