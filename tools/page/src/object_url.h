#pragma once

#include <model/value.h>
#include <mof/class_repository.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pcicim {

/// A target that is not written as the pages write theirs; what() says why.
class UrlError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The text in a URL: all but letters, digits and "-._~" as %XX. Safe from any thread, as all
/// functions here.
std::string percentEncoded(std::string_view text);

/// The way back. Throws UrlError for a % without two digits, and for what is then no UTF-8 or holds
/// U+0000.
std::string percentDecoded(std::string_view text);

/// Names and values of a query, "a=b&c=d", decoded; none for an empty one. Throws UrlError, also
/// for a name without value, an empty name and one that comes twice.
std::vector<std::pair<std::string, std::string>> parseQuery(std::string_view query);

/// Where the object's page is; empty for one with keys that URLs do not name: references, arrays
/// and nulls.
std::string objectUrl(const cimom::ObjectPath& path);

/// The object that the page is of, its keys with the types that the class declares. Throws UrlError
/// when there is no key, or one that the class does not have or whose value is not of its type. The
/// class is there.
cimom::ObjectPath objectOf(const std::string& className, std::string_view query,
                           const cimom::ClassRepository& classes);

}  // namespace pcicim
