// Functions that call themselves otherwise once the snapshot is there: what is looked up by an
// address asked for anew, and what is not.
#include "machine_requests.h"
#include "scripted_machine.h"

namespace {

using namespace requests;
using namespace scripted;
using testing::ElementsAre;

class RenamedLater : public RequestTest {
 protected:
  /// Functions of one bus, A and C of which call themselves otherwise from now on.
  RenamedLater() {
    host().functions = {{"A", 1}, {"B", 1, 0x0604, 4}, {"C", 1}, {"E", 1}};
    provider.instanceMI("Zelmar_PCIPort");
    host().addressNow = [](const std::string& address) {
      if (address == "A") return std::string("gone");
      return address == "C" ? std::string("E") : address;
    };
  }
};

TEST_F(RenamedLater, AGroupsMembersAreFoundByTheAddressesOfNow) {
  const auto ask = [&](Operation operation) {
    return send({operation, "Zelmar_PCIMemberOfCollection", groupPath("Zelmar:bus-1")}).answers();
  };
  const auto member = [](const std::string& name) {
    return "Zelmar_PCIMemberOfCollection(Zelmar_PCIPortGroup:Zelmar:bus-1,Zelmar_PCIPort:" + name +
           ")";
  };
  // A has no port under its new name, C has that of E, and B is there once for each of its ports.
  EXPECT_THAT(ask(Operation::kReferenceNames),
              ElementsAre(member("B-sec"), member("B-pri"), member("B-sec"), member("B-pri"),
                          member("E-ep"), member("E-ep")));
  EXPECT_THAT(ask(Operation::kReferences).size(), 6U);
}

TEST_F(RenamedLater, AFarPortIsFoundByTheAddressOfNow) {
  const auto ask = [&](Operation operation, const std::string& name) {
    return send({operation, "Zelmar_PCIDeviceConnection", portPath(name)}).answers();
  };
  EXPECT_THAT(ask(Operation::kAssociatorNames, "A-ep"), ElementsAre());
  EXPECT_THAT(ask(Operation::kReferenceNames, "A-ep"), ElementsAre());
  EXPECT_THAT(ask(Operation::kAssociatorNames, "E-ep"), ElementsAre("Zelmar_PCIPort:E-ep"));
}

TEST_F(RenamedLater, AControllerIsFoundByItsFormerAddressAndNamedByTheNewOne) {
  const auto pairOfA = "Zelmar_PCIControlledBy(Zelmar_PCIDevice:gone,Zelmar_PCIPort:A-ep)";
  const auto ask = [&](const std::string& id) {
    return send({Operation::kReferenceNames, "Zelmar_PCIControlledBy", devicePath(id)}).answers();
  };
  EXPECT_THAT(ask("A"), ElementsAre(pairOfA));
  EXPECT_THAT(ask("gone"), ElementsAre());
}

class RenamedInTheBuild : public RequestTest {};

TEST_F(RenamedInTheBuild, AControllerIsIndexedByTheAddressThatItHasThen) {
  host().functions = {{"D", 1}};
  // Listing it, deriving its port and naming that take four calls.
  host().addressNow = [asked = 0](const std::string& address) mutable {
    return ++asked > 4 ? "renamed" : address;
  };
  const auto ask = [&](const std::string& id) {
    return send({Operation::kAssociatorNames, "Zelmar_PCIControlledBy", devicePath(id)}).answers();
  };
  EXPECT_THAT(ask("renamed"), ElementsAre("Zelmar_PCIPort:D-ep"));
  EXPECT_THAT(ask("D"), ElementsAre());
}

}  // namespace
