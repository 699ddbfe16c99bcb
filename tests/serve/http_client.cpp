#include "http_client.h"

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <limits>

namespace servetest {

namespace net = boost::asio;
namespace http = boost::beast::http;

std::string HttpAnswer::header(const std::string& name) const {
  const auto value = message[name];
  return {value.data(), value.size()};
}

std::optional<HttpAnswer> HttpClient::send(const std::string& method, const std::string& path,
                                           const HttpHeaders& headers, const std::string& body) {
  Request request(http::string_to_verb(method), path, 11);
  request.set(http::field::host, "localhost");
  for (const auto& [name, value] : headers) request.insert(name, value);
  request.keep_alive(keep_);
  request.body() = body;
  request.prepare_payload();
  const bool isNew = !socket_;
  auto answer = exchange(request);
  // The server may have closed an idle connection meanwhile.
  return answer || isNew ? answer : exchange(request);
}

std::optional<HttpAnswer> HttpClient::post(const CimRequest& request) {
  return send("POST", "/cimom", announcing(request), request.body());
}

std::optional<HttpAnswer> HttpClient::exchange(const Request& request) {
  if (!socket_) connect();
  boost::system::error_code error;
  // A server that refuses early may not read all of it; its answer is there all the same.
  http::write(*socket_, request, error);
  boost::beast::flat_buffer buffer;
  http::response_parser<http::string_body> parser;
  parser.body_limit(std::numeric_limits<std::uint64_t>::max());
  parser.skip(request.method() == http::verb::head);
  http::read(*socket_, buffer, parser, error);
  if (error || !parser.keep_alive() || !request.keep_alive()) socket_.reset();
  if (error) return std::nullopt;
  HttpAnswer answer;
  answer.message = parser.release();
  answer.status = answer.message.result_int();
  answer.body = answer.message.body();
  return answer;
}

void HttpClient::connect() {
  socket_.emplace(context_);
  socket_->connect({net::ip::address_v4::loopback(), static_cast<unsigned short>(port_)});
}

HttpHeaders announcing(const CimRequest& request, const std::string& type) {
  const cimom::CimXmlHeaders headers = request.headers();
  return {{"CIMOperation", *headers.operation},
          {"CIMMethod", *headers.method},
          {"CIMObject", *headers.object},
          {"Content-Type", type}};
}

}  // namespace servetest
