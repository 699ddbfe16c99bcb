#pragma once

#include <cmpi/cmpi.h>

#include <model/value.h>

#include <memory>
#include <string>
#include <vector>

namespace cimom {

/// What a provider handed over in one request.
struct RequestAnswers {
  std::vector<Instance> instances;
  std::vector<ObjectPath> paths;
  unsigned doneCount = 0;
};

/// The length of one request on this thread: every broker object made meanwhile that was not
/// cloned is released at its end. Scopes nest.
///
///     RequestScope scope;
///     RequestAnswers answers;
///     mi->ft->enumerateInstanceNames(mi, scope.newContext("root/cimv2", 0),
///                                    scope.newResult(answers), scope.newPath(classPath));
class RequestScope {
 public:
  RequestScope();
  ~RequestScope();
  RequestScope(const RequestScope&) = delete;
  RequestScope& operator=(const RequestScope&) = delete;

  /// Objects to call a provider with; they live as long as the scope. `answers` must too.
  CMPIResult* newResult(RequestAnswers& answers);
  CMPIContext* newContext(const std::string& nameSpace, CMPIUint32 invocationFlags);
  CMPIObjectPath* newPath(const ObjectPath& path);

 private:
  class Arena;
  friend struct ArenaAccess;
  std::unique_ptr<Arena> arena_;
  RequestScope* outer_;
};

}  // namespace cimom
