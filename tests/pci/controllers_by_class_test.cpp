// Ports and what controls them, where the snapshot and the source's class alone decide. A source's
// id decides as long as it can be read, so these tests make the first reading fail, through a
// decorated broker: the operation then goes by the class, whose worker reads the id again. The last
// tests have host control fail after the snapshot was made, which must not change the classes in
// it. The notation of expected answers is that of association_fixture.h.
#include "association_fixture.h"

#include <decorated_broker.h>
#include <qarctl/HostCtlException.h>

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::Instance;
using cimom::ObjectPath;
using test_support::DecoratedBroker;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

Names ports(const Names& names) {
  return each("Zelmar_PCIPort:", names);
}
/// The pairs of one controller with each of the ports.
Names pairsWith(const std::string& controller, const Names& portNames) {
  return pairs(kControlledBy, each(controller + ",Zelmar_PCIPort:", portNames));
}

std::string keyText(const ObjectPath& path, const char* key) {
  return cimom::toText(path.findKey(key)->elements.at(0));
}

/// Sources whose id can be read on the second try alone: their class decides, and the worker of
/// that class reads the id.
class ControllersByClass : public RequestTest {
 protected:
  Outcome ask(Operation operation, const ObjectPath& source) {
    const Request request{operation, kControlledBy, source};
    provider.send(request, &broker);
    logLines().clear();
    broker.clear();
    broker.failCall("objectPath.getKey", 1, CMPI_RC_ERR_FAILED);
    Outcome outcome = provider.send(request, &broker);
    broker.failNothing();
    EXPECT_EQ(outcome.status, CMPI_RC_OK) << nameOf(operation) << ' ' << briefOf(source);
    return outcome;
  }

  void expectAssociators(const ObjectPath& source, const Names& instances, const Names& names) {
    EXPECT_THAT(ask(Operation::kAssociators, source).events,
                ElementsAreArray(bracketed(instances) + kDone))
        << briefOf(source);
    EXPECT_THAT(ask(Operation::kAssociatorNames, source).events, ElementsAreArray(names + kDone))
        << briefOf(source);
  }

  /// Both reference operations return these pairs, then `end`.
  void expectReferences(const ObjectPath& source, const Names& expected, const Names& end) {
    EXPECT_THAT(ask(Operation::kReferences, source).events,
                ElementsAreArray(bracketed(expected) + end))
        << briefOf(source);
    EXPECT_THAT(ask(Operation::kReferenceNames, source).events, ElementsAreArray(expected + end))
        << briefOf(source);
  }

  DecoratedBroker broker{provider.manager().broker()};
};

TEST_F(ControllersByClass, ABridgeLeadsToThePortsUnderItWithoutItsOwn) {
  expectAssociators(bridgePath("B"), ports({"K-ep"}), ports({"K-ep"}));
  expectAssociators(bridgePath("O"), {}, {});
  expectReferences(bridgePath("B"), pairsWith("Zelmar_PCIBridge:B", {"K-ep"}), kDone);
  expectReferences(bridgePath("O"), {}, kDone);
}

TEST_F(ControllersByClass, APartOfABridgesAddressLeadsToItsPortsButToNoPairs) {
  host().functions = {{"0:B", 0, 0x0604, 4, "", 1}, {"K", 1, 0x0604, 6, "0:B"}};
  expectAssociators(bridgePath("0:"), ports({"K-ep"}), ports({"K-ep"}));
  expectReferences(bridgePath("0:"), {}, kDone);
  expectReferences(bridgePath("0:B"), pairsWith("Zelmar_PCIBridge:0:B", {"K-ep"}), kDone);
}

