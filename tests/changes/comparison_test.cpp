#include <changes/comparison.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "made_machine.h"

namespace changetest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Two root ports with a card each, a switch with two ports, one of them empty, and a second root
/// bus.
MadeHost host() {
  return {endpoint("0000:00:00.0").model(0x10),
          bridge("0000:00:01.0", 1),
          endpoint("0000:01:00.0", "0000:00:01.0").model(0x11).inSlot(1).named("Net"),
          bridge("0000:00:02.0", 2),
          endpoint("0000:02:00.0", "0000:00:02.0").model(0x12).inSlot(2).named("Disk"),
          bridge("0000:00:03.0", 3),
          upstream("0000:03:00.0", "0000:00:03.0"),
          downstream("0000:04:00.0", "0000:03:00.0"),
          downstream("0000:04:01.0", "0000:03:00.0"),
          endpoint("0000:05:00.0", "0000:04:00.0").model(0x13).named("Graphics"),
          endpoint("0000:05:00.1", "0000:04:00.0").model(0x14).named("Sound"),
          bridge("0000:80:00.0", 0x81),
          endpoint("0000:81:00.0", "0000:80:00.0").model(0x15).named("Fabric")};
}

TEST(Compare, TellsNothingOfEqualHosts) {
  EXPECT_THAT(told(host(), host()), IsEmpty());
  EXPECT_THAT(told(MadeHost{}, MadeHost{}), IsEmpty());
}

TEST(Compare, TellsWhatIsGoneAndThePortThatIsEmptyForIt) {
  EXPECT_THAT(told(host(), host().remove("0000:01:00.0")),
              ElementsAre("gone: 0000:01:00.0 Net (slot 1; 0000:00:01.0 is now empty)"));
}

TEST(Compare, TellsWhatIsNewAndThePortThatItOccupies) {
  EXPECT_THAT(told(host().remove("0000:01:00.0"), host()),
              ElementsAre("new: 0000:01:00.0 Net (slot 1; 0000:00:01.0 is no longer empty)"));
}

TEST(Compare, TellsAllOfAHostThatComesOrGoes) {
  EXPECT_THAT(told(host(), MadeHost{}),
              ElementsAre("gone: 0000:00:00.0 Card", "gone: 0000:00:01.0 Bridge",
                          "gone: 0000:01:00.0 Net (slot 1)", "gone: 0000:00:02.0 Bridge",
                          "gone: 0000:02:00.0 Disk (slot 2)",
                          "gone: 0000:00:03.0 Bridge (with 3 bridges and ports behind it)",
                          "gone: 0000:05:00.0-1 Graphics, Sound", "gone: 0000:80:00.0 Bridge",
                          "gone: 0000:81:00.0 Fabric"));
  EXPECT_EQ(told(MadeHost{}, host()).size(), 9U);
}

TEST(Compare, TellsACardInAnotherSlotInOneLine) {
  MadeHost after = host().remove("0000:01:00.0");
  after.add(endpoint("0000:06:00.0", "0000:04:01.0").model(0x11).inSlot(7).named("Net"));
  EXPECT_THAT(told(host(), after),
              ElementsAre("moved: 0000:01:00.0 Net to 0000:06:00.0 (slot 7, was 1; behind "
                          "0000:04:01.0, was behind 0000:00:01.0; 0000:00:01.0 is now empty; "
                          "0000:04:01.0 is no longer empty)"));
}

TEST(Compare, TellsACardOfManyFunctionsInOneLine) {
  MadeHost after = host().remove("0000:05:00.0").remove("0000:05:00.1");
  after.add(endpoint("0000:06:00.0", "0000:04:01.0").model(0x13).named("Graphics"));
  after.add(endpoint("0000:06:00.1", "0000:04:01.0").model(0x14).named("Sound"));
  EXPECT_THAT(told(host(), after),
              ElementsAre("moved: 0000:05:00.0-1 Graphics, Sound to 0000:06:00.0 (behind "
                          "0000:04:01.0, was behind 0000:04:00.0; 0000:04:00.0 is now empty; "
                          "0000:04:01.0 is no longer empty)"));
}

