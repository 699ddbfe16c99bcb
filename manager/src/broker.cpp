#include "broker_objects.h"

#include <manager/broker.h>
#include <manager/error.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <type_traits>

#include <syslog.h>

namespace cimom {

namespace {

/// Requests that providers send each other through the broker may nest this deep.
constexpr int kMostNestedUpcalls = 16;
thread_local int upcallDepth = 0;

Broker::State* stateOf(const CMPIBroker* broker) {
  return broker != nullptr ? static_cast<Broker::State*>(broker->hdl) : nullptr;
}

CMPIStatus failureStatus(const CimError& error) {
  return {error.code(), makeString(error.text())};
}

/// Runs an upcall; what it throws becomes the status, and the answer is then null.
template <class Call>
auto upcall(const CMPIBroker* broker, CMPIStatus* status, Call call)
    -> decltype(call(std::declval<Upcalls&>())) {
  Broker::State* state = stateOf(broker);
  if (state == nullptr || state->upcalls == nullptr) {
    setStatus(status, CMPI_RC_ERR_NOT_SUPPORTED);
    return nullptr;
  }
  if (upcallDepth >= kMostNestedUpcalls) {
    setStatus(status, {CMPI_RC_ERR_FAILED, makeString("providers call each other too deeply")});
    return nullptr;
  }
  ++upcallDepth;
  decltype(call(std::declval<Upcalls&>())) answer = nullptr;
  try {
    answer = call(*state->upcalls);
    setStatus(status, CMPI_RC_OK);
  } catch (const CimError& error) {
    setStatus(status, failureStatus(error));
  } catch (const std::exception& error) {
    setStatus(status, {CMPI_RC_ERR_FAILED, makeString(error.what())});
  }
  --upcallDepth;
  return answer;
}

PropertyList propertyList(const char** properties) {
  if (properties == nullptr) return std::nullopt;
  std::vector<std::string> names;
  for (; *properties != nullptr; ++properties) names.emplace_back(*properties);
  return names;
}

std::string orEmpty(const char* text) {
  return text != nullptr ? text : "";
}

AssociationFilter filterOf(const char* assocClass, const char* resultClass, const char* role,
                           const char* resultRole) {
  return {orEmpty(assocClass), orEmpty(resultClass), orEmpty(role), orEmpty(resultRole)};
}

bool checkPath(const CMPIObjectPath* path, CMPIStatus* status) {
  if (pathOf(path) != nullptr) return true;
  setStatus(status, CMPI_RC_ERR_INVALID_PARAMETER);
  return false;
}

CMPIEnumeration* bftEnumerateInstanceNames(const CMPIBroker* broker, const CMPIContext*,
                                           const CMPIObjectPath* path, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Upcalls& calls) {
    return makeEnumeration(calls.enumerateInstanceNames(*pathOf(path)));
  });
}

CMPIEnumeration* bftEnumerateInstances(const CMPIBroker* broker, const CMPIContext*,
                                       const CMPIObjectPath* path, const char** properties,
                                       CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Upcalls& calls) {
    return makeEnumeration(calls.enumerateInstances(*pathOf(path), propertyList(properties)),
                           *stateOf(broker));
  });
}

CMPIInstance* bftGetInstance(const CMPIBroker* broker, const CMPIContext*,
                             const CMPIObjectPath* path, const char** properties,
                             CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Upcalls& calls) {
    return makeInstance(calls.getInstance(*pathOf(path), propertyList(properties)),
                        *stateOf(broker));
  });
}

CMPIEnumeration* bftAssociators(const CMPIBroker* broker, const CMPIContext*,
                                const CMPIObjectPath* path, const char* assocClass,
                                const char* resultClass, const char* role, const char* resultRole,
                                const char** properties, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Upcalls& calls) {
    return makeEnumeration(
        calls.associators(*pathOf(path), filterOf(assocClass, resultClass, role, resultRole),
                          propertyList(properties)),
        *stateOf(broker));
  });
}

