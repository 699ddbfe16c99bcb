// One connection, used step by step: each step is asynchronous, and the thread that asks runs it to
// its end or to its time-out.
#include "server_connection.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <boost/asio/connect.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <charconv>
#include <cstdint>
#include <limits>
#include <utility>

namespace cimom {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using Parser = http::response_parser<http::buffer_body>;

constexpr std::size_t kBufferedBytes = std::size_t{128} << 10;
/// Bytes that count as progress.
constexpr std::size_t kProgressBytes = 1024;
/// Interim answers before the one that counts.
constexpr int kMostInterimAnswers = 8;
/// Of a refusal's text.
constexpr std::size_t kMostExplanation = 1024;
constexpr unsigned kOk = 200;
constexpr std::chrono::seconds kUsuallyKept{15};
constexpr std::chrono::hours kLongestKept{1};
/// A request must reach the server before it closes the connection.
constexpr std::chrono::milliseconds kKeptMargin{500};

[[noreturn]] void fail(const std::string& reason) {
  throw NoAnswer(reason);
}

std::string secondsText(std::chrono::milliseconds time) {
  return std::to_string((time.count() + 999) / 1000) + " s";
}

bool isEnd(const error_code& error) {
  return error == asio::error::eof || error == http::error::end_of_stream ||
         error == http::error::partial_message || error == asio::error::connection_reset ||
         error == asio::error::broken_pipe || error == asio::ssl::error::stream_truncated;
}

bool isOfSsl(const error_code& error, int reason) {
  return error.category() == asio::error::get_ssl_category() &&
         ERR_GET_REASON(static_cast<unsigned long>(error.value())) == reason;
}

std::string headerOf(const http::fields& fields, boost::beast::string_view name) {
  const auto found = fields.find(name);
  return found != fields.end() ? std::string(found->value()) : std::string();
}

std::string base64(const std::string& text) {
  std::string out(4 * ((text.size() + 2) / 3) + 1, '\0');
  const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                                     reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size()));
  out.resize(static_cast<std::size_t>(length));
  return out;
}

bool isPlain(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         std::string_view("-._~/").find(c) != std::string_view::npos;
}

/// Headers carry what is not plain ASCII as %XX (DMTF DSP0200).
std::string encoded(const std::string& text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    if (isPlain(c)) {
      out += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
  }
  return out;
}

bool isNumeric(const std::string& host) {
  error_code error;
  asio::ip::make_address(host, error);
  return !error;
}

/// How long the server keeps the connection open, as Keep-Alive says it.
std::chrono::seconds keptFor(const std::string& header) {
  constexpr std::string_view kName = "timeout=";
  const std::size_t at = header.find(kName);
  if (at == std::string::npos) return kUsuallyKept;
  std::uint32_t seconds = 0;
  std::from_chars(header.data() + at + kName.size(), header.data() + header.size(), seconds);
  return std::min<std::chrono::seconds>(std::chrono::seconds(seconds), kLongestKept);
}

HttpHead headOf(const Parser& parser) {
  const auto& message = parser.get();
  HttpHead head;
  head.status = message.result_int();
  head.reason = std::string(message.reason());
  head.cimError = headerOf(message, "CIMError");
  head.statusCode = headerOf(message, "CIMStatusCode");
  head.statusText = headerOf(message, "CIMStatusCodeDescription");
  return head;
}

}  // namespace

ServerConnection::ServerConnection(const ClientSettings& settings, asio::ssl::context* tls)
    : settings_(settings), tls_(tls), buffer_(kBufferedBytes) {}

template <typename Start>
ServerConnection::Error ServerConnection::await(Clock::time_point end, Start start) {
  std::optional<Error> result;
  start([&result](Error error, const auto&...) { result = error; });
  context_.restart();
  context_.run_until(end);
  if (result) return *result;
  close();
  context_.run();
  return asio::error::timed_out;
}

template <typename Start>
ServerConnection::Error ServerConnection::awaitStream(Clock::time_point end, Start start) {
  return await(end, [&](auto handler) {
    encrypted_ ? start(*encrypted_, handler) : start(socket_, handler);
  });
}

