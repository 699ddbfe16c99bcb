// Virtual functions: where their ids and slots come from when their own bytes do not tell.
#include "host_fixture.h"

namespace qarctltest {
namespace {

namespace fs = std::filesystem;

class VirtualFunctions : public HostTest {};

constexpr unsigned kAriCapability = 0x000e;
constexpr unsigned kSrIov = 0x0010;
constexpr unsigned kVirtualDevice = 0x154c;

/// A physical function with `count` virtual ones, the first of them `offset` behind it.
MadeFunction physical(const std::string& address, unsigned count, unsigned offset,
                      unsigned stride) {
  return MadeFunction(address, 4096)
      .dword(0x100, 0x160U << 20U | 1U << 16U | kAriCapability)
      .dword(0x160, 1U << 16U | kSrIov)
      .word(0x160 + 0x0e, 64)
      .word(0x160 + 0x10, count)
      .word(0x160 + 0x14, offset)
      .word(0x160 + 0x16, stride)
      .word(0x160 + 0x1a, kVirtualDevice);
}

/// A function with ones in place of its ids.
MadeFunction nameless(const std::string& address) {
  return MadeFunction(address).dword(0x00, 0xffffffff).word(0x0a, 0x0280).byte(0x08, 5);
}

std::string idsOf(const PciDevice& device) {
  char text[16];
  std::snprintf(text, sizeof text, "%04x:%04x", device.GetVendorId(), device.GetDeviceId());
  return text;
}

const std::string kUnknown = "ffff:ffff";
const std::string kFromPhysical = "8086:154c";

TEST_F(VirtualFunctions, HaveTheirIdsFromThePhysicalOne) {
  const Devices devices =
      readInventory({physical("01:00.0", 3, 8, 2), nameless("01:01.0"), nameless("01:01.1"),
                     nameless("01:01.2"), nameless("01:01.4"), nameless("01:01.6")});
  EXPECT_EQ(idsOf(*devices.at(0)), "8086:10d3");
  EXPECT_EQ(idsOf(*devices.at(1)), kFromPhysical);
  EXPECT_EQ(idsOf(*devices.at(2)), kUnknown) << "beside the stride";
  EXPECT_EQ(idsOf(*devices.at(3)), kFromPhysical);
  EXPECT_EQ(idsOf(*devices.at(4)), kFromPhysical);
  EXPECT_EQ(idsOf(*devices.at(5)), kUnknown) << "one more than there are";
  EXPECT_EQ(devices.at(1)->GetClassCode(), 0x0280) << "its own bytes tell";
  EXPECT_EQ(devices.at(1)->GetRevisionId(), 5);
  EXPECT_THAT(logLines(), testing::IsEmpty());
}

TEST_F(VirtualFunctions, MayStandOnTheNextBusAndInFrontInTheText) {
  const Devices devices =
      readInventory({nameless("02:00.1"), physical("01:00.0", 1, 0x101, 0), nameless("02:00.2")});
  EXPECT_EQ(idsOf(*devices.at(1)), kFromPhysical);
  EXPECT_EQ(idsOf(*devices.at(2)), kUnknown) << "there is one alone without a stride";
}

TEST_F(VirtualFunctions, StandInTheSegmentOfThePhysicalOne) {
  const Devices devices = readInventory(
      {physical("0001:01:00.0", 1, 1, 1), nameless("0000:01:00.1"), nameless("0001:01:00.1")});
  EXPECT_EQ(idsOf(*devices.at(0)), kUnknown);
  EXPECT_EQ(idsOf(*devices.at(2)), kFromPhysical);
}

TEST_F(VirtualFunctions, AreNotThoseWithIdsOfTheirOwn) {
  const Devices devices =
      readInventory({physical("01:00.0", 2, 1, 1), MadeFunction("01:00.1"), nameless("01:00.2")});
  EXPECT_EQ(idsOf(*devices.at(1)), "8086:10d3");
  EXPECT_EQ(idsOf(*devices.at(2)), kFromPhysical);
}

TEST_F(VirtualFunctions, StayUnknownWithoutThePhysicalOnesExtendedSpace) {
  for (const std::size_t size : {64U, 256U, 0x17bU}) {
    const Devices devices =
        readInventory({physical("01:00.0", 1, 1, 1).cut(size), nameless("01:00.1")});
    EXPECT_EQ(idsOf(*devices.at(1)), kUnknown) << size;
  }
}

TEST_F(VirtualFunctions, StayUnknownWhereTheListOfExtendedCapabilitiesIsBroken) {
  const auto looping = physical("01:00.0", 1, 1, 1).dword(0x100, 0x100U << 20U | 1U << 16U | 1U);
  EXPECT_EQ(idsOf(*readInventory({looping, nameless("01:00.1")}).at(1)), kUnknown);
  const auto backwards = physical("01:00.0", 1, 1, 1).dword(0x100, 0x040U << 20U | 1U << 16U | 1U);
  EXPECT_EQ(idsOf(*readInventory({backwards, nameless("01:00.1")}).at(1)), kUnknown);
}

TEST_F(VirtualFunctions, ClaimedBeyondEverySegmentAreNotFollowed) {
  std::vector<MadeFunction> functions = {physical("00:00.0", 0xffff, 0x100, 1),
                                         physical("00:00.1", 0xffff, 0xff, 1), nameless("ff:1f.7")};
  EXPECT_EQ(idsOf(*readInventory(functions).at(2)), kFromPhysical) << "the first of them counts";
}

TEST_F(VirtualFunctions, HaveTheIdsOfTheirOwnLineWhereItCarriesThem) {
  for (const char* line :
       {"01:00.1 0200: 8086:1889 (rev 02)", "01:00.1 0200: 8086:1889",
        "01:00.1 Ethernet controller [0200]: Made [A/B] [8086:1889]",
        "01:00.1 Ethernet controller [0200]: Made [8086:1889] (rev 02) (prog-if 00 [x])"}) {
    for (const MadeFunction& above : {physical("01:00.0", 1, 1, 1), MadeFunction("01:00.0")}) {
      const Devices devices =
          readInventory(above.text() + line + "\n" + nameless("").hexLines() + "\n");
      EXPECT_EQ(idsOf(*devices.at(1)), "8086:1889") << line;
    }
  }
}

TEST_F(VirtualFunctions, HaveNoIdsFromOtherTextOfTheirLine) {
  for (const char* line : {"01:00.1 Made [8086:188]", "01:00.1 Made [8086-1889]", "01:00.1 [0200]:",
                           "01:00.1 0200: 8086:18890", "01:00.1 Made 8086:1889"}) {
    const Devices devices = readInventory(std::string(line) + "\n" + nameless("").hexLines());
    EXPECT_EQ(idsOf(*devices.at(0)), kUnknown) << line;
  }
}

TEST_F(VirtualFunctions, ALineDoesNotReplaceTheIdsOfTheBytes) {
  const Devices devices =
      readInventory("01:00.1 0200: 8086:1889 (rev 02)\n" + MadeFunction("").hexLines());
  EXPECT_EQ(idsOf(*devices.at(0)), "8086:10d3");
}

TEST_F(VirtualFunctions, SitInTheSlotOfThePhysicalOne) {
  const std::string upper = MadeFunction("00:01.0").bridge(1, 2).express(4).slot(7).text();
  const std::string lower = physical("01:00.0", 2, 1, 0xff).hexLines();
  const std::string rest = nameless("01:00.1").text() + nameless("02:00.0").text();
  const Devices named =
      readInventory(upper + "01:00.0 x\n\tPhysical Slot: 3\n" + lower + "\n" + rest);
  const Devices unnamed = readInventory(upper + "01:00.0 x\n" + lower + "\n" + rest);
  for (const std::size_t at : {1U, 2U, 3U}) {
    EXPECT_EQ(named.at(at)->GetPhysicalSlot(), 3) << at;
    EXPECT_EQ(unnamed.at(at)->GetPhysicalSlot(), 7) << at;
  }
}

TEST_F(VirtualFunctions, OfALiveHostSitInTheSlotOfThePhysicalOneToo) {
  plug("pci0000:00/0000:00:01.0", MadeFunction("").bridge(1, 1).express(4).slot(7));
  plug("pci0000:00/0000:00:01.0/0000:01:00.0", MadeFunction(""));
  const fs::path device = plug("pci0000:00/0000:00:01.0/0000:01:02.0", nameless(""));
  fs::create_symlink("../0000:01:00.0", device / "physfn");
  addSlot("12-1", "0000:01:00");
  const Devices devices = read();
  EXPECT_EQ(devices.at(1)->GetPhysicalSlot(), 12);
  EXPECT_EQ(devices.at(2)->GetPhysicalSlot(), 12);
  fs::remove(device / "physfn");
  EXPECT_EQ(read().at(2)->GetPhysicalSlot(), 7) << "the port above";
}

}  // namespace
}  // namespace qarctltest
