#pragma once

#include <chrono>
#include <cstddef>

namespace cimom {

/// What clients that take answers in parts may use of the server.
struct PullLimits {
  /// Answers open at the same time; each has a thread. More end with SERVER_LIMITS_EXCEEDED.
  std::size_t contexts = 32;
  /// Bytes of each answer that are ready before they are asked for; an element is never divided.
  std::size_t readyBytes = std::size_t{256} << 10;
  /// Bytes of elements after which a part ends, whatever number was asked for.
  std::size_t partBytes = std::size_t{4} << 20;
  /// How long an answer stays open without a question where the client says nothing.
  std::chrono::seconds usualTimeout{60};
  /// The longest time that a client may ask for; none at all may not.
  std::chrono::seconds longestTimeout{600};
};

}  // namespace cimom