TEST(Compare, NamesTheFunctionsOfACardByTheirNumbers) {
  const MadeHost none{};
  const MadeHost card{endpoint("0000:00:05.0"), endpoint("0000:00:05.1"), endpoint("0000:00:05.3"),
                      endpoint("0000:00:05.6"), endpoint("0000:00:05.7")};
  EXPECT_THAT(told(none, card), ElementsAre("new: 0000:00:05.0-1,3,6-7 Card"));
}

TEST(Compare, TellsACardWithAllBehindItInOneLine) {
  MadeHost before{bridge("0000:00:01.0", 1), bridge("0000:00:02.0", 0)};
  MadeHost after = before;
  before.add(upstream("0000:01:00.0", "0000:00:01.0"))
      .add(downstream("0000:02:00.0", "0000:01:00.0"))
      .add(downstream("0000:02:01.0", "0000:01:00.0"))
      .add(endpoint("0000:03:00.0", "0000:02:00.0"));
  after.at("0000:00:01.0").secondaryBus = 0;
  after.at("0000:00:02.0").secondaryBus = 5;
  after.add(upstream("0000:05:00.0", "0000:00:02.0"))
      .add(downstream("0000:06:00.0", "0000:05:00.0"))
      .add(downstream("0000:06:01.0", "0000:05:00.0"))
      .add(endpoint("0000:07:00.0", "0000:06:00.0"));
  EXPECT_THAT(told(before, after),
              ElementsAre("moved: 0000:01:00.0 Switch to 0000:05:00.0 (behind 0000:00:02.0, was "
                          "behind 0000:00:01.0; with 3 functions behind it; 0000:00:01.0 is now "
                          "empty; 0000:00:02.0 is no longer empty)",
                          "changed: 0000:00:01.0 Bridge: SecondaryBusNumber 1 is now 0",
                          "changed: 0000:00:02.0 Bridge: SecondaryBusNumber 0 is now 5"));
}

TEST(Compare, FindsAMovedCardOfWhichAPartIsGone) {
  MadeHost after = host().remove("0000:05:00.0").remove("0000:05:00.1");
  after.add(endpoint("0000:06:00.0", "0000:04:01.0").model(0x13).named("Graphics"));
  EXPECT_THAT(told(host(), after),
              ElementsAre("moved: 0000:05:00.0 Graphics to 0000:06:00.0 (behind 0000:04:01.0, was "
                          "behind 0000:04:00.0; 0000:04:00.0 is now empty; 0000:04:01.0 is no "
                          "longer empty)",
                          "gone: 0000:05:00.1 Sound"));
}

TEST(Compare, TellsAMoveThatKeepsTheAddress) {
  const MadeHost before{bridge("0000:00:01.0", 1), bridge("0000:00:02.0", 0),
                        endpoint("0000:01:00.0", "0000:00:01.0")};
  const MadeHost after{bridge("0000:00:01.0", 0), bridge("0000:00:02.0", 1),
                       endpoint("0000:01:00.0", "0000:00:02.0")};
  EXPECT_THAT(told(before, after),
              testing::Contains("moved: 0000:01:00.0 Card to 0000:01:00.0 (behind 0000:00:02.0, "
                                "was behind 0000:00:01.0; 0000:00:01.0 is now empty; "
                                "0000:00:02.0 is no longer empty)"));
}

