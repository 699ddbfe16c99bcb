// Requests to the five associations over a scripted host.
#include "scripted_machine.h"

#include <decorated_broker.h>
#include <qarctl/HostCtlException.h>

#include <algorithm>
#include <map>
#include <stdexcept>

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::CimType;
using cimom::Instance;
using cimom::ObjectPath;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

using Names = std::vector<std::string>;

constexpr char kSystemDevice[] = "Zelmar_PCISystemDevice";
constexpr char kDeviceConnection[] = "Zelmar_PCIDeviceConnection";
constexpr char kControlledBy[] = "Zelmar_PCIControlledBy";
constexpr char kHostedCollection[] = "Zelmar_PCIHostedCollection";
constexpr char kMemberOfCollection[] = "Zelmar_PCIMemberOfCollection";
constexpr char kSystemBrief[] = "OMC_UnitaryComputerSystem:hosta01";

const Names kGroupIds{"Zelmar:bus-0", "Zelmar:bus-1", "Zelmar:bus-2", "Zelmar:bus-3"};
const Names kDone{"done"};
const Names kDoneTwice{"done", "done"};

ObjectPath port(const std::string& id) {
  return byDeviceId("Zelmar_PCIPort", id);
}
ObjectPath device(const std::string& id) {
  return byDeviceId("Zelmar_PCIDevice", id);
}
ObjectPath bridge(const std::string& id) {
  return byDeviceId("Zelmar_PCIBridge", id);
}
ObjectPath pcieSwitch(const std::string& id) {
  return byDeviceId("Zelmar_PCIeSwitch", id);
}
ObjectPath group(const std::string& id) {
  return pathOf("Zelmar_PCIPortGroup", {{"InstanceID", id}});
}
ObjectPath hostSystem() {
  return pathOf("OMC_UnitaryComputerSystem",
                {{"CreationClassName", "OMC_UnitaryComputerSystem"}, {"Name", "hosta01"}});
}

Names bracketed(const Names& names) {
  return each("[", names, "]");
}

/// Associations of one class as text, from "first,second" ends.
Names pairs(const std::string& className, const Names& ends) {
  return each(className + "(", ends, ")");
}

class AssociationRequests : public RequestTest {
 protected:
  Outcome ask(const char* className, Operation operation, const ObjectPath& source,
              const cimom::AssociationFilter& filter = {},
              const cimom::PropertyList& properties = std::nullopt) {
    return send({operation, className, source, filter, properties});
  }
  Outcome associators(const char* className, const ObjectPath& source) {
    return ask(className, Operation::kAssociators, source);
  }
  Outcome associatorNames(const char* className, const ObjectPath& source) {
    return ask(className, Operation::kAssociatorNames, source);
  }
  Outcome references(const char* className, const ObjectPath& source) {
    return ask(className, Operation::kReferences, source);
  }
  Outcome referenceNames(const char* className, const ObjectPath& source) {
    return ask(className, Operation::kReferenceNames, source);
  }
  Outcome enumerate(const char* className) {
    return ask(className, Operation::kEnumInstances, pathOf(className));
  }
  Outcome enumerateNames(const char* className) {
    return ask(className, Operation::kEnumInstanceNames, pathOf(className));
  }
  Outcome get(const ObjectPath& path) {
    return send({Operation::kGetInstance, path.className, path});
  }

  /// Both listings give the same pairs, then end once.
  void expectListings(const char* className, const Names& ends) {
    EXPECT_THAT(enumerate(className).events,
                ElementsAreArray(bracketed(pairs(className, ends)) + kDone));
    EXPECT_THAT(enumerateNames(className).events, ElementsAreArray(pairs(className, ends) + kDone));
  }

  /// Both reference operations give the same pairs and end as told.
  void expectReferences(const char* className, const ObjectPath& source, const Names& ends,
                        const Names& end) {
    EXPECT_THAT(references(className, source).events,
                ElementsAreArray(bracketed(pairs(className, ends)) + end))
        << briefOf(source);
    EXPECT_THAT(referenceNames(className, source).events,
                ElementsAreArray(pairs(className, ends) + end))
        << briefOf(source);
  }

  void expectAssociators(const char* className, const ObjectPath& source, const Names& objects,
                         const Names& end) {
    EXPECT_THAT(associators(className, source).events, ElementsAreArray(bracketed(objects) + end))
        << briefOf(source);
  }
  void expectAssociatorNames(const char* className, const ObjectPath& source, const Names& objects,
                             const Names& end) {
    EXPECT_THAT(associatorNames(className, source).events, ElementsAreArray(objects + end))
        << briefOf(source);
  }

  /// The machine's snapshot is there and what was logged for it forgotten.
  void startLog() {
    enumerateNames("Zelmar_PCIDevice");
    logLines().clear();
  }
  Names logTexts(int priority) {
    Names texts;
    for (const LogLine& line : logLines()) {
      if (line.priority == priority) texts.push_back(line.text);
    }
    return texts;
  }
};

// ---- What all five share

struct Unserved {
  const char* className;
  ObjectPath source;
  Operation operation;
  const char* text;
};

class UnservedSource : public AssociationRequests, public testing::WithParamInterface<int> {};

std::vector<Unserved> unservedSources() {
  std::vector<Unserved> all;
  const auto add = [&](const char* className, const std::vector<ObjectPath>& sources,
                       const std::vector<const char*>& texts) {
    for (const ObjectPath& source : sources) {
      for (std::size_t at = 0; at < texts.size(); ++at) {
        all.push_back({className, source, associationOperations()[at], texts[at]});
      }
    }
  };
  add(kSystemDevice, {bridge("B"), pcieSwitch("U"), group("Zelmar:bus-0"), pathOf("CIM_Other")},
      {"PCISystemDevice ai ignoring ", "PCISystemDevice ai ignoring ",
       "PCISystemDevice reference unsupported class ",
       "PCISystemDevice reference unsupported class "});
  add(kDeviceConnection,
      {bridge("B"), pcieSwitch("U"), device("D"), group("Zelmar:bus-0"), hostSystem(),
       pathOf("CIM_Other")},
      {"PCIDeviceConnection ai ignoring ", "PCIDeviceConnection ain ignoring ",
       "PCIDeviceConnection reference unsupported class ",
       "PCIDeviceConnection rin unsupported class "});
  add(kHostedCollection, {bridge("B"), pcieSwitch("U"), device("D"), port("D-ep")},
      {"PCIHostedCollection ai ignoring ", "PCIHostedCollection ain ignoring ",
       "PCIHostedCollection reference unsupported class ",
       "PCIHostedCollection reference unsupported class "});
  add(kMemberOfCollection, {bridge("B"), pcieSwitch("U"), device("D"), hostSystem()},
      {"PCIDeviceConnection ai ignoring ", "PCIDeviceConnection ai ignoring ",
       "PCIDeviceConnection reference unsupported class ",
       "PCIDeviceConnection reference unsupported class "});
  add(kControlledBy, {group("Zelmar:bus-0"), hostSystem(), pathOf("CIM_Other")},
      {"PCIControlledBy ai ignoring ", "PCIControlledBy ai ignoring ",
       "PCIControlledBy reference unsupported class ",
       "PCIControlledBy reference unsupported class "});
  return all;
}

TEST_P(UnservedSource, IsLoggedOnceAndAnsweredEmpty) {
  const Unserved unserved = unservedSources().at(static_cast<std::size_t>(GetParam()));
  startLog();
  const Outcome outcome = ask(unserved.className, unserved.operation, unserved.source);
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events, ElementsAreArray(kDone));
  EXPECT_THAT(logLines(),
              ElementsAre(logged(LOG_DEBUG, unserved.text + cimom::toText(unserved.source))));
}

