#pragma once

#include <string>
#include <vector>

/// The log of a test program: linked into it, `caught_log` takes the place of the C library's
/// syslog for the program and the libraries that it loads. The system's own log gets nothing.
namespace caughtlog {

struct LogLine {
  /// As syslog has it: LOG_ERR and so on.
  int priority = 0;
  /// Cut off after 2,047 bytes.
  std::string text;
};

/// What was logged so far, in its order; to be read and cleared while no other thread logs. Lines
/// of several threads are kept one after the other.
std::vector<LogLine>& logLines();

}  // namespace caughtlog
