#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace shipping {

/// What a shell command left behind.
struct Outcome {
  /// Exit code; 128 plus the signal's number when a signal ended it.
  int status = -1;
  /// What it wrote to standard output; to standard error too, where the command sends it there.
  std::string out;
};

/// Runs the command with /bin/sh and waits for it.
Outcome shell(const std::string& command);

/// The word as one word of a shell command.
std::string quoted(const std::string& word);

std::vector<std::string> linesOf(const std::string& text);

std::string contentOf(const std::filesystem::path& file);

/// Regular files and links below a directory, as paths relative to it, in alphabetical order.
std::vector<std::string> filesBelow(const std::filesystem::path& directory);

/// True when `word` is somewhere in a file below the directory, also inside a binary.
bool anyFileMentions(const std::filesystem::path& directory, std::string_view word);

/// A directory of the test's own, removed with the object.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace shipping