TEST(Compare, TellsEachOfTwoCardsThatChangedPlaces) {
  MadeHost after = host();
  std::swap(after.at("0000:01:00.0").device, after.at("0000:02:00.0").device);
  std::swap(after.at("0000:01:00.0").name, after.at("0000:02:00.0").name);
  EXPECT_THAT(told(host(), after),
              ElementsAre("moved: 0000:01:00.0 Net to 0000:02:00.0 (slot 2, was 1; behind "
                          "0000:00:02.0, was behind 0000:00:01.0)",
                          "moved: 0000:02:00.0 Disk to 0000:01:00.0 (slot 1, was 2; behind "
                          "0000:00:01.0, was behind 0000:00:02.0)"));
}

TEST(Compare, TellsNothingOfTwoEqualCardsThatChangedPlaces) {
  const MadeHost equal{endpoint("0000:00:01.0"), endpoint("0000:00:02.0")};
  const MadeHost other{endpoint("0000:00:02.0"), endpoint("0000:00:01.0")};
  EXPECT_THAT(told(equal, other), IsEmpty());
}

TEST(Compare, OfEqualCardsThoseStayThatAreAtTheSamePlace) {
  const MadeHost before{endpoint("0000:00:01.0"), endpoint("0000:00:02.0"),
                        endpoint("0000:00:03.0")};
  const MadeHost after{endpoint("0000:00:02.0"), endpoint("0000:00:03.0"),
                       endpoint("0000:00:04.0")};
  EXPECT_THAT(told(before, after), ElementsAre("moved: 0000:00:01.0 Card to 0000:00:04.0"));
}

TEST(Compare, KeepsEqualCardsApartByWhatIsBehindThem) {
  MadeHost before{bridge("0000:00:01.0", 1), bridge("0000:00:02.0", 2), bridge("0000:00:03.0", 0),
                  bridge("0000:00:04.0", 0)};
  MadeHost after{bridge("0000:00:01.0", 0), bridge("0000:00:02.0", 0), bridge("0000:00:03.0", 1),
                 bridge("0000:00:04.0", 2)};
  const auto addCard = [](MadeHost& to, const std::string& bus, const std::string& parent,
                          const std::string& behind, unsigned model) {
    const std::string card = "0000:" + bus + ":00.0";
    to.add(
        bridge(card, static_cast<unsigned>(std::stoul(behind, nullptr, 16)), parent).model(0x50));
    to.add(endpoint("0000:" + behind + ":00.0", card).model(model));
  };
  addCard(before, "01", "0000:00:01.0", "11", 0x51);
  addCard(before, "02", "0000:00:02.0", "12", 0x52);
  addCard(after, "01", "0000:00:03.0", "11", 0x52);
  addCard(after, "02", "0000:00:04.0", "12", 0x51);
  const std::vector<std::string> lines = told(before, after);
  EXPECT_THAT(lines, testing::Contains(testing::StartsWith(
                         "moved: 0000:01:00.0 Bridge to 0000:02:00.0 (behind 0000:00:04.0")));
  EXPECT_THAT(lines, testing::Contains(testing::StartsWith(
                         "moved: 0000:02:00.0 Bridge to 0000:01:00.0 (behind 0000:00:03.0")));
  EXPECT_THAT(lines, testing::Not(testing::Contains(testing::StartsWith("moved: 0000:11"))));
}

/// The buses behind root ports, one further each.
std::map<unsigned, unsigned> oneFurther() {
  return {{1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}};
}

TEST(Compare, TellsRenumberedBusesAsSuch) {
  EXPECT_THAT(told(host(), host().renumber(oneFurther())),
              ElementsAre("buses 01-05 are now 02-06"));
  EXPECT_THAT(told(host(), host().renumber({{5, 9}})), ElementsAre("bus 05 is now 09"));
  EXPECT_THAT(told(host(), host().renumber({{0x80, 0x40}, {0x81, 0x41}})),
              ElementsAre("buses 80-81 are now 40-41"));
}

TEST(Compare, TellsBusesThatChangedNumbersWithEachOther) {
  EXPECT_THAT(told(host(), host().renumber({{1, 2}, {2, 1}})),
              ElementsAre("bus 01 is now 02", "bus 02 is now 01"));
}

