#include "supervisor.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <string>
#include <system_error>

#include "report.h"
#include "service_manager.h"

namespace pcicim {
namespace {

/// Added to the signal's number, as shells do.
constexpr int kEndedBySignal = 128;

[[noreturn]] void throwSystemError(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// Signals that wait to be read, instead of interrupting.
class SignalQueue {
 public:
  SignalQueue() {
    sigset_t waiting;
    sigemptyset(&waiting);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGCHLD}) sigaddset(&waiting, signal);
    if (sigprocmask(SIG_BLOCK, &waiting, &before_) != 0) throwSystemError("sigprocmask");
    descriptor_ = signalfd(-1, &waiting, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor_ < 0) throwSystemError("signalfd");
  }
  ~SignalQueue() {
    close(descriptor_);
    sigprocmask(SIG_SETMASK, &before_, nullptr);
  }
  SignalQueue(const SignalQueue&) = delete;
  SignalQueue& operator=(const SignalQueue&) = delete;

  int descriptor() const { return descriptor_; }
  /// For a new process, which takes signals as they come.
  void leave() const { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  /// The next signal; 0 when there is none.
  int next() const {
    signalfd_siginfo information{};
    const ssize_t count = read(descriptor_, &information, sizeof information);
    return count == sizeof information ? static_cast<int>(information.ssi_signo) : 0;
  }

 private:
  sigset_t before_{};
  int descriptor_ = -1;
};

constexpr pid_t kNobody = -1;

/// A process that is not yet ready; it writes a byte into the pipe when it is.
struct StartingProcess {
  pid_t id = kNobody;
  int pipe = -1;
};

std::string microseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::to_string(now.tv_sec * 1'000'000 + now.tv_nsec / 1000);
}

class Supervisor {
 public:
  Supervisor(const std::vector<int>& sockets, const ServeProcess& serve)
      : sockets_(sockets), serve_(serve) {}
  ~Supervisor() { forgetPipe(); }
  Supervisor(const Supervisor&) = delete;
  Supervisor& operator=(const Supervisor&) = delete;

  int run() {
    start();
    while (hasProcesses()) {
      waitForNews();
      takeReadiness();
      for (int signal = signals_.next(); signal != 0; signal = signals_.next()) take(signal);
      if (isReloadWanted_ && starting_.id == kNobody && !isStopping_) reload();
    }
    return exitCode_;
  }

 private:
  bool hasProcesses() const {
    return serving_ != kNobody || starting_.id != kNobody || !leaving_.empty();
  }

  void waitForNews() const {
    // That a server has become ready counts for nothing after a stop, and is not read.
    const int ready = isStopping_ ? -1 : starting_.pipe;
    pollfd waited[]{{signals_.descriptor(), POLLIN, 0}, {ready, POLLIN, 0}};
    if (poll(waited, 2, -1) < 0 && errno != EINTR) throwSystemError("poll");
  }

  void take(int signal) {
    switch (signal) {
      case SIGHUP:
        isReloadWanted_ = true;
        return;
      case SIGCHLD:
        return reap();
      default:
        return stop();
    }
  }

  void start() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throwSystemError("pipe");
    const pid_t supervisor = getpid();
    const pid_t id = fork();
    if (id == 0) {
      close(ends[0]);
      becomeServer(supervisor, ends[1]);
    }
    close(ends[1]);
    if (id < 0) {
      close(ends[0]);
      throwSystemError("fork");
    }
    starting_ = {id, ends[0]};
  }

