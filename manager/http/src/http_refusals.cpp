#include "http_refusals.h"

#include <model/names.h>

#include <algorithm>
#include <boost/beast/http/rfc7230.hpp>
#include <charconv>
#include <string_view>
#include <system_error>

#include "http_pages.h"
#include "http_target.h"

namespace cimom {
namespace {

namespace http = boost::beast::http;
using http::field;
using http::status;
using Address = boost::asio::ip::address;
using Refusal = std::optional<HttpResponse>;

std::string_view standard(boost::beast::string_view text) {
  return {text.data(), text.size()};
}

bool hasOne(const HttpRequest& head, field name) {
  return head.count(name) == 1;
}

// --- Which server, and from where

/// An origin is the scheme and authority of the page that made a browser send the request.
bool isOwnOrigin(std::string_view origin, std::string_view authority) {
  const std::size_t scheme = origin.find("://");
  return scheme != std::string_view::npos && sameName(origin.substr(scheme + 3), authority);
}

/// Refuses what a browser sends for a page of another site, and, by the name that the browser
/// believes to talk to, also for one that has given its own name this server's address.
Refusal refusalBySite(const HttpRequest& head, const ServedNames& names, const Address& local) {
  const std::size_t hosts = head.count(field::host);
  if (hosts > 1 || (hosts == 0 && head.version() >= 11)) {
    return refusal(status::bad_request, "The request has to name its host once.");
  }
  const std::string_view host = valueOf(head, field::host);
  const std::string_view named = targetOf(head).authority;
  const std::string_view authority = named.empty() ? host : named;
  const bool isNamed = hosts > 0 || !named.empty();
  if (isNamed && !names.cover(authority, local)) {
    return refusal(status::misdirected_request,
                   "This server is not " + std::string(authority) +
                       ". Names of it can be given with --server-name.");
  }
  const std::string_view fetched = standard(head["Sec-Fetch-Site"]);
  const bool isForeign =
      (head.count(field::origin) > 0 && !isOwnOrigin(valueOf(head, field::origin), authority)) ||
      (!fetched.empty() && !sameName(fetched, "same-origin") && !sameName(fetched, "none"));
  if (isForeign) return refusal(status::forbidden, "Web pages of other sites may not ask.");
  return std::nullopt;
}

// --- What kind of body

std::string_view mediaType(std::string_view contentType) {
  const std::string_view type = contentType.substr(0, contentType.find(';'));
  return type.substr(0, type.find_last_not_of(" \t") + 1);
}

/// ASCII is UTF-8 too.
bool isUtf8(std::string_view contentType) {
  const std::size_t start = std::min(contentType.find(';'), contentType.size());
  const std::string_view parameters = contentType.substr(start);
  for (const auto& [name, value] : http::param_list({parameters.data(), parameters.size()})) {
    if (!sameName(standard(name), "charset")) continue;
    std::string_view set = standard(value);
    if (set.size() >= 2 && set.front() == '"') set = set.substr(1, set.size() - 2);
    return sameName(set, "utf-8") || sameName(set, "us-ascii");
  }
  return true;
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

/// True when something follows the head, or could to another reader of it.
bool mayHaveBody(const HttpRequest& head) {
  const std::size_t lengths = head.count(field::content_length);
  return head.count(field::transfer_encoding) > 0 || lengths > 1 ||
         (lengths == 1 && valueOf(head, field::content_length) != "0");
}

/// The parser takes more than one encoding and a list of equal lengths; a proxy before this
/// server may take the body's end to be elsewhere then.
Refusal refusalByLength(const HttpRequest& head, const HttpLimits& limits) {
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

Refusal refusalByBody(const HttpRequest& head, const HttpLimits& limits) {
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

Refusal refusalByMethod(const HttpRequest& head) {
  const std::string_view method = standard(head.method_string());
  if (method == "M-POST") {
    return refusal(status::not_implemented, "CIM operations come by POST.");
  }
  if (method == "OPTIONS") {
    if (!mayHaveBody(head)) return std::nullopt;
    return refusal(status::bad_request, "OPTIONS comes without a body.");
  }
  if (method != "POST") {
    HttpResponse response = refusal(status::method_not_allowed, "CIM operations come by POST.");
    response.set(field::allow, "POST, OPTIONS");
    if (method == "HEAD") response.body().clear();
    return response;
  }
  const std::string_view path = targetOf(head).path;
  if (path != "/cimom" && path != "/") {
    return refusal(status::not_found, "CIM operations are at /cimom.");
  }
  return std::nullopt;
}

}  // namespace

Refusal refusalByHead(const HttpRequest& head, const HttpLimits& limits, const ServedNames& names,
                      const Address& local, const PageService* pages) {
  if (auto refused = refusalBySite(head, names, local)) return refused;
  if (isForPage(head, pages)) {
    if (!mayHaveBody(head)) return std::nullopt;
    return refusal(status::bad_request, "A page is asked for without a body.");
  }
  if (auto refused = refusalByMethod(head)) return refused;
  if (head.method() == http::verb::options) return std::nullopt;
  return refusalByBody(head, limits);
}

}  // namespace cimom