TEST(Compare, TellsACardThatIsGoneBesideRenumberedBuses) {
  EXPECT_THAT(told(host(), host().remove("0000:01:00.0").renumber(oneFurther())),
              ElementsAre("buses 01-05 are now 02-06",
                          "gone: 0000:01:00.0 Net (slot 1; 0000:00:01.0 is now empty)"));
}

TEST(Compare, TellsASwitchThatIsGoneBesideRenumberedBuses) {
  MadeHost after = host();
  for (const char* id : {"0000:00:03.0", "0000:03:00.0", "0000:04:00.0", "0000:04:01.0",
                         "0000:05:00.0", "0000:05:00.1"}) {
    after.remove(id);
  }
  after.renumber({{1, 3}, {2, 4}});
  EXPECT_THAT(told(host(), after),
              ElementsAre("buses 01-02 are now 03-04",
                          "gone: 0000:00:03.0 Bridge (with 3 bridges and ports behind it)",
                          "gone: 0000:05:00.0-1 Graphics, Sound"));
}

TEST(Compare, TellsACardThatIsNewBesideRenumberedBuses) {
  MadeHost after = host().renumber({{5, 6}});
  after.add(endpoint("0000:05:00.0", "0000:04:01.0").named("Late"));
  EXPECT_THAT(
      told(host(), after),
      ElementsAre("bus 05 is now 06", "new: 0000:05:00.0 Late (0000:04:01.0 is no longer empty)"));
}

TEST(Compare, TellsPropertiesOfARenumberedFunctionWithBothAddresses) {
  MadeHost after = host();
  after.at("0000:05:00.0").revision = 3;
  EXPECT_THAT(told(host(), after.renumber({{5, 6}})),
              ElementsAre("bus 05 is now 06",
                          "changed: 0000:06:00.0 (was 0000:05:00.0) Graphics: RevisionID 0 is "
                          "now 3"));
}

TEST(Compare, TellsASegmentThatHasAnotherNumber) {
  const MadeHost before{endpoint("0000:00:01.0"), bridge("0001:00:01.0", 1),
                        endpoint("0001:01:00.0", "0001:00:01.0").model(0x77)};
  const MadeHost after{endpoint("0000:00:01.0"), bridge("0002:00:01.0", 1),
                       endpoint("0002:01:00.0", "0002:00:01.0").model(0x77)};
  EXPECT_THAT(told(before, after), ElementsAre("segment 0001 is now 0002"));
}

TEST(Compare, KeepsSegmentsApart) {
  const MadeHost before{endpoint("0000:00:01.0"), endpoint("0001:00:01.0")};
  const MadeHost after{endpoint("0000:00:01.0"), endpoint("0001:00:02.0")};
  EXPECT_THAT(told(before, after), ElementsAre("moved: 0001:00:01.0 Card to 0001:00:02.0"));
}

TEST(Compare, TellsNamesCapabilitiesAndOtherProperties) {
  MadeHost before = host();
  before.at("0000:02:00.0").capabilities = {7, 6};
  MadeHost after = host();
  after.at("0000:01:00.0").named("Network");
  after.at("0000:02:00.0").capabilities = {13, 7};
  after.at("0000:02:00.0").inSlot(5);
  after.at("0000:81:00.0").ofSubsystem(9);
  EXPECT_THAT(told(before, after),
              ElementsAre("renamed: 0000:01:00.0 Net is now Network",
                          "changed: 0000:02:00.0 Disk: PhysicalSlot 2 is now 5",
                          "changed: 0000:02:00.0 Disk: Capabilities + 13 (Supports PCIe), - 6",
                          "changed: 0000:81:00.0 Fabric: SubsystemID 0 is now 9"));
}

TEST(Compare, TakesTheOrderOfAnArrayForNothing) {
  MadeHost before = host();
  before.at("0000:02:00.0").capabilities = {7, 6, 13};
  MadeHost after = host();
  after.at("0000:02:00.0").capabilities = {13, 7, 6};
  EXPECT_THAT(told(before, after), IsEmpty());
}

