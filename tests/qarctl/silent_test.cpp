// Functions that do not answer: their configuration space reads all ones.
#include "host_fixture.h"

#include <syslog.h>

namespace qarctltest {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class Silent : public HostTest {
 protected:
  void expectWarning(const std::string& text) const {
    ASSERT_EQ(logLines().size(), 1U);
    EXPECT_EQ(logLines()[0].priority, LOG_WARNING);
    EXPECT_EQ(logLines()[0].text, text);
  }
};

MadeFunction silent(const std::string& address, std::size_t size = 256) {
  MadeFunction function(address, size);
  for (std::size_t at = 0; at < size; ++at) function.byte(at, 0xff);
  return function;
}

void expectNothingMadeUp(const PciDevice& device) {
  EXPECT_THAT(device.GetCapabilities(), IsEmpty());
  EXPECT_EQ(device.GetPcieDeviceType(), -1);
  EXPECT_EQ(device.GetSecondaryBusNumber(), 0);
  EXPECT_EQ(device.GetSubsystemVendorId(), 0);
  EXPECT_EQ(device.GetSubsystemId(), 0);
  for (unsigned id = 0; id < 256; ++id) {
    EXPECT_FALSE(device.HasCapability(static_cast<std::uint8_t>(id))) << id;
  }
}

TEST_F(Silent, HaveNoCapabilitiesInAnInventoryOfAnySize) {
  for (const std::size_t size : {64U, 256U, 4096U}) {
    logLines().clear();
    const Devices devices = readInventory({MadeFunction("00:01.0"), silent("00:02.0", size)});
    ASSERT_EQ(devices.size(), 2U);
    expectNothingMadeUp(*devices[1]);
    EXPECT_EQ(devices[1]->GetVendorId(), 0xffff);
    EXPECT_EQ(devices[1]->GetClassCode(), 0xffff);
    expectWarning("1 PCI function does not answer, its header reads all ones: 0000:00:02.0");
  }
}

TEST_F(Silent, HaveTheirIdsFromTheAttributesOfALiveHost) {
  const fs::path device = plug("pci0000:00/0000:00:02.0", silent(""));
  write(device / "vendor", "0x8086\n");
  write(device / "device", "0x10d3\n");
  write(device / "class", "0x020000\n");
  write(device / "revision", "0x03\n");
  const Devices devices = read();
  expectNothingMadeUp(*devices.at(0));
  EXPECT_EQ(devices[0]->GetVendorId(), 0x8086);
  EXPECT_EQ(devices[0]->GetDeviceId(), 0x10d3);
  EXPECT_EQ(devices[0]->GetClassCode(), 0x0200);
  EXPECT_EQ(devices[0]->GetRevisionId(), 3);
}

TEST_F(Silent, KeepTheBusBehindABridgeThatTheKernelRemembers) {
  const fs::path bridge = plug("pci0000:00/0000:00:1c.0", silent(""));
  write(bridge / "class", "0x060400\n");
  write(bridge / "secondary_bus_number", "17\n");
  write(bridge / "subordinate_bus_number", "18\n");
  EXPECT_EQ(read().at(0)->GetSecondaryBusNumber(), 17);
}

TEST_F(Silent, AreNotAskedTheKernelAboutWhereTheyAnswer) {
  const fs::path bridge = plug("pci0000:00/0000:00:1c.0", MadeFunction("").bridge(5, 5));
  write(bridge / "secondary_bus_number", "17\n");
  EXPECT_EQ(read().at(0)->GetSecondaryBusNumber(), 5);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Silent, ClaimNoBuses) {
  const Devices devices = readInventory({silent("00:01.0"), MadeFunction("ff:00.0")});
  EXPECT_EQ(parentOf(*devices.at(1)), "-");
}

TEST_F(Silent, HaveTheIdsOfTheirOwnLine) {
  const Devices devices =
      readInventory("00:02.0 Made [0200]: Made [8086:10d3] (rev ff)\n" + silent("").hexLines());
  EXPECT_EQ(devices.at(0)->GetVendorId(), 0x8086);
  EXPECT_EQ(devices.at(0)->GetDeviceId(), 0x10d3);
  expectNothingMadeUp(*devices.at(0));
}

TEST_F(Silent, AreCountedAndTheFirstOfThemNamedOncePerReading) {
  std::vector<MadeFunction> functions = {MadeFunction("00:00.0")};
  const std::string digits = "0123456789";
  for (const char digit : digits) functions.push_back(silent(std::string("00:1") + digit + ".0"));
  EXPECT_EQ(readInventory(functions).size(), 11U);
  expectWarning(
      "10 PCI functions do not answer, their headers read all ones: 0000:00:10.0, "
      "0000:00:11.0, 0000:00:12.0, 0000:00:13.0, 0000:00:14.0, 0000:00:15.0, 0000:00:16.0, "
      "0000:00:17.0 and 2 more");
}

TEST_F(Silent, MayShowWhatIsLeftBehindTheHeader) {
  auto function = silent("00:01.0");
  for (std::size_t at = 0x40; at < 0x100; ++at) function.byte(at, 0);
  const Devices devices = readInventory({function.dword(0xfc, 0x00020010)});
  expectNothingMadeUp(*devices.at(0));
  expectWarning("1 PCI function does not answer, its header reads all ones: 0000:00:01.0");
}

TEST_F(Silent, AreNotThoseWithAnotherByteInTheHeader) {
  const Devices devices =
      readInventory({silent("00:01.0").byte(0x3f, 0xfe), silent("00:02.0").byte(0x06, 0xef),
                     silent("00:03.0").cut(4)});
  EXPECT_THAT(devices.at(0)->GetCapabilities(), ElementsAre(2U, 3U, 4U));
  EXPECT_THAT(logLines(), IsEmpty());
}

}  // namespace
}  // namespace qarctltest
