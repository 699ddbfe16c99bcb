// Requests to the association of port groups with their members.
#include "association_fixture.h"

#include <syslog.h>

namespace {

using namespace requests;
using namespace scripted;
using cimom::Instance;
using cimom::ObjectPath;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

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
    expectAssociators(kMemberOfCollection, portPath(id), expected, kDoneTwice);
    expectAssociatorNames(kMemberOfCollection, portPath(id), expected, kDoneTwice);
  }
  const Instance found = associators(kMemberOfCollection, portPath("D-ep")).instances.at(0);
  EXPECT_EQ(textOf(found, "ElementName"), "PCI port group with bus number 3");
}

TEST_F(AssociationRequests, AGroupLeadsToThePortsOfItsBus) {
  const Names ports = each("Zelmar_PCIPort:",
                           {"B-pri", "B-sec", "O-pri", "O-sec", "R-pri", "R-sec", "X-ep", "N-ep"});
  expectAssociators(kMemberOfCollection, groupPath("Zelmar:bus-0"), ports, kDoneTwice);
  expectAssociatorNames(kMemberOfCollection, groupPath("Zelmar:bus-0"), ports, kDoneTwice);
}

TEST_F(AssociationRequests, APortsMembershipComesWithItsPeers) {
  expectReferences(kMemberOfCollection, portPath("B-sec"), memberEnds({"0 B-sec", "0 B-pri"}),
                   kDoneTwice);
  expectReferences(kMemberOfCollection, portPath("B-pri"), memberEnds({"0 B-pri", "0 B-sec"}),
                   kDoneTwice);
  expectReferences(kMemberOfCollection, portPath("K-ep"), memberEnds({"1 K-ep"}), kDoneTwice);
}

TEST_F(AssociationRequests, AGroupsMembershipsComePerFunctionOnItsBus) {
  // Each bridge stands twice in the list of its bus.
  expectReferences(
      kMemberOfCollection, groupPath("Zelmar:bus-0"),
      memberEnds({"0 B-sec", "0 B-pri", "0 B-sec", "0 B-pri", "0 O-sec", "0 O-pri", "0 O-sec",
                  "0 O-pri", "0 R-sec", "0 R-pri", "0 R-sec", "0 R-pri", "0 X-ep", "0 N-ep"}),
      kDoneTwice);
  expectReferences(kMemberOfCollection, groupPath("x-2"), memberEnds({"2 P-ep", "2 Q-ep"}),
                   kDoneTwice);
}

TEST_F(AssociationRequests, NamesFindTheSecondBridgePortByTheNameAlone) {
  host().functions = {{"A-sec-1", 6}};
  const Names one = memberEnds({"6 A-sec-1-ep"});
  EXPECT_THAT(references(kMemberOfCollection, groupPath("x-6")).events,
              ElementsAreArray(bracketed(pairs(kMemberOfCollection, one)) + kDoneTwice));
  EXPECT_THAT(referenceNames(kMemberOfCollection, groupPath("x-6")).events,
              ElementsAreArray(pairs(kMemberOfCollection, memberEnds({"6 A-sec-1-ep", "6 A-pri"})) +
                               kDoneTwice));
}

TEST_F(AssociationRequests, TheLastSuffixOfANameCounts) {
  host().functions = {{"A-sec-sec", 6}};
  EXPECT_THAT(
      referenceNames(kMemberOfCollection, groupPath("x-6")).answers(),
      ElementsAreArray(pairs(kMemberOfCollection, memberEnds({"6 A-sec-sec-ep", "6 A-sec-pri"}))));
}

TEST_F(AssociationRequests, MembersOfADuplicateFunctionStandInTheGroupOfTheLastPort) {
  host().functions = {{"D", 1}, {"D", 2}};
  expectReferences(kMemberOfCollection, groupPath("x-1"), memberEnds({"2 D-ep"}), kDoneTwice);
}

TEST_F(AssociationRequests, AnUnknownMemberIsLoggedByTheReferenceOperations) {
  startLog();
  expectReferences(kMemberOfCollection, portPath("none"), {}, kDone);
  EXPECT_THAT(
      logLines(),
      ElementsAre(logged(LOG_DEBUG, "MemberOfCollection ri: lookup item 'none' not found"),
                  logged(LOG_DEBUG, "MemberOfCollection ri: lookup item 'none' not found")));
  logLines().clear();
  expectAssociators(kMemberOfCollection, portPath("none"), {}, kDone);
  expectAssociatorNames(kMemberOfCollection, portPath("none"), {}, kDone);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(AssociationRequests, AnIllFormedGroupEndsTwiceAndOneWithoutPortsOnce) {
  for (const auto& [id, end] : std::vector<std::pair<std::string, Names>>{
           {"malformed", kDoneTwice}, {"", kDoneTwice}, {"Zelmar:bus-99", kDone}}) {
    expectAssociators(kMemberOfCollection, groupPath(id), {}, end);
    expectAssociatorNames(kMemberOfCollection, groupPath(id), {}, end);
    expectReferences(kMemberOfCollection, groupPath(id), {}, end);
  }
}

ObjectPath member(const std::string& groupId, const std::string& portName) {
  return pairOf(kMemberOfCollection, "Collection", groupPath(groupId), "Member",
                portPath(portName));
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

}  // namespace
