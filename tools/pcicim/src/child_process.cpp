#include "child_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <system_error>

namespace pcicim {
namespace {

constexpr int kNotStarted = 127;
constexpr int kSignalled = 128;

[[noreturn]] void work(const std::function<void()>& task, pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // A parent that went before that call sends no signal any more.
  if (getppid() == parent) {
    try {
      task();
    } catch (const std::exception&) {
      // The status says it.
    }
  }
  _exit(kNotStarted);
}

}  // namespace

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

void Descriptor::close() noexcept {
  if (number_ >= 0) {
    ::close(number_);
  }
  number_ = -1;
}

std::pair<Descriptor, Descriptor> makePipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

ChildProcess::ChildProcess(const std::function<void()>& task) {
  const pid_t parent = getpid();
  id_ = fork();
  if (id_ < 0) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  if (id_ == 0) {
    work(task, parent);
  }
}

ChildProcess::~ChildProcess() {
  if (id_ > 0) {
    kill();
    wait();
  }
}

void ChildProcess::kill() noexcept {
  if (id_ > 0) {
    ::kill(id_, SIGKILL);
  }
}

int ChildProcess::wait() noexcept {
  int status = 0;
  pid_t ended = -1;
  do {
    ended = waitpid(id_, &status, 0);
  } while (ended < 0 && errno == EINTR);
  id_ = -1;
  if (ended < 0) {
    return kNotStarted;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalled + WTERMSIG(status);
}

}  // namespace pcicim
