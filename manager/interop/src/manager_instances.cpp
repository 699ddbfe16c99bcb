// Numbers of enumerations are those of the CIM schema; each is named where it is used.
#include "manager_instances.h"

#include <cstdint>
#include <initializer_list>
#include <utility>

namespace cimom {
namespace {

constexpr const char* kSystemClass = "CIM_ComputerSystem";
constexpr const char* kManagerClass = "CIM_ObjectManager";
constexpr const char* kManagerName = "pcicim";

Value number(std::uint64_t value) {
  return Value::number(CimType::kUint16, value);
}

Value numbers(std::initializer_list<std::uint64_t> values) {
  Value array{CimType::kUint16, true, false, {}};
  for (const std::uint64_t value : values) array.elements.emplace_back(value);
  return array;
}

Value texts(std::initializer_list<const char*> values) {
  Value array{CimType::kString, true, false, {}};
  for (const char* value : values) array.elements.emplace_back(std::string(value));
  return array;
}

/// An instance whose properties are its keys so far.
Instance withKeys(const std::string& className, std::vector<NamedValue> keys) {
  Instance instance;
  instance.path.className = className;
  instance.path.keys = std::move(keys);
  instance.properties = instance.path.keys;
  return instance;
}

void add(Instance& instance, std::vector<NamedValue> properties) {
  for (NamedValue& property : properties) instance.properties.push_back(std::move(property));
}

/// What is on and well: enabled, and no other state asked for.
void addGoodState(Instance& instance) {
  constexpr std::uint64_t kOk = 2;
  constexpr std::uint64_t kHealthy = 5;
  constexpr std::uint64_t kEnabled = 2;
  constexpr std::uint64_t kNotApplicable = 12;
  add(instance, {{"OperationalStatus", numbers({kOk})},
                 {"StatusDescriptions", texts({"OK"})},
                 {"Status", Value::text("OK")},
                 {"HealthState", number(kHealthy)},
                 {"EnabledState", number(kEnabled)},
                 {"RequestedState", number(kNotApplicable)}});
}

std::string managerName(const ObjectManagerFacts& facts) {
  return std::string(kManagerName) + "@" + facts.systemName;
}

Instance objectManager(const ObjectManagerFacts& facts) {
  Instance instance =
      withKeys(kManagerClass, {{"SystemCreationClassName", Value::text(kSystemClass)},
                               {"SystemName", Value::text(facts.systemName)},
                               {"CreationClassName", Value::text(kManagerClass)},
                               {"Name", Value::text(managerName(facts))}});
  add(instance,
      {{"Caption", Value::text("pcicim " + facts.version)},
       {"ElementName", Value::text(kManagerName)},
       {"Description", Value::text("The object manager of pcicim, version " + facts.version)},
       {"Started", Value::boolean(true)},
       {"GatherStatisticalData", Value::boolean(false)}});
  addGoodState(instance);
  return instance;
}

Instance nameSpaceInstance(const ObjectManagerFacts& facts, const std::string& name) {
  constexpr const char* kClass = "CIM_Namespace";
  constexpr std::uint64_t kUnknown = 0;
  constexpr std::uint64_t kCim = 2;
  Instance instance =
      withKeys(kClass, {{"SystemCreationClassName", Value::text(kSystemClass)},
                        {"SystemName", Value::text(facts.systemName)},
                        {"ObjectManagerCreationClassName", Value::text(kManagerClass)},
                        {"ObjectManagerName", Value::text(managerName(facts))},
                        {"CreationClassName", Value::text(kClass)},
                        {"Name", Value::text(name)}});
  add(instance, {{"ElementName", Value::text(name)},
                 {"ClassInfo", number(kUnknown)},
                 {"ClassType", number(kCim)}});
  return instance;
}

Instance communicationMechanism(const ObjectManagerFacts& facts) {
  constexpr const char* kClass = "CIM_CIMXMLCommunicationMechanism";
  constexpr std::uint64_t kCimXml = 2;
  constexpr std::uint64_t kVersion10 = 1;
  constexpr std::uint64_t kOther = 1;
  constexpr std::uint64_t kBasicRead = 2;
  constexpr std::uint64_t kAssociationTraversal = 6;
  constexpr std::uint64_t kNoAuthentication = 2;
  constexpr std::uint64_t kBasicAuthentication = 3;
  Instance instance = withKeys(kClass, {{"SystemCreationClassName", Value::text(kSystemClass)},
                                        {"SystemName", Value::text(facts.systemName)},
                                        {"CreationClassName", Value::text(kClass)},
                                        {"Name", Value::text("cim-xml")}});
  add(instance,
      {{"ElementName", Value::text("CIM-XML over HTTP")},
       {"CommunicationMechanism", number(kCimXml)},
       {"Version", Value::text("1.0")},
       {"CIMXMLProtocolVersion", number(kVersion10)},
       {"CIMValidated", Value::boolean(false)},
       {"FunctionalProfilesSupported", numbers({kBasicRead, kAssociationTraversal, kOther})},
       {"FunctionalProfileDescriptions",
        texts({"Basic Read", "Association Traversal",
               "Pulled enumerations and reading declarations of qualifiers"})},
       {"MultipleOperationsSupported", Value::boolean(false)},
       {"AuthenticationMechanismsSupported",
        numbers({facts.asksForPasswords ? kBasicAuthentication : kNoAuthentication})}});
  addGoodState(instance);
  return instance;
}

}  // namespace

std::vector<Instance> managerInstances(const ObjectManagerFacts& facts) {
  std::vector<Instance> instances{objectManager(facts), communicationMechanism(facts)};
  for (const std::string& name : facts.nameSpaces) {
    instances.push_back(nameSpaceInstance(facts, name));
  }
  return instances;
}

}  // namespace cimom
