// Compares the output of commands that boot_guest.sh ran in a guest, question by question: pcicim
// over the live host and over inventories saved there, with and without privilege, and lspci. The
// guest's machine is made by boot_guest.sh; the numbers of functions here are those of its devices.
// Nothing runs here but the comparison.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "../cli/tree_text.h"
#include "guest_answers.h"

namespace vmtest {
namespace {

// Ten devices, seven bridges, two switches, six ports of theirs, and three that lead to no PCI bus.
constexpr std::size_t kFunctions = 28;
constexpr std::size_t kVirtualFunctions = 2;

using clitest::parseLspciTree;
using clitest::parsePcicimTree;

std::string deviceOf(const std::string& address) {
  return address.substr(0, address.rfind('.'));
}

/// Differences between two answers, instance by instance, apart from the properties left out.
std::string differences(const std::vector<Json>& left, const std::vector<Json>& right,
                        const std::vector<std::string>& leftOut = {}) {
  if (left.size() != right.size()) {
    return std::to_string(left.size()) + " and " + std::to_string(right.size()) + " instances";
  }
  std::string found;
  for (std::size_t index = 0; index < left.size(); ++index) {
    Json one = left[index];
    Json other = right[index];
    for (const std::string& name : leftOut) {
      one.erase(name);
      other.erase(name);
    }
    if (one != other) {
      found += one.dump() + "\n  becomes the other by " + Json::diff(one, other).dump() + '\n';
    }
  }
  return found;
}

/// Every function with ids of its own: those of the three device classes, as `source` shows them.
std::vector<Json> functions(const std::string& source) {
  std::vector<Json> all;
  for (const char* name : {"Zelmar_PCIDevice", "Zelmar_PCIBridge", "Zelmar_PCIeSwitch"}) {
    for (Json& instance : instances(source, name)) {
      all.push_back(std::move(instance));
    }
  }
  return all;
}

void expectIds(const Json& instance, const Fields& fields) {
  EXPECT_EQ(instance.at("VendorID"), hexField(fields, "Vendor")) << instance;
  EXPECT_EQ(instance.at("PCIDeviceID"), hexField(fields, "Device")) << instance;
  EXPECT_EQ(instance.at("RevisionID"), hexField(fields, "Rev")) << instance;
  EXPECT_EQ(instance.at("ClassCode"), hexField(fields, "Class") >> 8) << instance;
  EXPECT_EQ(instance.at("SubClassCode"), hexField(fields, "Class") & 0xff) << instance;
}

void expectAllIds(const Json& instance, const Fields& fields) {
  expectIds(instance, fields);
  EXPECT_EQ(instance.at("SubsystemVendorID"), hexField(fields, "SVendor")) << instance;
  EXPECT_EQ(instance.at("SubsystemID"), hexField(fields, "SDevice")) << instance;
}

/// The machine as configured, counted in the answers of one source that reads with privilege.
class Machine : public testing::TestWithParam<const char*> {
 protected:
  static std::string tree() { return answer(std::string(GetParam()) + ".tree"); }
  static std::vector<Json> ofClass(const char* name) { return instances(GetParam(), name); }
};

TEST_P(Machine, HasTwoSwitchesTheLowerBehindAPortOfTheUpper) {
  const std::vector<Json> switches = ofClass("Zelmar_PCIeSwitch");
  ASSERT_EQ(switches.size(), 2U);
  EXPECT_EQ(switches[0].at("NumberOfPorts"), 4);
  EXPECT_EQ(switches[1].at("NumberOfPorts"), 2);
  const std::string port = switches[1].at("ParentDeviceID");
  EXPECT_EQ(parsePcicimTree(tree()).at(port), switches[0].at("DeviceID"));
}

TEST_P(Machine, HasDevicesAndBridgesAsConfigured) {
  EXPECT_EQ(ofClass("Zelmar_PCIDevice").size(), 10U);
  EXPECT_EQ(ofClass("Zelmar_PCIBridge").size(), 7U);
}

TEST_P(Machine, HasABridgeFromExpressToConventionalPciAndOneBehindIt) {
  const std::vector<Json> devices = ofClass("Zelmar_PCIDevice");
  const auto conventional = std::find_if(devices.begin(), devices.end(), [](const Json& device) {
    return device.at("ElementName").get<std::string>().find("82540EM") != std::string::npos;
  });
  ASSERT_NE(conventional, devices.end());
  const std::string outer = conventional->at("ParentDeviceID");
  const clitest::Parents parents = parsePcicimTree(tree());
  EXPECT_EQ(parents.at(parents.at(outer)), "") << outer << " sits right behind a root port";
  const std::vector<Json> bridges = ofClass("Zelmar_PCIBridge");
  EXPECT_EQ(std::count_if(bridges.begin(), bridges.end(),
                          [&](const Json& bridge) { return bridge.at("ParentDeviceID") == outer; }),
            1);
}

TEST_P(Machine, HasASecondRootBus) {
  EXPECT_EQ(occurrences(tree(), "Segment "), 2U) << tree();
  EXPECT_EQ(occurrences(tree(), "Segment 0000, bus 80\n"), 1U) << tree();
}

TEST_P(Machine, HasFourPortsWithNothingBehindThem) {
  EXPECT_EQ(occurrences(tree(), "(empty)"), 4U) << tree();
}

INSTANTIATE_TEST_SUITE_P(Sources, Machine, testing::Values("live", "saved"));

class Tree : public testing::TestWithParam<const char*> {};

TEST_P(Tree, AgreesWithLspciOnWhatSitsBehindWhat) {
  const clitest::Parents expected = parseLspciTree(answer("lspci.tree"));
  ASSERT_EQ(expected.size(), kFunctions);
  EXPECT_EQ(parsePcicimTree(answer(std::string(GetParam()) + ".tree")), expected);
}

INSTANTIATE_TEST_SUITE_P(Sources, Tree,
                         testing::Values("live", "saved", "saved-v", "plain-live", "plain-saved"));

class SameAnswers : public testing::TestWithParam<const char*> {};

TEST_P(SameAnswers, ApartFromSlotsThatOnlySysfsKnows) {
  const std::vector<Json> live = instances("live", GetParam());
  // Connections are found from a port only; enumerating them finds none.
  EXPECT_EQ(live.empty(), std::string(GetParam()) == "Zelmar_PCIDeviceConnection");
  EXPECT_EQ(differences(live, instances("saved", GetParam()), {"PhysicalSlot"}), "");
}

INSTANTIATE_TEST_SUITE_P(Classes, SameAnswers,
                         testing::Values("Zelmar_PCIDevice", "Zelmar_PCIBridge",
                                         "Zelmar_PCIeSwitch", "Zelmar_PCIPort",
                                         "Zelmar_PCIPortGroup", "Zelmar_PCISystemDevice",
                                         "Zelmar_PCIControlledBy", "Zelmar_PCIDeviceConnection",
                                         "Zelmar_PCIHostedCollection",
                                         "Zelmar_PCIMemberOfCollection"));

class PortReferences : public testing::TestWithParam<const char*> {};

TEST_P(PortReferences, AreTheSame) {
  const std::string question = std::string("references.") + GetParam();
  const std::vector<Json> live = instances("live", question);
  const auto isConnection = [](const Json& reference) {
    return reference.at("@class") == "Zelmar_PCIDeviceConnection";
  };
  EXPECT_EQ(std::count_if(live.begin(), live.end(), isConnection), 1);
  EXPECT_EQ(differences(live, instances("saved", question)), "");
}

INSTANTIATE_TEST_SUITE_P(Ports, PortReferences,
                         testing::Values("0000:04:00.0-ep", "0000:05:00.0-up"));

TEST(Slots, AreThoseOfTheKernelWhereItKnowsThem) {
  const std::map<std::string, int> known = slotsByDevice(answer("slots"));
  const std::vector<Json> live = functions("live");
  const std::vector<Json> saved = functions("saved");
  ASSERT_EQ(live.size(), saved.size());
  std::size_t fromKernel = 0;
  for (std::size_t index = 0; index < live.size(); ++index) {
    const auto slot = known.find(deviceOf(live[index].at("DeviceID")));
    if (slot != known.end()) {
      EXPECT_EQ(live[index].at("PhysicalSlot"), slot->second) << live[index];
      ++fromKernel;
    } else {
      EXPECT_EQ(live[index].value("PhysicalSlot", -1), saved[index].value("PhysicalSlot", -1))
          << live[index];
    }
  }
  EXPECT_EQ(fromKernel, 7U);
}

TEST(Slots, AreEqualInAnInventoryThatNamesThem) {
  ASSERT_GT(occurrences(answer("lspci-v.txt"), "Physical Slot: "), 0U);
  EXPECT_EQ(differences(functions("live"), functions("saved-v")), "");
}

class Ids : public testing::TestWithParam<const char*> {};

TEST_P(Ids, AreThoseThatLspciReads) {
  const std::map<std::string, Fields> fields = fieldsByAddress(answer("lspci.ids"));
  ASSERT_EQ(fields.size(), kFunctions);
  for (const Json& function : functions(GetParam())) {
    expectAllIds(function, fields.at(function.at("DeviceID")));
  }
  for (const Json& port : instances(GetParam(), "Zelmar_PCIPort")) {
    const std::string id = port.at("DeviceID");
    expectIds(port, fields.at(id.substr(0, id.rfind('-'))));
  }
}

INSTANTIATE_TEST_SUITE_P(Sources, Ids, testing::Values("live", "saved", "plain-live"));

// Subsystem ids of bridges are in a capability; sysfs shows them to every user.
TEST(Unprivileged, AnswersAreThoseOfAnInventorySavedWithoutPrivilege) {
  EXPECT_EQ(differences(functions("plain-live"), functions("plain-saved"),
                        {"PhysicalSlot", "SubsystemVendorID", "SubsystemID"}),
            "");
  EXPECT_EQ(differences(instances("plain-live", "Zelmar_PCIPort"),
                        instances("plain-saved", "Zelmar_PCIPort")),
            "");
}

TEST(Unprivileged, ShowsSwitchesAsPlainBridges) {
  EXPECT_EQ(instances("plain-live", "Zelmar_PCIeSwitch").size(), 0U);
  EXPECT_EQ(instances("plain-live", "Zelmar_PCIBridge").size(), 7U + 2U + 6U);
}

/// Privileged answers live, from an inventory with extended space, and from one whose lines carry
/// ids.
class VirtualFunctions : public testing::TestWithParam<const char*> {
 protected:
  static std::vector<Json> devices() { return instances(GetParam(), "Zelmar_PCIDevice"); }
};

TEST_P(VirtualFunctions, HaveIdsThoughTheirBytesShowNone) {
  ASSERT_EQ(occurrences(answer("virtual.txt"), "\n00: ff ff ff ff "), kVirtualFunctions);
  const std::map<std::string, Fields> fields = fieldsByAddress(answer("virtual.ids"));
  ASSERT_EQ(fields.size(), kFunctions + kVirtualFunctions);
  ASSERT_EQ(devices().size(), 10U + kVirtualFunctions);
  for (const Json& device : devices()) {
    expectAllIds(device, fields.at(device.at("DeviceID")));
  }
}

TEST_P(VirtualFunctions, AreWhatTheyAreLive) {
  EXPECT_EQ(differences(instances("virtual", "Zelmar_PCIDevice"), devices()), "");
}

TEST_P(VirtualFunctions, SitInTheSlotOfThePhysicalOne) {
  std::map<std::string, int> slots;
  for (const Json& device : devices()) {
    slots[device.at("DeviceID")] = device.value("PhysicalSlot", -1);
  }
  std::istringstream pairs(answer("virtual.physical"));
  std::size_t count = 0;
  for (std::string function, physical; pairs >> function >> physical; ++count) {
    EXPECT_GE(slots.at(function), 0);
    EXPECT_EQ(slots.at(physical), slots.at(function));
  }
  EXPECT_EQ(count, kVirtualFunctions);
}

TEST_P(VirtualFunctions, AreInTheTreeWhereLspciHasThem) {
  const clitest::Parents expected = parseLspciTree(answer("virtual-lspci.tree"));
  ASSERT_EQ(expected.size(), kFunctions + kVirtualFunctions);
  EXPECT_EQ(parsePcicimTree(answer(std::string(GetParam()) + ".tree")), expected);
}

INSTANTIATE_TEST_SUITE_P(Sources, VirtualFunctions,
                         testing::Values("virtual", "virtual-saved", "virtual-named"));

}  // namespace
}  // namespace vmtest
