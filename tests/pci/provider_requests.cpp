// Requests to records of the C interface, and what came of them as text.
//
// A request's objects are made by the test object manager's broker in a scope of their own, and a
// RecordingResult is between the provider and the broker's result: it hands everything on and
// notes what the broker took, in its order. Libraries are opened on their own, and their factories
// called once for each class, under a lock; requests may come from any number of threads, each with
// its own scope and result. A record outlives its requests, and a library its records.
#include "provider_requests.h"

#include <broker/request_scope.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace requests {

using cimom::Instance;
using cimom::ObjectPath;
using cimom::RequestAnswers;
using cimom::RequestScope;
using cimom::Value;

const std::vector<Operation>& instanceOperations() {
  static const std::vector<Operation> all{Operation::kEnumInstanceNames, Operation::kEnumInstances,
                                          Operation::kGetInstance};
  return all;
}

const std::vector<Operation>& associationOperations() {
  static const std::vector<Operation> all{Operation::kAssociators, Operation::kAssociatorNames,
                                          Operation::kReferences, Operation::kReferenceNames};
  return all;
}

const char* nameOf(Operation operation) {
  switch (operation) {
    case Operation::kEnumInstanceNames:
      return "enumInstanceNames";
    case Operation::kEnumInstances:
      return "enumInstances";
    case Operation::kGetInstance:
      return "getInstance";
    case Operation::kAssociators:
      return "associators";
    case Operation::kAssociatorNames:
      return "associatorNames";
    case Operation::kReferences:
      return "references";
    case Operation::kReferenceNames:
      return "referenceNames";
  }
  return "?";
}

std::vector<std::string> Outcome::answers() const {
  std::vector<std::string> result;
  std::copy_if(events.begin(), events.end(), std::back_inserter(result),
               [](const std::string& event) { return event != "done"; });
  return result;
}

namespace {

std::string textOf(const Value& value) {
  return value.elements.empty() ? std::string() : cimom::toText(value.elements.front());
}

bool isAssociation(const ObjectPath& path) {
  return !path.keys.empty() && path.keys.front().value.type == cimom::CimType::kReference;
}

std::string briefOfEnds(const ObjectPath& path) {
  std::string ends;
  for (const auto& key : path.keys) {
    const auto& end = std::get<std::shared_ptr<const ObjectPath>>(key.value.elements.at(0));
    ends += (ends.empty() ? "" : ",") + briefOf(*end);
  }
  return path.className + "(" + ends + ")";
}

}  // namespace

std::string briefOf(const ObjectPath& path) {
  if (isAssociation(path)) return briefOfEnds(path);
  for (const char* key : {"DeviceID", "InstanceID", "Name"}) {
    if (const Value* value = path.findKey(key)) return path.className + ":" + textOf(*value);
  }
  return path.className;
}

ObjectPath pathOf(const std::string& className,
                  const std::vector<std::pair<std::string, std::string>>& keys) {
  ObjectPath path{"", "root/cimv2", className, {}};
  for (const auto& [name, text] : keys) path.keys.push_back({name, Value::text(text)});
  return path;
}

ObjectPath byDeviceId(const std::string& className, const std::string& deviceId) {
  return pathOf(className, {{"DeviceID", deviceId}});
}

ObjectPath pairOf(const std::string& className, const std::string& firstRole,
                  const ObjectPath& first, const std::string& secondRole,
                  const ObjectPath& second) {
  ObjectPath path = pathOf(className);
  path.keys.push_back({firstRole, Value::reference(first)});
  path.keys.push_back({secondRole, Value::reference(second)});
  return path;
}

std::vector<std::string> propertyNames(const Instance& instance) {
  std::vector<std::string> names;
  for (const auto& property : instance.properties) names.push_back(property.name);
  return names;
}

std::string textOf(const Instance& instance, const std::string& property) {
  const Value* value = instance.findProperty(property);
  return value != nullptr && !value->isNull ? textOf(*value) : "(unset)";
}

std::vector<std::string> keyNames(const ObjectPath& path) {
  std::vector<std::string> names;
  for (const auto& key : path.keys) names.push_back(key.name);
  return names;
}

