// Saved inventories in the states in which people send them. Most tests damage a made text in one
// way, and expect the functions that docs/saved-inventories.md promises, their bytes and the one
// warning with the number of the first damaged line, its reason and the count of the others.
#include "host_fixture.h"

#include <syslog.h>

namespace qarctltest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Damage : public HostTest {
 protected:
  /// Expects one warning about the input, with this line number, reason and number of more lines.
  void expectWarning(std::size_t line, const std::string& reason, std::size_t more) const {
    ASSERT_EQ(logLines().size(), 1U);
    EXPECT_EQ(logLines()[0].priority, LOG_WARNING);
    std::string rest;
    if (more == 1) rest = "; 1 more line could not be read";
    if (more > 1) rest = "; " + std::to_string(more) + " more lines could not be read";
    EXPECT_EQ(logLines()[0].text, "PCI inventory " + inventoryFile().string() + " line " +
                                      std::to_string(line) + ": " + reason + rest);
  }
};

std::string replaced(std::string text, const std::string& what, const std::string& with) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + with.size())) {
    text.replace(at, what.size(), with);
  }
  return text;
}

MadeFunction first() {
  return MadeFunction("00:01.0", 64).dword(0x2c, 0x22221111);
}
MadeFunction second() {
  return MadeFunction("00:02.0", 64).word(0x02, 0x1234);
}

TEST_F(Damage, NoneIsReportedOnTheSamples) {
  for (const char* sample : {"q35-pcie-switches.txt", "i440fx-conventional.txt"}) {
    EXPECT_GT(readInventory(readSample(sample)).size(), 10U);
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Damage, CarriageReturnsAndAMissingFinalNewlineAreNone) {
  std::string text = first().text() + second().text();
  text.erase(text.find_last_not_of('\n') + 1);
  const Devices devices = readInventory(replaced(text, "\n", "\r\n"));
  ASSERT_EQ(devices.size(), 2U);
  EXPECT_EQ(devices[0]->GetSubsystemId(), 0x2222);
  EXPECT_EQ(devices[1]->GetDeviceId(), 0x1234);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Damage, AByteOrderMarkInFrontIsNone) {
  EXPECT_THAT(addressesOf(readInventory("\xef\xbb\xbf" + first().text() + second().text())),
              ElementsAre("0000:00:01.0", "0000:00:02.0"));
  EXPECT_THAT(logLines(), IsEmpty());
  useInventory("\xef\xbb\xbf");
  EXPECT_NE(failure(), "(no failure)") << "not empty, and without a function";
}

TEST_F(Damage, LongHeaderLinesAndLinesWithoutTextAreNone) {
  for (const std::string& header :
       {"00:01.0 " + std::string(255, 'n'), "00:01.0 " + std::string(70'000, '0'),
        std::string("00:01.0"), std::string("00:01.0\tx")}) {
    const Devices devices = readInventory(header + "\n" + first().hexLines() + second().text());
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0]->GetSubsystemId(), 0x2222);
  }
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Damage, DecodeTextBetweenBytesIsNone) {
  const Devices devices =
      readInventory("00:01.0 x\n\tFlags: fast\n\tMemory at f0: 12 34\n" + first().hexLines(0, 16) +
                    "\tCapabilities: [40] 10: 11\n\n" + first().hexLines(16) +
                    "\tPhysical Slot: 3\n" + second().text());
  ASSERT_EQ(devices.size(), 2U);
  EXPECT_EQ(devices[0]->GetSubsystemId(), 0x2222);
  EXPECT_EQ(devices[0]->GetPhysicalSlot(), 3);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Damage, UpperCaseAndTabsAreNone) {
  const Devices devices = readInventory("00:1F.0\tx\n00:\t86  80 D3\t10\n");
  EXPECT_EQ(devices.at(0)->GetVendorId(), 0x8086);
  EXPECT_EQ(devices.at(0)->GetDeviceId(), 0x10d3);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Damage, BehindSixteenBytesIsNone) {
  const Devices devices = readInventory(replaced(first().text(), "22 22\n", "22 22 33 |text|\n"));
  EXPECT_EQ(devices.at(0)->GetSubsystemId(), 0x2222);
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Damage, InALineKeepsTheBytesBeforeItAndTheLinesBehindIt) {
  const auto function =
      MadeFunction("00:01.0").dword(0x2c, 0x22221111).capability(0x01, 0x40).express(5, 0x60);
  const std::string message = " lspci: Unable to load resources\n";
  for (const auto& [from, to] : {std::pair(" 00 02 00 00 00 00\n", message),
                                 std::pair(" 00 02 00 00 00 00\n", std::string(" 0\n")),
                                 std::pair(" 00 02 00 00 00 00\n", std::string(" 002\n")),
                                 std::pair(" 00 02 00 00 00 00\n", std::string(" 0x 02\n"))}) {
    logLines().clear();
    const Devices devices = readInventory(replaced(function.text(), from, to) + second().text());
    ASSERT_EQ(devices.size(), 2U);
    EXPECT_EQ(devices[0]->GetVendorId(), 0x8086);
    EXPECT_EQ(devices[0]->GetRevisionId(), 3);
    EXPECT_EQ(devices[0]->GetClassCode(), 0);
    EXPECT_FALSE(devices[0]->HasCapability(0x01)) << "its header type is lost";
    EXPECT_EQ(devices[0]->GetSubsystemId(), 0) << "its header type is lost";
    expectWarning(2, "unreadable byte", 0);
  }
}

