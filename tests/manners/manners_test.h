#pragma once

#include "answer_text.h"

#include <machine_requests.h>
#include <scripted_machine.h>

#include <decorated_broker.h>

/// What the tests of answers under other manners share.
namespace manners {

/// An id that is too long for the text function of one object manager.
inline const std::string& longId() {
  static const std::string id = std::string(4200, 'k') + "-ep";
  return id;
}

/// The association with ids at both ends that are too long.
inline cimom::ObjectPath withLongIds(cimom::ObjectPath association) {
  for (cimom::NamedValue& role : association.keys) {
    const auto& end =
        *std::get<std::shared_ptr<const cimom::ObjectPath>>(role.value.elements.at(0));
    role.value = cimom::Value::reference(
        requests::pathOf(end.className, {{"DeviceID", longId()}, {"InstanceID", longId()}}));
  }
  return association;
}

/// Requests that are odd by themselves: keys that are empty, missing, unknown, malformed or too
/// long, and sources that the association does not serve.
inline std::vector<requests::Request> oddRequests() {
  using namespace requests;
  using namespace scripted;
  std::vector<Request> all;
  for (const char* className :
       {"Zelmar_PCIDevice", "Zelmar_PCIBridge", "Zelmar_PCIeSwitch", "Zelmar_PCIPort"}) {
    for (const std::string& id :
         {std::string(), std::string("unknown"), std::string("B"), longId()}) {
      all.push_back({Operation::kGetInstance, className, byDeviceId(className, id)});
    }
    all.push_back({Operation::kGetInstance, className, pathOf(className)});
  }
  for (const char* id : {"", "Zelmar:bus-77", "nothing"}) {
    all.push_back({Operation::kGetInstance, "Zelmar_PCIPortGroup", groupPath(id)});
  }
  for (const auto& instance : knownInstances()) {
    if (instance.keys.front().value.type != cimom::CimType::kReference) continue;
    const std::string& className = instance.className;
    all.push_back({Operation::kGetInstance, className, pathOf(className)});
    all.push_back({Operation::kGetInstance, className, withLongIds(instance)});
    for (const auto& source : {portPath("unknown-ep"), portPath("P-ep"), plainDevicePath("D"),
                               portPath(longId()), bridgePath(longId()), switchPath("U"),
                               groupPath("nothing"), pathOf("Zelmar_PCIPort"), instance}) {
      for (const Operation operation : associationOperations()) {
        all.push_back({operation, className, source});
      }
    }
  }
  return all;
}

inline bool answersInstances(requests::Operation operation) {
  using requests::Operation;
  return operation == Operation::kEnumInstances || operation == Operation::kGetInstance ||
         operation == Operation::kAssociators || operation == Operation::kReferences;
}

/// Every operation of every class, from all kinds of sources, with all properties.
inline std::vector<requests::Request> everyRequest() {
  std::vector<requests::Request> all = oddRequests();
  for (requests::Request& request : scripted::allRequests()) {
    request.properties.reset();
    all.push_back(std::move(request));
  }
  return all;
}

/// Those of them that return instances, with a property list.
inline std::vector<requests::Request> everyRequestFor(const cimom::PropertyList& properties) {
  std::vector<requests::Request> all = everyRequest();
  std::erase_if(all, [](const auto& request) { return !answersInstances(request.operation); });
  for (requests::Request& request : all) request.properties = properties;
  return all;
}

/// An object manager that serves the computer system over the scripted machine, and the provider
/// library, opened anew for each round of requests: its providers keep the broker that they were
/// made with.
class MannersTest : public testing::Test {
 protected:
  MannersTest() {
    setenv("QARCTL_HOST_NAME", "HostA01", 1);
    scripted::host().functions = scripted::machine();
    manager.loadProvider(SYSTEM_PROVIDER_LIBRARY);
  }

  /// Sends all requests, to the manager's broker or to a decorated one.
  std::vector<Exchange> exchange(const std::vector<requests::Request>& all,
                                 test_support::DecoratedBroker* broker = nullptr) {
    requests::ProviderLibrary library(PROVIDER_LIBRARY, manager.broker());
    std::vector<Exchange> exchanges;
    for (const auto& request : all) exchanges.push_back({request, library.send(request, broker)});
    return exchanges;
  }

  cimom::ObjectManager manager{requests::testClasses()};
};

}  // namespace manners
