// What the five associations have in common: the sources that each serves and refuses, what filters
// and property lists change, the roles of pairs, and the host system that comes through the broker.
// Each test goes through all associations, with a source of each kind that one serves.
#include "association_fixture.h"

#include <decorated_broker.h>

#include <algorithm>
#include <map>

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::CimType;
using cimom::Instance;
using cimom::ObjectPath;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

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
  add(kSystemDevice,
      {bridgePath("B"), switchPath("U"), groupPath("Zelmar:bus-0"), pathOf("CIM_Other")},
      {"PCISystemDevice ai ignoring ", "PCISystemDevice ai ignoring ",
       "PCISystemDevice reference unsupported class ",
       "PCISystemDevice reference unsupported class "});
  add(kDeviceConnection,
      {bridgePath("B"), switchPath("U"), devicePath("D"), groupPath("Zelmar:bus-0"), systemPath(),
       pathOf("CIM_Other")},
      {"PCIDeviceConnection ai ignoring ", "PCIDeviceConnection ain ignoring ",
       "PCIDeviceConnection reference unsupported class ",
       "PCIDeviceConnection rin unsupported class "});
  add(kHostedCollection, {bridgePath("B"), switchPath("U"), devicePath("D"), portPath("D-ep")},
      {"PCIHostedCollection ai ignoring ", "PCIHostedCollection ain ignoring ",
       "PCIHostedCollection reference unsupported class ",
       "PCIHostedCollection reference unsupported class "});
  add(kMemberOfCollection, {bridgePath("B"), switchPath("U"), devicePath("D"), systemPath()},
      {"PCIDeviceConnection ai ignoring ", "PCIDeviceConnection ai ignoring ",
       "PCIDeviceConnection reference unsupported class ",
       "PCIDeviceConnection reference unsupported class "});
  add(kControlledBy, {groupPath("Zelmar:bus-0"), systemPath(), pathOf("CIM_Other")},
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
  for (const char* className : kAssociations) {
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
  return {{kSystemDevice, portPath("D-ep")},
          {kSystemDevice, devicePath("D")},
          {kSystemDevice, systemPath()},
          {kDeviceConnection, portPath("P-ep")},
          {kDeviceConnection, portPath("B-pri")},
          {kControlledBy, portPath("B-sec")},
          {kControlledBy, bridgePath("B")},
          {kControlledBy, switchPath("U")},
          {kControlledBy, devicePath("D")},
          {kHostedCollection, groupPath("Zelmar:bus-2")},
          {kHostedCollection, systemPath()},
          {kMemberOfCollection, portPath("B-sec")},
          {kMemberOfCollection, groupPath("Zelmar:bus-0")}};
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
  ObjectPath source = portPath("D-ep");
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
  for (const char* className : kAssociations) {
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
  for (const char* className : kAssociations) {
    expectListings(className, {});
  }
  expectReferences(kSystemDevice, systemPath(), {}, kDone);
  expectReferences(kHostedCollection, systemPath(), {}, kDoneTwice);
}

TEST_F(AssociationRequests, TheSystemIsAskedForOnceThroughTheBroker) {
  test_support::DecoratedBroker watched(provider.manager().broker());
  const auto through = [&](const char* className, Operation operation, const ObjectPath& source) {
    watched.clear();
    provider.send({operation, className, source}, &watched);
    return std::make_pair(watched.count("broker.enumerateInstances"),
                          watched.count("broker.enumerateInstanceNames"));
  };
  using Counts = std::pair<std::size_t, std::size_t>;
  EXPECT_EQ(through(kSystemDevice, Operation::kAssociators, portPath("D-ep")), Counts(1, 0));
  EXPECT_EQ(through(kSystemDevice, Operation::kAssociatorNames, portPath("D-ep")), Counts(0, 0));
  EXPECT_EQ(through(kHostedCollection, Operation::kAssociators, groupPath("x-0")), Counts(1, 0));
  EXPECT_EQ(through(kHostedCollection, Operation::kAssociatorNames, groupPath("x-0")),
            Counts(0, 1));
}

TEST_F(AssociationRequests, TheSystemIsAskedForWithTheRequestsProperties) {
  test_support::DecoratedBroker watched(provider.manager().broker());
  const std::vector<std::string> wanted{"Name"};
  for (const auto& [className, source] : std::vector<std::pair<const char*, ObjectPath>>{
           {kSystemDevice, devicePath("D")}, {kHostedCollection, groupPath("x-0")}}) {
    watched.clear();
    provider.send({Operation::kAssociators, className, source, {}, wanted}, &watched);
    EXPECT_THAT(watched.callTexts("broker.enumerateInstances"),
                ElementsAre("broker.enumerateInstances(root/cimv2:OMC_UnitaryComputerSystem, "
                            "[Name])"));
  }
}

}  // namespace
