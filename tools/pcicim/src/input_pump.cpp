#include "input_pump.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <thread>

namespace pcicim {
namespace {

[[noreturn]] void fail(int error) {
  throw std::system_error(error, std::generic_category(), "standard input");
}

/// read(), which waits for input also where the parent has asked it not to; errno when it fails.
ssize_t readSome(int file, char* piece, std::size_t size, int& error) {
  for (;;) {
    const ssize_t count = read(file, piece, size);
    error = count < 0 ? errno : 0;
    if (error == EAGAIN) {
      pollfd waiting{file, POLLIN, 0};
      poll(&waiting, 1, -1);
    } else if (error != EINTR) {
      return count;
    }
  }
}

bool writeAll(int file, const char* at, std::size_t size) {
  while (size > 0) {
    const ssize_t written = write(file, at, size);
    if (written < 0 && errno != EINTR) {
      return false;
    }
    at += written > 0 ? written : 0;
    size -= written > 0 ? static_cast<std::size_t>(written) : 0;
  }
  return true;
}

}  // namespace

struct InputPump::Flow {
  int from = -1;
  int to = -1;
  std::atomic<std::uint64_t> bytes{0};
  std::atomic<bool> ended{false};
  /// The thread's alone until the end.
  HeaderScan scan;
  int error = 0;

  void run() {
    std::array<char, 65536> piece{};
    for (;;) {
      const ssize_t count = readSome(from, piece.data(), piece.size(), error);
      if (count <= 0 || !pass({piece.data(), static_cast<std::size_t>(count)})) {
        break;
      }
    }
    scan.take("\n");
    ended = true;
    close(to);
  }

  bool pass(std::string_view piece) {
    bytes += piece.size();
    scan.take(piece);
    return writeAll(to, piece.data(), piece.size());
  }
};

InputPump::InputPump() : flow_(std::make_shared<Flow>()) {
  int ends[2] = {-1, -1};
  flow_->from = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (flow_->from < 0 || pipe2(ends, O_CLOEXEC) != 0 || dup2(ends[0], STDIN_FILENO) < 0) {
    fail(errno);
  }
  close(ends[0]);
  flow_->to = ends[1];
  std::thread([flow = flow_] { flow->run(); }).detach();
}

std::uint64_t InputPump::bytes() const {
  return flow_->bytes;
}

const HeaderScan* InputPump::seen() const {
  if (!flow_->ended) {
    return nullptr;
  }
  if (flow_->error != 0) {
    fail(flow_->error);
  }
  return &flow_->scan;
}

}  // namespace pcicim
