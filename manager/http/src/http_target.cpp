#include "http_target.h"

#include <model/names.h>

#include <algorithm>

namespace cimom {
namespace {

HttpTarget below(std::string_view authority, std::string_view text) {
  const std::string_view whole = text.substr(0, text.find('#'));
  return {authority, whole.substr(0, whole.find('?')), whole};
}

}  // namespace

HttpTarget targetOf(const HttpRequest& head) {
  const std::string_view text(head.target().data(), head.target().size());
  const std::size_t scheme = text.find("://");
  const bool isAbsolute =
      !text.starts_with('/') && scheme != std::string_view::npos &&
      (sameName(text.substr(0, scheme), "http") || sameName(text.substr(0, scheme), "https"));
  if (!isAbsolute) return below("", text);
  const std::string_view rest = text.substr(scheme + 3);
  const std::size_t end = std::min(rest.find_first_of("/?#"), rest.size());
  HttpTarget target = below(rest.substr(0, end), rest.substr(end));
  if (target.path.empty()) target.path = "/";
  if (target.pathAndQuery.empty()) target.pathAndQuery = "/";
  return target;
}

}  // namespace cimom
