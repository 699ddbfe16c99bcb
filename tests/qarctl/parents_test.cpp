// Which function is the parent of which.
#include "host_fixture.h"

#include <random>

namespace qarctltest {
namespace {

using testing::ElementsAre;

class Parents : public HostTest {};

TEST_F(Parents, TheNarrowestRangeThatHoldsTheBusWins) {
  const Devices devices =
      readInventory({MadeFunction("00:01.0").bridge(1, 9), MadeFunction("01:00.0").bridge(2, 5),
                     MadeFunction("02:00.0"), MadeFunction("05:00.0"), MadeFunction("06:00.0"),
                     MadeFunction("09:00.0"), MadeFunction("0a:00.0")});
  EXPECT_THAT(
      parentsOf(devices),
      ElementsAre("0000:00:01.0<-", "0000:01:00.0<0000:00:01.0", "0000:02:00.0<0000:01:00.0",
                  "0000:05:00.0<0000:01:00.0", "0000:06:00.0<0000:00:01.0",
                  "0000:09:00.0<0000:00:01.0", "0000:0a:00.0<-"));
}

TEST_F(Parents, ANarrowerRangeWinsAtAHigherAddressToo) {
  const Devices devices = readInventory(
      {MadeFunction("00:01.0").bridge(4, 9), MadeFunction("00:02.0").bridge(5, 6),
       MadeFunction("00:03.0").bridge(3, 8), MadeFunction("05:00.0"), MadeFunction("07:00.0")});
  EXPECT_EQ(parentOf(*devices.at(3)), "0000:00:02.0");
  EXPECT_EQ(parentOf(*devices.at(4)), "0000:00:01.0");
}

TEST_F(Parents, OnATieTheLowestAddressWinsWhateverTheOrderOfTheInput) {
  const Devices devices =
      readInventory({MadeFunction("05:00.0"), MadeFunction("00:03.0").bridge(5, 5),
                     MadeFunction("00:01.0").bridge(5, 5), MadeFunction("00:02.0").bridge(5, 5)});
  EXPECT_EQ(parentOf(*devices.at(3)), "0000:00:01.0");
}

TEST_F(Parents, RangesWithoutASecondaryBusOrUpsideDownAreIgnored) {
  const Devices devices =
      readInventory({MadeFunction("00:01.0").bridge(0, 255), MadeFunction("00:02.0").bridge(9, 8),
                     MadeFunction("08:00.0"), MadeFunction("09:00.0")});
  EXPECT_THAT(parentsOf(devices),
              ElementsAre("0000:00:01.0<-", "0000:00:02.0<-", "0000:08:00.0<-", "0000:09:00.0<-"));
}

TEST_F(Parents, BothBridgeHeaderTypesClaimBusesAndNoOther) {
  const Devices devices = readInventory(
      {MadeFunction("00:01.0").bridge(1, 1, 1), MadeFunction("00:02.0").bridge(2, 2, 2),
       MadeFunction("00:03.0").bridge(3, 3, 0), MadeFunction("00:04.0").bridge(4, 4, 3),
       MadeFunction("00:05.0").bridge(5, 5, 0x81), MadeFunction("01:00.0"), MadeFunction("02:00.0"),
       MadeFunction("03:00.0"), MadeFunction("04:00.0"), MadeFunction("05:00.0")});
  std::vector<std::string> below = parentsOf(devices);
  below.erase(below.begin(), below.begin() + 5);
  EXPECT_THAT(below, ElementsAre("0000:01:00.0<0000:00:01.0", "0000:02:00.0<0000:00:02.0",
                                 "0000:03:00.0<-", "0000:04:00.0<-", "0000:05:00.0<0000:00:05.0"));
}

TEST_F(Parents, ABridgeThatClaimsItsOwnBusHasTheNextBestOrNone) {
  const Devices alone = readInventory({MadeFunction("01:00.0").bridge(1, 1)});
  EXPECT_EQ(parentOf(*alone.at(0)), "-");
  const Devices devices =
      readInventory({MadeFunction("00:01.0").bridge(1, 4), MadeFunction("00:02.0").bridge(1, 9),
                     MadeFunction("01:00.0").bridge(1, 1), MadeFunction("01:01.0")});
  EXPECT_EQ(parentOf(*devices.at(2)), "0000:00:01.0");
  EXPECT_EQ(parentOf(*devices.at(3)), "0000:01:00.0");
}

TEST_F(Parents, OfABusCycleAreEachOther) {
  const Devices devices =
      readInventory({MadeFunction("01:00.0").bridge(2, 2), MadeFunction("02:00.0").bridge(1, 1)});
  EXPECT_THAT(parentsOf(devices),
              ElementsAre("0000:01:00.0<0000:02:00.0", "0000:02:00.0<0000:01:00.0"));
}

TEST_F(Parents, StandInTheSameSegment) {
  const Devices devices = readInventory(
      {MadeFunction("0001:00:01.0").bridge(1, 1), MadeFunction("10001:00:02.0").bridge(1, 1),
       MadeFunction("0000:01:00.0"), MadeFunction("0001:01:00.0"), MadeFunction("0002:01:00.0"),
       MadeFunction("10001:01:00.0")});
  EXPECT_THAT(parentsOf(devices),
              ElementsAre("0000:01:00.0<-", "0001:00:01.0<-", "0001:01:00.0<0001:00:01.0",
                          "0002:01:00.0<-", "10001:00:02.0<-", "10001:01:00.0<10001:00:02.0"));
}

TEST_F(Parents, AreObjectsOfTheirOwn) {
  Devices devices = readInventory(
      {MadeFunction("00:01.0").bridge(1, 1).word(0x02, 0x0abc), MadeFunction("01:00.0")});
  const auto parent = devices.at(1)->GetParent();
  const std::string description = describe(*devices[0]);
  EXPECT_NE(parent.get(), devices[0].get());
  devices.clear();
  EXPECT_EQ(describe(*parent), description);
}

TEST_F(Parents, AreObjectsOfTheirOwnForEachOwner) {
  Devices devices = readInventory(
      {MadeFunction("00:01.0").bridge(1, 1), MadeFunction("01:00.0"), MadeFunction("01:01.0")});
  auto first = devices.at(1)->GetParent();
  const auto second = devices.at(2)->GetParent();
  const auto third = devices.at(1)->GetParent();
  EXPECT_NE(first.get(), second.get());
  EXPECT_NE(second.get(), third.get());
  const std::string description = describe(*first);
  first.reset();
  // What one owner gave back is another's now, and nobody else's.
  const auto fourth = devices.at(2)->GetParent();
  const auto fifth = devices.at(2)->GetParent();
  EXPECT_NE(fourth.get(), fifth.get());
  devices.clear();
  for (const auto* parent : {&second, &third, &fourth, &fifth}) {
    EXPECT_EQ(describe(**parent), description);
  }
}

TEST_F(Parents, SecondaryBusIsThatOfBothBridgeHeaderTypes) {
  const Devices devices = readInventory(
      {MadeFunction("00:00.0").bridge(7, 8, 0), MadeFunction("00:01.0").bridge(7, 8, 1),
       MadeFunction("00:02.0").bridge(8, 9, 0x82), MadeFunction("00:03.0").bridge(9, 9, 3),
       MadeFunction("00:04.0").bridge(7, 8).cut(0x19)});
  const unsigned expected[] = {0, 7, 8, 0, 0};
  for (std::size_t at = 0; at < 5; ++at) {
    EXPECT_EQ(devices.at(at)->GetSecondaryBusNumber(), expected[at]) << at;
  }
}

struct Sketch {
  unsigned segment, bus, device, type, secondary, subordinate;
};

/// The rule said once more, as plainly as it can be: every function asked about every other.
std::string parentByAskingAll(const std::vector<Sketch>& machine, std::size_t child) {
  const Sketch* best = nullptr;
  for (std::size_t at = 0; at < machine.size(); ++at) {
    const Sketch& other = machine[at];
    const bool claims = (other.type == 1 || other.type == 2) && other.secondary != 0 &&
                        other.secondary <= machine[child].bus &&
                        machine[child].bus <= other.subordinate;
    if (at == child || other.segment != machine[child].segment || !claims) continue;
    if (best == nullptr ||
        other.subordinate - other.secondary < best->subordinate - best->secondary) {
      best = &other;
    }
  }
  if (best == nullptr) return "-";
  char text[24];
  std::snprintf(text, sizeof text, "%04x:%02x:%02x.0", best->segment, best->bus, best->device);
  return text;
}

TEST_F(Parents, AreWhatAskingEveryFunctionGivesOnMadeUpMachines) {
  std::mt19937 random(20240229);
  const auto below = [&random](unsigned end) { return static_cast<unsigned>(random() % end); };
  for (int round = 0; round < 60; ++round) {
    std::vector<Sketch> machine;
    for (unsigned at = 0; at < 48; ++at) {
      machine.push_back({at / 24, at % 24 / 3, at % 3, below(4), below(9), below(9)});
    }
    std::vector<MadeFunction> functions;
    char text[24];
    for (const Sketch& sketch : machine) {
      std::snprintf(text, sizeof text, "%04x:%02x:%02x.0", sketch.segment, sketch.bus,
                    sketch.device);
      functions.push_back(
          MadeFunction(text, 64).bridge(sketch.secondary, sketch.subordinate, sketch.type));
    }
    const Devices devices = readInventory(functions);
    ASSERT_EQ(devices.size(), machine.size());
    for (std::size_t at = 0; at < machine.size(); ++at) {
      ASSERT_EQ(parentOf(*devices[at]), parentByAskingAll(machine, at)) << round << ' ' << at;
    }
  }
}

}  // namespace
}  // namespace qarctltest