CMPIEnumeration* bftAssociatorNames(const CMPIBroker* broker, const CMPIContext*,
                                    const CMPIObjectPath* path, const char* assocClass,
                                    const char* resultClass, const char* role,
                                    const char* resultRole, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Upcalls& calls) {
    return makeEnumeration(
        calls.associatorNames(*pathOf(path), filterOf(assocClass, resultClass, role, resultRole)));
  });
}

CMPIEnumeration* bftReferences(const CMPIBroker* broker, const CMPIContext*,
                               const CMPIObjectPath* path, const char* resultClass,
                               const char* role, const char** properties, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Upcalls& calls) {
    return makeEnumeration(
        calls.references(*pathOf(path), filterOf(nullptr, resultClass, role, nullptr),
                         propertyList(properties)),
        *stateOf(broker));
  });
}

CMPIEnumeration* bftReferenceNames(const CMPIBroker* broker, const CMPIContext*,
                                   const CMPIObjectPath* path, const char* resultClass,
                                   const char* role, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Upcalls& calls) {
    return makeEnumeration(
        calls.referenceNames(*pathOf(path), filterOf(nullptr, resultClass, role, nullptr)));
  });
}

// A function of any signature that answers "not supported": as its status, or through its status
// argument with a null or empty answer.
template <class Function>
struct NotSupported;

void reportNotSupported(CMPIStatus* status) {
  setStatus(status, CMPI_RC_ERR_NOT_SUPPORTED);
}
template <class Other>
void reportNotSupported(const Other&) {}

template <class Answer, class... Arguments>
struct NotSupported<Answer (*)(Arguments...)> {
  static Answer function(Arguments... arguments) {
    (reportNotSupported(arguments), ...);
    if constexpr (std::is_same_v<Answer, CMPIStatus>) {
      return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
    } else if constexpr (std::is_same_v<Answer, CMPIData>) {
      return nullData(CMPI_null);
    } else if constexpr (!std::is_void_v<Answer>) {
      return Answer{};
    }
  }
};

template <class Function>
constexpr Function notSupported() {
  return &NotSupported<Function>::function;
}

CMPIContext* bftPrepareAttachThread(const CMPIBroker*, const CMPIContext* context) {
  return context != nullptr ? context->ft->clone(context, nullptr) : nullptr;
}

CMPIStatus bftNothingToDo(const CMPIBroker*, const CMPIContext*) {
  return {CMPI_RC_OK, nullptr};
}

constexpr CMPIUint32 kBasicReadAndAssociations = 1 | 8;

CMPIBrokerFT makeBrokerTable() {
  using FT = CMPIBrokerFT;
  FT table{};
  table.brokerCapabilities = kBasicReadAndAssociations;
  table.brokerVersion = 200;
  table.brokerName = "pciprovider embedded object manager";
  table.prepareAttachThread = bftPrepareAttachThread;
  table.attachThread = bftNothingToDo;
  table.detachThread = bftNothingToDo;
  table.deliverIndication = notSupported<decltype(FT::deliverIndication)>();
  table.enumerateInstanceNames = bftEnumerateInstanceNames;
  table.getInstance = bftGetInstance;
  table.createInstance = notSupported<decltype(FT::createInstance)>();
  table.modifyInstance = notSupported<decltype(FT::modifyInstance)>();
  table.deleteInstance = notSupported<decltype(FT::deleteInstance)>();
  table.execQuery = notSupported<decltype(FT::execQuery)>();
  table.enumerateInstances = bftEnumerateInstances;
  table.associators = bftAssociators;
  table.associatorNames = bftAssociatorNames;
  table.references = bftReferences;
  table.referenceNames = bftReferenceNames;
  table.invokeMethod = notSupported<decltype(FT::invokeMethod)>();
  table.setProperty = notSupported<decltype(FT::setProperty)>();
  table.getProperty = notSupported<decltype(FT::getProperty)>();
  table.enumerateInstancesFiltered = notSupported<decltype(FT::enumerateInstancesFiltered)>();
  table.associatorsFiltered = notSupported<decltype(FT::associatorsFiltered)>();
  table.referencesFiltered = notSupported<decltype(FT::referencesFiltered)>();
  return table;
}

