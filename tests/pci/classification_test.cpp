// Which class a function belongs to, and who is below a switch.
#include "unit_fixture.h"

#include <PciDevices.h>
#include <qarctl/HostCtlException.h>

#include <stdexcept>

#include <syslog.h>

namespace {

using namespace pciprovider;
using scripted::device;
using scripted::Function;
using scripted::line;
using scripted::load;
using scripted::logLines;
using testing::ElementsAre;
using testing::IsEmpty;

struct Kind {
  const char* name;
  Function function;
  bool isBridge;
  bool isSwitchPort;
  bool isUpstream;
  const char* className;
};

class Classification : public testing::TestWithParam<Kind> {};

TEST_P(Classification, FollowsTypeAndBaseClass) {
  const Kind& kind = GetParam();
  load({kind.function});
  const PciDevice* function = device("F");
  EXPECT_EQ(IsBridge(function), kind.isBridge);
  EXPECT_EQ(IsPortOnSwitch(function), kind.isSwitchPort);
  EXPECT_EQ(IsUpstreamPortOnSwitch(function), kind.isUpstream);
  EXPECT_STREQ(SetClassName(function), kind.className);
  EXPECT_EQ(IsPlainDevice(function), !kind.isBridge && !kind.isSwitchPort);
  EXPECT_THAT(logLines(), IsEmpty());
}

constexpr char kBridge[] = "Zelmar_PCIBridge";
constexpr char kSwitch[] = "Zelmar_PCIeSwitch";
constexpr char kDevice[] = "Zelmar_PCIDevice";

INSTANTIATE_TEST_SUITE_P(
    Kinds, Classification,
    testing::Values(Kind{"Upstream", {"F", 1, 0x0604, 5}, false, true, true, kSwitch},
                    Kind{"Downstream", {"F", 1, 0x0604, 6}, false, true, false, kDevice},
                    Kind{"RootPort", {"F", 1, 0x0604, 4}, true, false, false, kBridge},
                    Kind{"HostBridge", {"F", 1, 0x0600}, true, false, false, kBridge},
                    Kind{"OtherBridge", {"F", 1, 0x0680}, true, false, false, kBridge},
                    Kind{"BaseClassBelow", {"F", 1, 0x05ff}, false, false, false, kDevice},
                    Kind{"BaseClassAbove", {"F", 1, 0x0700}, false, false, false, kDevice},
                    Kind{"Endpoint", {"F", 1, 0x0200, 0}, false, false, false, kDevice},
                    // The type decides, whatever the class says.
                    Kind{"UpstreamOfAnotherClass", {"F", 1, 0x0200, 5}, false, true, true, kSwitch},
                    Kind{"TypeWithoutCapability",
                         {.address = "F", .classCode = 0x0604, .pcieType = 5, .hidesPcie = true},
                         true,
                         false,
                         false,
                         kBridge}),
    [](const auto& testInfo) { return testInfo.param.name; });

TEST(Classification, DoesNotAskForTheTypeWithoutTheCapability) {
  load({{"F", 1, 0x0604}});
  std::vector<std::string> calls;
  scripted::host().onCall = [&](const std::string& call) { calls.push_back(call); };
  IsPortOnSwitch(device("F"));
  IsUpstreamPortOnSwitch(device("F"));
  EXPECT_THAT(calls, ElementsAre("HasCapability", "HasCapability"));
}

TEST(Classification, LogsWhichTestFailed) {
  load({{"F", 1, 0x0604, 5}});
  scripted::host().onCall = [](const std::string& call) {
    if (call == "HasCapability") throw HostCtl::Lib::HostCtlException("no capabilities");
  };
  EXPECT_FALSE(IsPortOnSwitch(device("F")));
  EXPECT_FALSE(IsUpstreamPortOnSwitch(device("F")));
  EXPECT_THAT(logLines(),
              ElementsAre(line(LOG_ERR,
                               "Check for Port on PCIeSwitch failed,reporting false, error "
                               "no capabilities"),
                          line(LOG_ERR,
                               "Check Upstream port on PCIeSwitch class failed,reporting false, "
                               "error no capabilities")));
}

TEST(Classification, LetsOtherFailuresPass) {
  load({{"F", 1, 0x0604, 5}});
  scripted::host().onCall = [](const std::string&) { throw 7; };
  EXPECT_THROW(IsPortOnSwitch(device("F")), int);
  EXPECT_THROW(IsUpstreamPortOnSwitch(device("F")), int);
  EXPECT_THROW(IsBridge(device("F")), int);
}

TEST(Classification, LetsStandardExceptionsPass) {
  load({{"F", 1, 0x0604, 5}});
  scripted::host().onCall = [](const std::string&) { throw std::runtime_error("other"); };
  EXPECT_THROW(IsPortOnSwitch(device("F")), std::runtime_error);
  EXPECT_THROW(IsUpstreamPortOnSwitch(device("F")), std::runtime_error);
  EXPECT_THROW(IsBridge(device("F")), std::runtime_error);
  EXPECT_THROW(IsChildOf(device("F"), GetDevicesCache()[0].get()), std::runtime_error);
  EXPECT_THROW(DownstreamPortsCount(device("F")), std::runtime_error);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST(SwitchChildren, AreThoseWhoseParentHasTheWholeAddress) {
  load({{"U", 1, 0x0604, 5},
        {"U1", 1, 0x0604, 5},
        {"P", 2, 0x0604, 6, "U"},
        {"D", 3},
        {"Q", 2, 0x0604, 6, "U1"}});
  const auto& devices = GetDevicesCache();
  EXPECT_TRUE(IsChildOf(devices[0].get(), devices[2].get()));
  EXPECT_FALSE(IsChildOf(devices[1].get(), devices[2].get()));
  EXPECT_FALSE(IsChildOf(devices[0].get(), devices[3].get()));
  EXPECT_FALSE(IsChildOf(devices[0].get(), devices[4].get()));
  EXPECT_EQ(DownstreamPortsCount(device("U")), 1);
  EXPECT_EQ(DownstreamPortsCount(device("U1")), 1);
  EXPECT_EQ(DownstreamPortsCount(device("D")), 0);
}

TEST(SwitchChildren, AreThoseWhoseParentHasEveryDigitOfTheAddress) {
  std::vector<Function> functions;
  for (const char* address : {"0000:01:00.0", "0000:01:00.1", "0000:02:00.0", "0001:01:00.0"}) {
    functions.push_back({address, 1, 0x0604, 5});
    functions.push_back({address + std::string("-below"), 2, 0x0604, 6, address});
  }
  load(functions);
  for (const char* address : {"0000:01:00.0", "0000:01:00.1", "0000:02:00.0", "0001:01:00.0"}) {
    EXPECT_EQ(DownstreamPortsCount(device(address)), 1) << address;
  }
}

TEST(SwitchChildren, AreCountedPastEightBits) {
  std::vector<Function> functions{{"U", 1, 0x0604, 5}};
  for (int index = 0; index < 300; ++index) {
    functions.push_back({"P" + std::to_string(index), 2, 0x0604, 6, "U"});
  }
  load(functions);
  EXPECT_EQ(DownstreamPortsCount(device("U")), 300);
}

TEST(SwitchChildren, WhoseParentCannotBeAskedAreLoggedEachAndNotCounted) {
  load({{"U", 1, 0x0604, 5}, {"P", 2, 0x0604, 6, "U"}, {"Q", 2, 0x0604, 6, "U"}});
  scripted::host().onCall = [asked = 0](const std::string& call) mutable {
    if (call == "GetParent" && ++asked != 2) throw HostCtl::Lib::HostCtlException("gone");
  };
  EXPECT_EQ(DownstreamPortsCount(device("U")), 1);
  const auto expected =
      line(LOG_ERR, "Check Child of PCIeSwitch class failed,reporting false, error gone");
  EXPECT_THAT(logLines(), ElementsAre(expected, expected));
}

}  // namespace