INSTANTIATE_TEST_SUITE_P(All, UnservedSource,
                         testing::Range(0, static_cast<int>(unservedSources().size())),
                         [](const auto& testInfo) {
                           const Unserved unserved =
                               unservedSources().at(static_cast<std::size_t>(testInfo.param));
                           return std::string(unserved.className).substr(7) + "_" +
                                  nameOf(unserved.operation) + "_" + unserved.source.className;
                         });

/// The source's class is compared with these, in this order, until one fits.
const Names& testedClasses(const std::string& className, Operation operation) {
  static const Names portFirst{"Zelmar_PCIPort", "Zelmar_PCIDevice", "OMC_UnitaryComputerSystem"};
  static const Names deviceFirst{"Zelmar_PCIDevice", "Zelmar_PCIPort", "OMC_UnitaryComputerSystem"};
  static const std::map<std::string, Names> others{
      {kDeviceConnection, {"Zelmar_PCIPort"}},
      {kControlledBy,
       {"Zelmar_PCIBridge", "Zelmar_PCIeSwitch", "Zelmar_PCIDevice", "Zelmar_PCIPort"}},
      {kHostedCollection, {"Zelmar_PCIPortGroup", "OMC_UnitaryComputerSystem"}},
      {kMemberOfCollection, {"Zelmar_PCIPort", "Zelmar_PCIPortGroup"}}};
  if (className != kSystemDevice) return others.at(className);
  const bool navigates =
      operation == Operation::kAssociators || operation == Operation::kAssociatorNames;
  return navigates ? portFirst : deviceFirst;
}

TEST_F(AssociationRequests, SourcesAreComparedWithTheServedClassesInOrderUntilOneFits) {
  test_support::DecoratedBroker broker{provider.manager().broker()};
  for (const char* className :
       {kSystemDevice, kDeviceConnection, kControlledBy, kHostedCollection, kMemberOfCollection}) {
    for (const Operation operation : associationOperations()) {
      const Names& tested = testedClasses(className, operation);
      for (std::size_t at = 0; at <= tested.size(); ++at) {
        // One class after the other, then one that none of them is. No ids: they would decide.
        const ObjectPath source = pathOf(at < tested.size() ? tested[at] : "CIM_Other");
        broker.clear();
        provider.send({operation, className, source}, &broker);
        Names asked;
        for (const std::string& call : broker.callTexts("broker.classPathIsA")) {
          asked.push_back(call.substr(call.rfind(", ") + 2));
          asked.back().pop_back();
        }
        const auto end =
            tested.begin() + static_cast<std::ptrdiff_t>(std::min(at + 1, tested.size()));
        EXPECT_THAT(asked, ElementsAreArray(tested.begin(), end))
            << className << ' ' << nameOf(operation) << ' ' << source.className;
      }
    }
  }
}

struct Served {
  const char* className;
  ObjectPath source;
};

std::vector<Served> servedSources() {
  return {{kSystemDevice, port("D-ep")},
          {kSystemDevice, device("D")},
          {kSystemDevice, hostSystem()},
          {kDeviceConnection, port("P-ep")},
          {kDeviceConnection, port("B-pri")},
          {kControlledBy, port("B-sec")},
          {kControlledBy, bridge("B")},
          {kControlledBy, pcieSwitch("U")},
          {kControlledBy, device("D")},
          {kHostedCollection, group("Zelmar:bus-2")},
          {kHostedCollection, hostSystem()},
          {kMemberOfCollection, port("B-sec")},
          {kMemberOfCollection, group("Zelmar:bus-0")}};
}

TEST_F(AssociationRequests, FiltersChangeNothing) {
  const cimom::AssociationFilter filter{kHostedCollection, "Zelmar_PCIBridge", "Antecedent",
                                        "Member"};
  for (const auto& [className, source] : servedSources()) {
    for (const Operation operation : associationOperations()) {
      EXPECT_EQ(ask(className, operation, source, filter).events,
                ask(className, operation, source).events)
          << className << " " << nameOf(operation) << " " << briefOf(source);
    }
  }
}

TEST_F(AssociationRequests, AResultClassCountsForTheSystemAlone) {
  for (const char* resultClass : {"Zelmar_PCIPort", "zelmar_pciport", "Zelmar_PCIDevice"}) {
    for (const auto& [className, source] : servedSources()) {
      if (briefOf(source) == kSystemBrief && className == std::string(kSystemDevice)) continue;
      for (const Operation operation : associationOperations()) {
        EXPECT_EQ(ask(className, operation, source, {"", resultClass, "", ""}).events,
                  ask(className, operation, source).events)
            << className << " " << nameOf(operation) << " " << briefOf(source);
      }
    }
  }
}

TEST_F(AssociationRequests, SourcesOfASubclassAreServedAsTheirClass) {
  for (auto [className, source] : servedSources()) {
    ObjectPath special = source;
    special.className = "Special" + source.className.substr(source.className.find('_'));
    for (const Operation operation : associationOperations()) {
      // Some pairs of the controlling devices carry the source's own path.
      EXPECT_EQ(ask(className, operation, special).events.size(),
                ask(className, operation, source).events.size())
          << className << " " << nameOf(operation) << " " << briefOf(special);
      EXPECT_GT(ask(className, operation, special).events.size(),
                briefOf(source) == "Zelmar_PCIPort:P-ep" ? 0U : 1U);
    }
  }
}

TEST_F(AssociationRequests, ClassNamesOfSourcesAreReadInAnyCase) {
  ObjectPath source = port("D-ep");
  source.className = "ZELMAR_pciPORT";
  EXPECT_THAT(associatorNames(kMemberOfCollection, source).answers(),
              ElementsAre("Zelmar_PCIPortGroup:Zelmar:bus-3"));
}

TEST_F(AssociationRequests, APropertyListLeavesTheTwoKeys) {
  const cimom::PropertyList other = std::vector<std::string>{"BusNumber"};
  for (const auto& [className, source] : servedSources()) {
    const Outcome outcome = ask(className, Operation::kReferences, source, {}, other);
    EXPECT_EQ(outcome.events, references(className, source).events);
    for (const Instance& pair : outcome.instances) {
      EXPECT_EQ(propertyNames(pair), keyNames(pair.path)) << briefOf(pair.path);
      EXPECT_THAT(pair.properties, SizeIs(2));
    }
  }
}

TEST_F(AssociationRequests, APropertyListIsHandedOnForEachPair) {
  host().functions.push_back({"E", 4, 0x0200, 0, "X-ep"});  // makes a connection
  test_support::DecoratedBroker broker{provider.manager().broker()};
  for (const char* className :
       {kSystemDevice, kDeviceConnection, kControlledBy, kHostedCollection, kMemberOfCollection}) {
    broker.clear();
    const Outcome outcome = provider.send({.operation = Operation::kEnumInstances,
                                           .className = className,
                                           .path = pathOf(className),
                                           .properties = {{"Caption"}}},
                                          &broker);
    EXPECT_THAT(outcome.instances, testing::Not(IsEmpty())) << className;
    EXPECT_THAT(broker.callTexts("instance.setPropertyFilter"),
                testing::AllOf(
                    SizeIs(outcome.instances.size()),
                    testing::Each(testing::StartsWith("instance.setPropertyFilter([Caption], ["))))
        << className;
  }
}

