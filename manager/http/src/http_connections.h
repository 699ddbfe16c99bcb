#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace cimom {

class HttpConnection;

/// The open connections of a server. Safe from any thread.
class HttpConnections {
 public:
  void add(const std::shared_ptr<HttpConnection>& connection);
  void remove(const HttpConnection* connection) noexcept;

  /// Notes that the connection waits for its next request from now on, or no longer.
  void setIdle(const HttpConnection* connection, bool isIdle);

  std::size_t count() const;
  std::vector<std::shared_ptr<HttpConnection>> all() const;

  /// Takes out the connection that has waited longest for its next request; null where none waits.
  std::shared_ptr<HttpConnection> takeLongestIdle();

 private:
  using Clock = std::chrono::steady_clock;
  struct Entry {
    std::weak_ptr<HttpConnection> connection;
    std::optional<Clock::time_point> idleSince;
  };

  mutable std::mutex mutex_;
  std::map<const HttpConnection*, Entry> entries_;
};

}  // namespace cimom
