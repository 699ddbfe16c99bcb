#pragma once

#include <algorithm>
#include <boost/asio/ip/address.hpp>

namespace cimom {

/// An IPv4 address that is written as one of IPv6 becomes the former.
inline boost::asio::ip::address unmapped(const boost::asio::ip::address& address) {
  namespace ip = boost::asio::ip;
  if (!address.is_v6() || !address.to_v6().is_v4_mapped()) return address;
  return ip::make_address_v4(ip::v4_mapped, address.to_v6());
}

/// What counts as one client. With IPv6 that is a network of 64 bits: each host has so many
/// addresses of its own.
inline boost::asio::ip::address clientOf(const boost::asio::ip::address& peer) {
  boost::asio::ip::address address = unmapped(peer);
  if (address.is_v4()) return address;
  auto bytes = address.to_v6().to_bytes();
  std::fill(bytes.begin() + 8, bytes.end(), static_cast<unsigned char>(0));
  return boost::asio::ip::address_v6(bytes);
}

}  // namespace cimom
