#pragma once

#include <string_view>

#include "http_messages.h"

namespace cimom {

/// A request's target: its authority, where it names one, its path, and both path and query.
struct HttpTarget {
  std::string_view authority;
  std::string_view path;
  std::string_view pathAndQuery;
};

/// Lives as long as the request.
HttpTarget targetOf(const HttpRequest& head);

}  // namespace cimom
