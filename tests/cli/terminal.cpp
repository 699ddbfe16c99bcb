#include "terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

namespace clitest {
namespace {

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

OnTerminal::OnTerminal(const std::string& program, const Arguments& arguments,
                       const Environment& environment, bool outputToo) {
  int side = -1;
  int ends[2] = {-1, -1};
  if (openpty(&terminal_, &side, nullptr, nullptr, nullptr) != 0) fail("openpty");
  fcntl(terminal_, F_SETFD, FD_CLOEXEC);
  if (pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
  input_ = ends[1];
  std::vector<std::string> words{program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> list;
  for (std::string& word : words) list.push_back(word.data());
  list.push_back(nullptr);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  child_ = fork();
  if (child_ < 0) fail("fork");
  if (child_ == 0) {
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    dup2(ends[0], STDIN_FILENO);
    dup2(outputToo ? side : nowhere, STDOUT_FILENO);
    dup2(side, STDERR_FILENO);
    execv(program.c_str(), list.data());
    _exit(127);
  }
  close(nowhere);
  close(side);
  close(ends[0]);
}

OnTerminal::~OnTerminal() {
  endInput();
  kill(child_, SIGKILL);
  waitpid(child_, nullptr, 0);
  close(terminal_);
}

void OnTerminal::feed(const std::string& text) {
  if (write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) fail("write");
}

void OnTerminal::endInput() {
  if (input_ >= 0) close(input_);
  input_ = -1;
}

std::string OnTerminal::awaitShown(const std::string& text) {
  while (shown_.find(text) == std::string::npos && readMore()) {
  }
  return shown_;
}

std::string OnTerminal::awaitEnd() {
  while (readMore()) {
  }
  return shown_;
}

/// The other side is gone when reading fails.
bool OnTerminal::readMore() {
  constexpr int kPatience = 120000;
  pollfd waiting{terminal_, POLLIN, 0};
  if (poll(&waiting, 1, kPatience) <= 0) return false;
  char piece[4096];
  const ssize_t count = read(terminal_, piece, sizeof piece);
  if (count <= 0) return false;
  shown_.append(piece, static_cast<std::size_t>(count));
  return true;
}

}  // namespace clitest