TEST_F(AssociationRequests, APropertyListNarrowsAssociatedObjects) {
  const cimom::PropertyList wanted = std::vector<std::string>{"BusNumber"};
  for (const auto& [className, source] : servedSources()) {
    for (const Instance& object :
         ask(className, Operation::kAssociators, source, {}, wanted).instances) {
      if (object.path.className == "OMC_UnitaryComputerSystem") continue;
      EXPECT_EQ(propertyNames(object), keyNames(object.path) + Names{"BusNumber"});
    }
  }
}

TEST_F(AssociationRequests, PairsHaveTheirTwoRolesInOrder) {
  host().functions.push_back({"E", 4, 0x0200, 0, "X-ep"});
  const std::vector<std::pair<const char*, Names>> roles = {
      {kSystemDevice, {"GroupComponent", "PartComponent"}},
      {kDeviceConnection, {"Antecedent", "Dependent"}},
      {kControlledBy, {"Antecedent", "Dependent"}},
      {kHostedCollection, {"Antecedent", "Dependent"}},
      {kMemberOfCollection, {"Collection", "Member"}}};
  for (const auto& [className, names] : roles) {
    const Instance pair = enumerate(className).instances.at(0);
    EXPECT_EQ(keyNames(pair.path), names);
    EXPECT_EQ(propertyNames(pair), names);
    EXPECT_EQ(pair.path.nameSpace, "root/cimv2");
    for (const auto& key : pair.path.keys) EXPECT_EQ(key.value.type, CimType::kReference);
  }
}

TEST_F(AssociationRequests, AnEmptyHostHasNoPairs) {
  host().functions.clear();
  for (const char* className :
       {kSystemDevice, kDeviceConnection, kControlledBy, kHostedCollection, kMemberOfCollection}) {
    expectListings(className, {});
  }
  expectReferences(kSystemDevice, hostSystem(), {}, kDone);
  expectReferences(kHostedCollection, hostSystem(), {}, kDoneTwice);
}

// ---- The host system and its parts

const Names kPlainDevices{"X", "N", "D"};

Names systemDeviceEnds() {
  return each(std::string(kSystemBrief) + ",Zelmar_PCIDevice:", kPlainDevices);
}
Names systemPortEnds() {
  return each(std::string(kSystemBrief) + ",Zelmar_PCIPort:", machinePorts());
}

TEST_F(AssociationRequests, TheSystemHoldsPlainDevicesAndThenPorts) {
  expectListings(kSystemDevice, systemDeviceEnds() + systemPortEnds());
}

TEST_F(AssociationRequests, TheSystemsPathHasItsTwoKeys) {
  const Instance pair = enumerate(kSystemDevice).instances.at(0);
  const auto& system = *std::get<std::shared_ptr<const ObjectPath>>(
      pair.path.findKey("GroupComponent")->elements.at(0));
  EXPECT_EQ(cimom::toText(system), cimom::toText(hostSystem()));
}

TEST_F(AssociationRequests, AnyPortOrDeviceLeadsToTheSystem) {
  for (const ObjectPath& source : {port("D-ep"), port("unknown"), device("D"), device("unknown"),
                                   port(""), pathOf("Zelmar_PCIPort")}) {
    expectAssociators(kSystemDevice, source, {kSystemBrief}, kDone);
    expectAssociatorNames(kSystemDevice, source, {kSystemBrief}, kDone);
  }
}

TEST_F(AssociationRequests, TheSystemLeadsToPortsAndThenDevices) {
  const Names ports = each("Zelmar_PCIPort:", machinePorts());
  const Names devices = each("Zelmar_PCIDevice:", kPlainDevices);
  const auto narrowed = [&](Operation operation, const char* resultClass) {
    return ask(kSystemDevice, operation, hostSystem(), {"", resultClass, "", ""}).answers();
  };
  expectAssociators(kSystemDevice, hostSystem(), ports + devices, kDone);
  expectAssociatorNames(kSystemDevice, hostSystem(), ports + devices, kDone);
  for (const char* portClass : {"Zelmar_PCIPort", "zelmar_pciport", "ZELMAR_PCIPORT"}) {
    EXPECT_EQ(narrowed(Operation::kAssociators, portClass), bracketed(ports));
    EXPECT_EQ(narrowed(Operation::kAssociatorNames, portClass), ports);
  }
  for (const char* deviceClass : {"Zelmar_PCIDevice", "zelmar_pcidevice"}) {
    EXPECT_EQ(narrowed(Operation::kAssociators, deviceClass), bracketed(devices));
    EXPECT_EQ(narrowed(Operation::kAssociatorNames, deviceClass), devices);
  }
  for (const char* other : {"Zelmar_PCIBridge", "CIM_LogicalDevice", "Zelmar_PCIPortX"}) {
    EXPECT_EQ(narrowed(Operation::kAssociators, other), bracketed(ports + devices));
    EXPECT_EQ(narrowed(Operation::kAssociatorNames, other), ports + devices);
  }
}

TEST_F(AssociationRequests, TheKeysOfTheSystemDoNotCount) {
  const ObjectPath other = pathOf("OMC_UnitaryComputerSystem", {{"Name", "another"}});
  EXPECT_EQ(associators(kSystemDevice, other).events,
            associators(kSystemDevice, hostSystem()).events);
  EXPECT_EQ(references(kHostedCollection, other).events,
            references(kHostedCollection, hostSystem()).events);
  EXPECT_EQ(references(kSystemDevice, pathOf("OMC_UnitaryComputerSystem")).events,
            references(kSystemDevice, hostSystem()).events);
}

TEST_F(AssociationRequests, ReferencesOfOnePartAreThoseOfAllOfItsClass) {
  for (const char* id : {"D", "unknown", ""}) {
    expectReferences(kSystemDevice, device(id), systemDeviceEnds(), kDone);
    expectReferences(kSystemDevice, port(id), systemPortEnds(), kDone);
  }
  expectReferences(kSystemDevice, hostSystem(), systemDeviceEnds() + systemPortEnds(), kDone);
}

TEST_F(AssociationRequests, EachPartOfTheSystemCanBeFetched) {
  const Outcome all = enumerateNames(kSystemDevice);
  for (const ObjectPath& path : all.paths) {
    const Outcome outcome = get(path);
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(outcome.events, ElementsAreArray(bracketed({briefOf(path)}) + kDone));
  }
}

/// The path of a device as an enumeration of its class would give it.
ObjectPath fullDevice(const std::string& className, const std::string& id) {
  return pathOf(className, {{"SystemCreationClassName", "OMC_UnitaryComputerSystem"},
                            {"SystemName", "hosta01"},
                            {"CreationClassName", className},
                            {"DeviceID", id}});
}

TEST_F(AssociationRequests, WhatIsNoPartOfTheSystemIsNotFound) {
  const auto pairWith = [](const ObjectPath& system, const ObjectPath& part) {
    return pairOf(kSystemDevice, "GroupComponent", system, "PartComponent", part);
  };
  ObjectPath otherHost = hostSystem();
  otherHost.keys[1].value = cimom::Value::text("another");
  const ObjectPath known = fullDevice("Zelmar_PCIDevice", "D");
  ASSERT_THAT(get(pairWith(hostSystem(), known)).answers(), SizeIs(1));
  for (const ObjectPath& path :
       {pairWith(otherHost, known), pairWith(hostSystem(), fullDevice("Zelmar_PCIBridge", "B")),
        pairWith(hostSystem(), fullDevice("Zelmar_PCIDevice", "B")),
        pairWith(hostSystem(), fullDevice("Zelmar_PCIDevice", "P")),
        pairWith(hostSystem(), fullDevice("Zelmar_PCIeSwitch", "U")),
        pairWith(hostSystem(), device("D")), pairWith(known, known)}) {
    const Outcome outcome = get(path);
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND) << briefOf(path);
    EXPECT_THAT(outcome.events, IsEmpty());
  }
}