namespace {

template <class Object>
Object* decorated(test_support::DecoratedBroker* broker, Object* object) {
  return broker != nullptr ? broker->decorate(object) : object;
}

/// A result that notes the order of what it is handed and passes everything on.
class RecordingResult {
 public:
  RecordingResult(RequestScope& scope, test_support::DecoratedBroker* broker, Outcome& outcome)
      : inner_(decorated(broker, scope.newResult(answers_))),
        outcome_(outcome),
        record_{this, &kTable} {}

  const CMPIResult* record() const { return &record_; }

  void keepAnswers() {
    outcome_.instances = std::move(answers_.instances);
    outcome_.paths = std::move(answers_.paths);
    outcome_.donesTaken = answers_.doneCount;
  }

 private:
  static RecordingResult& self(const CMPIResult* result) {
    return *static_cast<RecordingResult*>(result->hdl);
  }

  static CMPIStatus returnInstance(const CMPIResult* result, const CMPIInstance* instance) {
    RecordingResult& me = self(result);
    const std::size_t before = me.answers_.instances.size();
    const CMPIStatus status = me.inner_->ft->returnInstance(me.inner_, instance);
    if (me.answers_.instances.size() == before) return status;
    me.outcome_.events.push_back("[" + briefOf(me.answers_.instances.back().path) + "]");
    return status;
  }
  static CMPIStatus returnObjectPath(const CMPIResult* result, const CMPIObjectPath* path) {
    RecordingResult& me = self(result);
    const std::size_t before = me.answers_.paths.size();
    const CMPIStatus status = me.inner_->ft->returnObjectPath(me.inner_, path);
    if (me.answers_.paths.size() == before) return status;
    me.outcome_.events.push_back(briefOf(me.answers_.paths.back()));
    return status;
  }
  static CMPIStatus returnDone(const CMPIResult* result) {
    RecordingResult& me = self(result);
    me.outcome_.events.emplace_back("done");
    return me.inner_->ft->returnDone(me.inner_);
  }

  // A provider needs nothing else of a result.
  static constexpr CMPIResultFT kTable{
      200, nullptr, nullptr, nullptr, &returnInstance, &returnObjectPath, &returnDone, nullptr};

  RequestAnswers answers_;
  CMPIResult* inner_;
  Outcome& outcome_;
  CMPIResult record_;
};

const char* orNull(const std::string& text) {
  return text.empty() ? nullptr : text.c_str();
}

/// Pointers into the list, closed by a null; none at all where there is no list.
std::vector<const char*> propertyPointers(const cimom::PropertyList& list) {
  std::vector<const char*> pointers;
  if (!list) return pointers;
  for (const std::string& name : *list) pointers.push_back(name.c_str());
  pointers.push_back(nullptr);
  return pointers;
}

CMPIStatus callRecord(CMPIInstanceMI* mi, const Request& request, const CMPIContext* context,
                      const CMPIResult* result, const CMPIObjectPath* path) {
  std::vector<const char*> pointers = propertyPointers(request.properties);
  const char** properties = pointers.empty() ? nullptr : pointers.data();
  switch (request.operation) {
    case Operation::kEnumInstanceNames:
      return mi->ft->enumerateInstanceNames(mi, context, result, path);
    case Operation::kEnumInstances:
      return mi->ft->enumerateInstances(mi, context, result, path, properties);
    default:
      return mi->ft->getInstance(mi, context, result, path, properties);
  }
}

CMPIStatus callRecord(CMPIAssociationMI* mi, const Request& request, const CMPIContext* context,
                      const CMPIResult* result, const CMPIObjectPath* path) {
  std::vector<const char*> pointers = propertyPointers(request.properties);
  const char** properties = pointers.empty() ? nullptr : pointers.data();
  const char* assocClass = orNull(request.filter.assocClass);
  const char* resultClass = orNull(request.filter.resultClass);
  const char* role = orNull(request.filter.role);
  const char* resultRole = orNull(request.filter.resultRole);
  switch (request.operation) {
    case Operation::kAssociators:
      return mi->ft->associators(mi, context, result, path, assocClass, resultClass, role,
                                 resultRole, properties);
    case Operation::kAssociatorNames:
      return mi->ft->associatorNames(mi, context, result, path, assocClass, resultClass, role,
                                     resultRole);
    case Operation::kReferences:
      return mi->ft->references(mi, context, result, path, resultClass, role, properties);
    default:
      return mi->ft->referenceNames(mi, context, result, path, resultClass, role);
  }
}

template <class Record>
Outcome sendToRecord(Record* mi, const Request& request, test_support::DecoratedBroker* broker) {
  Outcome outcome;
  RequestScope scope;
  RecordingResult result(scope, broker, outcome);
  const CMPIContext* context = decorated(broker, scope.newContext("root/cimv2", 0));
  const CMPIObjectPath* path = decorated(broker, scope.newPath(request.path));
  const CMPIStatus status = callRecord(mi, request, context, result.record(), path);
  outcome.status = status.rc;
  if (status.msg != nullptr) outcome.message = status.msg->ft->getCharPtr(status.msg, nullptr);
  result.keepAnswers();
  return outcome;
}

template <class Record>
Record* callFactory(void* factory, const CMPIBroker* broker) {
  using Factory = Record* (*)(const CMPIBroker*, const CMPIContext*);
  RequestScope scope;
  return reinterpret_cast<Factory>(factory)(broker, scope.newContext("root/cimv2", 0));
}

}  // namespace

