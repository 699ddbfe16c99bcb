#include <cmpi/embedded_broker.h>
#include <model/cim_error.h>

#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "broker_tables.h"
#include "enumeration_object.h"
#include "instance_object.h"
#include "not_supported.h"
#include "string_object.h"

namespace cimom {
namespace {

/// Requests that providers send each other through the broker may nest this deep.
constexpr int kMostNestedUpcalls = 16;
thread_local int upcallDepth = 0;

CMPIStatus failureStatus(const CimError& error) {
  return {error.code(), makeString(error.text())};
}

/// Runs an upcall; what it throws becomes the status, and the result is then null.
template <class Call>
auto upcall(const CMPIBroker* broker, CMPIStatus* status, Call call)
    -> decltype(call(std::declval<Operations&>())) {
  const Broker::State* state = stateOf(broker);
  if (state == nullptr || state->operations == nullptr) {
    setStatus(status, CMPI_RC_ERR_NOT_SUPPORTED);
    return nullptr;
  }
  if (upcallDepth >= kMostNestedUpcalls) {
    setStatus(status, {CMPI_RC_ERR_FAILED, makeString("providers call each other too deeply")});
    return nullptr;
  }
  ++upcallDepth;
  decltype(call(std::declval<Operations&>())) answer = nullptr;
  try {
    answer = call(*state->operations);
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

AssociationFilter filterOf(const char* assocClass, const char* resultClass, const char* role,
                           const char* resultRole) {
  return {orEmpty(assocClass), orEmpty(resultClass), orEmpty(role), orEmpty(resultRole)};
}

CMPIEnumeration* bftEnumerateInstanceNames(const CMPIBroker* broker, const CMPIContext*,
                                           const CMPIObjectPath* path, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Operations& operations) {
    return makeEnumeration(operations.enumerateInstanceNames(toModel(*pathOf(path))));
  });
}

CMPIEnumeration* bftEnumerateInstances(const CMPIBroker* broker, const CMPIContext*,
                                       const CMPIObjectPath* path, const char** properties,
                                       CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Operations& operations) {
    return makeEnumeration(
        operations.enumerateInstances(toModel(*pathOf(path)), propertyList(properties)),
        stateOf(broker)->layouts);
  });
}

CMPIInstance* bftGetInstance(const CMPIBroker* broker, const CMPIContext*,
                             const CMPIObjectPath* path, const char** properties,
                             CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Operations& operations) {
    const Instance instance =
        operations.getInstance(toModel(*pathOf(path)), propertyList(properties));
    return makeInstance(instance, stateOf(broker)->layouts.of(instance.path.className));
  });
}

CMPIEnumeration* bftAssociators(const CMPIBroker* broker, const CMPIContext*,
                                const CMPIObjectPath* path, const char* assocClass,
                                const char* resultClass, const char* role, const char* resultRole,
                                const char** properties, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Operations& operations) {
    return makeEnumeration(
        operations.associators(toModel(*pathOf(path)),
                               filterOf(assocClass, resultClass, role, resultRole),
                               propertyList(properties)),
        stateOf(broker)->layouts);
  });
}

CMPIEnumeration* bftAssociatorNames(const CMPIBroker* broker, const CMPIContext*,
                                    const CMPIObjectPath* path, const char* assocClass,
                                    const char* resultClass, const char* role,
                                    const char* resultRole, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Operations& operations) {
    return makeEnumeration(operations.associatorNames(
        toModel(*pathOf(path)), filterOf(assocClass, resultClass, role, resultRole)));
  });
}

CMPIEnumeration* bftReferences(const CMPIBroker* broker, const CMPIContext*,
                               const CMPIObjectPath* path, const char* resultClass,
                               const char* role, const char** properties, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Operations& operations) {
    return makeEnumeration(
        operations.references(toModel(*pathOf(path)), filterOf(nullptr, resultClass, role, nullptr),
                              propertyList(properties)),
        stateOf(broker)->layouts);
  });
}

CMPIEnumeration* bftReferenceNames(const CMPIBroker* broker, const CMPIContext*,
                                   const CMPIObjectPath* path, const char* resultClass,
                                   const char* role, CMPIStatus* status) {
  if (!checkPath(path, status)) return nullptr;
  return upcall(broker, status, [&](Operations& operations) {
    return makeEnumeration(operations.referenceNames(
        toModel(*pathOf(path)), filterOf(nullptr, resultClass, role, nullptr)));
  });
}

CMPIContext* bftPrepareAttachThread(const CMPIBroker*, const CMPIContext* context) {
  return context != nullptr ? context->ft->clone(context, nullptr) : nullptr;
}

CMPIStatus bftNothingToDo(const CMPIBroker*, const CMPIContext*) {
  return {CMPI_RC_OK, nullptr};
}

constexpr CMPIUint32 kBasicReadAndAssociations = 1 | 8;

CMPIBrokerFT makeTable() {
  using FT = CMPIBrokerFT;
  FT table{};
  table.brokerCapabilities = kBasicReadAndAssociations;
  table.brokerVersion = 200;
  table.brokerName = cmpi::kEmbeddedBrokerName;
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

}  // namespace

const CMPIBrokerFT& upcallTable() {
  static const CMPIBrokerFT table = makeTable();
  return table;
}

}  // namespace cimom
