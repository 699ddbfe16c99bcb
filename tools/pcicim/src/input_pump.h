#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "header_scan.h"

namespace pcicim {

/// Puts a pipe in the place of standard input and passes through it, in a thread of its own, what
/// comes there, so that it can be looked at on its way to the reader: the provider, which opens
/// /dev/stdin. That works for sockets and terminals, too. One per process.
class InputPump {
 public:
  /// Throws std::system_error.
  InputPump();

  /// Bytes that have come so far. Any thread may ask.
  std::uint64_t bytes() const;
  /// What has gone by until standard input ended; null while it has not. Throws std::system_error
  /// when it ended because it could not be read.
  const HeaderScan* seen() const;

 private:
  struct Flow;

  /// The thread keeps it too: it may wait for input when the process ends.
  std::shared_ptr<Flow> flow_;
};

}  // namespace pcicim
