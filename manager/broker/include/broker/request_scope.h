#pragma once

#include <cmpi/cmpi.h>

#include <model/value.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace cimom {

/// Where what a provider hands over in one request goes, object by object, on the thread on which
/// the provider does so. What a function here throws reaches no provider: its call fails.
class AnswerReceiver {
 public:
  virtual ~AnswerReceiver() = default;
  virtual void receive(Instance&& instance) = 0;
  virtual void receive(ObjectPath&& path) = 0;
  virtual void receiveDone() = 0;
};

/// Keeps what a provider handed over in one request.
class RequestAnswers final : public AnswerReceiver {
 public:
  std::vector<Instance> instances;
  std::vector<ObjectPath> paths;
  unsigned doneCount = 0;

  void receive(Instance&& instance) override { instances.push_back(std::move(instance)); }
  void receive(ObjectPath&& path) override { paths.push_back(std::move(path)); }
  void receiveDone() override { ++doneCount; }
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

  /// Objects to call a provider with; they live as long as the scope. `receiver` must too.
  CMPIResult* newResult(AnswerReceiver& receiver);
  CMPIContext* newContext(const std::string& nameSpace, CMPIUint32 invocationFlags);
  CMPIObjectPath* newPath(const ObjectPath& path);

 private:
  class Arena;
  friend struct ArenaAccess;
  std::unique_ptr<Arena> arena_;
  RequestScope* outer_;
};

}  // namespace cimom
