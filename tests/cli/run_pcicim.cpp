#include "run_pcicim.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace clitest {
namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (std::string& text : texts) {
    result.push_back(text.data());
  }
  result.push_back(nullptr);
  return result;
}

std::vector<std::string> extendedEnvironment(const Environment& added) {
  std::vector<std::string> result;
  for (const auto& [name, value] : added) {
    result.push_back(name + '=' + value);
  }
  for (char** entry = environ; *entry != nullptr; ++entry) {
    result.emplace_back(*entry);
  }
  return result;
}

int exitCode(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

Outcome runProgram(const std::string& program, const Arguments& arguments,
                   const Environment& environment) {
  const TemporaryFile out("");
  const TemporaryFile err("");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.path().c_str(), O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.path().c_str(), O_WRONLY, 0);

  std::vector<std::string> words{program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<std::string> variables = extendedEnvironment(environment);
  pid_t child = 0;
  const int error = posix_spawn(&child, program.c_str(), &actions, nullptr, pointers(words).data(),
                                pointers(variables).data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), program);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child) {
    throw std::system_error(errno, std::generic_category(), "wait4");
  }
  return {exitCode(status), readFile(out.path()), readFile(err.path()), usage.ru_maxrss};
}

Outcome runPcicim(const Arguments& arguments, const Environment& environment) {
  return runProgram(PCICIM_PROGRAM, arguments, environment);
}

Outcome runOn(const std::filesystem::path& inventory, Arguments arguments) {
  arguments.insert(arguments.begin(), {"--inventory", inventory.string()});
  return runPcicim(arguments);
}

std::filesystem::path sample(const std::string& name) {
  return std::filesystem::path(SAMPLES_DIRECTORY) / name;
}

TemporaryFile::TemporaryFile(const std::string& content) {
  std::string name = (std::filesystem::temp_directory_path() / "pcicim-test-XXXXXX").string();
  const int file = mkstemp(name.data());
  if (file < 0) {
    throw std::system_error(errno, std::generic_category(), name);
  }
  close(file);
  path_ = name;
  std::ofstream(path_, std::ios::binary) << content;
}

TemporaryFile::~TemporaryFile() {
  std::error_code ignored;
  std::filesystem::remove(path_, ignored);
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error("cannot read " + path.string());
  }
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

}  // namespace clitest
