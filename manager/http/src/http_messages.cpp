#include "http_messages.h"

#include <model/short_text.h>

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
