#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cimom {

/// Thrown into the making of a response that nobody takes any more.
class ResponseAbandoned : public std::runtime_error {
 public:
  ResponseAbandoned() : std::runtime_error("the response is not taken any more") {}
};

/// The body of a response in chunks, on its way from the worker that makes it to the connection
/// that writes it. The worker waits while the client is slow. Safe from any thread.
class ResponseParts {
 public:
  /// Asked now and then while the worker waits: whether it must not go on doing so.
  using MustGiveWay = std::function<bool()>;

  /// Bytes that may wait to be written, beyond which a part waits; a part is never divided.
  static constexpr std::size_t kMostWaiting = std::size_t{128} << 10;

  /// Adds a chunk. Throws ResponseAbandoned once the response is abandoned, or given up because
  /// others need the worker.
  void put(std::string_view part, const MustGiveWay& mustGiveWay);
  /// The chunks that wait, as they go over the wire; empty when there are none.
  std::string take();

  /// Whoever puts something is told that nobody takes it.
  void abandon() noexcept;
  bool isAbandoned() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::string waiting_;
  bool isAbandoned_ = false;
};

/// The end of a body in chunks: the last of them with the fields of a trailer, each with its end of
/// line.
std::string lastChunk(std::string_view trailer = {});

}  // namespace cimom
