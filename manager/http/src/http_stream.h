#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <optional>
#include <utility>

#include <netinet/tcp.h>
#include <sys/socket.h>

namespace cimom {

/// A client's socket, plain or with TLS over it: an asynchronous stream as Asio and Beast use them.
/// For handlers of the socket's strand.
class HttpStream {
 public:
  using Socket = boost::asio::ip::tcp::socket;
  using executor_type = Socket::executor_type;
  using Error = boost::system::error_code;

  /// Plain where `tls` is null; else it outlives the stream.
  HttpStream(Socket socket, boost::asio::ssl::context* tls) : socket_(std::move(socket)) {
    Error ignored;
    socket_.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
    keepLittleUnsent();
    if (tls != nullptr) tls_.emplace(socket_, *tls);
  }

  executor_type get_executor() { return socket_.get_executor(); }
  /// The bytes as they are on the wire.
  Socket& socket() { return socket_; }
  bool isEncrypted() const { return tls_.has_value(); }
  /// Goes on as a plain stream, before the handshake alone.
  void becomePlain() { tls_.reset(); }

  /// True when the first byte, which has arrived, begins a TLS handshake.
  bool startsWithTls() {
    constexpr unsigned char kHandshakeRecord = 22;
    unsigned char first = 0;
    return peek(first) && first == kHandshakeRecord;
  }
  /// True when bytes have arrived that are unread.
  bool hasArrived() {
    unsigned char first = 0;
    return peek(first);
  }

  template <class Handler>
  void async_handshake(Handler&& handler) {
    tls_->async_handshake(boost::asio::ssl::stream_base::server, std::forward<Handler>(handler));
  }
  /// Says that nothing more is sent and waits for the client to say the same; with TLS alone.
  template <class Handler>
  void async_shutdown(Handler&& handler) {
    tls_->async_shutdown(std::forward<Handler>(handler));
  }
  template <class Buffers, class Handler>
  void async_read_some(const Buffers& buffers, Handler&& handler) {
    tls_ ? tls_->async_read_some(buffers, std::forward<Handler>(handler))
         : socket_.async_read_some(buffers, std::forward<Handler>(handler));
  }
  template <class Buffers, class Handler>
  void async_write_some(const Buffers& buffers, Handler&& handler) {
    tls_ ? tls_->async_write_some(buffers, std::forward<Handler>(handler))
         : socket_.async_write_some(buffers, std::forward<Handler>(handler));
  }

 private:
  /// Else megabytes wait in the kernel, and a client has to take a third of them to be seen taking
  /// any.
  void keepLittleUnsent() {
    constexpr int kMostUnsent = 128 << 10;
    setsockopt(socket_.native_handle(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &kMostUnsent,
               sizeof kMostUnsent);
  }

  bool peek(unsigned char& first) {
    return recv(socket_.native_handle(), &first, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
  }

  Socket socket_;
  /// Head and body of a response leave in one write with this one.
  std::optional<boost::beast::ssl_stream<Socket&>> tls_;
};

}  // namespace cimom
