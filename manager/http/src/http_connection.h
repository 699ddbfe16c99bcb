#pragma once

#include <cim_xml/cim_xml_service.h>
#include <http/http_server.h>
#include <http/page_service.h>

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/http/serializer.hpp>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "http_access.h"
#include "http_connections.h"
#include "http_messages.h"
#include "http_request_reader.h"
#include "http_stream.h"
#include "response_parts.h"
#include "served_names.h"
#include "work_queue.h"

namespace cimom {

/// What all connections of a server share. Outlives them.
struct HttpSharedState {
  const CimXmlService& service;
  const HttpLimits limits;
  const ServedNames names;
  /// Null where nobody is asked for a password.
  HttpAccess* access;
  /// Null where there are no pages.
  PageService* pages;
  /// Whole requests are answered here; reading and writing takes none of these threads.
  WorkQueue& workers;
  std::atomic<bool> stopping = false;
  /// Connections end with the response to their next request.
  std::atomic<bool> leaving = false;
};

/// One client's connection: reads one request after the other, has each answered by a worker and
/// writes what comes of it, all within time and size. It lives as long as something is under way.
///
/// The public functions are safe from any thread; what they begin runs on the strand that the
/// socket was made with.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  /// Plain where `tls` is null. `client` is what counts as one at the other side. The registry
  /// outlives the connection, which takes itself out at its end.
  HttpConnection(HttpStream::Socket socket, boost::asio::ssl::context* tls,
                 const boost::asio::ip::address& client, HttpSharedState& shared,
                 HttpConnections& registry);
  ~HttpConnection();
  HttpConnection(const HttpConnection&) = delete;
  HttpConnection& operator=(const HttpConnection&) = delete;

  /// Begins with the first request.
  void serve();
  /// Says that the server is busy, whatever the client wants, and ends the connection; with TLS
  /// only the latter.
  void turnAway();

  /// Ends the connection as soon as the requests that have arrived whole, if there are any, are
  /// answered.
  void stop();
  /// Lets the worker go that makes a response for this connection, when nothing is written any
  /// more.
  void abandon() noexcept { parts_.abandon(); }

 private:
  using Clock = std::chrono::steady_clock;
  using Error = boost::system::error_code;
  using Serializer = boost::beast::http::response_serializer<boost::beast::http::string_body>;

  enum class State {
    /// Waits for TLS to begin, or is beginning with it.
    kHandshaking,
    /// Waits for a request's first byte.
    kIdle,
    kReadingHead,
    kReadingBody,
    /// The request has arrived whole and is a worker's, or its refusal is held back.
    kAnswering,
    /// The same, and what the worker has made so far is being written.
    kStreaming,
    kWriting,
    /// Waits for the client to end its side, so that it still reads what was written.
    kFinishing,
    kClosed,
  };

  void awaitTls();
  void onTlsArrived();
  void awaitRequest();
  void read();
  void onRead(const Error& error, std::size_t count);
  void onLastRead();
  void parse();
  void onHead();
  void inviteBody();

  void onRequest();
  void answer();
  void giveUp() noexcept;
  CimXmlReply makeReply();
  void refuseLogin();
  void refuse(boost::beast::http::status status, const std::string& reason);
  void respond(HttpResponse response);
  void beginResponse(HttpResponse response);
  bool mayGoOn(const HttpResponse& response) const;
  void write();
  void beginParts();
  void writeParts();
  void writeOutgoing();
  void endParts(const std::optional<CimXmlLateError>& error);
  void onWritten();
  void finish();
  void endSending();
  void drain();
  void close();

  void expireAt(Clock::time_point time);
  bool hasEnded(const Error& error) const { return error || tooSlow_ || state_ == State::kClosed; }

  HttpStream stream_;
  boost::asio::steady_timer timer_;
  HttpSharedState& shared_;
  HttpConnections& registry_;
  boost::asio::ip::address client_;
  boost::asio::ip::address local_;
  State state_ = State::kIdle;
  /// The time of the current step has passed.
  bool tooSlow_ = false;
  /// By when the first request's head has to be there, where TLS took a part of its time.
  std::optional<Clock::time_point> firstDeadline_;
  /// Requests whose head has been read.
  std::size_t requests_ = 0;

  HttpRequestReader reader_;
  CimXmlHeaders cimHeaders_;
  /// What is still to be checked before the request is answered.
  std::optional<HttpLogin> login_;

  HttpResponse response_;
  std::optional<Serializer> serializer_;
  /// Of a response that is written while it is made: what waits, and what is being written, of
  /// which the first bytes are gone.
  ResponseParts parts_;
  std::string outgoing_;
  std::size_t written_ = 0;
  bool isWriting_ = false;
  /// What comes behind the last part.
  std::string ending_;
  bool areAllMade_ = false;
  /// The client takes fields behind the body, which tell of an error that came too late.
  bool takesTrailers_ = false;
  bool goesOn_ = false;
  std::size_t droppedBytes_ = 0;
};

}  // namespace cimom
