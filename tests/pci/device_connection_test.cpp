// Requests to the association of ports that connect.
#include "association_fixture.h"

#include <decorated_broker.h>
#include <qarctl/HostCtlException.h>

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::ObjectPath;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

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
    expectAssociatorNames(kDeviceConnection, portPath(source), {"Zelmar_PCIPort:" + name},
                          kDoneTwice);
  }
}

TEST_F(AssociationRequests, ConnectedInstancesAreAllPortsOfTheFarDevice) {
  const Names bridgePorts{"Zelmar_PCIPort:B-pri", "Zelmar_PCIPort:B-sec"};
  for (const char* id : {"B-pri", "B-sec", "K-ep"}) {
    expectAssociators(kDeviceConnection, portPath(id), bridgePorts, kDoneTwice);
  }
  expectAssociators(kDeviceConnection, portPath("P-ep"), {"Zelmar_PCIPort:U-up"}, kDoneTwice);
}

TEST_F(AssociationRequests, ConnectionsPairTheHomePortWithTheSourcesOwn) {
  for (const auto& [id, ends] : std::vector<std::pair<std::string, std::string>>{
           {"D-ep", "Zelmar_PCIPort:D-ep,Zelmar_PCIPort:D-ep"},
           {"B-sec", "Zelmar_PCIPort:B-pri,Zelmar_PCIPort:B-pri"},
           {"U-up", "Zelmar_PCIPort:U-up,Zelmar_PCIPort:U-up"}}) {
    expectReferences(kDeviceConnection, portPath(id), {ends}, kDoneTwice);
  }
  // Nothing is counted to a downstream port's own device.
  expectReferences(kDeviceConnection, portPath("P-ep"), {}, kDone);
  expectReferences(kDeviceConnection, portPath("K-ep"), {}, kDone);
}

TEST_F(AssociationRequests, TheFarPortIsTheOneOnTheLowestBus) {
  host().functions = {{"U", 5, 0x0604, 5}, {"P", 2, 0x0604, 6, "U"}, {"Q", 2, 0x0604, 6, "U"}};
  startLog();
  expectAssociatorNames(kDeviceConnection, portPath("U-up"), {"Zelmar_PCIPort:P-ep"}, kDoneTwice);
  EXPECT_THAT(logLines(),
              ElementsAre(logged(LOG_DEBUG, "FindConnectedPort looking for lowest busid 5"),
                          logged(LOG_DEBUG, "FindConnectedPort returning bus 2")));
  expectAssociators(kDeviceConnection, portPath("U-up"), {"Zelmar_PCIPort:P-ep"}, kDoneTwice);
}

TEST_F(AssociationRequests, ADeviceWithoutPortsHasNoConnectedPortAndNoLogLine) {
  startLog();
  expectReferences(kDeviceConnection, portPath("P-ep"), {}, kDone);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(AssociationRequests, AnUnknownPortIsConnectedToNothing) {
  startLog();
  for (const ObjectPath& source : {portPath("unknown"), portPath(""), pathOf("Zelmar_PCIPort")}) {
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
  return pairOf(kDeviceConnection, "Antecedent", portPath(antecedent), "Dependent",
                portPath(dependent));
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
  expectLines(pairOf(kDeviceConnection, "Antecedent", portPath("D-ep"), "Dependent",
                     pathOf("Zelmar_PCIPort")),
              "PCIDeviceConnection gi: lookup item '' not found");
}

TEST_F(ConnectionNotFound, WhenTheDependentsOwnerHasNoPort) {
  host().functions.push_back({"G", 7, 0x0604, 6, "gone"});
  startLog();
  expectLines(connection("D-ep", "G-ep"), "PCIDeviceConnection gi item G-ep not found");
}

TEST_F(ConnectionNotFound, WhenTheOwnersPortIsNotInTheSnapshot) {
  startLog();
  // The switch looks like a bridge from now on, so its port gets another name.
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

}  // namespace
