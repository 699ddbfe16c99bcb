// The build of the snapshot step by step: what comes first, and what is given back when a step
// fails.
#include "unit_fixture.h"

#include <PciDevices.h>
#include <PciTopologyCache.h>
#include <qarctl/HostCtlException.h>

#include <syslog.h>

namespace {

using namespace pciprovider;
using HostCtl::Lib::HostCtlException;
using scripted::host;
using scripted::line;
using scripted::logLines;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

using Names = std::vector<std::string>;

constexpr char kStarted[] = "GetPCIData started to analyze and cache RQL PCI data";

/// Makes the n-th call of one name fail; counts from 1.
void failCall(const std::string& name, int failing = 1) {
  host().onCall = [name, failing, count = 0](const std::string& call) mutable {
    if (call == name && ++count == failing) throw HostCtlException("broken host");
  };
}

/// The file that raises the trace comes or goes when the platform is asked for the first time.
void buildWhileTheTraceFile(bool isThereBefore) {
  host().traceFile = isThereBefore;
  host().onCall = [=](const std::string&) { host().traceFile = !isThereBefore; };
  LoadCache();
}

TEST(BuildSteps, ATraceFileThatGoesWhileThePlatformIsAskedStillCounts) {
  buildWhileTheTraceFile(true);
  EXPECT_EQ(logLines().front().priority, LOG_CRIT);
  EXPECT_EQ(logLines().back().priority, LOG_CRIT);
}

TEST(BuildSteps, ATraceFileThatComesWhileThePlatformIsAskedDoesNotCount) {
  buildWhileTheTraceFile(false);
  EXPECT_EQ(logLines().front().priority, LOG_DEBUG);
  EXPECT_EQ(logLines().back().priority, LOG_DEBUG);
}

TEST(BuildSteps, TheStartIsLoggedBeforeThePlatformIsAsked) {
  std::vector<scripted::LogLine> before;
  host().onCall = [&, first = true](const std::string&) mutable {
    if (std::exchange(first, false)) before = logLines();
  };
  LoadCache();
  EXPECT_THAT(before, ElementsAre(line(LOG_DEBUG, kStarted)));
}

TEST(BuildSteps, AFailureOfTheSystemsNameLeavesTheLineOfTheStartAlone) {
  failCall("GetSystemInfo");
  EXPECT_THROW(LoadCache(), HostCtlException);
  EXPECT_THAT(logLines(), ElementsAre(line(LOG_DEBUG, kStarted)));
}

TEST(BuildSteps, TheSystemsNameIsThereWhenTheRestFails) {
  failCall("GetHost");
  LoadCache();
  EXPECT_STREQ(PciGetSystemName(), "hosta01");
}

TEST(SystemName, IsLoweredAndOtherwiseLeftAsItIs) {
  host().name = " Host-A01.Example.COM\xc4 ";
  LoadCache();
  EXPECT_STREQ(PciGetSystemName(), " host-a01.example.com\xc4 ");
}

TEST(BuildSteps, AFunctionIsIndexedBeforeItIsClassed) {
  host().functions = {{"A", 0}, {.address = "D", .failing = {"GetClassCode"}}, {"E", 0}};
  LoadCache();
  DeviceIndex::const_iterator position;
  EXPECT_TRUE(LookupDevice("A", position));
  EXPECT_TRUE(LookupDevice("D", position));
  EXPECT_FALSE(LookupDevice("E", position));
  EXPECT_THAT(GetDevicesCache(), SizeIs(3));
}

TEST(BuildSteps, AFunctionThatIsBothByTheTimeOfAskingIsABridge) {
  host().functions = {{"U", 1, 0x0604, 5}};
  failCall("HasCapability");
  LoadCache();
  EXPECT_THAT(logLines(), Contains(line(LOG_DEBUG, " *** Bridge: U")));
  EXPECT_THAT(GetSwitchCache(), IsEmpty());
  // Its port is a switch's by now, so it is listed nowhere.
  EXPECT_THAT(scripted::namesOf(GetPortsCache()), ElementsAre("U-up"));
  EXPECT_THAT(GetBridgesCache(), IsEmpty());
}

TEST(BuildSteps, PortsOfABuildThatFailedAreStillConnected) {
  host().functions = {{"D", 5}, {"E", 3}, {.address = "F", .failing = {"GetBusNumber"}}};
  LoadCache();
  ASSERT_THAT(scripted::namesOf(GetPortsCache()), ElementsAre("D-ep", "E-ep"));
  EXPECT_EQ(LookupPortEntry("E-ep").portName, "");
  EXPECT_EQ(FindConnectedPort("E").portName, "E-ep");
  EXPECT_EQ(FindConnectedPort("F").portName, "");
}

TEST(BuildSteps, AClassNameIsABridgesBeforeASwitchs) {
  scripted::load({{"U", 1, 0x0604, 5}});
  failCall("HasCapability");
  EXPECT_STREQ(SetClassName(scripted::device("U")), "Zelmar_PCIBridge");
}

struct Failing {
  const char* call;
  /// What was released, in order.
  Names released;
};

class FailingStep : public testing::TestWithParam<Failing> {};

TEST_P(FailingStep, GivesBackWhatTheHostHandedOut) {
  host().functions = {{"B", 0, 0x0604, 4}, {"U", 1, 0x0604, 5, "B"}, {"P", 2, 0x0604, 6, "U"}};
  failCall(GetParam().call);
  Names released;
  host().onRelease = [&](const std::string& object) {
    released.push_back(object);
    // The summary is the last line.
    EXPECT_NE(logLines().back().text.substr(0, 22), "*** GetPCIData loaded,");
  };
  LoadCache();
  EXPECT_THAT(logLines(), SizeIs(testing::Ge(3U)));
  EXPECT_THAT(released, ElementsAreArray(GetParam().released));
  EXPECT_EQ(scripted::devicesAlive(), static_cast<int>(GetDevicesCache().size()));
}

// The first release is that of the system's name.
INSTANTIATE_TEST_SUITE_P(
    Build, FailingStep,
    testing::Values(Failing{"GetHost", {"HardwareInfo"}},
                    Failing{"GetPciInfo", {"HardwareInfo", "HardwareInfo"}},
                    Failing{"GetPciDevices", {"HardwareInfo", "HardwareInfo", "PciInfo"}},
                    Failing{"GetClassCode", {"HardwareInfo", "HardwareInfo", "PciInfo"}},
                    Failing{"GetBusNumber", {"HardwareInfo", "HardwareInfo", "PciInfo"}},
                    Failing{"no call", {"HardwareInfo", "HardwareInfo", "PciInfo"}}),
    [](const auto& testInfo) {
      const std::string call = testInfo.param.call;
      return call == "no call" ? "None" : call;
    });

TEST(BuildSteps, AFailureOfTheSystemsNameGivesBackWhatTheHostHandedOut) {
  failCall("GetSystemInfo");
  Names released;
  host().onRelease = [&](const std::string& object) { released.push_back(object); };
  EXPECT_THROW(LoadCache(), HostCtlException);
  EXPECT_THAT(released, ElementsAre("HardwareInfo"));
}

TEST(BuildSteps, ThePciListIsKeptUntilTheControllersAreIndexed) {
  std::string last;
  host().onRelease = [&](const std::string& object) {
    if (object == "PciInfo") last = logLines().back().text;
  };
  LoadCache();
  EXPECT_EQ(last, "PCI CB cache idx: cbPortMap=0 cbDevMap=0");
}

}  // namespace