CMPIInstance* eftNewInstance(const CMPIBroker* broker, const CMPIObjectPath* path,
                             CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  const Broker::State& state = *stateOf(broker);
  const ObjectPath& named = *pathOf(path);
  if (state.repository->find(named.className) == nullptr) {
    setStatus(status, {CMPI_RC_ERR_INVALID_CLASS, makeString("unknown class " + named.className)});
    return nullptr;
  }
  setStatus(status, CMPI_RC_OK);
  Instance instance{named, {}};
  if (state.options.copyKeysToInstance) instance.properties = named.keys;
  return makeInstance(std::move(instance), state);
}

CMPIObjectPath* eftNewObjectPath(const CMPIBroker*, const char* ns, const char* cn,
                                 CMPIStatus* status) {
  if (cn == nullptr) {
    setStatus(status, CMPI_RC_ERR_INVALID_PARAMETER);
    return nullptr;
  }
  setStatus(status, CMPI_RC_OK);
  return makePath({"", orEmpty(ns), cn, {}});
}

CMPIString* eftNewString(const CMPIBroker*, const char* data, CMPIStatus* status) {
  setStatus(status, CMPI_RC_OK);
  return makeString(orEmpty(data));
}

CMPIArray* eftNewArray(const CMPIBroker*, CMPICount size, CMPIType type, CMPIStatus* status) {
  const auto element = cimTypeOf(type);
  if (!element || (type & CMPI_ARRAY) != 0) {
    setStatus(status, CMPI_RC_ERR_INVALID_DATA_TYPE);
    return nullptr;
  }
  setStatus(status, CMPI_RC_OK);
  return makeArray(size, *element);
}

CMPIBoolean eftClassPathIsA(const CMPIBroker* broker, const CMPIObjectPath* path,
                            const char* className, CMPIStatus* status) {
  if (!checkPath(path, status)) return 0;
  setStatus(status, CMPI_RC_OK);
  if (className == nullptr) return 0;
  return stateOf(broker)->repository->isA(pathOf(path)->className, className) ? 1 : 0;
}

