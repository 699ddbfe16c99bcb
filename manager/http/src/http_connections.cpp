#include "http_connections.h"

#include <algorithm>
#include <utility>

namespace cimom {

void HttpConnections::add(const std::shared_ptr<HttpConnection>& connection,
                          const Address& client) {
  const std::lock_guard lock(mutex_);
  entries_[connection.get()] = {connection, client};
}

void HttpConnections::remove(const HttpConnection* connection) noexcept {
  const std::lock_guard lock(mutex_);
  entries_.erase(connection);
}

std::size_t HttpConnections::count() const {
  const std::lock_guard lock(mutex_);
  return entries_.size();
}

std::size_t HttpConnections::countOf(const Address& client) const {
  const std::lock_guard lock(mutex_);
  const auto isOfClient = [&](const auto& entry) { return entry.second.client == client; };
  return static_cast<std::size_t>(std::ranges::count_if(entries_, isOfClient));
}

std::vector<std::shared_ptr<HttpConnection>> HttpConnections::all() const {
  // Declared first: a connection whose last owner this is removes itself once the lock is open.
  std::vector<std::shared_ptr<HttpConnection>> connections;
  const std::lock_guard lock(mutex_);
  for (const auto& [address, entry] : entries_) {
    if (auto connection = entry.connection.lock()) connections.push_back(std::move(connection));
  }
  return connections;
}

}  // namespace cimom
