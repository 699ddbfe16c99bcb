#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <optional>
#include <string>

#include "http_messages.h"

namespace cimom {

/// Reads requests out of what a connection brings, one after the other, within the limits of size.
class HttpRequestReader {
 public:
  enum class Progress {
    kNeedsMore,
    /// The head is there; the body may be partly there too.
    kHead,
    /// The request has arrived whole.
    kWhole,
    /// refusal() says why; nothing more can be read.
    kRefused,
  };

  explicit HttpRequestReader(const HttpLimits& limits) : limits_(limits) {}

  /// Begins with the next request, which may be there in part already.
  void begin();
  /// Room for what comes next, and how much of it came.
  boost::asio::mutable_buffer prepare();
  void commit(std::size_t count) { buffer_.commit(count); }
  bool hasUnreadBytes() const { return buffer_.size() > 0; }

  /// Goes on to the end of the head, or behind that to the end of the request.
  Progress read();
  /// The request as far as it has been read; from begin() until end().
  const HttpRequest& request() const { return parser_->get(); }
  bool isBodyComplete() const { return parser_->is_done(); }
  /// After kRefused.
  HttpResponse takeRefusal() { return std::move(refusal_); }
  bool hasRequest() const { return parser_.has_value(); }
  /// Lets go of the request, and of everything that is unread.
  void end();

 private:
  using Error = boost::system::error_code;
  using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;

  bool skipEmptyLines();
  Error feedParser();
  Progress onUnreadable(const Error& error);
  bool isNumberTooLarge(const Error& error) const;
  Progress refuse(boost::beast::http::status status, const std::string& reason);

  const HttpLimits& limits_;
  boost::beast::flat_buffer buffer_;
  std::optional<Parser> parser_;
  bool inHead_ = true;
  /// Bytes of the current request's head or body that have been parsed.
  std::size_t parsedBytes_ = 0;
  HttpResponse refusal_;
};

}  // namespace cimom
