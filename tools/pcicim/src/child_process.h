#pragma once

#include <sys/types.h>

#include <functional>
#include <utility>

namespace pcicim {

/// A file descriptor that is closed with its owner; -1 is none.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) noexcept : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept;

  int number() const noexcept { return number_; }
  void close() noexcept;

 private:
  int number_;
};

/// The end to read from and the end to write to, neither inherited by programs. Throws
/// std::system_error.
std::pair<Descriptor, Descriptor> makePipe();

/// A process that works for this one and does not outlive it: it is killed when the object goes,
/// and when the thread that started it ends, however that comes.
class ChildProcess {
 public:
  /// Starts a copy of this process that calls `work` and ends with status 127 when that returns or
  /// throws. To be called while there are no other threads. Throws std::system_error.
  explicit ChildProcess(const std::function<void()>& work);
  ~ChildProcess();
  ChildProcess(ChildProcess&& other) noexcept : id_(std::exchange(other.id_, -1)) {}
  ChildProcess& operator=(ChildProcess&&) = delete;

  void kill() noexcept;
  /// Waits for its end and returns its exit status, 128 plus the signal's number after a signal.
  /// Once.
  int wait() noexcept;

 private:
  pid_t id_ = -1;
};

}  // namespace pcicim
