#include "caught_log.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace caughtlog {

std::vector<LogLine>& logLines() {
  static std::vector<LogLine> lines;
  return lines;
}

namespace {

void keep(int priority, const char* format, std::va_list arguments) {
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  char text[2048];
  std::vsnprintf(text, sizeof text, format, arguments);
  logLines().push_back({priority, text});
}

}  // namespace
}  // namespace caughtlog

// These replace the C library's; hardened builds call the second one.
extern "C" {
__attribute__((visibility("default"))) void syslog(int priority, const char* format, ...);
__attribute__((visibility("default"))) void __syslog_chk(int priority, int flag, const char* format,
                                                         ...);

void syslog(int priority, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  caughtlog::keep(priority, format, arguments);
  va_end(arguments);
}

void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  caughtlog::keep(priority, format, arguments);
  va_end(arguments);
}
}