  [[noreturn]] void becomeServer(pid_t supervisor, int readyPipe) {
    // Ctrl-C is for the supervisor alone, which tells this process: a second signal would end it.
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != supervisor) _exit(EXIT_FAILURE);
    std::signal(SIGHUP, SIG_IGN);
    unsetenv("NOTIFY_SOCKET");
    forgetPipe();
    signals_.leave();
    const auto isReady = [readyPipe] {
      [[maybe_unused]] const ssize_t written = write(readyPipe, "r", 1);
      close(readyPipe);
    };
    std::exit(serve_(sockets_, isReady));
  }

  void reload() {
    isReloadWanted_ = false;
    notifyServiceManager("RELOADING=1\nMONOTONIC_USEC=" + microseconds());
    try {
      start();
    } catch (const std::system_error& error) {
      report(Severity::kError, error.what());
      reloadFailed();
    }
  }

  void reloadFailed() {
    static constexpr char kText[] = "the new server does not start; the former one goes on";
    report(Severity::kError, kText);
    notifyServiceManager(std::string("READY=1\nSTATUS=Reload failed: ") + kText);
  }

  /// The process that is ready serves from now on, and the one before it leaves.
  void takeReadiness() {
    char byte = 0;
    if (isStopping_ || pipeIsEmpty() || read(starting_.pipe, &byte, 1) != 1) return;
    const pid_t former = serving_;
    serving_ = starting_.id;
    starting_.id = kNobody;
    forgetPipe();
    if (former != kNobody) {
      leaving_.push_back(former);
      kill(former, kLeaveSignal);
      report(Severity::kNotice, "a fresh server has taken over");
    }
    hasServed_ = true;
    notifyServiceManager("READY=1\nSTATUS=Serving");
  }

  bool pipeIsEmpty() const {
    pollfd waited{starting_.pipe, POLLIN, 0};
    return starting_.pipe < 0 || poll(&waited, 1, 0) <= 0;
  }

  void forgetPipe() {
    if (starting_.pipe >= 0) close(starting_.pipe);
    starting_.pipe = -1;
  }

  void reap() {
    int status = 0;
    for (pid_t id = waitpid(-1, &status, WNOHANG); id > 0; id = waitpid(-1, &status, WNOHANG)) {
      // It may have become ready since, and ended all the same.
      takeReadiness();
      takeEnd(id, WIFEXITED(status) ? WEXITSTATUS(status) : kEndedBySignal + WTERMSIG(status));
    }
  }

  void takeEnd(pid_t id, int exitCode) {
    if (id == serving_) {
      serving_ = kNobody;
      exitCode_ = exitCode;
      if (!isStopping_) serverEnded(exitCode);
    } else if (id == starting_.id) {
      starting_.id = kNobody;
      forgetPipe();
      if (!hasServed_) firstServerEnded(exitCode);
      if (hasServed_ && !isStopping_) reloadFailed();
    } else {
      std::erase(leaving_, id);
    }
  }

  /// One that ends by itself has said why; one that a signal ends has not.
  void firstServerEnded(int exitCode) {
    exitCode_ = isStopping_ ? EXIT_SUCCESS : exitCode;
    if (!isStopping_ && exitCode >= kEndedBySignal) tellEnd(exitCode);
  }

  void serverEnded(int exitCode) {
    tellEnd(exitCode);
    stop();
  }

  static void tellEnd(int exitCode) {
    report(Severity::kError, "the server has ended with exit code " + std::to_string(exitCode));
  }

  /// A second signal ends the serving processes at once.
  void stop() {
    if (!isStopping_) {
      notifyServiceManager("STOPPING=1");
      closeSockets();
    }
    isStopping_ = true;
    for (const pid_t id : leaving_) kill(id, SIGTERM);
    for (const pid_t id : {serving_, starting_.id}) {
      if (id != kNobody) kill(id, SIGTERM);
    }
  }

  /// The port is free as soon as the serving processes have closed it too.
  void closeSockets() {
    for (const int descriptor : sockets_) close(descriptor);
    sockets_.clear();
  }

  std::vector<int> sockets_;
  const ServeProcess& serve_;
  SignalQueue signals_;
  pid_t serving_ = kNobody;
  StartingProcess starting_;
  /// Those that finish what they were asked.
  std::vector<pid_t> leaving_;
  bool hasServed_ = false;
  bool isReloadWanted_ = false;
  bool isStopping_ = false;
  int exitCode_ = EXIT_FAILURE;
};

}  // namespace

int supervise(const std::vector<int>& sockets, const ServeProcess& serve) {
  return Supervisor(sockets, serve).run();
}

}  // namespace pcicim
