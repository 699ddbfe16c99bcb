#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

#include "descriptor.h"

#include <sys/types.h>

namespace cimom {

/// One client's connection, read and written within time and size. For one thread.
class HttpConnection {
 public:
  using Clock = std::chrono::steady_clock;

  enum class HeadResult {
    kRead,
    /// Nothing came, or the end did: there is nobody to answer.
    kNobody,
    kTooSlow,
    kTooLarge,
  };

  /// When `stopDescriptor` can be read, reading ends at once, and writing as soon as the client
  /// stops taking what is written.
  HttpConnection(Descriptor socket, int stopDescriptor);

  /// Waits for the next request's first byte; false when none comes within the time, or at the end.
  bool waitForRequest(std::chrono::milliseconds time);

  /// Reads up to the empty line that ends a request's head and starts the request's time.
  HeadResult readHead(std::chrono::seconds requestTime);

  /// The head just read, its lines as they came. It can be replaced before read() hands it out.
  const std::string& head() const { return head_; }
  void replaceHead(std::string head);

  /// Hands out what is left of the head, then up to `bodyBytes` of the body (see limitBody) from
  /// the connection; 0 at the end, -1 when time or size is exceeded.
  ssize_t read(char* buffer, std::size_t size);
  void limitBody(std::size_t bytes) { bodyBytes_ = bytes; }

  /// True when a read failed for want of time.
  bool isTooSlow() const { return tooSlow_; }

  /// Writes all of it, or answers false.
  bool write(std::string_view text);

  /// Ends the connection so that the client still reads what was written: waits a moment for the
  /// client to end its side.
  void finish();

  int socket() const { return socket_.number(); }

 private:
  bool fill();
  bool waitToWrite();
  bool waitFor(short event, Clock::time_point deadline, bool stoppable) const;

  Descriptor socket_;
  int stopDescriptor_;
  std::chrono::seconds requestTime_{0};
  Clock::time_point readDeadline_;
  Clock::time_point writeDeadline_;
  std::string buffer_;
  std::string head_;
  std::size_t headPlace_ = 0;
  std::size_t bodyBytes_ = 0;
  bool ended_ = false;
  bool tooSlow_ = false;
};

/// Largest head of a request.
constexpr std::size_t kHttpHeadBytes = std::size_t{16} << 10;

}  // namespace cimom