TEST_F(ControllersByClass, ASwitchLeadsToThePortsUnderItWithoutItsOwn) {
  expectAssociators(switchPath("U"), ports({"P-ep", "Q-ep"}), ports({"P-ep", "Q-ep"}));
  expectReferences(switchPath("U"), pairsWith("Zelmar_PCIeSwitch:U", {"P-ep", "Q-ep"}), kDone);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ControllersByClass, ASearchForASwitchIsLoggedByTheAssociatorsAlone) {
  ask(Operation::kAssociators, switchPath("U"));
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_CRIT, "ListSwitchPorts searching U (p:2) for U")));
  ask(Operation::kAssociatorNames, switchPath("none"));
  EXPECT_THAT(logLines(),
              ElementsAre(logged(LOG_CRIT, "ListSwitchPortsRef searching U (p:2) for none")));
  ask(Operation::kReferences, switchPath("none"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ControllersByClass, ADeviceLeadsToAllItsPortsButToTheNameOfTheFirst) {
  expectAssociators(devicePath("B"), ports({"B-pri", "B-sec"}), ports({"B-pri"}));
  expectAssociators(devicePath("U"), ports({"U-up"}), ports({"U-up"}));
  expectAssociators(devicePath("D"), ports({"D-ep"}), ports({"D-ep"}));
  // Its port is counted to the switch.
  expectAssociators(devicePath("P"), {}, {});
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ControllersByClass, ADeviceIsPairedWithItsConnectedPortAndThatPortsPeer) {
  expectReferences(devicePath("B"), pairsWith("Zelmar_PCIDevice:B", {"B-pri", "B-sec"}), kDone);
  expectReferences(devicePath("D"), pairsWith("Zelmar_PCIDevice:D", {"D-ep"}), kDone);
  EXPECT_THAT(logLines(),
              ElementsAre(logged(LOG_DEBUG, "FindConnectedPort looking for lowest busid 3"),
                          logged(LOG_DEBUG, "FindConnectedPort returning bus 3")));
}

TEST_F(ControllersByClass, ADevicesConnectedPortIsTheOneOnTheLowestBus) {
  host().functions = {{"U", 5, 0x0604, 5}, {"P", 2, 0x0604, 6, "U"}, {"Q", 2, 0x0604, 6, "U"}};
  expectReferences(devicePath("U"), pairsWith("Zelmar_PCIDevice:U", {"P-ep"}), kDone);
}

TEST_F(ControllersByClass, ADeviceWithoutPortsIsPairedWithNoneOfThoseBelowIt) {
  host().functions = {{"I", 0, 0x0601}, {"P", 1, 0x0604, 6, "I"}};
  expectReferences(devicePath("I"), {}, kDone);
  EXPECT_THAT(logLines(), IsEmpty());
  // Its name is known, though nothing is counted to it.
  expectReferences(devicePath("P"), {}, kDone);
  expectReferences(devicePath("none"), {}, kDone);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ControllersByClass, APortLeadsToItsDeviceUnderThePlainCreationClass) {
  const Names controllers{"Zelmar_PCIBridge:B"};
  expectAssociators(portPath("B-sec"), controllers, controllers);
  for (const auto& [id, className] :
       std::vector<std::pair<std::string, std::string>>{{"B-sec", "Zelmar_PCIBridge"},
                                                        {"U-up", "Zelmar_PCIeSwitch"},
                                                        {"P-ep", "Zelmar_PCIDevice"},
                                                        {"D-ep", "Zelmar_PCIDevice"}}) {
    const Instance instance = ask(Operation::kAssociators, portPath(id)).instances.at(0);
    const ObjectPath path = ask(Operation::kAssociatorNames, portPath(id)).paths.at(0);
    EXPECT_EQ(instance.path.className, className);
    EXPECT_EQ(path.className, className);
    EXPECT_EQ(keyText(instance.path, "CreationClassName"), "Zelmar_PCIDevice");
    EXPECT_EQ(keyText(path, "CreationClassName"), "Zelmar_PCIDevice");
    EXPECT_EQ(textOf(instance, "ElementName"), "Acme Widget #3");
  }
}

TEST_F(ControllersByClass, AnUnknownPortIsLoggedByTheNameOfTheSearch) {
  expectAssociators(portPath("none-ep"), {}, {});
  EXPECT_THAT(logLines(),
              ElementsAre(logged(LOG_DEBUG, "ListControllersRef cop=none-ep not found")));
  ask(Operation::kAssociators, portPath("none-ep"));
  EXPECT_THAT(logLines(), ElementsAre(logged(LOG_DEBUG, "ListControllers cop=none-ep not found")));
}

TEST_F(ControllersByClass, APortIsPairedAsItsOwnersFirstAndEndsTwice) {
  expectReferences(portPath("P-ep"), pairsWith("Zelmar_PCIeSwitch:U", {"U-up"}), kDoneTwice);
  expectReferences(portPath("K-ep"), pairsWith("Zelmar_PCIBridge:B", {"B-pri"}), kDoneTwice);
  expectReferences(portPath("B-sec"), pairsWith("Zelmar_PCIBridge:B", {"B-pri"}), kDoneTwice);
  expectReferences(portPath("D-ep"), pairsWith("Zelmar_PCIDevice:D", {"D-ep"}), kDoneTwice);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(ControllersByClass, APortWithoutAPairIsLoggedByTheNamesAloneAndEndsOnce) {
  host().functions.push_back({"G", 7, 0x0604, 6, "gone"});
  for (const auto& [id, text] : std::vector<std::pair<std::string, std::string>>{
           {"none-ep", "PCIControlledBy rin: lookup item 'none-ep' not found"},
           {"G-ep", "PCIControlledBy gi FAILED LookupPortEntry(parentID) = "}}) {
    EXPECT_THAT(ask(Operation::kReferences, portPath(id)).events, ElementsAreArray(kDone));
    EXPECT_THAT(logLines(), IsEmpty());
    EXPECT_THAT(ask(Operation::kReferenceNames, portPath(id)).events, ElementsAreArray(kDone));
    EXPECT_THAT(logLines(), ElementsAre(logged(LOG_DEBUG, text)));
  }
}

TEST_F(ControllersByClass, TheControllerIsTheRequestsOwnPathAndThatOfAPortTheSnapshots) {
  for (ObjectPath source : {bridgePath("B"), switchPath("U"), devicePath("D")}) {
    source.keys.push_back({"SystemName", cimom::Value::text("as it came")});
    const Instance instance = ask(Operation::kReferences, source).instances.at(0);
    const ObjectPath pair = ask(Operation::kReferenceNames, source).paths.at(0);
    EXPECT_EQ(cimom::toText(endOf(instance.path, "Antecedent")), cimom::toText(source));
    EXPECT_EQ(cimom::toText(endOf(pair, "Antecedent")), cimom::toText(source));
    EXPECT_EQ(keyText(endOf(pair, "Dependent"), "SystemName"), "hosta01");
  }
  const ObjectPath pair = ask(Operation::kReferenceNames, portPath("P-ep")).paths.at(0);
  EXPECT_EQ(keyText(endOf(pair, "Antecedent"), "SystemName"), "hosta01");
  EXPECT_EQ(keyText(endOf(pair, "Antecedent"), "CreationClassName"), "Zelmar_PCIeSwitch");
}

/// A function that calls itself otherwise once its ports have their names, so that they are sorted
/// under it as those of another function: the only ports under a bridge or switch with a peer.
class RenamedFunction : public ControllersByClass {
 protected:
  RenamedFunction() {
    host().functions = {{"F", 0, 0x0604, 5}};
    host().addressNow = [asked = 0](const std::string& address) mutable {
      return ++asked > 3 ? "renamed" : address;
    };
  }
  static Names peersOf(const char* className) {
    return pairsWith(std::string(className) + ":F", {"F-pri", "F-sec", "F-sec", "F-pri"});
  }
};

TEST_F(RenamedFunction, ThatIsABridgeIsPairedWithItsPortsAndTheirPeers) {
  host().functions[0].pcieType = 4;
  expectReferences(bridgePath("F"), peersOf("Zelmar_PCIBridge"), kDone);
}

TEST_F(RenamedFunction, ThatIsASwitchIsPairedWithItsPortsAndTheirPeers) {
  // Classed as a switch, it looks like a bridge when its ports are made.
  host().onCall = [addresses = 0](const std::string& call) mutable {
    addresses += call == "GetAddress" ? 1 : 0;
    if (addresses > 1 && call == "HasCapability") {
      throw HostCtl::Lib::HostCtlException("broken host");
    }
  };
  expectReferences(switchPath("F"), peersOf("Zelmar_PCIeSwitch"), kDone);
}

/// The classes of controllers are those that they had when the snapshot was made.
class StoredClass : public RequestTest {
 protected:
  StoredClass() {
    send({Operation::kEnumInstanceNames, kControlledBy, pathOf(kControlledBy)});
    logLines().clear();
    host().onCall = [](const std::string& call) {
      if (call == "HasCapability" || call == "GetClassCode" || call == "GetPcieDeviceType") {
        throw HostCtl::Lib::HostCtlException("broken host");
      }
    };
  }

  Outcome ask(Operation operation, const ObjectPath& source) {
    return send({operation, kControlledBy, source});
  }
};

TEST_F(StoredClass, NamesTheControllersOfAListingWhileThePlatformFails) {
  for (const Operation operation : {Operation::kEnumInstanceNames, Operation::kEnumInstances}) {
    const Outcome outcome = ask(operation, pathOf(kControlledBy));
    EXPECT_EQ(outcome.status, CMPI_RC_OK);
    Names controllers;
    for (const Instance& pair : outcome.instances) {
      controllers.push_back(briefOf(endOf(pair.path, "Antecedent")));
    }
    for (const ObjectPath& pair : outcome.paths) {
      controllers.push_back(briefOf(endOf(pair, "Antecedent")));
    }
    EXPECT_THAT(
        controllers,
        ElementsAreArray(each("Zelmar_PCIBridge:", {"B", "B", "O", "O", "R", "R"}) +
                         Names{"Zelmar_PCIDevice:X", "Zelmar_PCIDevice:N", "Zelmar_PCIeSwitch:U"} +
                         each("Zelmar_PCIDevice:", {"P", "Q", "K", "D"})));
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(StoredClass, NamesTheControllerOfAnIdWhileThePlatformFails) {
  for (const ObjectPath& source : {switchPath("U"), portPath("U-up")}) {
    EXPECT_THAT(ask(Operation::kReferenceNames, source).answers(),
                ElementsAreArray(pairsWith("Zelmar_PCIeSwitch:U", {"U-up"})));
    EXPECT_THAT(ask(Operation::kReferences, source).answers(),
                ElementsAreArray(bracketed(pairsWith("Zelmar_PCIeSwitch:U", {"U-up"}))));
  }
  EXPECT_THAT(ask(Operation::kAssociatorNames, portPath("B-sec")).answers(),
              ElementsAre("Zelmar_PCIBridge:B"));
  EXPECT_THAT(logLines(), IsEmpty());
}

}  // namespace
