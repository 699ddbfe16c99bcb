#pragma once

#include <string>
#include <string_view>

namespace cimom {

/// What goes back for a page or for what belongs to one.
struct HttpPage {
  int status = 200;
  std::string contentType;
  /// What a browser may load for it (Content-Security-Policy).
  std::string policy;
  std::string body;
};

/// Pages for people that a server has beside its CIM operations, for GET and HEAD.
class PageService {
 public:
  virtual ~PageService() = default;

  /// True for the paths that are pages'; requests for others are refused as without pages.
  virtual bool covers(std::string_view path) const = 0;
  /// The page for a path that is covered, with the query behind "?" where there is one. Called from
  /// several threads at a time. Throws at most for want of memory.
  virtual HttpPage answer(std::string_view target) = 0;
};

}  // namespace cimom
