#pragma once

#include <boost/asio/ip/address.hpp>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace cimom {

class HttpConnection;

/// The open connections of a server. Safe from any thread.
class HttpConnections {
 public:
  using Address = boost::asio::ip::address;

  void add(const std::shared_ptr<HttpConnection>& connection, const Address& client);
  void remove(const HttpConnection* connection) noexcept;

  std::size_t count() const;
  std::size_t countOf(const Address& client) const;
  std::vector<std::shared_ptr<HttpConnection>> all() const;

 private:
  struct Entry {
    std::weak_ptr<HttpConnection> connection;
    Address client;
  };

  mutable std::mutex mutex_;
  std::map<const HttpConnection*, Entry> entries_;
};

}  // namespace cimom
