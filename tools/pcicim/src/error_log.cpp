#include "error_log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

// The command's own replace the C library's for every library that it loads, since it exports
// them; hardened builds call the second one. <syslog.h> would define both inline in such a build.
extern "C" {
void vsyslog(int priority, const char* format, va_list arguments);

__attribute__((visibility("default"))) void syslog(int priority, const char* format, ...);
__attribute__((visibility("default"))) void checkedSyslog(int priority, int flag,
                                                          const char* format,
                                                          ...) __asm__("__syslog_chk");
}

namespace pcicim {
namespace {

std::mutex mutex;
ErrorWatch* current = nullptr;

/// Of any length: what is looked for may be at the end.
std::string textOf(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(static_cast<std::size_t>(std::max(length, 0)) + 1, '\0');
  va_copy(again, arguments);
  std::vsnprintf(text.data(), text.size(), format, again);
  va_end(again);
  text.pop_back();
  return text;
}

void lookAndLog(int priority, const char* format, va_list arguments) {
  constexpr int kPriorityBits = 7;
  constexpr int kError = 3;
  if ((priority & kPriorityBits) == kError) {
    const std::string line = textOf(format, arguments);
    ErrorWatch::look(line);
  }
  vsyslog(priority, format, arguments);
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

bool ErrorWatch::noticed() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return noticed_;
}

void ErrorWatch::look(std::string_view line) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (current != nullptr && current->isIn(line)) {
    current->noticed_ = true;
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
  pcicim::lookAndLog(priority, format, arguments);
  va_end(arguments);
}

void checkedSyslog(int priority, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  pcicim::lookAndLog(priority, format, arguments);
  va_end(arguments);
}
