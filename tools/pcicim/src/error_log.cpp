#include "error_log.h"

#include <atomic>
#include <cstdarg>

// The command's own stand before the C library's for every library that it loads, since it exports
// them; hardened builds call the second one. <syslog.h> would define both inline in such a build.
extern "C" {
void vsyslog(int priority, const char* format, va_list arguments);

__attribute__((visibility("default"))) void syslog(int priority, const char* format, ...);
__attribute__((visibility("default"))) void __syslog_chk(int priority, int flag, const char* format,
                                                         ...);
}

namespace {

std::atomic<std::size_t> errors = 0;

void countAndLog(int priority, const char* format, va_list arguments) {
  constexpr int kPriorityBits = 7;
  constexpr int kError = 3;
  if ((priority & kPriorityBits) == kError) {
    ++errors;
  }
  vsyslog(priority, format, arguments);
}

}  // namespace

namespace pcicim {

std::size_t errorsLogged() {
  return errors;
}

}  // namespace pcicim

void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  countAndLog(priority, format, arguments);
  va_end(arguments);
}

void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  countAndLog(priority, format, arguments);
  va_end(arguments);
}
