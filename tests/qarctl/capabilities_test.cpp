// The capability list and what is derived from it.
#include "host_fixture.h"

#include <array>

namespace qarctltest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class Capabilities : public HostTest {
 protected:
  std::unique_ptr<PciDevice> readOne(const MadeFunction& function) const {
    return std::move(readInventory({function}).at(0));
  }
  std::vector<std::uint32_t> valuesOf(const MadeFunction& function) const {
    return readOne(function)->GetCapabilities();
  }
};

MadeFunction endpoint() {
  return MadeFunction("00:02.0");
}

TEST_F(Capabilities, OfTheStatusRegisterAreValuesTwoToFour) {
  EXPECT_THAT(valuesOf(endpoint().byte(0x06, 0x20)), ElementsAre(2U));
  EXPECT_THAT(valuesOf(endpoint().byte(0x06, 0x40)), ElementsAre(3U));
  EXPECT_THAT(valuesOf(endpoint().byte(0x06, 0x80)), ElementsAre(4U));
  EXPECT_THAT(valuesOf(endpoint().word(0x06, 0xff0f)), IsEmpty());
}

TEST_F(Capabilities, OfTheListHaveOneValueEach) {
  const std::pair<unsigned, std::uint32_t> cases[] = {
      {0x07, 5},  {0x01, 6},  {0x05, 7},  {0x11, 7},  {0x02, 9},  {0x0e, 9},
      {0x03, 10}, {0x04, 11}, {0x06, 12}, {0x0c, 12}, {0x10, 13},
  };
  for (const auto& [id, value] : cases) {
    EXPECT_THAT(valuesOf(endpoint().capability(id, 0x40)), ElementsAre(value)) << id;
  }
}

TEST_F(Capabilities, OfOtherIdsHaveNoValue) {
  for (const unsigned id :
       {0x00U, 0x08U, 0x09U, 0x0aU, 0x0bU, 0x0dU, 0x0fU, 0x12U, 0x13U, 0x14U, 0x15U, 0xffU}) {
    EXPECT_THAT(valuesOf(endpoint().capability(id, 0x40)), IsEmpty()) << id;
  }
}

TEST_F(Capabilities, AreAscendingAndEachOnce) {
  auto function = endpoint();
  std::size_t at = 0x40;
  for (const unsigned id :
       {0x11U, 0x0eU, 0x0cU, 0x10U, 0x05U, 0x06U, 0x04U, 0x03U, 0x02U, 0x01U, 0x07U, 0x05U}) {
    function.capability(id, at);
    at += 0x10;
  }
  function.byte(0x06, 0xf0).dword(0x70 + 0x0c, 3);
  EXPECT_THAT(valuesOf(function),
              ElementsAre(2U, 3U, 4U, 5U, 6U, 7U, 9U, 10U, 11U, 12U, 13U, 14U, 15U));
}

TEST_F(Capabilities, OfLinkSpeedAreFourteenAndFifteen) {
  const auto withSpeed = [](unsigned speed) {
    return endpoint().express(0).dword(0x4c, 0x100 | speed);
  };
  EXPECT_THAT(valuesOf(withSpeed(0)), ElementsAre(13U));
  EXPECT_THAT(valuesOf(withSpeed(1)), ElementsAre(13U));
  EXPECT_THAT(valuesOf(withSpeed(2)), ElementsAre(13U, 14U));
  EXPECT_THAT(valuesOf(withSpeed(3)), ElementsAre(13U, 14U, 15U));
  EXPECT_THAT(valuesOf(withSpeed(6)), ElementsAre(13U, 14U, 15U));
  EXPECT_THAT(valuesOf(withSpeed(0xf0)), ElementsAre(13U)) << "the width is beside the speed";
  EXPECT_THAT(valuesOf(withSpeed(3).cut(0x4f)), ElementsAre(13U)) << "half a register";
}

TEST_F(Capabilities, AreKnownOnlyWithTheStatusBitThatSaysSo) {
  const auto device = readOne(endpoint().capability(0x01, 0x40).byte(0x06, 0x00));
  EXPECT_FALSE(device->HasCapability(0x01));
}

TEST_F(Capabilities, ListBeginsWhereTheHeaderTypeHasIt) {
  const auto withBoth = [](unsigned type) {
    return endpoint()
        .byte(0x0e, type)
        .byte(0x06, 0x10)
        .byte(0x34, 0x60)
        .byte(0x14, 0x70)
        .byte(0x60, 0x01)
        .byte(0x70, 0x05);
  };
  EXPECT_TRUE(readOne(withBoth(0))->HasCapability(0x01));
  EXPECT_TRUE(readOne(withBoth(0x81))->HasCapability(0x01));
  EXPECT_FALSE(readOne(withBoth(1))->HasCapability(0x05));
  EXPECT_TRUE(readOne(withBoth(2))->HasCapability(0x05));
  EXPECT_FALSE(readOne(withBoth(2))->HasCapability(0x01));
  EXPECT_FALSE(readOne(withBoth(3))->HasCapability(0x01));
  EXPECT_FALSE(readOne(withBoth(3))->HasCapability(0x05));
}

