#pragma once

#include <string>
#include <string_view>

namespace pcicim {

/// Notices, while it lives, whether the process logs a line of error priority that names something,
/// whichever library writes it; the line goes where it always goes. One at a time.
class ErrorWatch {
 public:
  /// `name` is a word, or several, of the lines to notice.
  explicit ErrorWatch(std::string name);
  ~ErrorWatch();
  ErrorWatch(const ErrorWatch&) = delete;
  ErrorWatch& operator=(const ErrorWatch&) = delete;

  bool noticed() const;
  /// Looks at a line that was logged. Any thread may call it.
  static void look(std::string_view line);

 private:
  bool isIn(std::string_view line) const;

  std::string name_;
  bool noticed_ = false;
};

}  // namespace pcicim
