#pragma once

#include <cim_xml/cim_xml_service.h>
#include <http/http_server.h>

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/serializer.hpp>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "http_connections.h"
#include "http_messages.h"
#include "work_queue.h"

namespace cimom {

/// What all connections of a server share. Outlives them.
struct HttpSharedState {
  const CimXmlService& service;
  const HttpLimits limits;
  /// Whole requests are answered here; reading and writing takes none of these threads.
  WorkQueue& workers;
  std::atomic<bool> stopping = false;
};

/// One client's connection: reads one request after the other, has each answered by a worker and
/// writes what comes of it, all within time and size. It lives as long as something is under way.
///
/// The public functions are safe from any thread; what they begin runs on the strand that the
/// socket was made with.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  using Socket = boost::asio::ip::tcp::socket;

  /// `registry` outlives the connection, which takes itself out at its end.
  HttpConnection(Socket socket, HttpSharedState& shared, HttpConnections& registry);
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  /// Begins with the first request.
  void serve();
  /// Says that the server is busy, whatever the client wants, and ends the connection.
  void turnAway();

  /// Ends the connection as soon as the request that has arrived whole, if there is one, is
  /// answered.
  void stop();
  /// Ends the connection unless a request has arrived whole.
  void makeRoom();

 private:
  using Clock = std::chrono::steady_clock;
  using Error = boost::system::error_code;
  using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
  using Serializer = boost::beast::http::response_serializer<boost::beast::http::string_body>;

  enum class State {
    /// Waits for a request's first byte.
    kIdle,
    kReadingHead,
    kReadingBody,
    /// The request has arrived whole and is a worker's.
    kAnswering,
    kWriting,
    /// Waits for the client to end its side, so that it still reads what was written.
    kFinishing,
    kClosed,
  };

  void awaitRequest();
  void read();
  void onRead(const Error& error, std::size_t count);
  void onLastRead();
  void parse();
  Error feedParser(bool inHead);
  void onUnreadable(const Error& error);
  bool isNumberTooLarge(const Error& error) const;
  void onHead();
  void inviteBody();
  void onRequest();

  void refuse(boost::beast::http::status status, const std::string& reason);
  void respond(HttpResponse response);
  bool mayGoOn(const HttpResponse& response) const;
  void write();
  void onWritten();
  void finish();
  void drain();
  void close();

  void expireAt(Clock::time_point time);

  Socket socket_;
  boost::asio::steady_timer timer_;
  HttpSharedState& shared_;
  HttpConnections& registry_;
  State state_ = State::kIdle;
  /// The time of the current step has passed.
  bool tooSlow_ = false;
  /// Requests whose head has been read.
  std::size_t requests_ = 0;

  boost::beast::flat_buffer buffer_;
  std::optional<Parser> parser_;
  /// Bytes of the current request's head or body that have been parsed.
  std::size_t parsedBytes_ = 0;
  CimXmlHeaders cimHeaders_;

  HttpResponse response_;
  std::optional<Serializer> serializer_;
  Clock::time_point writeDeadline_;
  bool goesOn_ = false;
  std::size_t droppedBytes_ = 0;
};

}  // namespace cimom