TEST_F(AssociationRequests, AnEmptyHostHasNoPart) {
  host().functions.clear();
  EXPECT_EQ(get(pairOf(kSystemDevice, "GroupComponent", hostSystem(), "PartComponent",
                       fullDevice("Zelmar_PCIDevice", "D")))
                .status,
            CMPI_RC_ERR_NOT_FOUND);
}

/// Makes the n-th call of one name fail from now on; counts from 1.
void failCall(const std::string& name, int failing) {
  host().onCall = [name, failing, count = 0](const std::string& call) mutable {
    if (call == name && ++count == failing) throw HostCtl::Lib::HostCtlException("broken host");
  };
}

constexpr char kReferenceFailure[] =
    "enumInstance request to retrieve PCI references failed,error broken host";

TEST_F(AssociationRequests, AFailureEndsTheNamesOfTheSystemsPartsOk) {
  startLog();
  failCall("GetAddress", 2);
  const Outcome outcome = enumerateNames(kSystemDevice);
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events,
              ElementsAreArray(pairs(kSystemDevice, {systemDeviceEnds()[0]}) + kDone));
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR, kReferenceFailure)));
}

TEST_F(AssociationRequests, AFailureEndsTheReferenceNamesOfTheSystemOk) {
  startLog();
  failCall("GetAddress", 2);
  const Outcome outcome = referenceNames(kSystemDevice, hostSystem());
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.answers(), SizeIs(1));
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR, kReferenceFailure)));
}

TEST_F(AssociationRequests, AFailureFailsTheOtherListingsOfTheSystem) {
  startLog();
  const std::vector<std::pair<Operation, ObjectPath>> requests = {
      {Operation::kEnumInstances, pathOf(kSystemDevice)},
      {Operation::kReferences, hostSystem()},
      {Operation::kReferences, device("D")},
      {Operation::kReferenceNames, device("D")},
      {Operation::kAssociators, hostSystem()},
      {Operation::kAssociatorNames, hostSystem()}};
  for (const auto& [operation, path] : requests) {
    failCall("GetAddress", 2);
    const Outcome outcome = ask(kSystemDevice, operation, path);
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_FAILED) << nameOf(operation);
    EXPECT_EQ(outcome.message, "broken host");
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(AssociationRequests, AFailureWhileAPartIsFetchedIsNotFound) {
  startLog();
  failCall("GetAddress", 1);
  const Outcome outcome = get(pairOf(kSystemDevice, "GroupComponent", hostSystem(), "PartComponent",
                                     fullDevice("Zelmar_PCIDevice", "D")));
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(outcome.events, IsEmpty());
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_ERR, kReferenceFailure)));
}

TEST_F(AssociationRequests, OnlyHostControlFailuresAreCaught) {
  startLog();
  host().onCall = [](const std::string& call) {
    if (call == "GetAddress") throw std::runtime_error("other");
  };
  const Outcome outcome = enumerateNames(kSystemDevice);
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_FAILED);
  EXPECT_EQ(outcome.message, "other");
}

// ---- Ports that connect

TEST_F(AssociationRequests, AMachineWithoutPortNamesForAddressesHasNoConnections) {
  expectListings(kDeviceConnection, {});
}

TEST_F(AssociationRequests, AFunctionBelowOneNamedLikeAPortIsConnectedToIt) {
  host().functions.push_back({"E", 4, 0x0200, 0, "X-ep"});
  // Below a port's name too, but without a port of its own.
  host().functions.push_back({"I", 4, 0x0601, -1, "X-ep"});
  expectListings(kDeviceConnection, {"Zelmar_PCIPort:X-ep,Zelmar_PCIPort:E-ep"});
}

TEST_F(AssociationRequests, ConnectedNamesComeFromTheHomePortsDevice) {
  const std::vector<std::pair<std::string, std::string>> far = {
      {"D-ep", "D-ep"},  {"U-up", "U-up"},   {"P-ep", "U-up"},   {"Q-ep", "U-up"},
      {"K-ep", "B-pri"}, {"B-sec", "B-pri"}, {"B-pri", "B-pri"}, {"X-ep", "X-ep"}};
  for (const auto& [source, name] : far) {
    expectAssociatorNames(kDeviceConnection, port(source), {"Zelmar_PCIPort:" + name}, kDoneTwice);
  }
}

TEST_F(AssociationRequests, ConnectedInstancesAreAllPortsOfTheFarDevice) {
  const Names bridgePorts{"Zelmar_PCIPort:B-pri", "Zelmar_PCIPort:B-sec"};
  for (const char* id : {"B-pri", "B-sec", "K-ep"}) {
    expectAssociators(kDeviceConnection, port(id), bridgePorts, kDoneTwice);
  }
  expectAssociators(kDeviceConnection, port("P-ep"), {"Zelmar_PCIPort:U-up"}, kDoneTwice);
}

TEST_F(AssociationRequests, ConnectionsPairTheHomePortWithTheSourcesOwn) {
  for (const auto& [id, ends] : std::vector<std::pair<std::string, std::string>>{
           {"D-ep", "Zelmar_PCIPort:D-ep,Zelmar_PCIPort:D-ep"},
           {"B-sec", "Zelmar_PCIPort:B-pri,Zelmar_PCIPort:B-pri"},
           {"U-up", "Zelmar_PCIPort:U-up,Zelmar_PCIPort:U-up"}}) {
    expectReferences(kDeviceConnection, port(id), {ends}, kDoneTwice);
  }
  // Nothing is counted to a downstream port's own device.
  expectReferences(kDeviceConnection, port("P-ep"), {}, kDone);
  expectReferences(kDeviceConnection, port("K-ep"), {}, kDone);
}

TEST_F(AssociationRequests, TheFarPortIsTheOneOnTheLowestBus) {
  host().functions = {{"U", 5, 0x0604, 5}, {"P", 2, 0x0604, 6, "U"}, {"Q", 2, 0x0604, 6, "U"}};
  startLog();
  expectAssociatorNames(kDeviceConnection, port("U-up"), {"Zelmar_PCIPort:P-ep"}, kDoneTwice);
  EXPECT_THAT(logLines(),
              ElementsAre(logged(LOG_DEBUG, "FindConnectedPort looking for lowest busid 5"),
                          logged(LOG_DEBUG, "FindConnectedPort returning bus 2")));
  expectAssociators(kDeviceConnection, port("U-up"), {"Zelmar_PCIPort:P-ep"}, kDoneTwice);
}

