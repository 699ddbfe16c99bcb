#include "machine_requests.h"

namespace scripted {

using namespace requests;
using cimom::ObjectPath;

ObjectPath systemPath() {
  return pathOf("OMC_UnitaryComputerSystem",
                {{"CreationClassName", "OMC_UnitaryComputerSystem"}, {"Name", "hosta01"}});
}

ObjectPath portPath(const std::string& id) {
  return byDeviceId("Zelmar_PCIPort", id);
}

ObjectPath groupPath(const std::string& id) {
  return pathOf("Zelmar_PCIPortGroup", {{"InstanceID", id}});
}

ObjectPath devicePath(const std::string& id) {
  return byDeviceId("Zelmar_PCIDevice", id);
}

ObjectPath bridgePath(const std::string& id) {
  return byDeviceId("Zelmar_PCIBridge", id);
}

ObjectPath switchPath(const std::string& id) {
  return byDeviceId("Zelmar_PCIeSwitch", id);
}

ObjectPath fullDevicePath(const std::string& className, const std::string& id) {
  return pathOf(className, {{"SystemCreationClassName", "OMC_UnitaryComputerSystem"},
                            {"SystemName", "hosta01"},
                            {"CreationClassName", className},
                            {"DeviceID", id}});
}

ObjectPath plainDevicePath(const std::string& id) {
  return fullDevicePath("Zelmar_PCIDevice", id);
}

std::vector<ObjectPath> knownInstances() {
  const ObjectPath group = groupPath("Zelmar:bus-0");
  return {plainDevicePath("D"),
          bridgePath("B"),
          switchPath("U"),
          portPath("B-sec"),
          group,
          pairOf("Zelmar_PCISystemDevice", "GroupComponent", systemPath(), "PartComponent",
                 plainDevicePath("D")),
          pairOf("Zelmar_PCIDeviceConnection", "Antecedent", portPath("B-sec"), "Dependent",
                 portPath("P-ep")),
          pairOf("Zelmar_PCIControlledBy", "Antecedent", plainDevicePath("D"), "Dependent",
                 portPath("P-ep")),
          pairOf("Zelmar_PCIHostedCollection", "Antecedent", systemPath(), "Dependent", group),
          pairOf("Zelmar_PCIMemberOfCollection", "Collection", group, "Member", portPath("B-sec"))};
}

namespace {

std::vector<ObjectPath> sourcesOf(const std::string& association) {
  if (association == "Zelmar_PCISystemDevice") {
    return {portPath("D-ep"), plainDevicePath("D"), systemPath()};
  }
  if (association == "Zelmar_PCIDeviceConnection") return {portPath("K-ep")};
  if (association == "Zelmar_PCIHostedCollection") {
    return {groupPath("Zelmar:bus-0"), systemPath()};
  }
  if (association == "Zelmar_PCIMemberOfCollection") {
    return {portPath("B-sec"), groupPath("Zelmar:bus-0")};
  }
  return {portPath("B-sec"), bridgePath("B"), bridgePath(""), portPath("")};
}

}  // namespace

std::vector<Request> requestsOf(const ObjectPath& instance) {
  const std::string& className = instance.className;
  std::vector<Request> all{
      {Operation::kEnumInstanceNames, className, pathOf(className)},
      {Operation::kEnumInstances, className, pathOf(className), {}, std::vector<std::string>{"x"}},
      {Operation::kGetInstance, className, instance}};
  if (instance.keys.front().value.type != cimom::CimType::kReference) return all;
  for (const ObjectPath& source : sourcesOf(className)) {
    for (const Operation operation : associationOperations()) {
      all.push_back({operation, className, source});
    }
  }
  return all;
}

std::vector<Request> allRequests() {
  std::vector<Request> all;
  for (const ObjectPath& instance : knownInstances()) {
    for (Request& request : requestsOf(instance)) all.push_back(std::move(request));
  }
  return all;
}

std::string nameOf(const Request& request) {
  return request.className + " " + requests::nameOf(request.operation) + " " +
         briefOf(request.path);
}

}  // namespace scripted
