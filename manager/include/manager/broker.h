#pragma once

#include <cmpi/cmpi.h>

#include <manager/object_manager.h>
#include <manager/repository.h>
#include <manager/value.h>

#include <memory>
#include <string>
#include <vector>

namespace cimom {

/// The requests that a provider may send back through its broker; null answers are not supported.
class Upcalls {
 public:
  virtual ~Upcalls() = default;
  virtual std::vector<Instance> enumerateInstances(const ObjectPath&, const PropertyList&) = 0;
  virtual std::vector<ObjectPath> enumerateInstanceNames(const ObjectPath&) = 0;
  virtual Instance getInstance(const ObjectPath&, const PropertyList&) = 0;
  virtual std::vector<Instance> associators(const ObjectPath&, const AssociationFilter&,
                                            const PropertyList&) = 0;
  virtual std::vector<ObjectPath> associatorNames(const ObjectPath&, const AssociationFilter&) = 0;
  virtual std::vector<Instance> references(const ObjectPath&, const AssociationFilter&,
                                           const PropertyList&) = 0;
  virtual std::vector<ObjectPath> referenceNames(const ObjectPath&, const AssociationFilter&) = 0;
};

/// How the broker behaves where object managers differ.
struct BrokerOptions {
  /// newInstance copies the path's keys into the instance.
  bool copyKeysToInstance = true;
};

/// A CMPI broker. Every slot of its tables is there; what it does not do answers NOT_SUPPORTED.
/// The functions find their state through the record's hdl, so a copy of the record with other
/// tables works as well. Safe from any number of threads.
class Broker {
 public:
  /// `upcalls` may be null; both arguments outlive the broker.
  Broker(const ClassRepository& repository, Upcalls* upcalls, BrokerOptions options = {});
  ~Broker();
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;

  const CMPIBroker* record() const noexcept;

  struct State;

 private:
  std::unique_ptr<State> state_;
};

/// What a provider handed over in one request.
struct RequestAnswers {
  std::vector<Instance> instances;
  std::vector<ObjectPath> paths;
  unsigned doneCount = 0;
};

/// The length of one request on this thread: every broker object made meanwhile that nobody
/// cloned is released at its end. Scopes nest.
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
