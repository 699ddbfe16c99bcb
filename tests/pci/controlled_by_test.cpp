// Requests to the association of ports with what controls them.
#include "association_fixture.h"

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::Instance;
using cimom::ObjectPath;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

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
    const ObjectPath& controller = endOf(pair.path, "Antecedent");
    EXPECT_EQ(toText(controller.findKey("CreationClassName")->elements[0]), controller.className);
  }
}

TEST_F(AssociationRequests, ADevicesIdLeadsToThePortsOfItsFunction) {
  for (const auto& [source, ports] :
       std::vector<std::pair<ObjectPath, Names>>{{bridgePath("B"), {"B-pri", "B-sec"}},
                                                 {switchPath("U"), {"U-up"}},
                                                 {devicePath("P"), {"P-ep"}},
                                                 {devicePath("D"), {"D-ep"}}}) {
    expectAssociators(kControlledBy, source, each("Zelmar_PCIPort:", ports), kDone);
  }
}

TEST_F(AssociationRequests, ADevicesIdLeadsToTheNameOfItsLastPortAndThePeer) {
  for (const auto& [source, ports] :
       std::vector<std::pair<ObjectPath, Names>>{{bridgePath("B"), {"B-sec", "B-pri"}},
                                                 {switchPath("U"), {"U-up"}},
                                                 {devicePath("P"), {"P-ep"}},
                                                 {devicePath("D"), {"D-ep"}}}) {
    expectAssociatorNames(kControlledBy, source, each("Zelmar_PCIPort:", ports), kDone);
  }
}

TEST_F(AssociationRequests, APortsNameLeadsToItsController) {
  for (const auto& [id, controller] :
       std::vector<std::pair<std::string, std::string>>{{"B-sec", "Zelmar_PCIBridge:B"},
                                                        {"U-up", "Zelmar_PCIeSwitch:U"},
                                                        {"P-ep", "Zelmar_PCIDevice:P"},
                                                        {"D-ep", "Zelmar_PCIDevice:D"}}) {
    expectAssociators(kControlledBy, portPath(id), {controller}, kDone);
    expectAssociatorNames(kControlledBy, portPath(id), {controller}, kDone);
  }
  const Instance controller = associators(kControlledBy, portPath("B-sec")).instances.at(0);
  EXPECT_EQ(textOf(controller, "ElementName"), "Acme Widget #3");
  EXPECT_EQ(textOf(controller, "CreationClassName"), "Zelmar_PCIBridge");
  EXPECT_EQ(controller.findProperty("BridgeType"), nullptr);
}

TEST_F(AssociationRequests, APortOfADuplicateFunctionIsControlledByTheLast) {
  host().functions = {{"D", 1}, {"D", 2}};
  const Instance controller = associators(kControlledBy, portPath("D-ep")).instances.at(0);
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
      kControlledBy, bridgePath("B"),
      {"Zelmar_PCIBridge:B,Zelmar_PCIPort:B-sec", "Zelmar_PCIBridge:B,Zelmar_PCIPort:B-pri"},
      kDone);
  expectReferences(kControlledBy, switchPath("U"), {"Zelmar_PCIeSwitch:U,Zelmar_PCIPort:U-up"},
                   kDone);
  expectReferences(kControlledBy, devicePath("P"), {"Zelmar_PCIDevice:P,Zelmar_PCIPort:P-ep"},
                   kDone);
  expectReferences(kControlledBy, portPath("B-pri"), {"Zelmar_PCIBridge:B,Zelmar_PCIPort:B-pri"},
                   kDone);
}

TEST_F(AssociationRequests, AnIdOfNothingIndexedLeadsNowhere) {
  startLog();
  for (const ObjectPath& source :
       {bridgePath("H"), devicePath("none"), portPath("none-ep"), portPath("H-pri")}) {
    expectAssociators(kControlledBy, source, {}, kDone);
    expectAssociatorNames(kControlledBy, source, {}, kDone);
    expectReferences(kControlledBy, source, {}, kDone);
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(AssociationRequests, AnEmptyIdLeavesTheClassToDecideAndFindsNothing) {
  for (const ObjectPath& source : {bridgePath(""), switchPath(""), devicePath("")}) {
    startLog();
    expectAssociators(kControlledBy, source, {}, kDone);
    expectAssociatorNames(kControlledBy, source, {}, kDone);
    expectReferences(kControlledBy, source, {}, kDone);
    EXPECT_THAT(logLines(), IsEmpty());
  }
}

TEST_F(AssociationRequests, AnEmptyPortNameIsLoggedByTheNamesAlone) {
  startLog();
  EXPECT_THAT(references(kControlledBy, portPath("")).events, ElementsAreArray(kDone));
  EXPECT_THAT(associators(kControlledBy, portPath("")).events, ElementsAreArray(kDone));
  EXPECT_THAT(logLines(), IsEmpty());
  EXPECT_THAT(referenceNames(kControlledBy, portPath("")).events, ElementsAreArray(kDone));
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
  return pairOf(kControlledBy, "Antecedent", devicePath("anything"), "Dependent",
                portPath(portName));
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

}  // namespace
