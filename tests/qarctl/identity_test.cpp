// What a function is: where it sits, its ids, class and revision, from either input.
#include "host_fixture.h"

#include <tuple>

namespace qarctltest {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class Address : public HostTest {};
class Ids : public HostTest {};

TEST_F(Address, IsTextInLowerCaseHexOfFixedWidth) {
  const std::pair<const char*, const char*> cases[] = {
      {"00:1f.7", "0000:00:1f.7"},
      {"0001:02:03.4", "0001:02:03.4"},
      {"ABCD:EF:0A.0", "abcd:ef:0a.0"},
      {"10000:e0:06.0", "10000:e0:06.0"},
      {"ABCDEF01:FF:1F.7", "abcdef01:ff:1f.7"},
      {"00000002:00:00.0", "0002:00:00.0"},
  };
  for (const auto& [written, text] : cases) {
    EXPECT_THAT(addressesOf(readInventory({MadeFunction(written)})), ElementsAre(text));
  }
}

TEST_F(Address, HasItsPartsAndTheLowHalfOfTheSegment) {
  const Devices devices = readInventory({MadeFunction("abcdef01:fe:1d.6")});
  EXPECT_EQ(devices.at(0)->GetSegmentNumber(), 0xef01);
  EXPECT_EQ(devices.at(0)->GetBusNumber(), 0xfe);
  EXPECT_EQ(devices.at(0)->GetDeviceNumber(), 0x1d);
  EXPECT_EQ(devices.at(0)->GetFunctionNumber(), 6);
}

TEST_F(Address, OfAnotherShapeIsNoFunction) {
  for (const char* text : {"000:00:00.0", "123456789:00:00.0", "00:20.0", "00:00.8", "0:00.0",
                           "00:0.0", "00:00.", "00:00.0:", "00.00.0", "00:00", "00:1g.0"}) {
    const Devices devices = readInventory(
        {MadeFunction("00:01.0"), MadeFunction(text).word(0x02, 0x9999), MadeFunction("00:02.0")});
    EXPECT_THAT(addressesOf(devices), ElementsAre("0000:00:01.0", "0000:00:02.0")) << text;
    EXPECT_EQ(devices.at(0)->GetDeviceId(), 0x10d3) << text;
  }
}

TEST_F(Address, OrdersBySegmentBusDeviceAndFunction) {
  const Devices devices = readInventory(
      {MadeFunction("10000:00:00.0"), MadeFunction("ffff:00:00.0"), MadeFunction("01:00.0"),
       MadeFunction("00:1f.0"), MadeFunction("00:02.7"), MadeFunction("00:02.1")});
  EXPECT_THAT(addressesOf(devices), ElementsAre("0000:00:02.1", "0000:00:02.7", "0000:00:1f.0",
                                                "0000:01:00.0", "ffff:00:00.0", "10000:00:00.0"));
}

TEST_F(Address, KeepsFunctionsOfEqualAddressInTheirOrder) {
  std::vector<MadeFunction> functions;
  for (unsigned id = 1; id <= 40; ++id) {
    functions.push_back(MadeFunction(id % 2 == 0 ? "02:00.0" : "01:00.0").word(0x02, id));
  }
  const Devices devices = readInventory(functions);
  ASSERT_THAT(devices, SizeIs(40));
  for (unsigned at = 0; at < 40; ++at) {
    EXPECT_EQ(devices[at]->GetDeviceId(), at < 20 ? 2 * at + 1 : 2 * (at - 20) + 2);
  }
}

TEST_F(Address, SameBusesOfSeveralSegmentsStayApart) {
  const Devices devices =
      readInventory({MadeFunction("0001:00:00.0").word(0x02, 1), MadeFunction("0000:00:00.0"),
                     MadeFunction("0002:00:00.0").word(0x02, 2)});
  EXPECT_THAT(addressesOf(devices), ElementsAre("0000:00:00.0", "0001:00:00.0", "0002:00:00.0"));
  EXPECT_EQ(devices[1]->GetDeviceId(), 1);
  EXPECT_EQ(devices[2]->GetDeviceId(), 2);
}

TEST_F(Ids, OfASavedFunctionComeFromConfigurationSpace) {
  const Devices devices = readInventory({MadeFunction("00:02.0")
                                             .word(0x00, 0x1af4)
                                             .word(0x02, 0x1041)
                                             .word(0x0a, 0x0c03)
                                             .byte(0x08, 0xa7)});
  EXPECT_EQ(devices.at(0)->GetVendorId(), 0x1af4);
  EXPECT_EQ(devices.at(0)->GetDeviceId(), 0x1041);
  EXPECT_EQ(devices.at(0)->GetClassCode(), 0x0c03);
  EXPECT_EQ(devices.at(0)->GetRevisionId(), 0xa7);
}

/// An endpoint's bytes at every place where some header type has subsystem ids.
MadeFunction withSubsystemIds(unsigned headerType) {
  return MadeFunction("00:02.0")
      .byte(0x0e, headerType)
      .dword(0x2c, 0x22221111)
      .capability(0x0d, 0x50)
      .dword(0x54, 0x44443333)
      .dword(0x40, 0x66665555);
}

TEST_F(Ids, OfTheSubsystemStandWhereTheHeaderTypeHasThem) {
  const std::tuple<unsigned, unsigned, unsigned> cases[] = {
      {0x00, 0x1111, 0x2222}, {0x80, 0x1111, 0x2222}, {0x01, 0x3333, 0x4444},
      {0x81, 0x3333, 0x4444}, {0x02, 0x5555, 0x6666}, {0x03, 0, 0},
  };
  for (const auto& [type, vendor, id] : cases) {
    const Devices devices = readInventory({withSubsystemIds(type)});
    EXPECT_EQ(devices.at(0)->GetSubsystemVendorId(), vendor) << type;
    EXPECT_EQ(devices.at(0)->GetSubsystemId(), id) << type;
  }
}

TEST_F(Ids, OfABridgesSubsystemAreZeroWithoutItsCapability) {
  const Devices devices = readInventory(
      {MadeFunction("00:02.0").byte(0x0e, 1).dword(0x2c, 0x22221111).dword(0x40, 0x66665555)});
  EXPECT_EQ(devices.at(0)->GetSubsystemVendorId(), 0);
  EXPECT_EQ(devices.at(0)->GetSubsystemId(), 0);
}

TEST_F(Ids, AreZeroWhereTheirBytesAreNotThere) {
  const Devices devices =
      readInventory({withSubsystemIds(0).cut(0x2d), withSubsystemIds(1).cut(0x57),
                     MadeFunction("00:02.0").cut(0x0b)});
  EXPECT_EQ(devices.at(0)->GetSubsystemVendorId(), 0);
  EXPECT_EQ(devices.at(1)->GetSubsystemVendorId(), 0x3333);
  EXPECT_EQ(devices.at(1)->GetSubsystemId(), 0);
  EXPECT_EQ(devices.at(2)->GetClassCode(), 0);
  EXPECT_EQ(devices.at(2)->GetRevisionId(), 3);
}

TEST_F(Ids, OfALiveFunctionComeFromItsAttributes) {
  const auto device = plug("pci0000:00/0000:00:02.0", MadeFunction("").dword(0x00, 0xffffffff));
  write(device / "vendor", "0x8086\n");
  write(device / "device", "0x1889\n");
  write(device / "subsystem_vendor", "0x1590\n");
  write(device / "subsystem_device", "0x02a1\n");
  write(device / "class", "0x028003\n");
  write(device / "revision", "0x1f\n");
  const Devices devices = read();
  EXPECT_EQ(devices.at(0)->GetVendorId(), 0x8086);
  EXPECT_EQ(devices.at(0)->GetDeviceId(), 0x1889);
  EXPECT_EQ(devices.at(0)->GetSubsystemVendorId(), 0x1590);
  EXPECT_EQ(devices.at(0)->GetSubsystemId(), 0x02a1);
  EXPECT_EQ(devices.at(0)->GetClassCode(), 0x0280);
  EXPECT_EQ(devices.at(0)->GetRevisionId(), 0x1f);
}

TEST_F(Ids, OfALiveFunctionComeFromItsBytesWhereAttributesAreMissingOrNoNumbers) {
  for (const char* attribute : {"", "no number\n", "0x12345678\n", "0x80 86\n", "-0x1\n"}) {
    std::filesystem::remove_all(folder);
    const auto device = plug("pci0000:00/0000:00:02.0", MadeFunction("").dword(0x2c, 0x22221111));
    for (const char* name :
         {"vendor", "device", "subsystem_vendor", "subsystem_device", "revision"}) {
      write(device / name, attribute);
    }
    const Devices devices = read();
    EXPECT_EQ(devices.at(0)->GetVendorId(), 0x8086) << attribute;
    EXPECT_EQ(devices.at(0)->GetDeviceId(), 0x10d3) << attribute;
    EXPECT_EQ(devices.at(0)->GetSubsystemVendorId(), 0x1111) << attribute;
    EXPECT_EQ(devices.at(0)->GetSubsystemId(), 0x2222) << attribute;
    EXPECT_EQ(devices.at(0)->GetClassCode(), 0x0200) << attribute;
    EXPECT_EQ(devices.at(0)->GetRevisionId(), 3) << attribute;
  }
}

}  // namespace
}  // namespace qarctltest
