#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cimom {

/// What a request for an operation carries over HTTP.
struct HttpQuestion {
  std::string method;
  std::string nameSpace;
  std::string body;
};

/// The head of an answer, and its trailers once the body has been read. Texts are empty where the
/// server sends no such header.
struct HttpHead {
  unsigned status = 0;
  std::string reason;
  std::string cimError;
  /// The first line of a plain text that comes in place of an answer.
  std::string explanation;
  /// Of answers that begin before the server knows how they end (DMTF DSP0200).
  std::string statusCode;
  std::string statusText;
};

/// Takes the body of an answer of status 200 as it comes.
using BodySink = std::function<void(std::string_view)>;

/// No answer; what() says why.
class NoAnswer : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The server has ended a connection that was kept open, without a byte of an answer.
class ConnectionEnded : public NoAnswer {
 public:
  using NoAnswer::NoAnswer;
};

}  // namespace cimom
