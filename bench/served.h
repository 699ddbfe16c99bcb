#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

/// `pcicim serve` as a child, and connections to it, for benchmarks.
namespace served {

[[noreturn]] inline void throwSystemError(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// The server, as a child that ends with this object.
class Server {
 public:
  explicit Server(const char* inventory) {
    int ends[2];
    if (pipe(ends) != 0) throwSystemError("pipe");
    child_ = fork();
    if (child_ < 0) throwSystemError("fork");
    if (child_ == 0) become(inventory, ends);
    close(ends[1]);
    FILE* announcement = fdopen(ends[0], "r");
    readPort(announcement);
    // What it announces later is not read, and fits into the pipe.
  }

  ~Server() {
    kill(child_, SIGTERM);
    waitpid(child_, nullptr, 0);
  }

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::uint16_t port() const { return port_; }

  double cpuSeconds() const {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(child_, &clock) != 0 || clock_gettime(clock, &time) != 0) {
      throw std::runtime_error("the server's CPU time cannot be read");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  }

  /// Its largest resident size so far, in KiB.
  double peakKilobytes() const { return statusOf("VmHWM:"); }
  /// Its resident size now, in KiB.
  double kilobytes() const { return statusOf("VmRSS:"); }

 private:
  double statusOf(const std::string& which) const {
    std::ifstream status("/proc/" + std::to_string(child_) + "/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with(which)) return std::strtod(line.c_str() + which.size(), nullptr);
    }
    throw std::runtime_error("the server's memory cannot be read");
  }

  [[noreturn]] static void become(const char* inventory, const int ends[2]) {
    dup2(ends[1], STDOUT_FILENO);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    execl(PCICIM_PROGRAM, PCICIM_PROGRAM, "--inventory", inventory, "serve", "--port", "0",
          nullptr);
    _exit(127);
  }

  void readPort(FILE* announcement) {
    std::array<char, 4096> line{};
    while (port_ == 0 && std::fgets(line.data(), line.size(), announcement) != nullptr) {
      const std::string text = line.data();
      const std::string::size_type at = text.find("127.0.0.1:");
      if (at != std::string::npos) {
        port_ = static_cast<std::uint16_t>(std::atoi(text.c_str() + at + 10));
      }
    }
    if (port_ == 0) throw std::runtime_error("pcicim serve did not start");
  }

  pid_t child_ = -1;
  std::uint16_t port_ = 0;
};

class Connection {
 public:
  explicit Connection(std::uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
      throwSystemError("connect");
    }
  }
  ~Connection() { close(socket_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void send(const std::string& text) const {
    if (write(socket_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      throwSystemError("write");
    }
  }

  /// Gives what comes, piece by piece, until the other side closes.
  template <class Take>
  void receive(Take take) const {
    std::array<char, 65536> piece{};
    for (ssize_t got = 0; (got = read(socket_, piece.data(), piece.size())) != 0;) {
      if (got < 0) throwSystemError("read");
      take(std::string(piece.data(), static_cast<std::size_t>(got)));
    }
  }

 private:
  int socket_;
};

}  // namespace served
