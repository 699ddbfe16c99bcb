#include "http_messages.h"

#include <model/names.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

namespace cimom {
namespace {

namespace http = boost::beast::http;
using http::field;
using http::status;

std::string_view standard(boost::beast::string_view text) {
  return {text.data(), text.size()};
}

std::string_view valueOf(const HttpRequest& head, field name) {
  return standard(head[name]);
}

std::optional<std::string> headerOf(const HttpRequest& head, const char* name) {
  const auto found = head.find(name);
  if (found == head.end()) return std::nullopt;
  return std::string(standard(found->value()));
}

std::string_view mediaType(std::string_view contentType) {
  const std::string_view type = contentType.substr(0, contentType.find(';'));
  return type.substr(0, type.find_last_not_of(" \t") + 1);
}

bool isUtf8(std::string_view contentType) {
  constexpr std::string_view kParameter = "charset=";
  const auto* found = std::search(contentType.begin(), contentType.end(), kParameter.begin(),
                                  kParameter.end(), [](char a, char b) {
                                    return sameName({&a, 1}, {&b, 1});
                                  });
  if (found == contentType.end()) return true;
  const std::string_view name =
      contentType.substr(static_cast<std::size_t>(found - contentType.begin()) + kParameter.size());
  return sameName(name.substr(0, 5), "utf-8") || sameName(name.substr(0, 6), "\"utf-8") ||
         sameName(name.substr(0, 8), "us-ascii");
}

bool hasOne(const HttpRequest& head, field name) {
  return head.count(name) == 1;
}

/// Whether the request's body is chunked in the one form that is understood.
bool isChunked(const HttpRequest& head) {
  return hasOne(head, field::transfer_encoding) &&
         sameName(valueOf(head, field::transfer_encoding), "chunked");
}

bool isNumber(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/// True when a decimal number is above the limit, however long it is.
bool isAbove(std::string_view number, std::size_t limit) {
  std::size_t value = 0;
  const char* end = number.data() + number.size();
  const auto [stop, error] = std::from_chars(number.data(), end, value);
  return error == std::errc::result_out_of_range || value > limit;
}

/// True when something follows the head.
bool hasBody(const HttpRequest& head) {
  const std::string_view length = valueOf(head, field::content_length);
  return head.count(field::transfer_encoding) > 0 || (!length.empty() && length != "0");
}

/// The parser takes more than one encoding and a list of equal lengths; a proxy before this
/// server may take the body's end to be elsewhere then.
std::optional<HttpResponse> refusalByLength(const HttpRequest& head, const HttpLimits& limits) {
  const bool hasEncoding = head.count(field::transfer_encoding) > 0;
  const bool hasLength = head.count(field::content_length) > 0;
  const std::string_view length = valueOf(head, field::content_length);
  if (hasEncoding ? !isChunked(head) : !hasLength) {
    return refusal(status::length_required, "The length of the request is not given.");
  }
  const bool isClear = hasEncoding ? !hasLength && head.version() >= 11
                                   : hasOne(head, field::content_length) && isNumber(length);
  if (!isClear) return refusal(status::bad_request, "The length of the request is not clear.");
  if (hasLength && isAbove(length, limits.bodyBytes)) {
    return refusal(status::payload_too_large, "The request is too large.");
  }
  return std::nullopt;
}

std::optional<HttpResponse> refusalByBody(const HttpRequest& head, const HttpLimits& limits) {
  const std::string_view type = valueOf(head, field::content_type);
  if (!sameName(mediaType(type), "application/xml") && !sameName(mediaType(type), "text/xml")) {
    return refusal(status::unsupported_media_type,
                   "CIM-XML is of type application/xml or text/xml.");
  }
  if (head.count(field::content_encoding) > 0 || !isUtf8(type)) {
    return refusal(status::unsupported_media_type, "CIM-XML comes in UTF-8 and not compressed.");
  }
  return refusalByLength(head, limits);
}

}  // namespace

HttpResponse refusal(status code, const std::string& reason) {
  HttpResponse response(code, 11);
  response.set(field::content_type, "text/plain");
  response.body() = reason + "\n";
  return response;
}

std::optional<HttpResponse> refusalByHead(const HttpRequest& head, const HttpLimits& limits) {
  const std::string_view method = standard(head.method_string());
  const std::string_view target = standard(head.target());
  const std::string_view path = target.substr(0, target.find_first_of("?#"));
  if (method == "M-POST") {
    return refusal(status::not_implemented, "CIM operations come by POST.");
  }
  if (method == "OPTIONS") {
    if (!hasBody(head)) return std::nullopt;
    return refusal(status::bad_request, "OPTIONS comes without a body.");
  }
  if (method != "POST") {
    HttpResponse response = refusal(status::method_not_allowed, "CIM operations come by POST.");
    response.set(field::allow, "POST, OPTIONS");
    if (method == "HEAD") response.body().clear();
    return response;
  }
  if (path != "/cimom" && path != "/") {
    return refusal(status::not_found, "CIM operations are at /cimom.");
  }
  return refusalByBody(head, limits);
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

}  // namespace cimom
