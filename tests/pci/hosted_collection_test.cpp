// Requests to the association of the host system with its port groups.
#include "association_fixture.h"

namespace {

using namespace requests;
using namespace scripted;
using cimom::ObjectPath;
using testing::ElementsAreArray;

const Names kGroupIds{"Zelmar:bus-0", "Zelmar:bus-1", "Zelmar:bus-2", "Zelmar:bus-3"};

TEST_F(AssociationRequests, TheSystemHostsAGroupPerBus) {
  const Names ends = each(std::string(kSystemBrief) + ",Zelmar_PCIPortGroup:", kGroupIds);
  expectListings(kHostedCollection, ends);
  expectReferences(kHostedCollection, systemPath(), ends, kDoneTwice);
}

TEST_F(AssociationRequests, TheSystemLeadsToItsGroupsAndBack) {
  const Names groups = each("Zelmar_PCIPortGroup:", kGroupIds);
  expectAssociators(kHostedCollection, systemPath(), groups, kDoneTwice);
  expectAssociatorNames(kHostedCollection, systemPath(), groups, kDoneTwice);
  for (const char* id : {"Zelmar:bus-0", "Zelmar:bus-99", "malformed", ""}) {
    expectAssociators(kHostedCollection, groupPath(id), {kSystemBrief}, kDone);
    expectAssociatorNames(kHostedCollection, groupPath(id), {kSystemBrief}, kDone);
  }
}

TEST_F(AssociationRequests, AGroupHasOneHostingPair) {
  expectReferences(kHostedCollection, groupPath("Zelmar:bus-2"),
                   {std::string(kSystemBrief) + ",Zelmar_PCIPortGroup:Zelmar:bus-2"}, kDoneTwice);
  for (const char* id : {"Zelmar:bus-99", "malformed", ""}) {
    expectReferences(kHostedCollection, groupPath(id), {}, kDoneTwice);
  }
}

ObjectPath hosted(const ObjectPath& system, const std::string& id) {
  return pairOf(kHostedCollection, "Antecedent", system, "Dependent", groupPath(id));
}

TEST_F(AssociationRequests, AHostedGroupIsFetchedByTheGroupAlone) {
  ObjectPath without = hosted(systemPath(), "Zelmar:bus-1");
  without.keys.erase(without.keys.begin());
  for (const ObjectPath& path :
       {hosted(systemPath(), "Zelmar:bus-1"),
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
  const Outcome outcome = get(hosted(systemPath(), "Zelmar:bus-99"));
  EXPECT_EQ(outcome.status, CMPI_RC_OK);
  EXPECT_THAT(outcome.events, ElementsAreArray(kDone));
}

TEST_F(AssociationRequests, AHostedGroupWithAnIllFormedIdIsNotFoundAndEnded) {
  const Outcome outcome = get(hosted(systemPath(), "malformed"));
  EXPECT_EQ(outcome.status, CMPI_RC_ERR_NOT_FOUND);
  EXPECT_THAT(outcome.events, ElementsAreArray(kDone));
}

}  // namespace
