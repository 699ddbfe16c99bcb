#pragma once

#include <boost/asio/ip/address.hpp>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace cimom {

/// The names by which clients may call the server.
class ServedNames {
 public:
  using Address = boost::asio::ip::address;
  using IsCertified = std::function<bool(const std::string& name)>;

  /// Names and addresses in text; `isCertified` tells of further ones and may be empty.
  explicit ServedNames(std::vector<std::string> names, IsCertified isCertified = {});

  /// True when a client that is connected to the address `local` may write the authority (a name
  /// or an address, perhaps with a port) into its request. Any port is right, since the client may
  /// come through a forwarded one.
  bool cover(std::string_view authority, const Address& local) const;

 private:
  bool coverAddress(const Address& address, const Address& local) const;

  std::vector<std::string> names_;
  std::vector<Address> addresses_;
  IsCertified isCertified_;
};

}  // namespace cimom
