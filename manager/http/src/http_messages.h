#pragma once

#include <cim_xml/cim_xml_service.h>
#include <http/http_server.h>

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <string>
#include <string_view>

namespace cimom {

using HttpRequest = boost::beast::http::request<boost::beast::http::string_body>;
using HttpResponse = boost::beast::http::response<boost::beast::http::string_body>;

/// Largest head of a request.
constexpr std::size_t kHttpHeadBytes = std::size_t{16} << 10;

/// A field's value, the first where there are several; empty where there is none.
std::string_view valueOf(const HttpRequest& head, boost::beast::http::field name);

/// A refusal with its reason for a person; the connection ends with it, since after one the server
/// cannot know where the next request would start.
HttpResponse refusal(boost::beast::http::status status, const std::string& reason);

/// The refusal that asks for a password.
HttpResponse passwordRefusal(const std::string& reason);

/// What DMTF DSP0200 lets a client ask for before its first operation.
HttpResponse optionsResponse();

/// The headers by which the request announces a CIM operation.
CimXmlHeaders cimHeaders(const HttpRequest& head);

HttpResponse cimResponse(CimXmlReply reply);

/// True when the client reads fields behind the body of a response.
bool takesTrailers(const HttpRequest& head);
/// Says in the head of a response which fields may come behind its body, and what they are then,
/// each with its end of line: DMTF DSP0200 tells so of an error that comes when a part is sent
/// already.
void announceLateErrors(HttpResponse& response);
std::string lateErrorFields(const CimXmlLateError& error);

/// The head of a response as it goes over the wire.
std::string headText(const HttpResponse& response);

/// The time of day as HTTP writes it.
std::string httpDate();

}  // namespace cimom
