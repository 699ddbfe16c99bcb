#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace pcicim {

/// Why a file of options cannot be used, with its name and the line.
class ConfigurationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file with options: lines of `NAME = VALUE`, NAME being that of an option without its dashes.
/// Empty lines and those that begin with # are skipped; an option that may be repeated may have
/// several lines.
class ConfigurationFile {
 public:
  /// Throws ConfigurationError when the file cannot be read or has another line.
  explicit ConfigurationFile(const std::string& file);

  /// Gives the values to the options of the first of the commands that has one of the name. What
  /// the command line gave stays. Throws ConfigurationError for an unknown name, a value that the
  /// option does not take, and an option that needs another.
  void apply(const std::vector<CLI::App*>& commands) const;

 private:
  struct Line {
    int number;
    std::string name;
    std::string value;
  };

  void read(int number, const std::string& text);
  [[noreturn]] void fail(int line, const std::string& reason) const;

  std::string file_;
  std::vector<Line> lines_;
};

}  // namespace pcicim