HttpHead ServerConnection::exchange(const HttpQuestion& question, const BodySink& sink) {
  try {
    const bool wasOpen = isOpen();
    if (!wasOpen) connect();
    const auto request = requestFor(question);
    const Error error = awaitStream(
        Clock::now() + settings_.limits.progressTime,
        [&](auto& stream, auto handler) { http::async_write(stream, request, handler); });
    if (error && wasOpen && isEnd(error)) throw ConnectionEnded("the connection has ended");
    // What the server says of a request that it does not read to its end is still to come.
    if (error && !isEnd(error)) fail("the request cannot be sent: " + error.message());
    for (int interim = 0; interim < kMostInterimAnswers; ++interim) {
      Parser parser;
      readHead(parser, wasOpen);
      HttpHead head = headOf(parser);
      if (head.status < kOk) continue;
      if (head.status != kOk) {
        head.explanation = readExplanation(parser);
        close();
        return head;
      }
      readBody(parser, sink);
      keepOrClose(parser);
      return headOf(parser);
    }
    fail("the server sends one interim answer after the other");
  } catch (...) {
    close();
    throw;
  }
}

bool ServerConnection::isOpen() {
  if (!isConnected_ || Clock::now() >= keptUntil_ || buffer_.size() != 0) return false;
  char next = 0;
  const ssize_t count = recv(socket_.native_handle(), &next, 1, MSG_PEEK | MSG_DONTWAIT);
  // Whatever it says unasked is its farewell.
  return count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

void ServerConnection::close() noexcept {
  Error ignored;
  socket_.close(ignored);
  isConnected_ = false;
}

void ServerConnection::connect() {
  close();
  encrypted_.reset();
  buffer_.clear();
  const Clock::time_point end = Clock::now() + settings_.limits.connectTime;
  connectSocket(end);
  if (tls_ != nullptr) shakeHands(end);
  if (!settings_.url.user.empty() && tls_ == nullptr && !isLocal() && !settings_.isInsecure) {
    fail("the password is not sent without TLS, since others could read it");
  }
  isConnected_ = true;
}

void ServerConnection::connectSocket(Clock::time_point end) {
  const std::string noConnection =
      "no connection within " + secondsText(settings_.limits.connectTime);
  asio::ip::tcp::resolver resolver(context_);
  asio::ip::tcp::resolver::results_type found;
  Error error = await(end, [&](auto handler) {
    resolver.async_resolve(settings_.url.host, std::to_string(settings_.url.port),
                           [&found, handler](Error failed, auto results) {
                             found = std::move(results);
                             handler(failed);
                           });
  });
  if (error == asio::error::timed_out) fail(noConnection);
  if (error) fail("its address cannot be found: " + error.message());
  error = await(end, [&](auto handler) { asio::async_connect(socket_, found, handler); });
  if (error == asio::error::timed_out) fail(noConnection);
  if (error) fail("no connection: " + error.message());
  socket_.set_option(asio::ip::tcp::no_delay(true), error);
}

void ServerConnection::shakeHands(Clock::time_point end) {
  encrypted_.emplace(socket_, *tls_);
  SSL* native = encrypted_->native_handle();
  const std::string& host = settings_.url.host;
  const bool isNamed =
      isNumeric(host) ? X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(native), host.c_str()) == 1
                      : SSL_ctrl(native, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
                                 const_cast<char*>(host.c_str())) == 1 &&
                            SSL_set1_host(native, host.c_str()) == 1;
  if (!isNamed) fail("its name cannot be compared with a certificate");
  const Error error = await(end, [&](auto handler) {
    encrypted_->async_handshake(asio::ssl::stream_base::client, handler);
  });
  if (!error) return;
  const long verified = SSL_get_verify_result(native);
  if (verified != X509_V_OK && !settings_.isInsecure) {
    fail(std::string("its certificate is not accepted: ") +
         X509_verify_cert_error_string(verified));
  }
  if (error == asio::error::timed_out) {
    fail("no TLS handshake within " + secondsText(settings_.limits.connectTime));
  }
  if (isOfSsl(error, SSL_R_WRONG_VERSION_NUMBER)) {
    fail("it does not speak TLS at this port; http:// asks without");
  }
  fail("the TLS handshake fails: " +
       (isEnd(error) ? "the server ends the connection; it may not speak TLS at this port"
                     : error.message()));
}

