#include "tls_client.h"

#include <array>
#include <stdexcept>

namespace servetest {

namespace net = boost::asio;

TlsClient::TlsClient(int port, int version) : stream_(context_, tls_) {
  if (version != 0) {
    // The lowest level allows the oldest versions, which the library refuses by itself.
    SSL_set_security_level(stream_.native_handle(), 0);
    SSL_set_min_proto_version(stream_.native_handle(), version);
    SSL_set_max_proto_version(stream_.native_handle(), version);
  }
  stream_.next_layer().connect(
      {net::ip::address_v4::loopback(), static_cast<unsigned short>(port)});
}

TlsClient::Error TlsClient::handshake() {
  Error error;
  stream_.handshake(net::ssl::stream_base::client, error);
  return error;
}

bool TlsClient::send(const std::string& text) {
  Error error;
  net::write(stream_, net::buffer(text), error);
  return !error;
}

std::string TlsClient::receiveAll(Error& end) {
  std::string received;
  std::array<char, 65536> bytes{};
  for (;;) {
    const std::size_t count = stream_.read_some(net::buffer(bytes), end);
    received.append(bytes.data(), count);
    if (end) return received;
  }
}

std::string TlsClient::receiveUntil(const std::string& text) {
  std::string received;
  std::array<char, 65536> bytes{};
  while (received.find(text) == std::string::npos) {
    received.append(bytes.data(), stream_.read_some(net::buffer(bytes)));
  }
  return received;
}

}  // namespace servetest
