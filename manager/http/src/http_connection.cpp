// One connection as a chain of asynchronous steps: begin with TLS where the port speaks it, wait,
// read the head, refuse it or read the body, let a worker answer, write, and begin again or finish.
// State says which step is under way, and one timer bounds each but answering. Each handler keeps
// the connection alive, and all run on the socket's strand, so that no member needs a lock; only a
// worker runs elsewhere, and while it does (kAnswering, kStreaming) nothing changes the reader. A
// long response is written while the worker makes it: what is between them (parts_) has a lock of
// its own. A refusal always ends the connection; at its end the connection goes on reading for a
// moment, since closing over unread bytes would lose the response.
#include "http_connection.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/write.hpp>
#include <string_view>
#include <utility>

#include "http_pages.h"
#include "http_refusals.h"

namespace cimom {
namespace {

namespace net = boost::asio;
namespace http = boost::beast::http;
using http::status;
using std::chrono::milliseconds;

constexpr std::size_t kRequestsPerConnection = 100;

/// How long, and how much, a client may still send that has got its answer; also what each step of
/// a connection has after a stop.
constexpr milliseconds kFinishTime{1000};
constexpr std::size_t kFinishBytes = std::size_t{8} << 20;

bool asksFirst(const HttpRequest& head) {
  return head.version() >= 11 && boost::beast::iequals(head[http::field::expect], "100-continue");
}

}  // namespace

HttpConnection::HttpConnection(HttpStream::Socket socket, net::ssl::context* tls,
                               const net::ip::address& client, HttpSharedState& shared,
                               HttpConnections& registry)
    : stream_(std::move(socket), tls),
      timer_(stream_.get_executor()),
      shared_(shared),
      registry_(registry),
      client_(client),
      reader_(shared.limits) {
  Error ignored;
  local_ = stream_.socket().local_endpoint(ignored).address();
}

HttpConnection::~HttpConnection() {
  registry_.remove(this);
}

void HttpConnection::serve() {
  net::post(stream_.get_executor(), [self = shared_from_this()] {
    self->stream_.isEncrypted() ? self->awaitTls() : self->awaitRequest();
  });
}

void HttpConnection::turnAway() {
  net::post(stream_.get_executor(), [self = shared_from_this()] {
    if (self->stream_.isEncrypted()) return self->close();
    self->refuse(status::service_unavailable, "The server is busy.");
  });
}

void HttpConnection::stop() {
  net::post(stream_.get_executor(), [self = shared_from_this()] {
    const bool isWaiting = self->state_ == State::kIdle || self->state_ == State::kHandshaking;
    if (isWaiting && !self->stream_.hasArrived()) {
      // What was read already is on its way to its handler, and is not cancelled by this.
      Error ignored;
      self->stream_.socket().cancel(ignored);
    } else if (self->state_ < State::kAnswering || self->state_ == State::kWriting ||
               self->isWriting_) {
      self->expireAt(self->timer_.expiry());
    }
  });
}

// --- Reading

/// A client that says nothing gets the time of an idle one, and its handshake is a part of its
/// first request's head.
void HttpConnection::awaitTls() {
  state_ = State::kHandshaking;
  firstDeadline_ = Clock::now() + shared_.limits.requestTime;
  expireAt(Clock::now() + shared_.limits.idleTime);
  stream_.socket().async_wait(HttpStream::Socket::wait_read,
                              [self = shared_from_this()](const Error& error) {
                                self->hasEnded(error) ? self->close() : self->onTlsArrived();
                              });
}

void HttpConnection::onTlsArrived() {
  if (!stream_.hasArrived()) return close();
  if (!stream_.startsWithTls()) {
    stream_.becomePlain();
    return refuse(status::bad_request, "This port speaks HTTPS.");
  }
  expireAt(*firstDeadline_);
  stream_.async_handshake([self = shared_from_this()](const Error& error) {
    if (self->tooSlow_ || error == net::error::operation_aborted) return self->close();
    // The client is told why before the connection ends.
    error ? self->endSending() : self->awaitRequest();
  });
}

void HttpConnection::awaitRequest() {
  const bool hasBytes = reader_.hasUnreadBytes();
  if (shared_.stopping && requests_ > 0 && !hasBytes && !stream_.hasArrived()) return finish();
  reader_.begin();
  state_ = hasBytes ? State::kReadingHead : State::kIdle;
  const auto idleEnd = Clock::now() + shared_.limits.idleTime;
  const auto headEnd = firstDeadline_.value_or(Clock::now() + shared_.limits.requestTime);
  expireAt(hasBytes ? headEnd : std::min(idleEnd, headEnd));
  hasBytes ? parse() : read();
}

void HttpConnection::read() {
  stream_.async_read_some(reader_.prepare(),
                          [self = shared_from_this()](const Error& error, std::size_t count) {
                            self->onRead(error, count);
                          });
}

void HttpConnection::onRead(const Error& error, std::size_t count) {
  if (state_ == State::kClosed) return;
  if (hasEnded(error)) {
    const bool isEnd = error == net::error::eof || error == net::ssl::error::stream_truncated;
    return isEnd || tooSlow_ ? onLastRead() : close();
  }
  reader_.commit(count);
  if (state_ == State::kIdle) {
    state_ = State::kReadingHead;
    expireAt(firstDeadline_.value_or(Clock::now() + shared_.limits.requestTime));
  }
  parse();
}

/// The end of what the client sends, or of the time that it has for it.
void HttpConnection::onLastRead() {
  if (state_ == State::kIdle || shared_.stopping) return close();
  if (tooSlow_) return refuse(status::request_timeout, "The request did not arrive in time.");
  if (state_ == State::kReadingHead) return close();
  refuse(status::bad_request, "The request is incomplete.");
}

void HttpConnection::parse() {
  switch (reader_.read()) {
    case HttpRequestReader::Progress::kNeedsMore:
      return read();
    case HttpRequestReader::Progress::kHead:
      return onHead();
    case HttpRequestReader::Progress::kWhole:
      return onRequest();
    case HttpRequestReader::Progress::kRefused:
      return respond(reader_.takeRefusal());
  }
}

void HttpConnection::onHead() {
  ++requests_;
  firstDeadline_.reset();
  state_ = State::kReadingBody;
  const HttpRequest& head = reader_.request();
  if (auto refused = refusalByHead(head, shared_.limits, shared_.names, local_, shared_.pages)) {
    return respond(std::move(*refused));
  }
  if (head.method() == http::verb::options) return respond(optionsResponse());
  if (shared_.access != nullptr) {
    login_ = loginOf(head);
    if (!login_) return respond(passwordRefusal("A user and a password are asked for."));
    if (shared_.access->isKnown(*login_)) {
      login_.reset();
    } else if (!shared_.access->mayTry(client_)) {
      return refuse(status::too_many_requests, "Too many wrong passwords.");
    }
  }
  // Taken here, since fields may follow a body in chunks, too.
  cimHeaders_ = cimHeaders(head);
  if (asksFirst(head) && !reader_.hasUnreadBytes() && !reader_.isBodyComplete()) {
    return inviteBody();
  }
  parse();
}

void HttpConnection::inviteBody() {
  static constexpr std::string_view kInvitation = "HTTP/1.1 100 Continue\r\n\r\n";
  net::async_write(stream_, net::buffer(kInvitation),
                   [self = shared_from_this()](const Error& error, std::size_t) {
                     if (self->hasEnded(error)) return self->close();
                     self->read();
                   });
}

// --- Answering

void HttpConnection::onRequest() {
  state_ = State::kAnswering;
  timer_.cancel();
  // The server runs as long as a handler or a worker has work for it.
  auto work = [self = shared_from_this(), running = net::make_work_guard(stream_.get_executor())] {
    try {
      self->answer();
    } catch (...) {
      self->giveUp();
    }
  };
  if (!shared_.workers.offer(client_, std::move(work))) {
    refuse(status::service_unavailable, "The server is busy.");
  }
}

/// For want of memory, or because nobody takes the response any more.
void HttpConnection::giveUp() noexcept {
  parts_.abandon();
  try {
    net::post(stream_.get_executor(), [self = shared_from_this()] { self->close(); });
  } catch (...) {
    // The connection ends with its last owner.
  }
}

/// This, and what it calls, is all that runs on a worker.
void HttpConnection::answer() {
  const auto onStrand = [this](auto next) { net::post(stream_.get_executor(), std::move(next)); };
  if (login_ && !shared_.access->verify(*login_, client_)) {
    return onStrand([self = shared_from_this()] { self->refuseLogin(); });
  }
  if (isForPage(reader_.request(), shared_.pages)) {
    HttpResponse page = pageResponse(reader_.request(), *shared_.pages);
    return onStrand([self = shared_from_this(), page = std::move(page)]() mutable {
      self->respond(std::move(page));
    });
  }
  onStrand([self = shared_from_this(), reply = makeReply()]() mutable {
    reply.isStreamed ? self->endParts(reply.lateError)
                     : self->respond(cimResponse(std::move(reply)));
  });
}

/// A response of any length takes no more memory than a short one where the client reads chunks.
CimXmlReply HttpConnection::makeReply() {
  const HttpRequest& request = reader_.request();
  if (request.version() < 11) return shared_.service.answer(cimHeaders_, request.body());
  return shared_.service.answer(cimHeaders_, request.body(), [this](std::string_view part) {
    parts_.put(part, [this] { return shared_.workers.mustGiveWay(); });
    net::post(stream_.get_executor(), [self = shared_from_this()] { self->writeParts(); });
  });
}

/// Holds the refusal back, so that guessing takes time; no thread waits.
void HttpConnection::refuseLogin() {
  timer_.expires_after(shared_.limits.loginDelay);
  timer_.async_wait([self = shared_from_this()](const Error&) {
    self->respond(passwordRefusal("The user or the password is wrong."));
  });
}

void HttpConnection::refuse(status code, const std::string& reason) {
  respond(refusal(code, reason));
}

/// A response that lets the connection go on promises how long; so many are never open that the
/// promise would have to be broken for a new client. What has come in when the server is to stop
/// is answered still.
bool HttpConnection::mayGoOn(const HttpResponse& response) const {
  const bool isCrowded = registry_.count() * 2 > std::max(shared_.limits.connections, 2U);
  const bool isStopping = (shared_.stopping || shared_.leaving) && !reader_.hasUnreadBytes();
  return response.result_int() < 400 && reader_.hasRequest() && reader_.request().version() >= 11 &&
         reader_.request().keep_alive() && requests_ < kRequestsPerConnection && !isCrowded &&
         !isStopping;
}

void HttpConnection::respond(HttpResponse response) {
  state_ = State::kWriting;
  beginResponse(std::move(response));
  response_.prepare_payload();
  // HEAD is answered with the length alone.
  if (reader_.hasRequest() && reader_.request().method() == http::verb::head) {
    response_.body().clear();
  }
  serializer_.emplace(response_);
  write();
}

/// The response with all of its head but what depends on its body.
void HttpConnection::beginResponse(HttpResponse response) {
  tooSlow_ = false;
  response_ = std::move(response);
  goesOn_ = mayGoOn(response_);
  response_.keep_alive(goesOn_);
  response_.set(http::field::date, httpDate());
  if (goesOn_) {
    response_.set(http::field::keep_alive,
                  "timeout=" + std::to_string(shared_.limits.idleTime.count()) +
                      ", max=" + std::to_string(kRequestsPerConnection - requests_));
  }
}

/// Each part that the client takes gives it time for the next.
void HttpConnection::write() {
  expireAt(Clock::now() + shared_.limits.requestTime);
  http::async_write_some(stream_, *serializer_,
                         [self = shared_from_this()](const Error& error, std::size_t) {
                           if (self->hasEnded(error)) return self->close();
                           self->serializer_->is_done() ? self->onWritten() : self->write();
                         });
}

void HttpConnection::beginParts() {
  state_ = State::kStreaming;
  areAllMade_ = false;
  takesTrailers_ = takesTrailers(reader_.request());
  beginResponse(cimResponse({}));
  response_.chunked(true);
  if (takesTrailers_) announceLateErrors(response_);
  outgoing_ = headText(response_);
}

/// Writes what the worker has made, or waits for more of it; a client is not charged with that
/// time.
void HttpConnection::writeParts() {
  if (state_ == State::kAnswering) beginParts();
  if (state_ != State::kStreaming || isWriting_) return;
  outgoing_ += parts_.take();
  outgoing_ += std::exchange(ending_, {});
  if (!outgoing_.empty()) return writeOutgoing();
  timer_.expires_at(Clock::time_point::max());
  if (areAllMade_) onWritten();
}

/// Each part that the client takes gives it time for the next.
void HttpConnection::writeOutgoing() {
  isWriting_ = true;
  expireAt(Clock::now() + shared_.limits.requestTime);
  stream_.async_write_some(net::buffer(outgoing_) + written_,
                           [self = shared_from_this()](const Error& error, std::size_t count) {
                             self->isWriting_ = false;
                             if (self->hasEnded(error)) return self->close();
                             self->written_ += count;
                             if (self->written_ < self->outgoing_.size()) {
                               return self->writeOutgoing();
                             }
                             self->outgoing_.clear();
                             self->written_ = 0;
                             self->writeParts();
                           });
}

/// Without its last chunk nobody takes a body for whole.
void HttpConnection::endParts(const std::optional<CimXmlLateError>& error) {
  if (state_ != State::kStreaming) return;
  areAllMade_ = true;
  if (error) goesOn_ = false;
  if (!error) ending_ = lastChunk();
  if (error && takesTrailers_) ending_ = lastChunk(lateErrorFields(*error));
  writeParts();
}

void HttpConnection::onWritten() {
  serializer_.reset();
  response_ = {};
  goesOn_ ? awaitRequest() : finish();
}

void HttpConnection::finish() {
  if (!stream_.isEncrypted()) return endSending();
  state_ = State::kFinishing;
  expireAt(Clock::now() + kFinishTime);
  stream_.async_shutdown([self = shared_from_this()](const Error&) { self->endSending(); });
}

void HttpConnection::endSending() {
  if (tooSlow_ || state_ == State::kClosed) return close();
  state_ = State::kFinishing;
  reader_.end();
  Error ignored;
  stream_.socket().shutdown(HttpStream::Socket::shutdown_send, ignored);
  expireAt(Clock::now() + kFinishTime);
  drain();
}

void HttpConnection::drain() {
  stream_.socket().async_read_some(
      reader_.prepare(), [self = shared_from_this()](const Error& error, std::size_t count) {
        self->droppedBytes_ += count;
        const bool isEnough = self->droppedBytes_ > kFinishBytes;
        isEnough || self->hasEnded(error) ? self->close() : self->drain();
      });
}

void HttpConnection::close() {
  state_ = State::kClosed;
  parts_.abandon();
  timer_.cancel();
  Error ignored;
  stream_.socket().close(ignored);
}

/// Sets the time of the current step. What is under way when it comes ends. After a stop no step
/// has more than a moment: what has arrived is read at once, and only a client that goes on taking
/// its answer is waited for.
void HttpConnection::expireAt(Clock::time_point time) {
  timer_.expires_at(shared_.stopping ? std::min<Clock::time_point>(time, Clock::now() + kFinishTime)
                                     : time);
  timer_.async_wait([self = shared_from_this()](const Error& error) {
    // A time that was set anew while this one was on its way has not come yet.
    if (error || self->timer_.expiry() > Clock::now()) return;
    self->tooSlow_ = true;
    Error ignored;
    self->stream_.socket().cancel(ignored);
  });
}

}  // namespace cimom
