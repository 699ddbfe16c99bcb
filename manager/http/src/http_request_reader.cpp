#include "http_request_reader.h"

#include <boost/beast/http/error.hpp>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string_view>
#include <system_error>

namespace cimom {
namespace {

namespace http = boost::beast::http;
using http::status;

constexpr std::size_t kReadBytes = std::size_t{16} << 10;

/// Room for a body that comes in chunks of a byte each, which take six.
std::size_t bodyBytesOnTheWire(const HttpLimits& limits) {
  return limits.bodyBytes * 6 + kHttpHeadBytes;
}

}  // namespace

void HttpRequestReader::begin() {
  parser_.emplace();
  parser_->eager(false);
  parser_->header_limit(static_cast<std::uint32_t>(kHttpHeadBytes));
  // A body beyond the limit is refused behind the head, where the head can be refused first.
  parser_->body_limit(std::numeric_limits<std::uint64_t>::max());
  parsedBytes_ = 0;
  inHead_ = true;
}

boost::asio::mutable_buffer HttpRequestReader::prepare() {
  return buffer_.prepare(kReadBytes);
}

void HttpRequestReader::end() {
  parser_.reset();
  buffer_.clear();
  buffer_.shrink_to_fit();
}

HttpRequestReader::Progress HttpRequestReader::read() {
  const bool inHead = inHead_;
  const Error error = feedParser();
  const bool needsMore = error == http::error::need_more;
  const std::size_t unread = needsMore ? buffer_.size() : 0;
  if (inHead && parsedBytes_ + unread > kHttpHeadBytes) {
    return refuse(status::request_header_fields_too_large, "The request's head is too large.");
  }
  // What the parser leaves in a body is a line that is not whole, or fields behind chunks.
  if (unread > kHttpHeadBytes) {
    return refuse(status::request_header_fields_too_large, "A chunk's line is too long.");
  }
  if (!inHead && parsedBytes_ + unread > bodyBytesOnTheWire(limits_)) {
    return refuse(status::payload_too_large, "The request is too large.");
  }
  if (needsMore) return Progress::kNeedsMore;
  if (error) return onUnreadable(error);
  if (!inHead) return Progress::kWhole;
  inHead_ = false;
  parsedBytes_ = 0;
  parser_->body_limit(limits_.bodyBytes);
  return Progress::kHead;
}

/// Some clients send one behind a request's body. False when a line may still turn out to be one.
bool HttpRequestReader::skipEmptyLines() {
  for (;;) {
    const std::string_view text(static_cast<const char*>(buffer_.data().data()), buffer_.size());
    if (!text.starts_with("\r\n")) return text != "\r";
    buffer_.consume(2);
    parsedBytes_ += 2;
  }
}

/// Parses what there is, up to the end of the head or of the request.
HttpRequestReader::Error HttpRequestReader::feedParser() {
  Error error;
  if (inHead_ && !parser_->got_some() && !skipEmptyLines()) return http::error::need_more;
  while (!error && !parser_->is_done() && !(inHead_ && parser_->is_header_done())) {
    if (buffer_.size() == 0) return http::error::need_more;
    const std::size_t used = parser_->put(buffer_.data(), error);
    buffer_.consume(used);
    parsedBytes_ += used;
  }
  return error;
}

HttpRequestReader::Progress HttpRequestReader::onUnreadable(const Error& error) {
  if (error == http::error::header_limit) {
    return refuse(status::request_header_fields_too_large, "The request's head is too large.");
  }
  if (error == http::error::body_limit || isNumberTooLarge(error)) {
    return refuse(status::payload_too_large, "The request is too large.");
  }
  return refuse(status::bad_request, "This is no HTTP request: " + error.message() + ".");
}

/// The parser reports the same error for a length that is no number and for one that it cannot
/// hold. The line that it stopped at is the next in the buffer.
bool HttpRequestReader::isNumberTooLarge(const Error& error) const {
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

HttpRequestReader::Progress HttpRequestReader::refuse(status code, const std::string& reason) {
  refusal_ = refusal(code, reason);
  return Progress::kRefused;
}

}  // namespace cimom
