// The one-time build of the snapshot: what it holds, what it logs, and what a failure leaves. Each
// test scripts a host, has the snapshot made of it, and reads it through the functions that the
// provider's classes use. A process makes its snapshot once, so each test has a process of its own.
#include "unit_fixture.h"

#include <PciPorts.h>
#include <PciTopologyCache.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qarctl/HostCtlException.h>

#include <stdexcept>

#include <syslog.h>

namespace {

using namespace pciprovider;
using HostCtl::Lib::HostCtlException;
using scripted::device;
using scripted::line;
using scripted::namesOf;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr int kProgress = LOG_DEBUG;

/// A bridge, a switch below it with one downstream port, a device there and an ISA bridge.
void makeSmallHost() {
  scripted::host().functions = {{"B", 0, 0x0604, 4, "", 1},
                                {"U", 1, 0x0604, 5, "B"},
                                {"P", 2, 0x0604, 6, "U"},
                                {"D", 3, 0x0200, 0, "P"},
                                {"I", 0, 0x0601, -1, ""}};
}

TEST(CacheBuild, FillsEveryList) {
  makeSmallHost();
  EXPECT_EQ(LoadCache(), 0);
  EXPECT_THAT(namesOf(GetPortsCache()), ElementsAre("B-pri", "B-sec", "U-up", "P-ep", "D-ep"));
  EXPECT_STREQ(PciGetSystemName(), "hosta01");
  EXPECT_THAT(GetBusNumbers(), ElementsAre(0, 1, 2, 3));
  ASSERT_THAT(GetBridgesCache(), SizeIs(1));
  EXPECT_EQ(GetBridgesCache()[0]->portName, "B-pri");
  EXPECT_EQ(GetBridgesCache()[0]->peerPortName, "B-sec");
  ASSERT_THAT(GetSwitchCache(), SizeIs(1));
  EXPECT_EQ(GetSwitchCache()[0]->portName, "U-up");
  ASSERT_THAT(LookupSwitchPorts("U"), SizeIs(1));
  EXPECT_EQ(LookupSwitchPorts("U")[0]->portName, "P-ep");
  EXPECT_EQ(LookupPortEntry("P-ep").ownerAddress, "U");
  EXPECT_EQ(LookupPortByDeviceEntry("B").portName, "B-sec");
  EXPECT_EQ(FindConnectedPort("B").portName, "B-pri");
  EXPECT_EQ(FindConnectedPort("U").portName, "U-up");
  EXPECT_EQ(BuildPortFromDevice("I"), "");
  EXPECT_EQ(&LookupBridgePorts("I"), &LookupBridgePorts("nothing"));
  std::vector<const PciDevice*> devices{nullptr};
  EXPECT_FALSE(FindPortsInGroup(9, devices));
  EXPECT_THAT(devices, SizeIs(1));
  EXPECT_TRUE(FindPortsInGroup(0, devices));
  EXPECT_THAT(devices, SizeIs(2));
}

TEST(CacheBuild, LogsItsProgressInOrder) {
  makeSmallHost();
  LoadCache();
  EXPECT_THAT(
      scripted::logLines(),
      ElementsAre(line(kProgress, "GetPCIData started to analyze and cache RQL PCI data"),
                  line(kProgress, " *** Bridge: B"), line(kProgress, " *** Switch: U"),
                  line(kProgress, " *** Bridge: I"), line(kProgress, "loaded bridge B-pri"),
                  line(kProgress, "loaded switch U-up"), line(kProgress, "loaded switch port P-ep"),
                  line(kProgress, "not loaded port D-ep parent D"),
                  line(LOG_DEBUG, "PCI CB cache idx: cbPortMap=5 cbDevMap=4"),
                  line(kProgress, "*** GetPCIData loaded, 1 switches, 1 bridges busNumbers 4")));
}

TEST(CacheBuild, AHostWithoutFunctionsIsEmpty) {
  LoadCache();
  EXPECT_THAT(GetDevicesCache(), IsEmpty());
  EXPECT_THAT(GetPortsCache(), IsEmpty());
  EXPECT_THAT(
      scripted::logLines(),
      Contains(line(kProgress, "*** GetPCIData loaded, 0 switches, 0 bridges busNumbers 0")));
}

TEST(CacheBuild, ADuplicateStaysListedButIsNotIndexed) {
  scripted::host().functions = {{"D", 1}, {"D", 2, 0x0604}};
  LoadCache();
  EXPECT_THAT(GetDevicesCache(), SizeIs(2));
  EXPECT_THAT(scripted::logLines(), Contains(line(LOG_ERR, "duplicate name found 'D' skipped")));
  EXPECT_THAT(GetBridgesCache(), IsEmpty());
  EXPECT_THAT(GetBusNumbers(), ElementsAre(1, 2));
}

TEST(CacheBuild, ADuplicatePortNameCountsForItsBusListOnly) {
  scripted::host().functions = {{"D", 1}, {"D", 2}};
  LoadCache();
  EXPECT_THAT(scripted::logLines(),
              Contains(line(LOG_ERR, "duplicate port name found 'D-ep; skipped")));
  EXPECT_THAT(GetBusNumbers(), ElementsAre(1));
  std::vector<const PciDevice*> devices;
  EXPECT_TRUE(FindPortsInGroup(2, devices));
  EXPECT_EQ(LookupPortByDeviceEntry("D").busNumber, 2);
  EXPECT_EQ(LookupPortEntry("D-ep").busNumber, 1);
}

TEST(CacheBuild, AFailureOfTheSystemNamePassesToTheCaller) {
  scripted::host().onCall = [](const std::string& call) {
    if (call == "GetSystemInfo") throw HostCtlException("no name");
  };
  EXPECT_THROW(LoadCache(), HostCtlException);
}

TEST(CacheBuild, OfTheSnapshotUsesHostControlInItsOrder) {
  makeSmallHost();
  std::vector<std::string> seen;
  scripted::host().onCall = [&](const std::string& call) {
    if (call.find("Host") == 0 || call.find("GetHost") == 0 || call == "GetHardwareInfo" ||
        call == "GetSystemInfo" || call == "GetPciInfo" || call == "GetPciDevices") {
      seen.push_back(call);
    }
    if (call == "GetAddress" && seen.back() != "GetAddress") seen.push_back(call);
  };
  scripted::host().onRelease = [&](const std::string& object) { seen.push_back("~" + object); };
  LoadCache();
  EXPECT_THAT(seen, ElementsAre("GetHardwareInfo", "GetSystemInfo", "~HardwareInfo", "GetHost",
                                "GetHardwareInfo", "GetPciInfo", "~HardwareInfo", "GetPciDevices",
                                "GetAddress", "~PciInfo"));
}

bool isReadingTheHost(const scripted::LogLine& logged) {
  return logged.text.rfind("PCI CB cache idx:", 0) != 0 && logged.priority != LOG_ERR;
}

TEST(CacheBuild, RaisesItsProgressAloneWhileTheTraceFileIsThere) {
  makeSmallHost();
  scripted::host().functions.push_back({"D", 9});
  scripted::host().traceFile = true;
  LoadCache();
  std::vector<int> progress;
  std::vector<int> others;
  for (const auto& logged : scripted::logLines()) {
    (isReadingTheHost(logged) ? progress : others).push_back(logged.priority);
  }
  EXPECT_THAT(progress, AllOf(SizeIs(10), Each(LOG_CRIT)));
  EXPECT_THAT(others, ElementsAre(LOG_ERR, LOG_ERR, LOG_DEBUG));
  EXPECT_THAT(scripted::logLines(),
              Contains(line(LOG_DEBUG, "PCI CB cache idx: cbPortMap=5 cbDevMap=4")));
}

TEST(CacheBuild, ReportsAFailureAtItsPriorityWhileTheTraceFileIsThere) {
  makeSmallHost();
  scripted::host().traceFile = true;
  scripted::host().onCall = [](const std::string& call) {
    if (call == "GetPciDevices") throw HostCtlException("no list");
  };
  LoadCache();
  EXPECT_THAT(
      scripted::logLines(),
      ElementsAre(line(LOG_CRIT, "GetPCIData started to analyze and cache RQL PCI data"),
                  line(LOG_ERR,
                       "PCI information caught exception, reporting may be incomplete, "
                       "error no list"),
                  line(LOG_CRIT, "*** GetPCIData loaded, 0 switches, 0 bridges busNumbers 0")));
}

TEST(CacheBuild, MakesRoomForASwitchPerTwoPorts) {
  for (int number = 0; number < 100; ++number) {
    scripted::host().functions.push_back({"D" + std::to_string(number)});
  }
  LoadCache();
  EXPECT_GE(GetSwitchCache().capacity(), 50U);
}

TEST(CacheBuild, IndexesTheFirstOfADuplicateAddress) {
  scripted::host().functions = {{"D", 1}, {"D", 2}};
  LoadCache();
  EXPECT_EQ(device("D"), GetDevicesCache()[0].get());
}

TEST(CacheBuild, PortsWithDuplicateNamesAreStillSorted) {
  scripted::host().functions = {{"B", 0, 0x0604, 4},      {"U", 1, 0x0604, 5},
                                {"B", 2, 0x0604, 4},      {"U", 3, 0x0604, 5},
                                {"P", 4, 0x0604, 6, "U"}, {"P", 5, 0x0604, 6, "U"}};
  LoadCache();
  EXPECT_THAT(namesOf(GetBridgesCache()), ElementsAre("B-pri", "B-pri"));
  EXPECT_THAT(namesOf(GetSwitchCache()), ElementsAre("U-up", "U-up"));
  EXPECT_EQ(GetSwitchCache()[1]->busNumber, 3);
  EXPECT_THAT(namesOf(LookupSwitchPorts("U")), ElementsAre("P-ep", "P-ep"));
  EXPECT_EQ(LookupPortByDeviceEntry("U").busNumber, 3);
  EXPECT_EQ(LookupPortEntry("U-up").busNumber, 1);
  EXPECT_THAT(GetBusNumbers(), ElementsAre(0, 1, 4));
}

TEST(CacheBuild, APortOfABridgeIsPrimaryByAnyPartOfItsName) {
  scripted::host().functions = {{"B-pri-x", 0, 0x0604, 4}};
  LoadCache();
  EXPECT_THAT(namesOf(GetBridgesCache()), ElementsAre("B-pri-x-pri", "B-pri-x-sec"));
}

TEST(CacheBuild, KeepsDevicesWhenThePortsFail) {
  makeSmallHost();
  scripted::host().functions[3].failing = {"GetBusNumber"};
  LoadCache();
  EXPECT_THAT(GetDevicesCache(), SizeIs(5));
  EXPECT_EQ(device("D")->GetClassCode(), 0x0200);
  // The ports before the failing one stay, though nothing finds or sorts them.
  EXPECT_THAT(namesOf(GetPortsCache()), ElementsAre("B-pri", "B-sec", "U-up", "P-ep"));
  EXPECT_THAT(GetPortNames(), IsEmpty());
  EXPECT_THAT(GetBridgesCache(), IsEmpty());
  EXPECT_THAT(scripted::logLines(),
              Contains(line(LOG_ERR,
                            "PCI information caught exception, reporting may be incomplete, "
                            "error GetBusNumber of D")));
}

TEST(CacheBuild, KeepsEveryListWhenTheLastStepFails) {
  makeSmallHost();
  std::size_t lists = 0;
  scripted::host().onCall = [&](const std::string& call) {
    // The index of controllers asks devices only after the last port was sorted.
    if (!GetSwitchPortsCache().empty() && call == "HasCapability") {
      ++lists;
      throw HostCtlException("late");
    }
    if (!GetSwitchPortsCache().empty() && call == "GetAddress") throw HostCtlException("late");
  };
  LoadCache();
  EXPECT_GT(lists, 0U);
  EXPECT_THAT(namesOf(GetBridgesCache()), ElementsAre("B-pri"));
  EXPECT_THAT(namesOf(GetSwitchCache()), ElementsAre("U-up"));
  EXPECT_THAT(GetBusNumbers(), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(scripted::logLines().back().text,
              "*** GetPCIData loaded, 1 switches, 1 bridges busNumbers 4");
}

TEST(CacheBuild, StartsAnewAfterAFailureOfTheSystemName) {
  if (scripted::kOnceForgetsExceptions) GTEST_SKIP() << "pthread_once is the sanitizer's";
  makeSmallHost();
  scripted::host().onCall = [](const std::string& call) {
    if (call == "GetSystemInfo") throw HostCtlException("no name");
  };
  EXPECT_THROW(LoadCache(), HostCtlException);
  EXPECT_THAT(GetDevicesCache(), IsEmpty());
  scripted::host().onCall = [](const std::string&) {};
  EXPECT_EQ(LoadCache(), 0);
  EXPECT_THAT(GetDevicesCache(), SizeIs(5));
  EXPECT_STREQ(PciGetSystemName(), "hosta01");
}

/// Which call of the build fails. Calls 0 and 1 learn the system's name.
class FailingCall : public testing::TestWithParam<int> {};

/// Runs the build with its n-th call failing; answers whether that call was reached.
template <class Failure>
bool buildWithFailureAt(int failing, const Failure& failure) {
  makeSmallHost();
  bool reached = false;
  scripted::host().onCall = [&, count = 0](const std::string&) mutable {
    if (count++ != failing) return;
    reached = true;
    throw failure;
  };
  EXPECT_EQ(LoadCache(), 0);
  scripted::host().onCall = [](const std::string&) {};
  return reached;
}

constexpr char kUnexpected[] =
    "Unexpected exception from PCI initialization, reporting may be incomplete.";

bool isSummary(const std::string& text) {
  return text.rfind("*** GetPCIData loaded, ", 0) == 0;
}

TEST_P(FailingCall, OfThePlatformIsLoggedAndTheBuildEnds) {
  ASSERT_TRUE(buildWithFailureAt(GetParam(), HostCtlException("broken")));
  EXPECT_TRUE(isSummary(scripted::logLines().back().text));
  int errors = 0;
  for (const auto& entry : scripted::logLines()) errors += entry.priority == LOG_ERR ? 1 : 0;
  EXPECT_EQ(errors, 1);
}

std::vector<std::string> errorTexts() {
  std::vector<std::string> texts;
  for (const auto& entry : scripted::logLines()) {
    if (entry.priority == LOG_ERR) texts.push_back(entry.text);
  }
  return texts;
}

TEST_P(FailingCall, OfAnotherTypeIsLoggedAsUnexpected) {
  ASSERT_TRUE(buildWithFailureAt(GetParam(), 7));
  EXPECT_TRUE(isSummary(scripted::logLines().back().text));
  EXPECT_THAT(errorTexts(), ElementsAre(kUnexpected));
}

TEST_P(FailingCall, OfAStandardTypeIsLoggedAsUnexpected) {
  ASSERT_TRUE(buildWithFailureAt(GetParam(), std::runtime_error("other")));
  EXPECT_TRUE(isSummary(scripted::logLines().back().text));
  EXPECT_THAT(errorTexts(), ElementsAre(kUnexpected));
}

INSTANTIATE_TEST_SUITE_P(Build, FailingCall, testing::Range(2, 40));

TEST(CacheBuild, AFailingDeviceListIsNamedAndNeverTriedAgain) {
  makeSmallHost();
  int asked = 0;
  scripted::host().onCall = [&](const std::string& call) {
    if (call != "GetPciDevices") return;
    ++asked;
    throw HostCtlException("no list");
  };
  EXPECT_EQ(LoadCache(), 0);
  EXPECT_EQ(LoadCache(), 0);
  EXPECT_EQ(asked, 1);
  EXPECT_THAT(GetDevicesCache(), IsEmpty());
  EXPECT_THAT(scripted::logLines(),
              Contains(line(LOG_ERR,
                            "PCI information caught exception, reporting may be incomplete, "
                            "error no list")));
}

}  // namespace