CMPIString* eftToString(const CMPIBroker*, const void* object, CMPIStatus* status) {
  const std::optional<std::string> text = objectText(object);
  setStatus(status, text ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return text ? makeString(*text) : nullptr;
}

CMPIString* eftGetType(const CMPIBroker*, const void* object, CMPIStatus* status) {
  const char* type = objectTypeName(object);
  setStatus(status, type != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return type != nullptr ? makeString(type) : nullptr;
}

CMPIBoolean eftIsOfType(const CMPIBroker*, const void* object, const char* type,
                        CMPIStatus* status) {
  const char* actual = objectTypeName(object);
  setStatus(status, actual != nullptr ? CMPI_RC_OK : CMPI_RC_ERR_INVALID_HANDLE);
  return actual != nullptr && type != nullptr && std::strcmp(actual, type) == 0 ? 1 : 0;
}

CMPIString* eftGetMessage(const CMPIBroker*, const char*, const char* defMsg, CMPIStatus* status,
                          CMPICount, ...) {
  setStatus(status, CMPI_RC_OK);
  return makeString(orEmpty(defMsg));
}

CMPIString* eftGetMessage2(const CMPIBroker*, const char*, CMPIMsgFileHandle, const char* defMsg,
                           CMPIStatus* status, CMPICount, ...) {
  setStatus(status, CMPI_RC_OK);
  return makeString(orEmpty(defMsg));
}

CMPIStatus log(int priority, const char* text, const CMPIString* string) {
  const char* message = text;
  if (message == nullptr && string != nullptr) message = string->ft->getCharPtr(string, nullptr);
  if (message == nullptr) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  syslog(priority, "%s", message);
  return {CMPI_RC_OK, nullptr};
}

CMPIStatus eftLogMessage(const CMPIBroker*, CMPISeverity, const char*, const char* text,
                         const CMPIString* string) {
  return log(LOG_INFO, text, string);
}

CMPIStatus eftTrace(const CMPIBroker*, CMPILevel, const char*, const char* text,
                    const CMPIString* string) {
  return log(LOG_DEBUG, text, string);
}

CMPIBrokerEncFT makeEncTable() {
  using FT = CMPIBrokerEncFT;
  FT table{};
  table.ftVersion = 200;
  table.newInstance = eftNewInstance;
  table.newObjectPath = eftNewObjectPath;
  table.newArgs = notSupported<decltype(FT::newArgs)>();
  table.newString = eftNewString;
  table.newArray = eftNewArray;
  table.newDateTime = notSupported<decltype(FT::newDateTime)>();
  table.newDateTimeFromBinary = notSupported<decltype(FT::newDateTimeFromBinary)>();
  table.newDateTimeFromChars = notSupported<decltype(FT::newDateTimeFromChars)>();
  table.newSelectExp = notSupported<decltype(FT::newSelectExp)>();
  table.classPathIsA = eftClassPathIsA;
  table.toString = eftToString;
  table.isOfType = eftIsOfType;
  table.getType = eftGetType;
  table.getMessage = eftGetMessage;
  table.logMessage = eftLogMessage;
  table.trace = eftTrace;
  table.newCMPIError = notSupported<decltype(FT::newCMPIError)>();
  table.openMessageFile = notSupported<decltype(FT::openMessageFile)>();
  table.closeMessageFile = notSupported<decltype(FT::closeMessageFile)>();
  table.getMessage2 = eftGetMessage2;
  return table;
}

void* mftMark(const CMPIBroker*, CMPIStatus* status) {
  setStatus(status, CMPI_RC_ERR_NOT_SUPPORTED);
  return nullptr;
}
void* mftMalloc(const CMPIBroker*, size_t size) {
  return std::malloc(size);
}
void* mftCalloc(const CMPIBroker*, size_t count, size_t size) {
  return std::calloc(count, size);
}
void* mftRealloc(const CMPIBroker*, void* ptr, size_t size) {
  return std::realloc(ptr, size);
}
char* mftStrDup(const CMPIBroker*, const char* str) {
  return str != nullptr ? strdup(str) : nullptr;
}
void mftFree(const CMPIBroker*, void* ptr) {
  std::free(ptr);
}

/// Frees an object that its holder cloned; objects of a request are the request's to release.
template <class Object>
void mftRelease(const CMPIBroker*, Object* object) {
  if (object != nullptr) object->ft->release(object);
}

CMPIBrokerMemFT makeMemTable() {
  using FT = CMPIBrokerMemFT;
  FT table{};
  table.ftVersion = 200;
  table.mark = mftMark;
  table.release = notSupported<decltype(FT::release)>();
  table.cmpiMalloc = mftMalloc;
  table.cmpiCalloc = mftCalloc;
  table.cmpiRealloc = mftRealloc;
  table.cmpiStrDup = mftStrDup;
  table.cmpiFree = mftFree;
  table.freeInstance = mftRelease<CMPIInstance>;
  table.freeObjectPath = mftRelease<CMPIObjectPath>;
  table.freeArgs = notSupported<decltype(FT::freeArgs)>();
  table.freeString = mftRelease<CMPIString>;
  table.freeArray = mftRelease<CMPIArray>;
  table.freeDateTime = notSupported<decltype(FT::freeDateTime)>();
  table.freeSelectExp = notSupported<decltype(FT::freeSelectExp)>();
  return table;
}

}  // namespace

Broker::Broker(const ClassRepository& repository, Upcalls* upcalls, BrokerOptions options)
    : state_(std::make_unique<State>()) {
  static const CMPIBrokerFT brokerTable = makeBrokerTable();
  static const CMPIBrokerEncFT encTable = makeEncTable();
  static const CMPIBrokerMemFT memTable = makeMemTable();
  state_->repository = &repository;
  state_->upcalls = upcalls;
  state_->options = options;
  state_->record = {state_.get(), &brokerTable, &encTable, &operatingSystemTable(), &memTable};
}

Broker::~Broker() = default;

const CMPIBroker* Broker::record() const noexcept {
  return &state_->record;
}

}  // namespace cimom
