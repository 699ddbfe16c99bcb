#pragma once

#include <cstddef>
#include <thread>

namespace qarctltest {

/// The saved inventory of a made-up host, written into a pipe while it is read, so that it takes
/// neither disk nor memory of its own: one bridge and otherwise endpoints, every one with its name,
/// a capability list and all of its bytes. It is the input of this process; one reading takes it.
class StreamedHost {
 public:
  /// Up to 65,536 functions of `bytes` bytes of configuration space (64, 256 or 4096).
  StreamedHost(unsigned functions, std::size_t bytes);
  /// Waits for the writing, which ends when the reader closes the pipe.
  ~StreamedHost();
  StreamedHost(const StreamedHost&) = delete;
  StreamedHost& operator=(const StreamedHost&) = delete;

 private:
  void Write(int descriptor, unsigned functions, std::size_t bytes) const;

  int read_;
  std::thread writer_;
};

}  // namespace qarctltest
