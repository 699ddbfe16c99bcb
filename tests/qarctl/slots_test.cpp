// Where the number of a physical slot comes from.
#include "host_fixture.h"

namespace qarctltest {
namespace {

class Slots : public HostTest {
 protected:
  /// The slot of a function below `parent`, in a saved inventory.
  int slotBelow(const MadeFunction& parent) const {
    return readInventory({parent, MadeFunction("01:00.0")}).at(1)->GetPhysicalSlot();
  }
  int slotWithText(const std::string& text) const {
    const MadeFunction function("00:02.0");
    return readInventory("00:02.0 Made function\n" + text + function.hexLines())
        .at(0)
        ->GetPhysicalSlot();
  }
  int liveSlot() const { return read().back()->GetPhysicalSlot(); }
};

MadeFunction port(unsigned type) {
  return MadeFunction("00:01.0").bridge(1, 1).express(type);
}

TEST_F(Slots, AreThoseOfTheParentsPort) {
  EXPECT_EQ(slotBelow(port(4).slot(7)), 7);
  EXPECT_EQ(slotBelow(port(6).slot(0x1fff)), 0x1fff);
}

TEST_F(Slots, AreNoneBelowOtherPortsOrWithoutASlotImplemented) {
  for (const unsigned type : {0U, 1U, 5U, 7U, 8U}) {
    EXPECT_EQ(slotBelow(port(type).slot(7)), -1) << type;
  }
  EXPECT_EQ(slotBelow(port(4).slot(0)), -1);
  EXPECT_EQ(slotBelow(port(4).slot(7).byte(0x43, 0)), -1);
  EXPECT_EQ(slotBelow(port(4).dword(0x54, 0x7ffff).byte(0x43, 1)), -1)
      << "other bits are no number";
  EXPECT_EQ(slotBelow(port(4).slot(7).cut(0x57)), -1) << "half a register";
  EXPECT_EQ(slotBelow(MadeFunction("00:01.0").bridge(1, 1)), -1);
}

TEST_F(Slots, OfAPortItselfAreNotItsOwn) {
  EXPECT_EQ(readInventory({port(4).slot(7)}).at(0)->GetPhysicalSlot(), -1);
}

TEST_F(Slots, StandInTheTextOfASavedFunction) {
  EXPECT_EQ(slotWithText("\tPhysical Slot: 12\n"), 12);
  EXPECT_EQ(slotWithText("\tPhysical Slot: 0\n"), 0);
  EXPECT_EQ(slotWithText("    Physical Slot:300-1\r\n"), 300);
  EXPECT_EQ(slotWithText("\tPhysical Slot: 2147483647\n"), 2147483647);
  EXPECT_THAT(logLines(), testing::IsEmpty());
}

TEST_F(Slots, WithoutANumberAreNone) {
  for (const char* text :
       {"\tPhysical Slot: front\n", "\tPhysical Slot:\n", "\tPhysical Slot: -3\n",
        "\tPhysical Slot: 2147483648\n", "\tPhysical Slot: 99999999999999999999\n",
        "\tNo Physical Slot: 5\n", "\tPhysical slot 5\n"}) {
    EXPECT_EQ(slotWithText(text), -1) << text;
  }
}

TEST_F(Slots, OfTheTextGoBeforeThoseOfTheParent) {
  const std::string upper = port(4).slot(7).text();
  const std::string lower = MadeFunction("01:00.0").hexLines();
  const Devices named = readInventory(upper + "01:00.0 x\n" + lower + "\tPhysical Slot: 3\n");
  EXPECT_EQ(named.at(1)->GetPhysicalSlot(), 3);
  const Devices unnumbered =
      readInventory(upper + "01:00.0 x\n" + lower + "\tPhysical Slot: front\n");
  EXPECT_EQ(unnumbered.at(1)->GetPhysicalSlot(), 7);
}

TEST_F(Slots, OfTheTextBelongToTheFunctionAboveAlone) {
  const Devices devices = readInventory("\tPhysical Slot: 9\n" + MadeFunction("00:01.0").text() +
                                        "\tPhysical Slot: 4\n" + MadeFunction("00:02.0").text());
  EXPECT_EQ(devices.at(0)->GetPhysicalSlot(), 4);
  EXPECT_EQ(devices.at(1)->GetPhysicalSlot(), -1);
}

TEST_F(Slots, OfAFunctionWhoseOwnLineIsLostAreNotTheOneBeforesEither) {
  const Devices devices =
      readInventory(MadeFunction("00:01.0").text() + "0?:02.0 x\n\tPhysical Slot: 4\n" +
                    MadeFunction("").hexLines());
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0]->GetPhysicalSlot(), -1);
}

TEST_F(Slots, OfALiveFunctionAreTheLeadingDigitsOfItsSlotsName) {
  plug("pci0000:00/0000:00:02.0", MadeFunction(""));
  addSlot("12-1", "0000:00:02");
  addSlot("13", "0000:00:03");
  addSlot("14", "0000:00");
  addSlot("15", "0001:00:02");
  EXPECT_EQ(liveSlot(), 12);
}

TEST_F(Slots, OfALiveFunctionWithALongSegmentAreFoundToo) {
  plug("pci10000:e0/10000:e0:06.0", MadeFunction(""));
  addSlot("0", "10000:e0:06");
  EXPECT_EQ(liveSlot(), 0);
}

TEST_F(Slots, OfEveryLiveFunctionOfADeviceAreTheSame) {
  plug("pci0000:00/0000:00:02.0", MadeFunction(""));
  plug("pci0000:00/0000:00:02.7", MadeFunction(""));
  addSlot("5", "0000:00:02");
  const Devices devices = read();
  EXPECT_EQ(devices.at(0)->GetPhysicalSlot(), 5);
  EXPECT_EQ(devices.at(1)->GetPhysicalSlot(), 5);
}

TEST_F(Slots, OfALiveFunctionAreTheParentsWhereNoNameHasDigits) {
  plug("pci0000:00/0000:00:01.0", port(4).slot(7));
  plug("pci0000:00/0000:00:01.0/0000:01:00.0", MadeFunction(""));
  EXPECT_EQ(liveSlot(), 7) << "no slots at all";
  for (const char* name : {"front", "-5", "+5", "99999999999", " 5"}) {
    addSlot(name, "0000:01:00");
    EXPECT_EQ(liveSlot(), 7) << name;
  }
  addSlot("21", "0000:01:00");
  EXPECT_EQ(liveSlot(), 21);
}

TEST_F(Slots, OfALiveFunctionAreNoneWithoutAnySource) {
  plug("pci0000:00/0000:00:02.0", MadeFunction(""));
  EXPECT_EQ(liveSlot(), -1);
}

}  // namespace
}  // namespace qarctltest
