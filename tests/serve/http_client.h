#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cim_request.h"

namespace servetest {

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

/// What the server sent back.
struct HttpAnswer {
  unsigned status = 0;
  std::string body;
  std::string header(const std::string& name) const;

  boost::beast::http::response<boost::beast::http::string_body> message;
};

/// A client of a port of this host that keeps to HTTP. One at a time; not for several threads.
class HttpClient {
 public:
  explicit HttpClient(int port) : port_(port) {}

  /// Whether to ask on one connection for as long as the server lets it.
  void keepAlive(bool keep) { keep_ = keep; }

  /// Nothing when the server ends the connection without an answer.
  std::optional<HttpAnswer> send(const std::string& method, const std::string& path,
                                 const HttpHeaders& headers = {}, const std::string& body = {});
  /// A POST to /cimom with the headers that announce the request.
  std::optional<HttpAnswer> post(const CimRequest& request);

 private:
  using Request = boost::beast::http::request<boost::beast::http::string_body>;
  std::optional<HttpAnswer> exchange(const Request& request);
  void connect();

  int port_;
  bool keep_ = true;
  boost::asio::io_context context_;
  std::optional<boost::asio::ip::tcp::socket> socket_;
};

/// The headers that announce the request, and its type.
HttpHeaders announcing(const CimRequest& request, const std::string& type = "application/xml");

}  // namespace servetest