TEST_F(AssociationRequests, ADeviceWithoutPortsHasNoConnectedPortAndNoLogLine) {
  startLog();
  expectReferences(kDeviceConnection, port("P-ep"), {}, kDone);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(AssociationRequests, AnUnknownPortIsConnectedToNothing) {
  startLog();
  for (const ObjectPath& source : {port("unknown"), port(""), pathOf("Zelmar_PCIPort")}) {
    expectAssociators(kDeviceConnection, source, {}, kDone);
    expectAssociatorNames(kDeviceConnection, source, {}, kDone);
    expectReferences(kDeviceConnection, source, {}, kDone);
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(AssociationRequests, APortIsUnknownHoweverTheManagerSaysThatItsKeyIsMissing) {
  test_support::DecoratedBroker broker{provider.manager().broker()};
  for (const CMPIrc code : {CMPI_RC_ERR_NOT_FOUND, CMPI_RC_ERR_NO_SUCH_PROPERTY}) {
    broker.failNothing();
    broker.failCall("objectPath.getKey", 0, code);
    const Outcome outcome = provider.send(
        {Operation::kAssociators, kDeviceConnection, pathOf("Zelmar_PCIPort")}, &broker);
    EXPECT_EQ(outcome.status, CMPI_RC_OK) << code;
    EXPECT_THAT(outcome.events, ElementsAre("done")) << code;
    EXPECT_GE(broker.count("objectPath.getKey"), 1U);
  }
}

ObjectPath connection(const std::string& antecedent, const std::string& dependent) {
  return pairOf(kDeviceConnection, "Antecedent", port(antecedent), "Dependent", port(dependent));
}

TEST_F(AssociationRequests, AConnectionIsAnsweredWithTheDependentsHomeAndTheAntecedent) {
  for (const auto& [path, ends] : std::vector<std::pair<ObjectPath, std::string>>{
           {connection("D-ep", "P-ep"), "Zelmar_PCIPort:U-up,Zelmar_PCIPort:D-ep"},
           {connection("B-sec", "K-ep"), "Zelmar_PCIPort:B-pri,Zelmar_PCIPort:B-sec"},
           {connection("X-ep", "N-ep"), "Zelmar_PCIPort:N-ep,Zelmar_PCIPort:X-ep"}}) {
    startLog();
    const Outcome outcome = get(path);
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(outcome.events,
                ElementsAreArray(bracketed(pairs(kDeviceConnection, {ends})) + kDone));
    EXPECT_THAT(logLines(), ElementsAre(logged(LOG_DEBUG, "PCIDeviceConnection gi using item '" +
                                                              cimom::toText(path) + "'")));
  }
}

class ConnectionNotFound : public AssociationRequests {
 protected:
  void expectLines(const ObjectPath& path, const std::string& text) {
    logLines().clear();
    const Outcome outcome = get(path);
    EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_THAT(outcome.events, IsEmpty());
    EXPECT_THAT(
        logTexts(LOG_DEBUG),
        ElementsAre("PCIDeviceConnection gi using item '" + cimom::toText(path) + "'", text));
  }
};

TEST_F(ConnectionNotFound, WithAnUnknownDependent) {
  startLog();
  expectLines(connection("D-ep", "none"), "PCIDeviceConnection gi: lookup item 'none' not found");
  expectLines(connection("D-ep", ""), "PCIDeviceConnection gi: lookup item '' not found");
}

TEST_F(ConnectionNotFound, WithoutADependent) {
  startLog();
  ObjectPath path = connection("D-ep", "D-ep");
  path.keys.pop_back();
  expectLines(path, "PCIDeviceConnection gi: lookup item '' not found");
}

TEST_F(ConnectionNotFound, WithoutAnAntecedent) {
  startLog();
  ObjectPath path = connection("D-ep", "D-ep");
  path.keys.erase(path.keys.begin());
  expectLines(path, "PCIDeviceConnection gi FAILED FindConnectedPort()");
}

TEST_F(ConnectionNotFound, WithADependentWithoutName) {
  startLog();
  expectLines(
      pairOf(kDeviceConnection, "Antecedent", port("D-ep"), "Dependent", pathOf("Zelmar_PCIPort")),
      "PCIDeviceConnection gi: lookup item '' not found");
}

TEST_F(ConnectionNotFound, WhenTheDependentsOwnerHasNoPort) {
  host().functions.push_back({"G", 7, 0x0604, 6, "gone"});
  startLog();
  expectLines(connection("D-ep", "G-ep"), "PCIDeviceConnection gi item G-ep not found");
}

TEST_F(ConnectionNotFound, WhenTheOwnersPortIsNotInTheSnapshot) {
  startLog();
  // The switch cannot be told from a bridge any more, so its port gets another name.
  host().onCall = [](const std::string& call) {
    if (call == "GetPcieDeviceType") throw HostCtl::Lib::HostCtlException("broken host");
  };
  expectLines(connection("D-ep", "P-ep"),
              "PCIDeviceConnection gi no portNames, found using 'U-pri'");
}

TEST_F(ConnectionNotFound, WithAnUnknownAntecedent) {
  startLog();
  expectLines(connection("none", "D-ep"), "PCIDeviceConnection gi FAILED FindConnectedPort(none)");
}

// ---- Ports and what controls them

Names controlledByEnds() {
  Names ends;
  for (const auto& [controller, name] :
       std::vector<std::pair<std::string, std::string>>{{"Zelmar_PCIBridge:B", "B-pri"},
                                                        {"Zelmar_PCIBridge:B", "B-sec"},
                                                        {"Zelmar_PCIBridge:O", "O-pri"},
                                                        {"Zelmar_PCIBridge:O", "O-sec"},
                                                        {"Zelmar_PCIBridge:R", "R-pri"},
                                                        {"Zelmar_PCIBridge:R", "R-sec"},
                                                        {"Zelmar_PCIDevice:X", "X-ep"},
                                                        {"Zelmar_PCIDevice:N", "N-ep"},
                                                        {"Zelmar_PCIeSwitch:U", "U-up"},
                                                        {"Zelmar_PCIDevice:P", "P-ep"},
                                                        {"Zelmar_PCIDevice:Q", "Q-ep"},
                                                        {"Zelmar_PCIDevice:K", "K-ep"},
                                                        {"Zelmar_PCIDevice:D", "D-ep"}}) {
    ends.push_back(controller + ",Zelmar_PCIPort:" + name);
  }
  return ends;
}

TEST_F(AssociationRequests, EveryPortIsControlledByItsOwnFunction) {
  expectListings(kControlledBy, controlledByEnds());
}

TEST_F(AssociationRequests, ControllersAreNamedByTheirOwnClassThroughout) {
  for (const Instance& pair : enumerate(kControlledBy).instances) {
    const auto& controller = *std::get<std::shared_ptr<const ObjectPath>>(
        pair.path.findKey("Antecedent")->elements.at(0));
    EXPECT_EQ(toText(controller.findKey("CreationClassName")->elements[0]), controller.className);
  }
}

TEST_F(AssociationRequests, ADevicesIdLeadsToThePortsOfItsFunction) {
  for (const auto& [source, ports] :
       std::vector<std::pair<ObjectPath, Names>>{{bridge("B"), {"B-pri", "B-sec"}},
                                                 {pcieSwitch("U"), {"U-up"}},
                                                 {device("P"), {"P-ep"}},
                                                 {device("D"), {"D-ep"}}}) {
    expectAssociators(kControlledBy, source, each("Zelmar_PCIPort:", ports), kDone);
  }
}

TEST_F(AssociationRequests, ADevicesIdLeadsToTheNameOfItsLastPortAndThePeer) {
  for (const auto& [source, ports] :
       std::vector<std::pair<ObjectPath, Names>>{{bridge("B"), {"B-sec", "B-pri"}},
                                                 {pcieSwitch("U"), {"U-up"}},
                                                 {device("P"), {"P-ep"}},
                                                 {device("D"), {"D-ep"}}}) {
    expectAssociatorNames(kControlledBy, source, each("Zelmar_PCIPort:", ports), kDone);
  }
}

TEST_F(AssociationRequests, APortsNameLeadsToItsController) {
  for (const auto& [id, controller] :
       std::vector<std::pair<std::string, std::string>>{{"B-sec", "Zelmar_PCIBridge:B"},
                                                        {"U-up", "Zelmar_PCIeSwitch:U"},
                                                        {"P-ep", "Zelmar_PCIDevice:P"},
                                                        {"D-ep", "Zelmar_PCIDevice:D"}}) {
    expectAssociators(kControlledBy, port(id), {controller}, kDone);
    expectAssociatorNames(kControlledBy, port(id), {controller}, kDone);
  }
  const Instance controller = associators(kControlledBy, port("B-sec")).instances.at(0);
  EXPECT_EQ(textOf(controller, "ElementName"), "Acme Widget #3");
  EXPECT_EQ(textOf(controller, "CreationClassName"), "Zelmar_PCIBridge");
  EXPECT_EQ(controller.findProperty("BridgeType"), nullptr);
}

TEST_F(AssociationRequests, APortOfADuplicateFunctionIsControlledByTheLast) {
  host().functions = {{"D", 1}, {"D", 2}};
  const Instance controller = associators(kControlledBy, port("D-ep")).instances.at(0);
  EXPECT_EQ(textOf(controller, "BusNumber"), "2");
}

TEST_F(AssociationRequests, AnIdDecidesWhateverTheClass) {
  for (const std::string className :
       {"Zelmar_PCIPort", "Zelmar_PCIDevice", "Zelmar_PCIPortGroup", "CIM_Other"}) {
    expectAssociatorNames(kControlledBy, byDeviceId(className, "B"),
                          {"Zelmar_PCIPort:B-sec", "Zelmar_PCIPort:B-pri"}, kDone);
    expectAssociatorNames(kControlledBy, byDeviceId(className, "B-pri"), {"Zelmar_PCIBridge:B"},
                          kDone);
  }
}

TEST_F(AssociationRequests, IdsLeadToTheirPairs) {
  expectReferences(
      kControlledBy, bridge("B"),
      {"Zelmar_PCIBridge:B,Zelmar_PCIPort:B-sec", "Zelmar_PCIBridge:B,Zelmar_PCIPort:B-pri"},
      kDone);
  expectReferences(kControlledBy, pcieSwitch("U"), {"Zelmar_PCIeSwitch:U,Zelmar_PCIPort:U-up"},
                   kDone);
  expectReferences(kControlledBy, device("P"), {"Zelmar_PCIDevice:P,Zelmar_PCIPort:P-ep"}, kDone);
  expectReferences(kControlledBy, port("B-pri"), {"Zelmar_PCIBridge:B,Zelmar_PCIPort:B-pri"},
                   kDone);
}

TEST_F(AssociationRequests, AnIdOfNothingIndexedLeadsNowhere) {
  startLog();
  for (const ObjectPath& source : {bridge("H"), device("none"), port("none-ep"), port("H-pri")}) {
    expectAssociators(kControlledBy, source, {}, kDone);
    expectAssociatorNames(kControlledBy, source, {}, kDone);
    expectReferences(kControlledBy, source, {}, kDone);
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(AssociationRequests, AnEmptyIdLeavesTheClassToDecideAndFindsNothing) {
  for (const ObjectPath& source : {bridge(""), pcieSwitch(""), device("")}) {
    startLog();
    expectAssociators(kControlledBy, source, {}, kDone);
    expectAssociatorNames(kControlledBy, source, {}, kDone);
    expectReferences(kControlledBy, source, {}, kDone);
    EXPECT_THAT(logLines(), IsEmpty());
  }
}

TEST_F(AssociationRequests, AnEmptyPortNameIsLoggedByTheNamesAlone) {
  startLog();
  EXPECT_THAT(references(kControlledBy, port("")).events, ElementsAreArray(kDone));
  EXPECT_THAT(associators(kControlledBy, port("")).events, ElementsAreArray(kDone));
  EXPECT_THAT(logLines(), IsEmpty());
  EXPECT_THAT(referenceNames(kControlledBy, port("")).events, ElementsAreArray(kDone));
  EXPECT_THAT(logLines(),
              ElementsAre(logged(LOG_DEBUG, "PCIControlledBy rin: lookup item '' not found")));
}

TEST_F(AssociationRequests, ASourceOfAServedClassWithoutAnIdIsTheBindingsError) {
  for (const char* className :
       {"Zelmar_PCIBridge", "Zelmar_PCIeSwitch", "Zelmar_PCIDevice", "Zelmar_PCIPort"}) {
    for (const Operation operation : associationOperations()) {
      const Outcome outcome = ask(kControlledBy, operation, pathOf(className));
      EXPECT_NE(outcome.status, CMPI_RC_OK) << className << " " << nameOf(operation);
      EXPECT_THAT(outcome.events, IsEmpty());
    }
  }
}

ObjectPath controlledBy(const std::string& portName) {
  return pairOf(kControlledBy, "Antecedent", device("anything"), "Dependent", port(portName));
}

TEST_F(AssociationRequests, AControlledPortIsAnsweredWithItsOwnersPair) {
  for (const auto& [id, ends] : std::vector<std::pair<std::string, std::string>>{
           {"P-ep", "Zelmar_PCIeSwitch:U,Zelmar_PCIPort:U-up"},
           {"K-ep", "Zelmar_PCIBridge:B,Zelmar_PCIPort:B-pri"},
           {"B-sec", "Zelmar_PCIBridge:B,Zelmar_PCIPort:B-pri"},
           {"D-ep", "Zelmar_PCIDevice:D,Zelmar_PCIPort:D-ep"}}) {
    startLog();
    const Outcome outcome = get(controlledBy(id));
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(outcome.events, ElementsAreArray(bracketed(pairs(kControlledBy, {ends})) + kDone));
    EXPECT_THAT(logLines(), ElementsAre(logged(
                                LOG_DEBUG, "GetInstance for " + cimom::toText(controlledBy(id)))));
  }
}

TEST_F(AssociationRequests, TheAntecedentOfAControlledPortIsNotRead) {
  ObjectPath path = controlledBy("D-ep");
  path.keys.erase(path.keys.begin());
  EXPECT_THAT(get(path).answers(), SizeIs(1));
}

TEST_F(AssociationRequests, AnUnknownControlledPortIsNotFound) {
  startLog();
  const Outcome outcome = get(controlledBy("none-ep"));
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(outcome.events, IsEmpty());
  EXPECT_THAT(
      logLines(),
      ElementsAre(logged(LOG_DEBUG, "GetInstance for " + cimom::toText(controlledBy("none-ep"))),
                  logged(LOG_DEBUG, "PCIControlledBy gi: lookup item 'none-ep' not found")));
}

TEST_F(AssociationRequests, AControlledPortWhoseOwnerIsGoneIsNotFound) {
  host().functions.push_back({"G", 7, 0x0604, 6, "gone"});
  startLog();
  const Outcome outcome = get(controlledBy("G-ep"));
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(outcome.events, IsEmpty());
  EXPECT_THAT(
      logLines(),
      Contains(logged(LOG_DEBUG, "PCIControlledBy gi FAILED LookupPortEntry(parentID) = ")));
}

// ---- The host system and its port groups

TEST_F(AssociationRequests, TheSystemHostsAGroupPerBus) {
  const Names ends = each(std::string(kSystemBrief) + ",Zelmar_PCIPortGroup:", kGroupIds);
  expectListings(kHostedCollection, ends);
  expectReferences(kHostedCollection, hostSystem(), ends, kDoneTwice);
}

TEST_F(AssociationRequests, TheSystemLeadsToItsGroupsAndBack) {
  const Names groups = each("Zelmar_PCIPortGroup:", kGroupIds);
  expectAssociators(kHostedCollection, hostSystem(), groups, kDoneTwice);
  expectAssociatorNames(kHostedCollection, hostSystem(), groups, kDoneTwice);
  for (const char* id : {"Zelmar:bus-0", "Zelmar:bus-99", "malformed", ""}) {
    expectAssociators(kHostedCollection, group(id), {kSystemBrief}, kDone);
    expectAssociatorNames(kHostedCollection, group(id), {kSystemBrief}, kDone);
  }
}

TEST_F(AssociationRequests, AGroupHasOneHostingPair) {
  expectReferences(kHostedCollection, group("Zelmar:bus-2"),
                   {std::string(kSystemBrief) + ",Zelmar_PCIPortGroup:Zelmar:bus-2"}, kDoneTwice);
  for (const char* id : {"Zelmar:bus-99", "malformed", ""}) {
    expectReferences(kHostedCollection, group(id), {}, kDoneTwice);
  }
}

ObjectPath hosted(const ObjectPath& system, const std::string& id) {
  return pairOf(kHostedCollection, "Antecedent", system, "Dependent", group(id));
}

TEST_F(AssociationRequests, AHostedGroupIsFetchedByTheGroupAlone) {
  ObjectPath without = hosted(hostSystem(), "Zelmar:bus-1");
  without.keys.erase(without.keys.begin());
  for (const ObjectPath& path :
       {hosted(hostSystem(), "Zelmar:bus-1"),
        hosted(pathOf("OMC_UnitaryComputerSystem", {{"Name", "other"}}), "Zelmar:bus-1"),
        without}) {
    const Outcome outcome = get(path);
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(outcome.events,
                ElementsAreArray(
                    bracketed(pairs(kHostedCollection, {std::string(kSystemBrief) +
                                                        ",Zelmar_PCIPortGroup:Zelmar:bus-1"})) +
                    kDone));
  }
}

TEST_F(AssociationRequests, AHostedGroupWithoutPortsIsAnEmptyAnswer) {
  const Outcome outcome = get(hosted(hostSystem(), "Zelmar:bus-99"));
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events, ElementsAreArray(kDone));
}

TEST_F(AssociationRequests, AHostedGroupWithAnIllFormedIdIsNotFoundAndEnded) {
  const Outcome outcome = get(hosted(hostSystem(), "malformed"));
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(outcome.events, ElementsAreArray(kDone));
}

// ---- Groups and their members

Names memberEnds(const Names& busAndPort) {
  Names ends;
  for (const std::string& text : busAndPort) {
    ends.push_back("Zelmar_PCIPortGroup:Zelmar:bus-" + text.substr(0, 1) +
                   ",Zelmar_PCIPort:" + text.substr(2));
  }
  return ends;
}

TEST_F(AssociationRequests, EveryPortIsAMemberOfItsBusAndBridgePortsTwice) {
  expectListings(
      kMemberOfCollection,
      memberEnds({"0 B-pri", "0 B-sec", "0 B-sec", "0 B-pri", "0 O-pri", "0 O-sec", "0 O-sec",
                  "0 O-pri", "0 R-pri", "0 R-sec", "0 R-sec", "0 R-pri", "0 X-ep", "0 N-ep",
                  "1 U-up", "2 P-ep", "2 Q-ep", "1 K-ep", "3 D-ep"}));
}

TEST_F(AssociationRequests, APortLeadsToTheGroupOfItsBus) {
  for (const auto& [id, bus] : std::vector<std::pair<std::string, std::string>>{
           {"B-pri", "0"}, {"B-sec", "0"}, {"P-ep", "2"}, {"D-ep", "3"}}) {
    const Names expected{"Zelmar_PCIPortGroup:Zelmar:bus-" + bus};
    expectAssociators(kMemberOfCollection, port(id), expected, kDoneTwice);
    expectAssociatorNames(kMemberOfCollection, port(id), expected, kDoneTwice);
  }
  const Instance found = associators(kMemberOfCollection, port("D-ep")).instances.at(0);
  EXPECT_EQ(textOf(found, "ElementName"), "PCI port group with bus number 3");
}

TEST_F(AssociationRequests, AGroupLeadsToThePortsOfItsBus) {
  const Names ports = each("Zelmar_PCIPort:",
                           {"B-pri", "B-sec", "O-pri", "O-sec", "R-pri", "R-sec", "X-ep", "N-ep"});
  expectAssociators(kMemberOfCollection, group("Zelmar:bus-0"), ports, kDoneTwice);
  expectAssociatorNames(kMemberOfCollection, group("Zelmar:bus-0"), ports, kDoneTwice);
}

TEST_F(AssociationRequests, APortsMembershipComesWithItsPeers) {
  expectReferences(kMemberOfCollection, port("B-sec"), memberEnds({"0 B-sec", "0 B-pri"}),
                   kDoneTwice);
  expectReferences(kMemberOfCollection, port("B-pri"), memberEnds({"0 B-pri", "0 B-sec"}),
                   kDoneTwice);
  expectReferences(kMemberOfCollection, port("K-ep"), memberEnds({"1 K-ep"}), kDoneTwice);
}

TEST_F(AssociationRequests, AGroupsMembershipsComePerFunctionOnItsBus) {
  // Each bridge stands twice in the list of its bus.
  expectReferences(
      kMemberOfCollection, group("Zelmar:bus-0"),
      memberEnds({"0 B-sec", "0 B-pri", "0 B-sec", "0 B-pri", "0 O-sec", "0 O-pri", "0 O-sec",
                  "0 O-pri", "0 R-sec", "0 R-pri", "0 R-sec", "0 R-pri", "0 X-ep", "0 N-ep"}),
      kDoneTwice);
  expectReferences(kMemberOfCollection, group("x-2"), memberEnds({"2 P-ep", "2 Q-ep"}), kDoneTwice);
}

TEST_F(AssociationRequests, NamesFindTheSecondBridgePortByTheNameAlone) {
  host().functions = {{"A-sec-1", 6}};
  const Names one = memberEnds({"6 A-sec-1-ep"});
  EXPECT_THAT(references(kMemberOfCollection, group("x-6")).events,
              ElementsAreArray(bracketed(pairs(kMemberOfCollection, one)) + kDoneTwice));
  EXPECT_THAT(referenceNames(kMemberOfCollection, group("x-6")).events,
              ElementsAreArray(pairs(kMemberOfCollection, memberEnds({"6 A-sec-1-ep", "6 A-pri"})) +
                               kDoneTwice));
}

TEST_F(AssociationRequests, TheLastSuffixOfANameCounts) {
  host().functions = {{"A-sec-sec", 6}};
  EXPECT_THAT(
      referenceNames(kMemberOfCollection, group("x-6")).answers(),
      ElementsAreArray(pairs(kMemberOfCollection, memberEnds({"6 A-sec-sec-ep", "6 A-sec-pri"}))));
}

TEST_F(AssociationRequests, MembersOfADuplicateFunctionStandInTheGroupOfTheLastPort) {
  host().functions = {{"D", 1}, {"D", 2}};
  expectReferences(kMemberOfCollection, group("x-1"), memberEnds({"2 D-ep"}), kDoneTwice);
}

TEST_F(AssociationRequests, AnUnknownMemberIsLoggedByTheReferenceOperations) {
  startLog();
  expectReferences(kMemberOfCollection, port("none"), {}, kDone);
  EXPECT_THAT(
      logLines(),
      ElementsAre(logged(LOG_DEBUG, "MemberOfCollection ri: lookup item 'none' not found"),
                  logged(LOG_DEBUG, "MemberOfCollection ri: lookup item 'none' not found")));
  logLines().clear();
  expectAssociators(kMemberOfCollection, port("none"), {}, kDone);
  expectAssociatorNames(kMemberOfCollection, port("none"), {}, kDone);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(AssociationRequests, AnIllFormedGroupEndsTwiceAndOneWithoutPortsOnce) {
  for (const auto& [id, end] : std::vector<std::pair<std::string, Names>>{
           {"malformed", kDoneTwice}, {"", kDoneTwice}, {"Zelmar:bus-99", kDone}}) {
    expectAssociators(kMemberOfCollection, group(id), {}, end);
    expectAssociatorNames(kMemberOfCollection, group(id), {}, end);
    expectReferences(kMemberOfCollection, group(id), {}, end);
  }
}

ObjectPath member(const std::string& groupId, const std::string& portName) {
  return pairOf(kMemberOfCollection, "Collection", group(groupId), "Member", port(portName));
}

TEST_F(AssociationRequests, AMembershipIsFetchedByItsMemberAlone) {
  ObjectPath without = member("x-0", "B-sec");
  without.keys.erase(without.keys.begin());
  for (const ObjectPath& path : {member("Zelmar:bus-0", "B-sec"), member("Zelmar:bus-3", "B-sec"),
                                 member("malformed", "B-sec"), without}) {
    startLog();
    const Outcome outcome = get(path);
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    EXPECT_THAT(
        outcome.events,
        ElementsAreArray(bracketed(pairs(kMemberOfCollection, memberEnds({"0 B-sec"}))) + kDone));
    EXPECT_THAT(logLines(),
                ElementsAre(logged(LOG_DEBUG, "PCIMemberOfCollection " + cimom::toText(path))));
  }
}

TEST_F(AssociationRequests, AnUnknownMembershipIsNotFound) {
  startLog();
  const Outcome outcome = get(member("Zelmar:bus-0", "none"));
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(outcome.events, IsEmpty());
  EXPECT_THAT(logTexts(LOG_DEBUG),
              ElementsAre("PCIMemberOfCollection " + cimom::toText(member("Zelmar:bus-0", "none")),
                          "MemberOfCollection gi: lookup item 'none' not found"));
}

// ---- Hostile sources

class HostileSource : public AssociationRequests {
 protected:
  /// Neither crashes nor answers; the status is the binding's.
  void expectRefused(const char* className, const ObjectPath& path) {
    for (const Operation operation : path.className == className
                                         ? std::vector<Operation>{Operation::kGetInstance}
                                         : associationOperations()) {
      const Outcome outcome = ask(className, operation, path);
      EXPECT_NE(outcome.status, CMPI_RC_OK)
          << className << " " << nameOf(operation) << " " << cimom::toText(path);
      EXPECT_THAT(outcome.answers(), IsEmpty());
    }
  }
};

ObjectPath withNumber(const std::string& className, const char* key) {
  ObjectPath path = pathOf(className);
  path.keys.push_back({key, cimom::Value::number(CimType::kUint32, 7)});
  return path;
}

TEST_F(HostileSource, ANumberForAnIdIsATypeMismatch) {
  for (const auto& [className, source] : std::vector<std::pair<const char*, ObjectPath>>{
           {kControlledBy, withNumber("Zelmar_PCIPort", "DeviceID")},
           {kDeviceConnection, withNumber("Zelmar_PCIPort", "DeviceID")},
           {kMemberOfCollection, withNumber("Zelmar_PCIPort", "DeviceID")},
           {kMemberOfCollection, withNumber("Zelmar_PCIPortGroup", "InstanceID")}}) {
    expectRefused(className, source);
  }
  EXPECT_EQ(references(kHostedCollection, withNumber("Zelmar_PCIPortGroup", "InstanceID")).status,
            CMPI_RC_ERR_TYPE_MISMATCH);
}

TEST_F(HostileSource, PairsWithoutTheirReferencesAreRefused) {
  for (const char* className :
       {kSystemDevice, kDeviceConnection, kControlledBy, kHostedCollection, kMemberOfCollection}) {
    expectRefused(className, pathOf(className));
    expectRefused(className, pathOf(className, {{"Antecedent", "text"},
                                                {"Dependent", "text"},
                                                {"GroupComponent", "text"},
                                                {"PartComponent", "text"},
                                                {"Collection", "text"},
                                                {"Member", "text"}}));
  }
}

TEST_F(HostileSource, NullKeysAreEmptyTexts) {
  ObjectPath source = pathOf("Zelmar_PCIPort");
  source.keys.push_back({"DeviceID", cimom::Value::null(CimType::kString)});
  EXPECT_THAT(references(kMemberOfCollection, source).events, ElementsAreArray(kDone));
  EXPECT_THAT(associators(kControlledBy, source).events, ElementsAreArray(kDone));
}

TEST_F(HostileSource, HugeAndOddIdsAreJustUnknown) {
  for (const std::string& id :
       {std::string(1U << 20U, '-'), std::string("%s%n%s%n-\x01\xff"), std::string("'\"\\,=")}) {
    for (const char* className : {kDeviceConnection, kControlledBy, kMemberOfCollection}) {
      for (const Operation operation : associationOperations()) {
        const Outcome outcome = ask(className, operation, port(id));
        EXPECT_EQ(outcome.status, CMPI_RC_OK);
        EXPECT_THAT(outcome.events, ElementsAreArray(kDone));
      }
    }
  }
}

// ---- The system's own instance comes through the broker

TEST_F(AssociationRequests, TheSystemIsAskedForOnceThroughTheBroker) {
  test_support::DecoratedBroker watched(provider.manager().broker());
  const auto through = [&](const char* className, Operation operation, const ObjectPath& source) {
    watched.clear();
    provider.send({operation, className, source}, &watched);
    return std::make_pair(watched.count("broker.enumerateInstances"),
                          watched.count("broker.enumerateInstanceNames"));
  };
  using Counts = std::pair<std::size_t, std::size_t>;
  EXPECT_EQ(through(kSystemDevice, Operation::kAssociators, port("D-ep")), Counts(1, 0));
  EXPECT_EQ(through(kSystemDevice, Operation::kAssociatorNames, port("D-ep")), Counts(0, 0));
  EXPECT_EQ(through(kHostedCollection, Operation::kAssociators, group("x-0")), Counts(1, 0));
  EXPECT_EQ(through(kHostedCollection, Operation::kAssociatorNames, group("x-0")), Counts(0, 1));
}

TEST_F(AssociationRequests, TheSystemIsAskedForWithTheRequestsProperties) {
  test_support::DecoratedBroker watched(provider.manager().broker());
  const std::vector<std::string> wanted{"Name"};
  for (const auto& [className, source] : std::vector<std::pair<const char*, ObjectPath>>{
           {kSystemDevice, device("D")}, {kHostedCollection, group("x-0")}}) {
    watched.clear();
    provider.send({Operation::kAssociators, className, source, {}, wanted}, &watched);
    EXPECT_THAT(watched.callTexts("broker.enumerateInstances"),
                ElementsAre("broker.enumerateInstances(root/cimv2:OMC_UnitaryComputerSystem, "
                            "[Name])"));
  }
}

}  // namespace
