#pragma once

#include <client/cim_xml_client.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

#include <chrono>
#include <optional>
#include <string>

#include "http_exchange.h"

namespace cimom {

/// A connection to one server, plain or over TLS, that stays open between requests while the server
/// keeps it so. For one thread at a time.
class ServerConnection {
 public:
  /// The settings outlive it, and so does the context; null without TLS.
  ServerConnection(const ClientSettings& settings, boost::asio::ssl::context* tls);

  /// Sends the request, connects for it where there is no connection, and reads the answer. Throws
  /// NoAnswer, ConnectionEnded, and what the sink throws; the connection is closed then.
  HttpHead exchange(const HttpQuestion& question, const BodySink& sink);
  /// False before the first exchange, and where the server has ended the connection or is about to.
  bool isOpen();

 private:
  using Error = boost::system::error_code;
  using Socket = boost::asio::ip::tcp::socket;
  using Clock = std::chrono::steady_clock;

  void connect();
  void connectSocket(Clock::time_point end);
  void shakeHands(Clock::time_point end);
  void close() noexcept;
  boost::beast::http::request<boost::beast::http::string_body> requestFor(
      const HttpQuestion& question) const;
  std::string authorization() const;
  bool isLocal() const;
  std::string closedReason() const;
  template <typename Parser>
  void readHead(Parser& parser, bool wasOpen);
  /// Of an answer that is a refusal.
  template <typename Parser>
  std::string readExplanation(Parser& parser);
  template <typename Parser>
  void readBody(Parser& parser, const BodySink& sink);
  template <typename Parser>
  void keepOrClose(const Parser& parser);

  /// Starts an asynchronous step with a handler and waits for its end, no longer than until then;
  /// an error of time-out after that.
  template <typename Start>
  Error await(Clock::time_point end, Start start);
  /// The same with the stream that the bytes go through.
  template <typename Start>
  Error awaitStream(Clock::time_point end, Start start);

  const ClientSettings& settings_;
  boost::asio::ssl::context* tls_;
  boost::asio::io_context context_{1};
  Socket socket_{context_};
  std::optional<boost::beast::ssl_stream<Socket&>> encrypted_;
  boost::beast::flat_buffer buffer_;
  bool isConnected_ = false;
  /// When the server may close what nobody uses.
  Clock::time_point keptUntil_;
};

}  // namespace cimom
