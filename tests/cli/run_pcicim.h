#pragma once

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace clitest {

/// What one run of the command left behind.
struct Outcome {
  /// Exit code; 128 plus the signal's number when a signal ended the run.
  int status = -1;
  std::string out;
  std::string err;
  /// Largest resident size in KiB.
  long peakKilobytes = 0;
};

using Arguments = std::vector<std::string>;

/// Names and values of variables.
using Environment = std::vector<std::pair<std::string, std::string>>;

/// Runs a program and waits for it. `environment` is added to the test's own.
Outcome runProgram(const std::string& program, const Arguments& arguments,
                   const Environment& environment = {});

/// The same with the built pcicim.
Outcome runPcicim(const Arguments& arguments, const Environment& environment = {});

/// The same with `--inventory FILE` in front.
Outcome runOn(const std::filesystem::path& inventory, Arguments arguments);

/// A saved machine that ships with the project, by the stem of its name.
std::filesystem::path sample(const std::string& name);

/// A file of the test's own, removed with the object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& content);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

std::string readFile(const std::filesystem::path& path);

}  // namespace clitest
