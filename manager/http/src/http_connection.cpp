// One connection as a chain of asynchronous steps: wait, read the head, refuse it or read the body,
// let a worker answer, write, and begin again or finish. State says which step is under way, and
// one timer bounds each but answering. Each handler keeps the connection alive, and all run on the
// socket's strand, so that no member needs a lock; only a worker runs elsewhere, and while it does
// (kAnswering) nothing else touches the parser. A refusal always ends the connection; at its end
// the connection goes on reading for a moment, since closing over unread bytes would lose the
// response.
#include "http_connection.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/write.hpp>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

namespace cimom {
namespace {

namespace net = boost::asio;
namespace http = boost::beast::http;
using http::status;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::size_t kRequestsPerConnection = 100;
constexpr std::size_t kReadBytes = std::size_t{16} << 10;

/// A client that reads slower than this loses the answer.
constexpr std::size_t kSlowestBytesPerSecond = std::size_t{64} << 10;

/// How long, and how much, a client may still send that has got its answer.
constexpr milliseconds kFinishTime{1000};
constexpr std::size_t kFinishBytes = std::size_t{8} << 20;

/// Chunks of a byte each take six bytes: room for a body as large as is allowed in most forms.
std::size_t bodyBytesOnTheWire(const HttpLimits& limits) {
  return limits.bodyBytes * 2 + kHttpHeadBytes;
}

bool asksFirst(const HttpRequest& head) {
  return head.version() >= 11 && boost::beast::iequals(head[http::field::expect], "100-continue");
}

}  // namespace

HttpConnection::HttpConnection(Socket socket, HttpSharedState& shared, HttpConnections& registry)
    : socket_(std::move(socket)),
      timer_(socket_.get_executor()),
      shared_(shared),
      registry_(registry) {
  Error ignored;
  socket_.set_option(net::ip::tcp::no_delay(true), ignored);
}

HttpConnection::~HttpConnection() {
  registry_.remove(this);
}

void HttpConnection::serve() {
  net::post(socket_.get_executor(), [self = shared_from_this()] { self->awaitRequest(); });
}

void HttpConnection::turnAway() {
  net::post(socket_.get_executor(), [self = shared_from_this()] {
    self->refuse(status::service_unavailable, "The server is busy.");
  });
}

void HttpConnection::stop() {
  net::post(socket_.get_executor(), [self = shared_from_this()] {
    if (self->state_ < State::kAnswering) return self->close();
    // From now on only a client that goes on reading is waited for.
    if (self->state_ == State::kWriting) {
      self->expireAt(std::min(self->writeDeadline_, Clock::now() + kFinishTime));
    }
  });
}

void HttpConnection::makeRoom() {
  net::post(socket_.get_executor(), [self = shared_from_this()] {
    if (self->state_ < State::kAnswering) self->close();
  });
}

// --- Reading

void HttpConnection::awaitRequest() {
  if (shared_.stopping) return finish();
  parser_.emplace();
  parser_->eager(false);
  parser_->header_limit(static_cast<std::uint32_t>(kHttpHeadBytes));
  // A body beyond the limit is refused behind the head, where the head can be refused first.
  parser_->body_limit(std::numeric_limits<std::uint64_t>::max());
  parsedBytes_ = 0;
  if (buffer_.size() > 0) {
    state_ = State::kReadingHead;
    expireAt(Clock::now() + shared_.limits.requestTime);
    return parse();
  }
  state_ = State::kIdle;
  expireAt(Clock::now() + shared_.limits.idleTime);
  if (requests_ > 0) registry_.setIdle(this, true);
  read();
}

void HttpConnection::read() {
  socket_.async_read_some(buffer_.prepare(kReadBytes),
                          [self = shared_from_this()](const Error& error, std::size_t count) {
                            self->onRead(error, count);
                          });
}

void HttpConnection::onRead(const Error& error, std::size_t count) {
  if (state_ == State::kClosed) return;
  if (error || tooSlow_) {
    return error == net::error::eof || tooSlow_ ? onLastRead() : close();
  }
  buffer_.commit(count);
  if (state_ == State::kIdle) {
    registry_.setIdle(this, false);
    state_ = State::kReadingHead;
    expireAt(Clock::now() + shared_.limits.requestTime);
  }
  parse();
}

/// The end of what the client sends, or of the time that it has for it.
void HttpConnection::onLastRead() {
  if (state_ == State::kIdle) return close();
  if (tooSlow_) return refuse(status::request_timeout, "The request did not arrive in time.");
  if (state_ == State::kReadingHead) return close();
  refuse(status::bad_request, "The request is incomplete.");
}

/// Parses what there is, up to the end of the head or of the request.
HttpConnection::Error HttpConnection::feedParser(bool inHead) {
  Error error;
  while (!error && !parser_->is_done() && !(inHead && parser_->is_header_done())) {
    if (buffer_.size() == 0) return http::error::need_more;
    const std::size_t used = parser_->put(buffer_.data(), error);
    buffer_.consume(used);
    parsedBytes_ += used;
  }
  return error;
}

void HttpConnection::parse() {
  const bool inHead = state_ == State::kReadingHead;
  const Error error = feedParser(inHead);
  const bool needsMore = error == http::error::need_more;
  const std::size_t bytes = parsedBytes_ + (needsMore ? buffer_.size() : 0);
  if (inHead && bytes > kHttpHeadBytes) {
    return refuse(status::request_header_fields_too_large, "The request's head is too large.");
  }
  if (!inHead && bytes > bodyBytesOnTheWire(shared_.limits)) {
    return refuse(status::payload_too_large, "The request is too large.");
  }
  if (needsMore) return read();
  if (error) return onUnreadable(error);
  inHead ? onHead() : onRequest();
}

void HttpConnection::onUnreadable(const Error& error) {
  if (error == http::error::header_limit) {
    return refuse(status::request_header_fields_too_large, "The request's head is too large.");
  }
  if (error == http::error::body_limit || isNumberTooLarge(error)) {
    return refuse(status::payload_too_large, "The request is too large.");
  }
  refuse(status::bad_request, "This is no HTTP request: " + error.message() + ".");
}

/// The parser reports the same error for a length that is no number and for one that it cannot
/// hold. The line that it stopped at is the next in the buffer.
bool HttpConnection::isNumberTooLarge(const Error& error) const {
  if (error != http::error::bad_content_length) return false;
  const std::string_view rest(static_cast<const char*>(buffer_.data().data()), buffer_.size());
  const std::string_view line = rest.substr(0, rest.find('\r'));
  const std::size_t start = line.find_first_not_of(" \t", line.find(':') + 1);
  const std::size_t end = line.find_last_not_of(" \t") + 1;
  if (start >= end) return false;
  std::uint64_t number = 0;
  const auto [stop, reason] = std::from_chars(line.data() + start, line.data() + end, number);
  return reason == std::errc::result_out_of_range && stop == line.data() + end;
}

void HttpConnection::onHead() {
  ++requests_;
  parsedBytes_ = 0;
  state_ = State::kReadingBody;
  const HttpRequest& head = parser_->get();
  if (auto refused = refusalByHead(head, shared_.limits)) return respond(std::move(*refused));
  if (head.method() == http::verb::options) return respond(optionsResponse());
  // Taken here, since fields may follow a body in chunks, too.
  cimHeaders_ = cimHeaders(head);
  parser_->body_limit(shared_.limits.bodyBytes);
  if (asksFirst(head) && buffer_.size() == 0 && !parser_->is_done()) return inviteBody();
  parse();
}

void HttpConnection::inviteBody() {
  static constexpr std::string_view kInvitation = "HTTP/1.1 100 Continue\r\n\r\n";
  net::async_write(socket_, net::buffer(kInvitation),
                   [self = shared_from_this()](const Error& error, std::size_t) {
                     if (error || self->state_ == State::kClosed) return self->close();
                     self->read();
                   });
}

// --- Answering

void HttpConnection::onRequest() {
  state_ = State::kAnswering;
  timer_.cancel();
  // The server runs as long as a handler or a worker has work for it.
  auto work = [self = shared_from_this(), running = net::make_work_guard(socket_.get_executor())] {
    try {
      CimXmlReply reply =
          self->shared_.service.answer(self->cimHeaders_, self->parser_->get().body());
      net::post(self->socket_.get_executor(), [self, reply = std::move(reply)]() mutable {
        self->respond(cimResponse(std::move(reply)));
      });
    } catch (...) {
      // For want of memory alone; the connection ends with its last owner, this work.
    }
  };
  if (!shared_.workers.offer(std::move(work))) {
    refuse(status::service_unavailable, "The server is busy.");
  }
}

void HttpConnection::refuse(status code, const std::string& reason) {
  respond(refusal(code, reason));
}

bool HttpConnection::mayGoOn(const HttpResponse& response) const {
  return response.result_int() < 400 && parser_ && parser_->get().version() >= 11 &&
         parser_->get().keep_alive() && requests_ < kRequestsPerConnection && !shared_.stopping;
}

void HttpConnection::respond(HttpResponse response) {
  state_ = State::kWriting;
  tooSlow_ = false;
  response_ = std::move(response);
  goesOn_ = mayGoOn(response_);
  response_.keep_alive(goesOn_);
  if (goesOn_) {
    response_.set(http::field::keep_alive,
                  "timeout=" + std::to_string(shared_.limits.idleTime.count()) +
                      ", max=" + std::to_string(kRequestsPerConnection - requests_));
  }
  response_.prepare_payload();
  writeDeadline_ = Clock::now() + shared_.limits.requestTime +
                   seconds(response_.body().size() / kSlowestBytesPerSecond);
  expireAt(writeDeadline_);
  serializer_.emplace(response_);
  write();
}

void HttpConnection::write() {
  if (shared_.stopping) expireAt(std::min(writeDeadline_, Clock::now() + kFinishTime));
  http::async_write_some(socket_, *serializer_,
                         [self = shared_from_this()](const Error& error, std::size_t) {
                           if (error || self->tooSlow_) return self->close();
                           self->serializer_->is_done() ? self->onWritten() : self->write();
                         });
}

void HttpConnection::onWritten() {
  serializer_.reset();
  response_ = {};
  goesOn_ ? awaitRequest() : finish();
}

void HttpConnection::finish() {
  state_ = State::kFinishing;
  parser_.reset();
  Error ignored;
  socket_.shutdown(Socket::shutdown_send, ignored);
  expireAt(Clock::now() + kFinishTime);
  drain();
}

void HttpConnection::drain() {
  buffer_.clear();
  socket_.async_read_some(buffer_.prepare(kReadBytes),
                          [self = shared_from_this()](const Error& error, std::size_t count) {
                            self->droppedBytes_ += count;
                            const bool isEnough = self->droppedBytes_ > kFinishBytes;
                            if (error || self->tooSlow_ || isEnough) return self->close();
                            self->drain();
                          });
}

void HttpConnection::close() {
  state_ = State::kClosed;
  timer_.cancel();
  Error ignored;
  socket_.close(ignored);
}

/// Sets the time of the current step. What is under way when it comes ends.
void HttpConnection::expireAt(Clock::time_point time) {
  timer_.expires_at(time);
  timer_.async_wait([self = shared_from_this()](const Error& error) {
    // A time that was set anew while this one was on its way has not come yet.
    if (error || self->timer_.expiry() > Clock::now()) return;
    self->tooSlow_ = true;
    Error ignored;
    self->socket_.cancel(ignored);
  });
}

}  // namespace cimom