TEST_F(Damage, InALineOfCapabilitiesCostsThoseAlone) {
  const auto function = MadeFunction("00:01.0")
                            .capability(0x01, 0x40)
                            .capability(0x05, 0x50)
                            .express(5, 0x60)
                            .capability(0x11, 0x70);
  const Devices devices =
      readInventory(replaced(function.text(), "70: 11 00", "70: lspci: oops 11 00"));
  EXPECT_TRUE(devices.at(0)->HasCapability(0x05));
  EXPECT_EQ(devices.at(0)->GetPcieDeviceType(), 5);
  EXPECT_FALSE(devices.at(0)->HasCapability(0x11));
  const Devices link = readInventory(replaced(function.text(), "50: 05 60", "50: 05 lspci"));
  EXPECT_TRUE(link.at(0)->HasCapability(0x05));
  EXPECT_FALSE(link.at(0)->HasCapability(0x10));
}

TEST_F(Damage, LinesBehindAnUnreadableOneStayInTheirPlaces) {
  const std::string text = replaced(first().text(), "10: 00", "1?: 00");
  const Devices devices = readInventory(text + second().text());
  EXPECT_EQ(devices.at(0)->GetSubsystemId(), 0x2222);
  EXPECT_EQ(devices.at(0)->GetDeviceId(), 0x10d3);
  expectWarning(3, "neither a function nor bytes", 0);
}

TEST_F(Damage, AMessageOnLinesOfItsOwnCostsNothing) {
  const Devices devices =
      readInventory("00:01.0 x\nlspci: oops\n" + first().hexLines(0, 32) +
                    "pcilib: oops\npcilib: again\n" + first().hexLines(32) + second().text());
  EXPECT_EQ(devices.at(0)->GetSubsystemId(), 0x2222);
  EXPECT_EQ(devices.at(1)->GetDeviceId(), 0x1234);
  expectWarning(2, "neither a function nor bytes", 2);
}

TEST_F(Damage, OfAnOffsetLeavesTheBytesOutOfWrongPlaces) {
  const auto function = MadeFunction("00:01.0").dword(0x2c, 0x22221111).capability(0x01, 0x40);
  const Devices devices = readInventory(replaced(function.text(), "10: 00", "90: 00"));
  EXPECT_EQ(devices.at(0)->GetSubsystemId(), 0x2222);
  EXPECT_TRUE(devices.at(0)->HasCapability(0x01));
  expectWarning(3, "lines missing before these bytes", 0);
}

/// A switch's upstream port: its type is in its last rows.
MadeFunction port() {
  return MadeFunction("00:01.0").bridge(2, 4).express(5, 0xe0);
}

std::string withoutRow(const std::string& lines, const std::string& offset) {
  const std::size_t begin = lines.find(offset + ": ");
  return std::string(lines).erase(begin, lines.find('\n', begin) + 1 - begin);
}

TEST_F(Damage, OfAMissingRowLeavesTheRowsBehindItWhereTheirOffsetsSay) {
  const std::string text = withoutRow(port().text(), "20");
  for (const std::string& behind : {second().text(), std::string()}) {
    logLines().clear();
    const Devices devices = readInventory(text + behind);
    EXPECT_EQ(devices.at(0)->GetPcieDeviceType(), 5);
    EXPECT_EQ(devices.at(0)->GetSecondaryBusNumber(), 2);
    expectWarning(4, "lines missing before these bytes", 0);
  }
}

TEST_F(Damage, OfSeveralMissingRowsIsCountedForEachGap) {
  const std::string text = withoutRow(withoutRow(port().text(), "20"), "80");
  EXPECT_EQ(readInventory(text + second().text()).at(0)->GetPcieDeviceType(), 5);
  expectWarning(4, "lines missing before these bytes", 1);
}

TEST_F(Damage, OfAMissingRowDropsTheRowsBehindItWhereAFunctionsLineMayBeLost) {
  const std::string text = withoutRow(port().text(), "20");
  const auto lost = MadeFunction("00:01.5").dword(0x2c, 0x44443333).express(4);
  const Devices devices = readInventory(text + lost.hexLines() + "\n" + second().text());
  ASSERT_THAT(addressesOf(devices), ElementsAre("0000:00:01.0", "0000:00:02.0"));
  EXPECT_EQ(devices[0]->GetSecondaryBusNumber(), 2) << "in front of the gap";
  EXPECT_EQ(devices[0]->GetPcieDeviceType(), -1);
  EXPECT_EQ(devices[0]->GetVendorId(), 0x8086);
  expectWarning(4, "lines missing before these bytes", 28);
}