bool isAssociationOperation(Operation operation) {
  const auto& all = associationOperations();
  return std::find(all.begin(), all.end(), operation) != all.end();
}

Outcome sendTo(CMPIInstanceMI* mi, const Request& request, test_support::DecoratedBroker* broker) {
  return sendToRecord(mi, request, broker);
}

Outcome sendTo(CMPIAssociationMI* mi, const Request& request,
               test_support::DecoratedBroker* broker) {
  return sendToRecord(mi, request, broker);
}

std::shared_ptr<const cimom::ClassRepository> testClasses() {
  return std::make_shared<const cimom::ClassRepository>(
      cimom::ClassRepository::load({SCHEMA_DIRECTORY, SUBCLASSES_DIRECTORY}));
}

ProviderLibrary::ProviderLibrary(const char* file, const CMPIBroker* broker)
    : broker_(broker), library_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
  if (library_ == nullptr) ADD_FAILURE() << dlerror();
}

ProviderLibrary::~ProviderLibrary() {
  dlclose(library_);
}

void* ProviderLibrary::symbol(const std::string& name) const {
  return dlsym(library_, name.c_str());
}

CMPIInstanceMI* ProviderLibrary::instanceMI(const std::string& className,
                                            const CMPIBroker* broker) {
  return callFactory<CMPIInstanceMI>(symbol(className + "_Create_InstanceMI"),
                                     broker != nullptr ? broker : broker_);
}

CMPIAssociationMI* ProviderLibrary::associationMI(const std::string& className,
                                                  const CMPIBroker* broker) {
  return callFactory<CMPIAssociationMI>(symbol(className + "_Create_AssociationMI"),
                                        broker != nullptr ? broker : broker_);
}

CMPIInstanceMI* ProviderLibrary::rememberedInstanceMI(const std::string& className,
                                                      const CMPIBroker* broker) {
  const std::lock_guard<std::mutex> lock(mutex_);
  CMPIInstanceMI*& record = instanceMIs_[className];
  if (record == nullptr) record = instanceMI(className, broker);
  return record;
}

CMPIAssociationMI* ProviderLibrary::rememberedAssociationMI(const std::string& className,
                                                            const CMPIBroker* broker) {
  const std::lock_guard<std::mutex> lock(mutex_);
  CMPIAssociationMI*& record = associationMIs_[className];
  if (record == nullptr) record = associationMI(className, broker);
  return record;
}

Outcome ProviderLibrary::send(const Request& request, test_support::DecoratedBroker* broker) {
  const CMPIBroker* record = broker != nullptr ? broker->record() : nullptr;
  return isAssociationOperation(request.operation)
             ? sendTo(rememberedAssociationMI(request.className, record), request, broker)
             : sendTo(rememberedInstanceMI(request.className, record), request, broker);
}

ProviderUnderTest::ProviderUnderTest(const char* library)
    : manager_(std::make_unique<cimom::ObjectManager>(testClasses())),
      library_(library, manager_->broker()) {
  manager_->loadProvider(library);
  manager_->loadProvider(SYSTEM_PROVIDER_LIBRARY);
}

}  // namespace requests