TEST_F(Capabilities, ListIsWalkedToItsEndInAnyDirection) {
  const auto device =
      readOne(endpoint().capability(0x01, 0xf0).capability(0x05, 0x40).capability(0x10, 0x80));
  for (const std::uint8_t id : std::array<std::uint8_t, 3>{0x01, 0x05, 0x10})
    EXPECT_TRUE(device->HasCapability(id)) << +id;
  for (const std::uint8_t id : std::array<std::uint8_t, 3>{0x02, 0x07, 0x11})
    EXPECT_FALSE(device->HasCapability(id)) << +id;
}

TEST_F(Capabilities, ListMayLoop) {
  for (const unsigned back : {0x40U, 0x50U, 0x60U}) {
    const auto device = readOne(endpoint()
                                    .capability(0x01, 0x40)
                                    .capability(0x05, 0x50)
                                    .capability(0x09, 0x60)
                                    .byte(0x61, back));
    EXPECT_TRUE(device->HasCapability(0x09));
    EXPECT_FALSE(device->HasCapability(0x10));
  }
}

TEST_F(Capabilities, PointersLeaveOutTheirLowBits) {
  const auto device = readOne(
      endpoint().capability(0x01, 0x40).capability(0x05, 0x50).byte(0x34, 0x43).byte(0x41, 0x52));
  EXPECT_TRUE(device->HasCapability(0x01));
  EXPECT_TRUE(device->HasCapability(0x05));
}

TEST_F(Capabilities, DoNotLieInTheHeader) {
  const auto inHeader = readOne(endpoint().byte(0x06, 0x10).byte(0x34, 0x3c).byte(0x3c, 0x0f));
  EXPECT_FALSE(inHeader->HasCapability(0x0f));
  const auto backIntoIt = readOne(endpoint().capability(0x01, 0x40).byte(0x41, 0x08));
  EXPECT_FALSE(backIntoIt->HasCapability(0x03)) << "the revision is no capability";
}

TEST_F(Capabilities, BeyondTheBytesThatAreThereAreUnknown) {
  const auto function = endpoint().capability(0x01, 0x40).express(5, 0x50);
  const auto whole = readOne(function);
  EXPECT_TRUE(whole->HasCapability(0x10));
  EXPECT_EQ(whole->GetPcieDeviceType(), 5);
  const auto cut = readOne(MadeFunction(function).cut(0x50));
  EXPECT_TRUE(cut->HasCapability(0x01));
  EXPECT_FALSE(cut->HasCapability(0x10));
  EXPECT_FALSE(cut->HasCapability(0x00));
  EXPECT_EQ(cut->GetPcieDeviceType(), -1);
  EXPECT_EQ(readOne(MadeFunction(function).cut(0x53))->GetPcieDeviceType(), -1);
}

TEST_F(Capabilities, AreUnknownWithSixtyFourBytes) {
  const auto device = readOne(endpoint().bridge(1, 4).express(5).byte(0x06, 0xb0).cut(64));
  EXPECT_FALSE(device->HasCapability(0x10));
  EXPECT_EQ(device->GetPcieDeviceType(), -1);
  EXPECT_THAT(device->GetCapabilities(), ElementsAre(2U, 4U));
  EXPECT_EQ(device->GetSecondaryBusNumber(), 1) << "a switch shows as a plain bridge";
}

TEST_F(Capabilities, PcieDeviceTypeIsThatOfTheFlags) {
  EXPECT_EQ(readOne(endpoint())->GetPcieDeviceType(), -1);
  for (const int type : {0, 1, 4, 5, 6, 7, 8, 15}) {
    const auto function = endpoint().express(static_cast<unsigned>(type)).byte(0x43, 0xff);
    EXPECT_EQ(readOne(function)->GetPcieDeviceType(), type);
  }
}

TEST_F(Capabilities, OfALiveFunctionComeFromItsBytes) {
  plug("pci0000:00/0000:00:02.0", endpoint().express(6).dword(0x4c, 3));
  const Devices devices = read();
  EXPECT_TRUE(devices.at(0)->HasCapability(0x10));
  EXPECT_EQ(devices.at(0)->GetPcieDeviceType(), 6);
  EXPECT_THAT(devices.at(0)->GetCapabilities(), ElementsAre(13U, 14U, 15U));
}

TEST_F(Capabilities, AreReadFromInventoriesOfFourThousandBytes) {
  auto function = MadeFunction("00:02.0", 4096).express(4);
  EXPECT_TRUE(readOne(function)->HasCapability(0x10));
  EXPECT_THAT(logLines(), IsEmpty());
}

}  // namespace
}  // namespace qarctltest
