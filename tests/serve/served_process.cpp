#include "served_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <regex>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

namespace servetest {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kStartTime{60};
constexpr char kLastLine[] = "SIGTERM.\n";

clitest::Arguments commandLine(const clitest::Arguments& arguments,
                               const clitest::Arguments& afterwards) {
  clitest::Arguments words{PCICIM_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  words.insert(words.end(), {"serve", "--port", "0"});
  words.insert(words.end(), afterwards.begin(), afterwards.end());
  return words;
}

/// Sockets first get numbers beyond those that they go to, which they may have themselves.
void passSockets(const std::vector<int>& sockets) {
  constexpr int kFirst = 3;
  constexpr int kBeyond = 100;
  std::vector<int> kept;
  for (const int socket : sockets) kept.push_back(fcntl(socket, F_DUPFD_CLOEXEC, kBeyond));
  for (std::size_t i = 0; i < kept.size(); ++i) dup2(kept[i], kFirst + static_cast<int>(i));
  setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
  setenv("LISTEN_FDS", std::to_string(sockets.size()).c_str(), 1);
}

void nameJournal(int errors) {
  struct stat file {};
  fstat(errors, &file);
  const std::string name = std::to_string(file.st_dev) + ':' + std::to_string(file.st_ino);
  setenv("JOURNAL_STREAM", name.c_str(), 1);
}

[[noreturn]] void become(const clitest::Arguments& words, int output, int errors,
                         const ServiceSurroundings& surroundings) {
  std::vector<char*> pointers;
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  dup2(output, STDOUT_FILENO);
  dup2(errors, STDERR_FILENO);
  if (surroundings.hasJournal) nameJournal(STDERR_FILENO);
  if (!surroundings.notifySocket.empty()) {
    setenv("NOTIFY_SOCKET", surroundings.notifySocket.c_str(), 1);
  }
  if (!surroundings.sockets.empty()) passSockets(surroundings.sockets);
  execv(pointers.front(), pointers.data());
  _exit(127);
}

}  // namespace

ServedProcess::ServedProcess(const clitest::Arguments& arguments,
                             const clitest::Arguments& afterwards,
                             const ServiceSurroundings& surroundings) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  output_ = ends[0];
  start(commandLine(arguments, afterwards), ends[1], surroundings);
  close(ends[1]);
  readAnnouncement();
  std::smatch found;
  if (!std::regex_search(announcement_, found, std::regex("https?://(\\S+)/cimom"))) {
    throw std::runtime_error("not served: " + announcement_ + errors());
  }
  authority_ = found[1];
}

ServedProcess::~ServedProcess() {
  endChild();
  close(output_);
}

void ServedProcess::endChild() {
  if (child_ < 0) return;
  kill(child_, SIGTERM);
  try {
    EXPECT_EQ(waitForEnd(), 0) << errors();
  } catch (const std::exception& error) {
    ADD_FAILURE() << error.what();
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
}

int ServedProcess::port() const {
  return std::stoi(authority_.substr(authority_.rfind(':') + 1));
}

void ServedProcess::signal(int number) const {
  kill(child_, number);
}

void ServedProcess::pause() const {
  kill(child_, SIGSTOP);
  int status = 0;
  if (waitpid(child_, &status, WUNTRACED) != child_ || !WIFSTOPPED(status)) {
    throw std::runtime_error("it does not stop");
  }
}

int ServedProcess::waitForEnd(std::chrono::seconds time) {
  const auto deadline = steady_clock::now() + time;
  int status = 0;
  while (waitpid(child_, &status, WNOHANG) == 0) {
    if (steady_clock::now() > deadline) throw std::runtime_error("it goes on running");
    std::this_thread::sleep_for(milliseconds(5));
  }
  child_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void ServedProcess::start(const clitest::Arguments& words, int output,
                          const ServiceSurroundings& surroundings) {
  const int errors = open(errors_.path().c_str(), O_WRONLY | O_CLOEXEC);
  child_ = fork();
  if (child_ == 0) become(words, output, errors, surroundings);
  close(errors);
  if (child_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
}

void ServedProcess::readAnnouncement() {
  const auto deadline = steady_clock::now() + kStartTime;
  char bytes[4096];
  while (!announcement_.ends_with(kLastLine) && steady_clock::now() < deadline) {
    pollfd waited{output_, POLLIN, 0};
    if (poll(&waited, 1, 1000) <= 0) continue;
    const ssize_t count = read(output_, bytes, sizeof bytes);
    if (count <= 0) return;
    announcement_.append(bytes, static_cast<std::size_t>(count));
  }
}

}  // namespace servetest