TEST(Compare, TellsACardOfAnotherModelAsOneGoneAndOneNew) {
  MadeHost after = host();
  after.at("0000:01:00.0").model(0x99).named("Other");
  EXPECT_THAT(told(host(), after),
              ElementsAre("gone: 0000:01:00.0 Net (slot 1)", "new: 0000:01:00.0 Other (slot 1)"));
}

TEST(Compare, TellsABridgeThatIsNowASwitchWithoutItsPorts) {
  MadeHost before = host();
  before.at("0000:03:00.0").kind = "Bridge";
  before.at("0000:03:00.0").secondaryBus = 4;
  EXPECT_THAT(told(before, host()),
              ElementsAre("changed: 0000:03:00.0 Switch: CreationClassName \"Zelmar_PCIBridge\" is "
                          "now \"Zelmar_PCIeSwitch\"",
                          "changed: 0000:03:00.0 Switch: SecondaryBusNumber 4 is now nothing"));
}

TEST(Compare, FollowsABridgeWhoseSubsystemChanged) {
  MadeHost after = host();
  after.at("0000:00:03.0").ofSubsystem(4);
  EXPECT_THAT(told(host(), after),
              ElementsAre("changed: 0000:00:03.0 Bridge: SubsystemID 0 is now 4"));
}

TEST(Compare, TellsPortsOfAFunctionThatStays) {
  pcicim::ComparedMachine after = host().machine();
  std::erase_if(after.ports, [](const auto& port) { return port.id == "0000:00:01.0-sec"; });
  EXPECT_THAT(told(host().machine(), after), ElementsAre("port gone: 0000:00:01.0-sec Bridge"));
  EXPECT_THAT(told(after, host().machine()), ElementsAre("port new: 0000:00:01.0-sec Bridge"));
}

TEST(Compare, TellsPropertiesOfAPort) {
  pcicim::ComparedMachine after = host().machine();
  for (pcicim::ComparedPort& port : after.ports) {
    if (port.id == "0000:01:00.0-ep") {
      port.properties[0].value = "1";
      port.controller = "0000:02:00.0";
    }
  }
  EXPECT_THAT(told(host().machine(), after),
              ElementsAre("changed: port 0000:01:00.0-ep Net: ControllerDeviceID \"0000:01:00.0\" "
                          "is now \"0000:02:00.0\"",
                          "changed: port 0000:01:00.0-ep Net: PortType 152 is now 1"));
}

TEST(Compare, TellsPortsWithoutAFunction) {
  pcicim::ComparedMachine before;
  before.ports = {{"0000:01:00.0-ep", "A", "", {}}, {"0000:02:00.0-ep", "B", "", {}}};
  pcicim::ComparedMachine after;
  after.ports = {{"0000:02:00.0-ep", "B", "", {}}, {"none", "C", "", {}}};
  EXPECT_THAT(told(before, after), ElementsAre("port gone: 0000:01:00.0-ep A", "port new: none C"));
}

TEST(Compare, TellsAPortGroupThatNothingElseExplains) {
  pcicim::ComparedMachine after = host().machine();
  std::erase_if(after.groups, [](const auto& group) { return group.bus == 5U; });
  EXPECT_THAT(told(host().machine(), after), ElementsAre("port group gone: Zelmar:bus-5"));
  EXPECT_THAT(told(after, host().machine()), ElementsAre("port group new: Zelmar:bus-5"));
}

TEST(Compare, ReadsFunctionsOfOneAddressInTheirOrder) {
  const MadeHost two{endpoint("0000:00:01.0").model(1), endpoint("0000:00:01.0").model(2)};
  const MadeHost one{endpoint("0000:00:01.0").model(1)};
  EXPECT_THAT(told(two, two), IsEmpty());
  EXPECT_THAT(told(two, one),
              ElementsAre("gone: 0000:00:01.0 Card", "port gone: 0000:00:01.0-ep Card"));
}

