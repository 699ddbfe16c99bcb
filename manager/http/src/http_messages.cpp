#include "http_messages.h"

#include <model/short_text.h>

#include <boost/beast/http/rfc7230.hpp>
#include <boost/beast/http/write.hpp>
#include <ctime>
#include <iomanip>
#include <locale>
#include <optional>
#include <sstream>
#include <utility>

namespace cimom {
namespace {

namespace http = boost::beast::http;
using http::field;
using http::status;

std::optional<std::string> headerOf(const HttpRequest& head, const char* name) {
  const auto found = head.find(name);
  if (found == head.end()) return std::nullopt;
  const auto value = found->value();
  return std::string(value.data(), value.size());
}

/// What a field cannot hold, and the escape itself, in the form of URLs.
std::string escaped(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= ' ' && byte < 0x7f && byte != '%') {
      result += c;
    } else {
      result.append({'%', kDigits[byte >> 4U], kDigits[byte & 15U]});
    }
  }
  return result;
}

}  // namespace

std::string_view valueOf(const HttpRequest& head, field name) {
  const auto value = head[name];
  return {value.data(), value.size()};
}

HttpResponse refusal(status code, const std::string& reason) {
  HttpResponse response(code, 11);
  response.set(field::content_type, "text/plain");
  response.body() = shortText(reason) + "\n";
  return response;
}

HttpResponse passwordRefusal(const std::string& reason) {
  HttpResponse response = refusal(status::unauthorized, reason);
  response.set(field::www_authenticate, "Basic realm=\"CIM\", charset=\"UTF-8\"");
  return response;
}

HttpResponse optionsResponse() {
  HttpResponse response(status::ok, 11);
  response.set(field::allow, "POST, OPTIONS");
  response.set("Opt", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=77");
  response.set("77-CIMProtocolVersion", "1.0");
  response.set("77-CIMSupportedFunctionalGroups", "basic-read, association-traversal");
  response.set("77-CIMValidation", "loosely-validating");
  return response;
}

CimXmlHeaders cimHeaders(const HttpRequest& head) {
  return {headerOf(head, "CIMOperation"), headerOf(head, "CIMProtocolVersion"),
          headerOf(head, "CIMMethod"), headerOf(head, "CIMObject"), headerOf(head, "CIMBatch")};
}

HttpResponse cimResponse(CimXmlReply reply) {
  if (reply.status != 200) {
    HttpResponse response =
        refusal(http::int_to_status(static_cast<unsigned>(reply.status)), reply.text);
    if (!reply.cimError.empty()) response.set("CIMError", reply.cimError);
    return response;
  }
  HttpResponse response(status::ok, 11);
  response.set(field::content_type, "application/xml; charset=\"utf-8\"");
  response.set("CIMOperation", "MethodResponse");
  response.body() = std::move(reply.text);
  return response;
}

bool takesTrailers(const HttpRequest& head) {
  return http::token_list(head[field::te]).exists("trailers");
}

void announceLateErrors(HttpResponse& response) {
  response.set(field::trailer, "CIMStatusCode, CIMStatusCodeDescription");
}

std::string lateErrorFields(const CimXmlLateError& error) {
  return "CIMStatusCode: " + std::to_string(error.code) +
         "\r\nCIMStatusCodeDescription: " + escaped(shortText(error.text)) + "\r\n";
}

std::string headText(const HttpResponse& response) {
  std::ostringstream text;
  text << response.base();
  return text.str();
}

std::string httpDate() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::put_time(&parts, "%a, %d %b %Y %H:%M:%S GMT");
  return text.str();
}

}  // namespace cimom
