#pragma once

#include <http/page_service.h>

#include "http_messages.h"

namespace cimom {

/// True when the request is for a page of that service, which may be null.
bool isForPage(const HttpRequest& head, const PageService* pages);

/// The response to a request for which isForPage() is true, with its body also for HEAD.
HttpResponse pageResponse(const HttpRequest& head, PageService& pages);

}  // namespace cimom
