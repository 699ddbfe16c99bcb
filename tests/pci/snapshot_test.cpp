// Lookups in the snapshot: what they find, what they leave alone, and what they log.
#include "unit_fixture.h"

#include <PciTopologyCache.h>

#include <syslog.h>

namespace {

using namespace pciprovider;
using scripted::device;
using scripted::line;
using scripted::load;
using scripted::logLines;
using scripted::namesOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;
using testing::UnorderedElementsAre;

/// Two bridges, one with a downstream port right below it, and two switches.
std::vector<scripted::Function> hostWithBuckets() {
  return {{"B", 0, 0x0604, 4, "", 1},  {"U", 1, 0x0604, 5, "B", 2}, {"P", 2, 0x0604, 6, "U", 3},
          {"Q", 2, 0x0604, 6, "U", 4}, {"C", 0, 0x0604, 4, "", 5},  {"K", 5, 0x0604, 6, "C", 6},
          {"V", 6, 0x0604, 5, "K", 7}, {"R", 7, 0x0604, 6, "V", 8}};
}

void expectEmptyEntry(const PortEntry& entry) {
  EXPECT_EQ(entry.portName, "");
  EXPECT_EQ(entry.ownerAddress, "");
  EXPECT_EQ(entry.peerPortName, "");
  EXPECT_EQ(entry.deviceAddress, "");
  EXPECT_EQ(entry.busNumber, 0);
  EXPECT_EQ(entry.device, nullptr);
}

TEST(Snapshot, IsEmptyBeforeItIsBuilt) {
  EXPECT_THAT(GetDevicesCache(), IsEmpty());
  EXPECT_THAT(GetPortsCache(), IsEmpty());
  EXPECT_THAT(GetBridgePortsCache(), IsEmpty());
  EXPECT_THAT(GetSwitchPortsCache(), IsEmpty());
  EXPECT_THAT(GetBridgesCache(), IsEmpty());
  EXPECT_THAT(GetSwitchCache(), IsEmpty());
  EXPECT_THAT(GetBusNumbers(), IsEmpty());
  EXPECT_THAT(GetPortNames(), IsEmpty());
  EXPECT_STREQ(PciGetSystemName(), "");
  expectEmptyEntry(LookupPortEntry("D-ep"));
  expectEmptyEntry(FindConnectedPort("D"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST(Snapshot, FindsDevicesAndPortsByTheirNames) {
  load(hostWithBuckets());
  EXPECT_EQ(device("V")->GetAddress(), "V");
  const PciDevice* found = nullptr;
  EXPECT_TRUE(LookupPort("C-sec", found));
  EXPECT_EQ(found, device("C"));
  EXPECT_EQ(&LookupPortEntry("B-sec"), &GetPortsCache()[1]);
  EXPECT_THAT(GetPortNames(), ElementsAre("B-pri", "B-sec", "C-pri", "C-sec", "K-ep", "P-ep",
                                          "Q-ep", "R-ep", "U-up", "V-up"));
}

TEST(Snapshot, FindsTheFirstOfPortsWithOneName) {
  load({{"D", 1}, {"D", 2}});
  const PciDevice* found = nullptr;
  EXPECT_TRUE(LookupPort("D-ep", found));
  EXPECT_EQ(found, GetDevicesCache()[0].get());
}

TEST(Snapshot, LeavesWhatTheCallerHasWhereNothingIsFound) {
  load(hostWithBuckets());
  DeviceIndex::const_iterator position;
  ASSERT_TRUE(LookupDevice("U", position));
  EXPECT_FALSE(LookupDevice("u", position));
  EXPECT_EQ(position->first, "U");
  const PciDevice* found = device("B");
  EXPECT_FALSE(LookupPort("B", found));
  EXPECT_EQ(found, device("B"));
  std::vector<const PciDevice*> devices{device("P")};
  EXPECT_FALSE(FindPortsInGroup(99, devices));
  EXPECT_THAT(devices, ElementsAre(device("P")));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST(Snapshot, ReplacesTheCallersListByTheDevicesOfABus) {
  load(hostWithBuckets());
  std::vector<const PciDevice*> devices{device("P")};
  EXPECT_TRUE(FindPortsInGroup(0, devices));
  EXPECT_THAT(devices, ElementsAre(device("B"), device("B"), device("C"), device("C")));
}

TEST(Snapshot, AnswersUnknownNamesWithTheSameEmptyObjects) {
  load(hostWithBuckets());
  expectEmptyEntry(LookupPortEntry("D-ep"));
  EXPECT_EQ(&LookupPortEntry("D-ep"), &LookupPortEntry(""));
  EXPECT_EQ(&LookupPortEntry("D-ep"), &LookupPortByDeviceEntry("D"));
  EXPECT_THAT(LookupBridgePorts("B"), IsEmpty());
  EXPECT_EQ(&LookupBridgePorts("B"), &LookupBridgePorts("nothing"));
  EXPECT_EQ(&LookupBridgePorts("B"), &LookupSwitchPorts("nothing"));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST(Snapshot, SortsPortsUnderTheirSwitchOrBridgeInOrder) {
  load(hostWithBuckets());
  EXPECT_THAT(GetBridgePortsCache(), UnorderedElementsAre(Pair("C", testing::SizeIs(1))));
  EXPECT_THAT(namesOf(LookupBridgePorts("C")), ElementsAre("K-ep"));
  EXPECT_THAT(GetSwitchPortsCache(),
              UnorderedElementsAre(Pair("U", testing::SizeIs(2)), Pair("V", testing::SizeIs(1))));
  EXPECT_THAT(namesOf(LookupSwitchPorts("U")), ElementsAre("P-ep", "Q-ep"));
  EXPECT_THAT(namesOf(LookupSwitchPorts("V")), ElementsAre("R-ep"));
  EXPECT_THAT(namesOf(GetBridgesCache()), ElementsAre("B-pri", "C-pri"));
  EXPECT_THAT(namesOf(GetSwitchCache()), ElementsAre("U-up", "V-up"));
}

TEST(Snapshot, LogsAPortUnderABridge) {
  scripted::host().functions = hostWithBuckets();
  LoadCache();
  EXPECT_THAT(logLines(), Contains(line(LOG_DEBUG, "loaded bridge port K-ep")));
}

TEST(Snapshot, TheLastPortOfADeviceStandsForIt) {
  load(hostWithBuckets());
  EXPECT_EQ(LookupPortByDeviceEntry("B").portName, "B-sec");
  EXPECT_EQ(LookupPortByDeviceEntry("U").portName, "U-up");
}

TEST(Snapshot, AddsToTheBucketOfAKey) {
  PortEntry first;
  PortEntry second;
  PortBuckets buckets;
  AddToMap("one", first, buckets);
  AddToMap("other", first, buckets);
  AddToMap("one", second, buckets);
  EXPECT_THAT(buckets, UnorderedElementsAre(Pair("one", ElementsAre(&first, &second)),
                                            Pair("other", ElementsAre(&first))));
}

TEST(ConnectedPort, IsTheOneOnTheLowestBusOfThoseCountedToTheDevice) {
  // P is counted to U, though its own bus is lower.
  load({{"U", 9, 0x0604, 5}, {"P", 2, 0x0604, 6, "U"}, {"Q", 1, 0x0604, 6, "U"}});
  EXPECT_EQ(FindConnectedPort("U").portName, "Q-ep");
  EXPECT_THAT(logLines(),
              ElementsAre(line(LOG_DEBUG, "FindConnectedPort looking for lowest busid 9"),
                          line(LOG_DEBUG, "FindConnectedPort returning bus 1")));
}

TEST(ConnectedPort, IsTheFirstOfThoseOnTheSameBus) {
  load({{"B", 3, 0x0604, 4}, {"C", 3, 0x0604, 4}});
  EXPECT_EQ(&FindConnectedPort("C"), &GetPortsCache()[2]);
}

TEST(ConnectedPort, IsTheEmptyEntryWithoutALineWhereNothingIsCounted) {
  load(hostWithBuckets());
  EXPECT_EQ(&FindConnectedPort("P"), &LookupPortEntry(""));
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST(ConnectedPort, MatchesWholeAddresses) {
  load({{"U", 1, 0x0604, 5}, {"U1", 0}});
  EXPECT_EQ(FindConnectedPort("U").portName, "U-up");
}

}  // namespace
