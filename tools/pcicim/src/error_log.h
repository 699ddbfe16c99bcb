#pragma once

#include <string>
#include <string_view>

namespace pcicim {

/// Notices, while it lives, whether the process logs a line of error priority that names something,
/// whichever library writes it. One at a time. Whether there is one or not, the lines that the
/// process logs go to the log, and those that its mask lets through (setlogmask) to standard error,
/// too.
class ErrorWatch {
 public:
  /// `name` is a word, or several, of the lines to notice.
  explicit ErrorWatch(std::string name);
  ~ErrorWatch();
  ErrorWatch(const ErrorWatch&) = delete;
  ErrorWatch& operator=(const ErrorWatch&) = delete;

  /// The last line noticed; empty when there was none.
  std::string noticed() const;
  /// Looks at a line that was logged. Any thread may call it.
  static void look(std::string_view line);

 private:
  bool isIn(std::string_view line) const;

  std::string name_;
  std::string noticed_;
};

}  // namespace pcicim