http::request<http::string_body> ServerConnection::requestFor(const HttpQuestion& question) const {
  constexpr int kHttp11 = 11;
  http::request<http::string_body> request(http::verb::post, "/cimom", kHttp11);
  request.set(http::field::host, settings_.url.authority());
  request.set(http::field::content_type, "application/xml; charset=\"utf-8\"");
  request.set(http::field::accept, "application/xml, text/xml");
  request.set(http::field::te, "trailers");
  request.set("CIMOperation", "MethodCall");
  request.set("CIMProtocolVersion", "1.0");
  request.set("CIMMethod", encoded(question.method));
  request.set("CIMObject", encoded(question.nameSpace));
  if (!settings_.url.user.empty()) request.set(http::field::authorization, authorization());
  request.body() = question.body;
  request.prepare_payload();
  return request;
}

std::string ServerConnection::authorization() const {
  return "Basic " + base64(settings_.url.user + ':' + settings_.password);
}

bool ServerConnection::isLocal() const {
  Error error;
  const asio::ip::address address = socket_.remote_endpoint(error).address();
  if (error) return false;
  const bool isMapped = address.is_v6() && address.to_v6().is_v4_mapped();
  return isMapped ? make_address_v4(asio::ip::v4_mapped, address.to_v6()).is_loopback()
                  : address.is_loopback();
}

std::string ServerConnection::closedReason() const {
  return std::string("the server ends the connection without an answer") +
         (tls_ == nullptr ? "; it may expect TLS at this port (https://)" : "");
}

template <typename Parser>
void ServerConnection::readHead(Parser& parser, bool wasOpen) {
  constexpr unsigned char kAlertRecord = 21;
  parser.header_limit(settings_.limits.headBytes);
  parser.body_limit(std::numeric_limits<std::uint64_t>::max());
  const Error error =
      awaitStream(Clock::now() + settings_.limits.progressTime, [&](auto& stream, auto handler) {
        http::async_read_header(stream, buffer_, parser, handler);
      });
  if (!error) return;
  if (isEnd(error) && !parser.got_some()) {
    if (wasOpen) throw ConnectionEnded("the connection has ended");
    fail(closedReason());
  }
  if (error == asio::error::timed_out) {
    fail("no answer within " + secondsText(settings_.limits.progressTime));
  }
  if (error == http::error::header_limit || error == http::error::buffer_overflow) {
    fail("the head of its answer is too long");
  }
  const auto* first = static_cast<const unsigned char*>(buffer_.data().data());
  if (tls_ == nullptr && buffer_.size() != 0 && *first == kAlertRecord) {
    fail("it expects TLS at this port; https:// asks it so");
  }
  fail("its answer is no HTTP that can be read: " + error.message());
}

template <typename Parser>
std::string ServerConnection::readExplanation(Parser& parser) {
  std::string text;
  if (!headerOf(parser.get(), "Content-Type").starts_with("text/plain")) return text;
  try {
    readBody(parser, [&text](std::string_view bytes) {
      text += bytes;
      if (text.size() > kMostExplanation) fail("it is long enough");
    });
  } catch (const NoAnswer&) {
    // What has come is told.
  }
  return text.substr(0, text.find_first_of("\r\n"));
}

template <typename Parser>
void ServerConnection::readBody(Parser& parser, const BodySink& sink) {
  std::array<char, std::size_t{64} << 10> bytes;
  const auto window = settings_.limits.progressTime;
  Clock::time_point end = Clock::now() + window;
  std::size_t progress = 0;
  while (!parser.is_done()) {
    auto& body = parser.get().body();
    body.data = bytes.data();
    body.size = bytes.size();
    Error error = awaitStream(end, [&](auto& stream, auto handler) {
      http::async_read_some(stream, buffer_, parser, handler);
    });
    const std::size_t count = bytes.size() - body.size;
    if (count != 0) sink({bytes.data(), count});
    if (error == http::error::need_buffer) error = {};
    // Many servers end TLS without saying so; the document tells whether it is whole.
    if (error == asio::ssl::error::stream_truncated && parser.need_eof()) parser.put_eof(error);
    if (error == asio::error::timed_out)
      fail("its answer stops: no more within " + secondsText(window));
    if (isEnd(error)) fail("its answer ends early");
    if (error) fail("its answer is no HTTP that can be read: " + error.message());
    progress += count;
    if (progress < kProgressBytes) continue;
    progress = 0;
    end = Clock::now() + window;
  }
}

template <typename Parser>
void ServerConnection::keepOrClose(const Parser& parser) {
  if (!parser.keep_alive()) return close();
  const auto kept = keptFor(headerOf(parser.get(), "Keep-Alive"));
  keptUntil_ = Clock::now() + kept - std::min<std::chrono::milliseconds>(kept, kKeptMargin);
}

}  // namespace cimom
