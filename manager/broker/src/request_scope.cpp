#include <broker/request_scope.h>

#include <utility>
#include <vector>

#include "broker_object.h"
#include "context_object.h"
#include "path_object.h"
#include "result_object.h"

namespace cimom {

class RequestScope::Arena {
 public:
  void adopt(std::unique_ptr<BrokerObject> object) { objects_.push_back(std::move(object)); }
  template <class Object>
  typename Object::Record* keep(std::unique_ptr<Object> object) {
    auto* handle = &object->handle;
    adopt(std::move(object));
    return handle;
  }

 private:
  std::vector<std::unique_ptr<BrokerObject>> objects_;
};

namespace {

thread_local RequestScope* innermost = nullptr;

}  // namespace

struct ArenaAccess {
  /// Objects made outside a request live until their thread ends.
  static RequestScope::Arena& current() {
    static thread_local RequestScope::Arena outsideRequests;
    return innermost != nullptr ? *innermost->arena_ : outsideRequests;
  }
};

void adopt(std::unique_ptr<BrokerObject> object) {
  ArenaAccess::current().adopt(std::move(object));
}

RequestScope::RequestScope() : arena_(std::make_unique<Arena>()), outer_(innermost) {
  innermost = this;
}

RequestScope::~RequestScope() {
  innermost = outer_;
}

CMPIResult* RequestScope::newResult(AnswerReceiver& receiver) {
  return arena_->keep(std::make_unique<ResultObject>(receiver));
}

CMPIContext* RequestScope::newContext(const std::string& nameSpace, CMPIUint32 invocationFlags) {
  return arena_->keep(std::make_unique<ContextObject>(std::vector<NamedValue>{
      {"CMPIInitNameSpace", Value::text(nameSpace)},
      {"CMPIInvocationFlags", Value::number(CimType::kUint32, invocationFlags)}}));
}

CMPIObjectPath* RequestScope::newPath(const ObjectPath& path) {
  return arena_->keep(std::make_unique<PathObject>(path));
}

}  // namespace cimom
