#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <string>

namespace servetest {

/// A connection to a port of this host over TLS, which takes any certificate.
class TlsClient {
 public:
  using Error = boost::system::error_code;

  /// `version` is the only one that is offered, such as TLS1_2_VERSION; 0: what OpenSSL has.
  explicit TlsClient(int port, int version = 0);

  /// The error of the handshake, none when it was done.
  Error handshake();
  /// False when the server has closed the connection.
  bool send(const std::string& text);
  /// What comes until the server says that nothing more does; `end` is then how it said it.
  std::string receiveAll(Error& end);
  std::string receiveUntil(const std::string& text);

 private:
  boost::asio::io_context context_;
  boost::asio::ssl::context tls_{boost::asio::ssl::context::tls_client};
  boost::asio::ssl::stream<boost::asio::ip::tcp::socket> stream_;
};

}  // namespace servetest
