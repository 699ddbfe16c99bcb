#include "http_pages.h"

#include <utility>

#include "http_target.h"

namespace cimom {

namespace http = boost::beast::http;

bool isForPage(const HttpRequest& head, const PageService* pages) {
  const bool isReading = head.method() == http::verb::get || head.method() == http::verb::head;
  return isReading && pages != nullptr && pages->covers(targetOf(head).path);
}

HttpResponse pageResponse(const HttpRequest& head, PageService& pages) {
  HttpPage page = pages.answer(targetOf(head).pathAndQuery);
  HttpResponse response(http::int_to_status(static_cast<unsigned>(page.status)), 11);
  response.set(http::field::content_type, page.contentType);
  response.set("Content-Security-Policy", page.policy);
  response.set("X-Content-Type-Options", "nosniff");
  response.set("Referrer-Policy", "no-referrer");
  response.set("Cross-Origin-Resource-Policy", "same-origin");
  // What a password lets in is no matter for caches.
  response.set(http::field::cache_control, "no-store");
  response.body() = std::move(page.body);
  return response;
}

}  // namespace cimom
