#pragma once

#include <cim_xml/cim_xml_service.h>
#include <http/http_server.h>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <optional>
#include <string>

namespace cimom {

using HttpRequest = boost::beast::http::request<boost::beast::http::string_body>;
using HttpResponse = boost::beast::http::response<boost::beast::http::string_body>;

/// Largest head of a request.
constexpr std::size_t kHttpHeadBytes = std::size_t{16} << 10;

/// A refusal with its reason for a person; the connection ends with it, since after one the server
/// cannot know where the next request would start.
HttpResponse refusal(boost::beast::http::status status, const std::string& reason);

/// The refusal that a request earns by its head alone; nothing for one whose body is to be read,
/// and for OPTIONS. A head that states the request's length in more than one way is refused.
std::optional<HttpResponse> refusalByHead(const HttpRequest& head, const HttpLimits& limits);

/// What DMTF DSP0200 lets a client ask for before its first operation.
HttpResponse optionsResponse();

/// The headers by which the request announces a CIM operation.
CimXmlHeaders cimHeaders(const HttpRequest& head);

HttpResponse cimResponse(CimXmlReply reply);

}  // namespace cimom
