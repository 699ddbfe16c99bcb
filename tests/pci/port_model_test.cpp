// Which ports a function has, and the names by which they are found.
#include "unit_fixture.h"

#include <PciPorts.h>
#include <qarctl/HostCtlException.h>

namespace {

using namespace pciprovider;
using scripted::device;
using scripted::Function;
using scripted::load;
using scripted::logLines;
using scripted::namesOf;
using testing::ElementsAre;
using testing::IsEmpty;

PortVector portsOf(const std::string& address) {
  PortVector ports;
  MakePortEntryfromDevice(device(address), ports);
  return ports;
}

void expectPort(const PortEntry& port, const char* name, const char* owner, const char* peer,
                const char* deviceAddress, int bus) {
  EXPECT_EQ(port.portName, name);
  EXPECT_EQ(port.ownerAddress, owner);
  EXPECT_EQ(port.peerPortName, peer);
  EXPECT_EQ(port.deviceAddress, deviceAddress);
  EXPECT_EQ(port.busNumber, bus);
  EXPECT_EQ(port.device, device(deviceAddress));
}

TEST(PortModel, AnEndpointHasOnePort) {
  load({{"D", 7}});
  ASSERT_EQ(GetPortsCache().size(), 1U);
  expectPort(GetPortsCache()[0], "D-ep", "D", "", "D", 7);
}

TEST(PortModel, ABridgesPortsNameEachOtherAndCarryItsOwnBus) {
  load({{"B", 3, 0x0604, 4, "", 9}});
  ASSERT_EQ(GetPortsCache().size(), 2U);
  expectPort(GetPortsCache()[0], "B-pri", "B", "B-sec", "B", 3);
  expectPort(GetPortsCache()[1], "B-sec", "B", "B-pri", "B", 3);
}

TEST(PortModel, OnlyThreeSubClassesOfBridgesHavePorts) {
  std::vector<Function> functions;
  for (unsigned subClass = 0; subClass < 256; ++subClass) {
    functions.push_back(
        {"S" + std::to_string(subClass), 0, static_cast<std::uint16_t>(0x0600U | subClass)});
  }
  load(functions);
  EXPECT_THAT(namesOf(GetPortsCache()),
              ElementsAre("S4-pri", "S4-sec", "S10-pri", "S10-sec", "S11-pri", "S11-sec"));
  EXPECT_EQ(BuildPortFromDevice("S1"), "");
}

TEST(PortModel, ADownstreamPortIsCountedToTheFunctionAboveIt) {
  load({{"U", 1, 0x0604, 5}, {"P", 2, 0x0604, 6, "U"}});
  expectPort(portsOf("U").at(0), "U-up", "U", "", "U", 1);
  expectPort(portsOf("P").at(0), "P-ep", "U", "", "P", 2);
}

TEST(PortModel, ADownstreamPortBelowNothingIsNone) {
  load({{"P", 2, 0x0604, 6}});
  EXPECT_THAT(GetPortsCache(), IsEmpty());
  EXPECT_THAT(portsOf("P"), IsEmpty());
  EXPECT_EQ(BuildPortFromDevice("P"), "");
}

TEST(PortModel, PortsAreAppendedInDeviceOrder) {
  load({{"D", 7}, {"B", 3, 0x0604, 4}});
  PortVector ports{PortEntry{}};
  BuildPortDefs(ports);
  EXPECT_THAT(namesOf(ports), ElementsAre("", "D-ep", "B-pri", "B-sec"));
  EXPECT_GE(ports.capacity(), GetDevicesCache().size() + 20);
}

TEST(PortModel, ADeviceIsFoundByItsFirstPort) {
  load({{"D", 7}, {"B", 3, 0x0604, 4}, {"U", 1, 0x0604, 5}, {"P", 2, 0x0604, 6, "U"}});
  EXPECT_EQ(BuildPortFromDevice("D"), "D-ep");
  EXPECT_EQ(BuildPortFromDevice("B"), "B-pri");
  EXPECT_EQ(BuildPortFromDevice("U"), "U-up");
  EXPECT_EQ(BuildPortFromDevice("P"), "P-ep");
  EXPECT_EQ(BuildPortFromDevice("d"), "");
  EXPECT_EQ(BuildPortFromDevice(""), "");
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST(PortModel, EveryFunctionIsAskedForItsAddressFirst) {
  load({{"I", 0, 0x0601}});
  std::vector<std::string> calls;
  scripted::host().onCall = [&](const std::string& call) { calls.push_back(call); };
  PortVector ports;
  BuildPortDefs(ports);
  EXPECT_EQ(calls.at(0), "GetAddress");
}

TEST(PortModel, AFunctionIsTestedOnceMoreBeforeItCountsAsAnEndpoint) {
  load({{"D", 7, 0x0200, 5}});
  // Looks like an endpoint until the last test.
  scripted::host().onCall = [asked = 0](const std::string& call) mutable {
    if (call == "HasCapability" && ++asked < 4) {
      throw HostCtl::Lib::HostCtlException("broken host");
    }
  };
  EXPECT_THAT(portsOf("D"), IsEmpty());
}

TEST(PortModel, TheBusIsAskedBeforeTheAddress) {
  load({{"D", 7}});
  std::vector<std::string> calls;
  scripted::host().onCall = [&](const std::string& call) { calls.push_back(call); };
  const PortEntry entry = MakePCIPortTRef("any", "owner", device("D"));
  EXPECT_THAT(calls, ElementsAre("GetBusNumber", "GetAddress"));
  expectPort(entry, "any", "owner", "", "D", 7);
}

}  // namespace
