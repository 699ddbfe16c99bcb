#include "error_log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <utility>

#include "report.h"

// The command's own replace the C library's for every library that it loads, since it exports
// them; hardened builds call the second one. <syslog.h> would define both inline in such a build.
extern "C" {
void vsyslog(int priority, const char* format, va_list arguments);
int setlogmask(int mask);

__attribute__((visibility("default"))) void syslog(int priority, const char* format, ...);
__attribute__((visibility("default"))) void checkedSyslog(int priority, int flag,
                                                          const char* format,
                                                          ...) __asm__("__syslog_chk");
}

namespace pcicim {
namespace {

std::mutex mutex;
ErrorWatch* current = nullptr;

/// Of any length: what is looked for may be at the end. Uses the arguments up.
std::string textOf(const char* format, va_list arguments) {
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) < 0) {
    return "";
  }
  const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
  return text;
}

/// Of zero, the mask stays as it is and is returned.
bool isWanted(Severity severity) {
  return (static_cast<unsigned>(setlogmask(0)) >> static_cast<unsigned>(severity) & 1U) != 0;
}

/// The user sees what the log gets. The C library would write it to standard error as it is. Uses
/// the arguments up.
void show(int priority, const char* format, va_list arguments) {
  constexpr int kSeverityBits = 7;
  const auto severity = static_cast<Severity>(priority & kSeverityBits);
  if (!isWanted(severity)) {
    return;
  }
  std::string line = textOf(format, arguments);
  line.erase(line.find_last_not_of('\n') + 1);
  if (severity == Severity::kError) {
    ErrorWatch::look(line);
  }
  report(severity, line);
}

/// The journal takes the line from standard error, with its severity; from syslog it would come a
/// second time.
void showAndLog(int priority, const char* format, va_list arguments) {
  const int error = errno;
  va_list again;
  va_copy(again, arguments);
  show(priority, format, arguments);
  // What the format may name.
  errno = error;
  if (!isJournal()) {
    vsyslog(priority, format, again);
  }
  va_end(again);
}

bool endsWord(char c) {
  return c == ' ' || c == ':' || c == ',';
}

}  // namespace

ErrorWatch::ErrorWatch(std::string name) : name_(std::move(name)) {
  const std::lock_guard<std::mutex> lock(mutex);
  current = this;
}

ErrorWatch::~ErrorWatch() {
  const std::lock_guard<std::mutex> lock(mutex);
  current = nullptr;
}

std::string ErrorWatch::noticed() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return noticed_;
}

void ErrorWatch::look(std::string_view line) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (current != nullptr && current->isIn(line)) {
    current->noticed_ = line;
  }
}

bool ErrorWatch::isIn(std::string_view line) const {
  for (std::size_t at = line.find(name_); at != std::string_view::npos;
       at = line.find(name_, at + 1)) {
    const std::size_t end = at + name_.size();
    if ((at == 0 || line[at - 1] == ' ') && (end == line.size() || endsWord(line[end]))) {
      return true;
    }
  }
  return false;
}

}  // namespace pcicim

void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  pcicim::showAndLog(priority, format, arguments);
  va_end(arguments);
}

void checkedSyslog(int priority, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  pcicim::showAndLog(priority, format, arguments);
  va_end(arguments);
}
