#pragma once

#include <http/page_service.h>

#include <boost/asio/ip/address.hpp>
#include <optional>

#include "http_messages.h"
#include "served_names.h"

namespace cimom {

/// The refusal that a request earns by its head alone; nothing for one whose body is to be read,
/// for one for a page of that service, which may be null, and for OPTIONS. A head that states the
/// request's length in more than one way is refused, and one that asks for another server than this
/// one, which the client is connected to at `local`.
std::optional<HttpResponse> refusalByHead(const HttpRequest& head, const HttpLimits& limits,
                                          const ServedNames& names,
                                          const boost::asio::ip::address& local,
                                          const PageService* pages);

}  // namespace cimom
