#include "http_connections.h"

#include <utility>

namespace cimom {

void HttpConnections::add(const std::shared_ptr<HttpConnection>& connection) {
  const std::lock_guard lock(mutex_);
  entries_[connection.get()] = {connection, std::nullopt};
}

void HttpConnections::remove(const HttpConnection* connection) noexcept {
  const std::lock_guard lock(mutex_);
  entries_.erase(connection);
}

void HttpConnections::setIdle(const HttpConnection* connection, bool isIdle) {
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(connection);
  if (found == entries_.end()) return;
  found->second.idleSince = isIdle ? std::optional(Clock::now()) : std::nullopt;
}

std::size_t HttpConnections::count() const {
  const std::lock_guard lock(mutex_);
  return entries_.size();
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

std::shared_ptr<HttpConnection> HttpConnections::takeLongestIdle() {
  std::shared_ptr<HttpConnection> taken;
  const std::lock_guard lock(mutex_);
  auto longest = entries_.end();
  for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
    if (!entry->second.idleSince) continue;
    const bool isLonger =
        longest == entries_.end() || *entry->second.idleSince < *longest->second.idleSince;
    if (isLonger) longest = entry;
  }
  if (longest == entries_.end()) return nullptr;
  taken = longest->second.connection.lock();
  entries_.erase(longest);
  return taken;
}

}  // namespace cimom
