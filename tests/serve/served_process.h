#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "run_pcicim.h"

namespace servetest {

/// An object as clients name it at a server: AUTHORITY/NAMESPACE:OBJECT.
inline std::string objectAt(const std::string& authority, const std::string& object,
                            const std::string& nameSpace = "root/cimv2") {
  return authority + '/' + nameSpace + ':' + object;
}

/// What a service manager gives to the process that it starts.
struct ServiceSurroundings {
  /// Become descriptors 3 and following, announced by LISTEN_PID and LISTEN_FDS.
  std::vector<int> sockets{};
  /// NOTIFY_SOCKET, unless it is empty.
  std::string notifySocket{};
  /// Standard error is what JOURNAL_STREAM names.
  bool hasJournal = false;
};

/// A running `pcicim ... serve`.
class ServedProcess {
 public:
  /// Starts it with `arguments` before and `--port 0` after the subcommand and waits for the end of
  /// what it says first. Throws std::runtime_error when it says nothing or not where it listens.
  explicit ServedProcess(const clitest::Arguments& arguments,
                         const clitest::Arguments& afterwards = {},
                         const ServiceSurroundings& surroundings = {});
  /// Asks it to stop when it still runs; the test fails when it does not do so cleanly.
  ~ServedProcess();
  ServedProcess(const ServedProcess&) = delete;
  ServedProcess& operator=(const ServedProcess&) = delete;

  /// All that it said on standard output before it began to serve.
  const std::string& announcement() const { return announcement_; }
  std::string errors() const { return clitest::readFile(errors_.path()); }
  /// What the URL has between "//" and the path: host and port.
  const std::string& authority() const { return authority_; }
  int port() const;
  pid_t process() const { return child_; }

  void signal(int number) const;
  /// Stops the process as SIGSTOP does, and returns when it has stopped; SIGCONT lets it go on.
  void pause() const;
  /// Waits for its end: the exit code, or 128 plus the signal that ended it. Throws
  /// std::runtime_error when it goes on running.
  int waitForEnd(std::chrono::seconds time = std::chrono::seconds(20));

 private:
  void start(const clitest::Arguments& words, int output, const ServiceSurroundings& surroundings);
  void readAnnouncement();
  void endChild();

  clitest::TemporaryFile errors_{""};
  pid_t child_ = -1;
  /// Stays open: a process that takes over announces itself, too.
  int output_ = -1;
  std::string announcement_;
  std::string authority_;
};

}  // namespace servetest