TEST_F(Damage, OfAMissingRowDropsTheRowsBehindAnythingButARow) {
  for (const char* between : {"\n", "\tFlags: fast\n", "0?:03.0 x\n"}) {
    const std::string text = withoutRow(withoutRow(port().text(), "50"), "60");
    const std::size_t gap = text.find("70: ");
    const Devices devices = readInventory(std::string(text).insert(gap, between));
    EXPECT_EQ(devices.at(0)->GetPcieDeviceType(), -1) << between;
    EXPECT_EQ(devices.at(0)->GetSecondaryBusNumber(), 2) << between;
  }
}

TEST_F(Damage, OfAMissingRowLeavesASlotBehindItOut) {
  const std::string text = withoutRow(first().text(), "10") + "\tPhysical Slot: 4\n";
  EXPECT_EQ(readInventory(text).at(0)->GetPhysicalSlot(), -1);
}

TEST_F(Damage, OfAFewRowsTakenTwiceLeavesOutTheSecondTime) {
  const auto function = MadeFunction("00:01.0").bridge(2, 4).capability(0x01, 0x40);
  const Devices devices = readInventory(function.text() + function.hexLines(0x40) + "\n");
  EXPECT_EQ(devices.size(), 1U);
  EXPECT_TRUE(devices[0]->HasCapability(0x01));
  expectWarning(19, "bytes of no known function", 11);
}

TEST_F(Damage, OfAFunctionsOwnLineLosesItAloneAndNotTheOneBefore) {
  const auto other = MadeFunction("00:09.0").dword(0x00, 0x99999999).express(5);
  for (const char* header : {"00:0?.0 x\n", "xx\n", "\n", "", "00: 09.0 x\n", "\t00:09.0 x\n"}) {
    const Devices devices =
        readInventory(first().text() + header + other.hexLines() + second().text());
    EXPECT_THAT(addressesOf(devices), ElementsAre("0000:00:01.0", "0000:00:02.0")) << header;
    EXPECT_EQ(devices.at(0)->GetVendorId(), 0x8086) << header;
    EXPECT_EQ(devices.at(0)->GetSubsystemId(), 0x2222) << header;
    EXPECT_EQ(devices.at(0)->GetPcieDeviceType(), -1) << header;
    EXPECT_EQ(devices.at(1)->GetDeviceId(), 0x1234) << header;
  }
}

TEST_F(Damage, IsBytesBeforeTheFirstFunction) {
  EXPECT_EQ(readInventory(first().hexLines(0, 32) + second().text()).size(), 1U);
  expectWarning(1, "bytes of no known function", 1);
}

TEST_F(Damage, IsAnOffsetBeyondConfigurationSpace) {
  EXPECT_EQ(readInventory(MadeFunction("00:01.0", 4096).text() + "1000: 11\n").size(), 1U);
  EXPECT_EQ(logLines().size(), 1U);
  EXPECT_THAT(logLines()[0].text,
              testing::HasSubstr("line 259: offset beyond configuration space"));
}

TEST_F(Damage, IsAFunctionWithoutBytes) {
  const Devices devices = readInventory(first().text() + "00:05.0 VGA compatible controller\n\n" +
                                        "00:06.0 Bridge\n\tFlags: fast\n\n" + second().text());
  EXPECT_THAT(addressesOf(devices), ElementsAre("0000:00:01.0", "0000:00:02.0"));
  expectWarning(7, "a function without bytes", 1);
}

TEST_F(Damage, OfTheOnlyBytesIsReportedOnce) {
  EXPECT_EQ(readInventory(first().text() + "00:05.0 x\n00: lspci: oops\n").size(), 1U);
  expectWarning(8, "unreadable byte", 0);
}

TEST_F(Damage, IsReportedOncePerInputWithTheNumberOfMoreLines) {
  const std::string bad = replaced(first().text(), "20: 00", "20: 0?");
  EXPECT_EQ(readInventory(bad + bad + bad + second().text()).size(), 4U);
  expectWarning(4, "unreadable byte", 2);
  logLines().clear();
  EXPECT_EQ(read().size(), 4U);
  expectWarning(4, "unreadable byte", 2);
}

TEST_F(Damage, MayBeNulBytesAndOtherAlphabets) {
  const Devices devices =
      readInventory(first().text() + std::string("\0\0\xff\xfe\n", 5) +
                    std::string("00:03.0 \0 x\n", 12) + second().hexLines() + second().text());
  EXPECT_THAT(addressesOf(devices), ElementsAre("0000:00:01.0", "0000:00:02.0", "0000:00:03.0"));
  expectWarning(7, "neither a function nor bytes", 0);
}

TEST_F(Damage, IsReportedByEachOfTheInputsWhoseFunctionsItLeaves) {
  useInventory("nothing\n");
  EXPECT_NE(failure(), "(no failure)");
  expectWarning(1, "neither a function nor bytes", 0);
}

}  // namespace
}  // namespace qarctltest