TEST(Compare, ReadsWhatHasNoPlace) {
  const MadeHost odd{endpoint("nowhere"), endpoint("0000:05:00.0", "0000:09:00.0"),
                     bridge("0000:07:00.0", 8, "0000:08:00.0"),
                     bridge("0000:08:00.0", 7, "0000:07:00.0"), endpoint("", "")};
  EXPECT_THAT(told(odd, odd), IsEmpty());
  EXPECT_EQ(told(odd, MadeHost{}).size(), 4U);
  MadeHost other = odd;
  other.at("0000:05:00.0").parent = "0000:0a:00.0";
  EXPECT_THAT(told(odd, other),
              ElementsAre("changed: 0000:05:00.0 Card: ParentDeviceID \"0000:09:00.0\" is now "
                          "\"0000:0a:00.0\""));
}

/// A bridge at every address, each behind the one before it.
pcicim::ComparedMachine chain(unsigned length) {
  pcicim::ComparedMachine machine;
  std::string parent;
  for (unsigned i = 0; i < length; ++i) {
    pcicim::ComparedFunction function;
    function.address = {0, i / 256 % 256, i / 8 % 32, i % 8};
    function.id = pcicim::addressText(*function.address);
    function.parent = parent;
    function.identity.classCode = 6;
    parent = function.id;
    machine.functions.push_back(std::move(function));
  }
  return machine;
}

TEST(Compare, FollowsAChainAsLongAsThereAreAddresses) {
  EXPECT_THAT(told(chain(65536), chain(65536)), IsEmpty());
  EXPECT_THAT(told(chain(65536), chain(65535)), ElementsAre("gone: 0000:ff:1f.7  (0000:ff:1f.6 is "
                                                            "now empty)"));
}

TEST(PrintChanges, WritesNothingOfANameAsControl) {
  MadeHost after = host();
  after.add(endpoint("0000:06:00.0", "0000:04:01.0").named("red\x1b[31m\nline"));
  EXPECT_THAT(told(host(), after),
              ElementsAre("new: 0000:06:00.0 red\\x1b[31m\\x0aline (0000:04:01.0 is no longer "
                          "empty)"));
}

pcicim::HostFacts factsOf(const std::string& name, const std::string& source) {
  pcicim::HostFacts facts;
  facts.name = name;
  facts.source = source;
  return facts;
}

TEST(PrintChangesAsJson, WritesAnObjectForEachChange) {
  MadeHost after = host().remove("0000:01:00.0").renumber({{5, 6}});
  after.at("0000:02:00.0").capabilities = {13};
  std::ostringstream out;
  pcicim::printChangesAsJson(factsOf("a", "A"), factsOf("b", "B"),
                             pcicim::compare(host().machine(), after.machine()), out);
  EXPECT_EQ(out.str(),
            R"({"before":{"source":"A","host":"a","time":""},
"after":{"source":"B","host":"b","time":""},
"changes":[
{"change":"renumbered","segment":0,"firstBus":5,"lastBus":5,"newSegment":0,"newFirstBus":6,"newLastBus":6},
{"change":"gone","address":"0000:01:00.0","name":"Net","parent":"0000:00:01.0","slot":1,"functions":[{"address":"0000:01:00.0"}],"nowEmpty":"0000:00:01.0"},
{"change":"changed","address":"0000:02:00.0","newAddress":"0000:02:00.0","name":"Disk","class":"Zelmar_PCIDevice","property":"Capabilities","value":[],"newValue":[13]}
]}
)");
  std::ostringstream none;
  pcicim::printChangesAsJson({}, {}, {}, none);
  EXPECT_THAT(none.str(), testing::EndsWith("\"changes\":[]}\n"));
}

}  // namespace
}  // namespace changetest
