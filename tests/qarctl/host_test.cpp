// Host control as its users see it: saved inventories in the states in which people send them,
// and live sysfs below a made-up root.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qarctl/HostCtlException.h>
#include <qarctl/HostFactory.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using HostCtl::Hardware::PciDevice;
using testing::ElementsAre;
using testing::HasSubstr;

using Devices = std::vector<std::unique_ptr<PciDevice>>;

class Host : public testing::Test {
 protected:
  Host() : folder(fs::temp_directory_path() / ("qarctl-test-" + std::to_string(getpid()))) {
    fs::create_directories(folder);
  }
  ~Host() override { fs::remove_all(folder); }

  static Devices read() { return HostCtl::Host::GetHardwareInfo()->GetPciInfo()->GetPciDevices(); }

  Devices readInventory(const std::string& text) {
    const fs::path file = folder / "inventory.txt";
    write(file, text);
    setenv("QARCTL_PCI_DUMP", file.c_str(), 1);
    return read();
  }

  static std::string failure() {
    try {
      read();
    } catch (const HostCtl::Lib::HostCtlException& error) {
      return error.what();
    }
    return "(no failure)";
  }

  static void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
  }

  static std::vector<std::string> addresses(const Devices& devices) {
    std::vector<std::string> texts;
    for (const auto& device : devices) texts.push_back(device->GetAddress());
    return texts;
  }

  static std::string parentOf(const PciDevice& device) {
    const auto parent = device.GetParent();
    return parent ? parent->GetAddress() : "(none)";
  }

  fs::path folder;
};

constexpr char kEndpoint[] =
    "00:02.0 Ethernet controller: x\n"
    "00: 86 80 d3 10 06 00 00 00 03 00 00 02 00 00 00 00\n";

/// A bridge's header lines with its three bus numbers.
std::string bridge(const std::string& address, const std::string& buses) {
  return address + " PCI bridge: x\n00: 36 1b 0c 00 07 00 00 00 00 00 04 06 00 00 01 00\n10: " +
         "00 00 00 00 00 00 00 00 " + buses + " 00 00 00 00 00\n";
}

TEST_F(Host, ReadsIdsClassAndRevision) {
  const Devices devices = readInventory(kEndpoint);
  ASSERT_EQ(devices.size(), 1U);
  EXPECT_EQ(devices[0]->GetAddress(), "0000:00:02.0");
  EXPECT_EQ(devices[0]->GetVendorId(), 0x8086);
  EXPECT_EQ(devices[0]->GetDeviceId(), 0x10d3);
  EXPECT_EQ(devices[0]->GetClassCode(), 0x0200);
  EXPECT_EQ(devices[0]->GetRevisionId(), 3);
  EXPECT_EQ(devices[0]->GetPcieDeviceType(), -1);
  EXPECT_EQ(devices[0]->GetPhysicalSlot(), -1);
  EXPECT_EQ(devices[0]->GetVendorName(), "Intel Corporation");
}

TEST_F(Host, UnknownIdsAreNamedByNumber) {
  const Devices devices =
      readInventory("00:02.0 x\n00: 34 12 78 56 00 00 00 00 00 00 00 02 00 00 00 00\n");
  EXPECT_EQ(devices.at(0)->GetVendorName(), "Vendor 1234");
  EXPECT_EQ(devices.at(0)->GetDeviceName(), "Device 5678");
}

TEST_F(Host, OrdersByAddressAndKeepsDuplicates) {
  const std::string bytes = " x\n00: 86 80 d3 10\n";
  const Devices devices = readInventory("10000:01:00.0" + bytes + "0001:00:00.1" + bytes +
                                        "00:1f.7" + bytes + "0001:00:00.1" + bytes);
  EXPECT_THAT(addresses(devices),
              ElementsAre("0000:00:1f.7", "0001:00:00.1", "0001:00:00.1", "10000:01:00.0"));
  EXPECT_EQ(devices[3]->GetSegmentNumber(), 0);
}

TEST_F(Host, ReadsCarriageReturnsAndNoFinalNewline) {
  const Devices devices =
      readInventory("00:02.0 x\r\n00: 86 80 d3 10\r\n00:03.0 y\r\n00: 86 80 34 12");
  ASSERT_EQ(devices.size(), 2U);
  EXPECT_EQ(devices[1]->GetDeviceId(), 0x1234);
}

TEST_F(Host, KeepsTheBytesBeforeDamageAndTheOtherFunctions) {
  const Devices devices = readInventory("00:02.0 x\n00: 86 80 d3 10 lspci: oops\n" +
                                        std::string("00:03.0 y\n00: 86 80 34 12\n"));
  ASSERT_EQ(devices.size(), 2U);
  EXPECT_EQ(devices[0]->GetDeviceId(), 0x10d3);
  EXPECT_EQ(devices[0]->GetClassCode(), 0);
  EXPECT_EQ(devices[1]->GetDeviceId(), 0x1234);
}

TEST_F(Host, ReadsHeaderLinesOfAnyLengthAndTextBetweenBytes) {
  const Devices devices = readInventory("00:02.0 " + std::string(4000, 'n') +
                                        "\n\tPhysical Slot: 7\n\tFlags: fast\n"
                                        "00: 86 80 d3 10\n");
  EXPECT_EQ(devices.at(0)->GetPhysicalSlot(), 7);
}

TEST_F(Host, TheNarrowestClaimIsTheParent) {
  const Devices devices =
      readInventory(bridge("00:01.0", "00 01 09") + bridge("01:00.0", "01 02 05") +
                    "02:00.0 x\n00: 86 80 d3 10\n" + "09:00.0 x\n00: 86 80 d3 10\n");
  ASSERT_EQ(devices.size(), 4U);
  EXPECT_EQ(parentOf(*devices[0]), "(none)");
  EXPECT_EQ(parentOf(*devices[1]), "0000:00:01.0");
  EXPECT_EQ(parentOf(*devices[2]), "0000:01:00.0");
  EXPECT_EQ(parentOf(*devices[3]), "0000:00:01.0");
  EXPECT_EQ(devices[0]->GetSecondaryBusNumber(), 1);
}

TEST_F(Host, ABridgeThatClaimsItsOwnBusIsNotItsOwnParent) {
  const Devices devices =
      readInventory(bridge("00:01.0", "00 00 00") + bridge("01:00.0", "01 01 01"));
  EXPECT_EQ(parentOf(*devices.at(0)), "(none)");
  EXPECT_EQ(parentOf(*devices.at(1)), "(none)");
}

TEST_F(Host, SegmentsDoNotMix) {
  const Devices devices =
      readInventory(bridge("0001:00:01.0", "00 01 01") + "0000:01:00.0 x\n00: 86 80 d3 10\n");
  EXPECT_EQ(parentOf(*devices.at(0)), "(none)");
}

TEST_F(Host, ALoopInTheCapabilityListEnds) {
  std::string text = "00:02.0 x\n00: 86 80 d3 10 06 00 10 00 00 00 00 02 00 00 00 00\n";
  for (const char* offset : {"10", "20"}) {
    text += std::string(offset) + ": 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n";
  }
  text += "30: 00 00 00 00 40 00 00 00 00 00 00 00 00 00 00 00\n";
  text += "40: 01 44 00 00 05 40 00 00 00 00 00 00 00 00 00 00\n";
  const Devices devices = readInventory(text);
  EXPECT_TRUE(devices.at(0)->HasCapability(0x01));
  EXPECT_TRUE(devices.at(0)->HasCapability(0x05));
  EXPECT_FALSE(devices.at(0)->HasCapability(0x10));
  EXPECT_THAT(devices.at(0)->GetCapabilities(), ElementsAre(6U, 7U));
}

TEST_F(Host, AnEmptyInventoryIsAHostWithoutPci) {
  EXPECT_TRUE(readInventory("").empty());
}

TEST_F(Host, FailuresNameTheFileAndTheReason) {
  EXPECT_THROW(readInventory("no function here\n"), HostCtl::Lib::HostCtlException);
  EXPECT_THAT(failure(), HasSubstr((folder / "inventory.txt").string() + " holds no PCI function"));
  setenv("QARCTL_PCI_DUMP", (folder / "missing").c_str(), 1);
  EXPECT_THAT(failure(), HasSubstr((folder / "missing").string() + ": No such file"));
  setenv("QARCTL_PCI_DUMP", folder.c_str(), 1);
  EXPECT_THAT(failure(), HasSubstr("directory"));
}

TEST_F(Host, EveryBeginningOfAnInventoryIsReadOrRefused) {
  std::ifstream stream(SAMPLES_DIRECTORY "/i440fx-conventional.txt", std::ios::binary);
  const std::string whole{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  ASSERT_FALSE(whole.empty());
  const std::size_t all = readInventory(whole).size();
  for (std::size_t length = 1; length < whole.size(); length += 97) {
    try {
      const Devices devices = readInventory(whole.substr(0, length));
      EXPECT_LE(devices.size(), all);
      for (const auto& device : devices) device->GetCapabilities();
    } catch (const HostCtl::Lib::HostCtlException& error) {
      EXPECT_THAT(error.what(), HasSubstr("holds no PCI function"));
    }
  }
}

TEST_F(Host, ReadsALiveHostBelowAnotherRoot) {
  unsetenv("QARCTL_PCI_DUMP");
  setenv("QARCTL_SYSFS_ROOT", folder.c_str(), 1);
  const fs::path upper = folder / "devices" / "pci0000:00" / "0000:00:1c.0";
  const fs::path lower = upper / "0000:01:00.0";
  write(lower / "vendor", "0x8086\n");
  write(lower / "device", "0x10d3\n");
  write(lower / "class", "0x020000\n");
  write(lower / "revision", "0x05\n");
  write(upper / "vendor", "0x8086\n");
  const fs::path links = folder / "bus" / "pci" / "devices";
  fs::create_directories(links);
  fs::create_directory_symlink(lower, links / "0000:01:00.0");
  fs::create_directory_symlink(upper, links / "0000:00:1c.0");
  write(folder / "bus" / "pci" / "slots" / "12-1" / "address", "0000:01:00\n");
  const Devices devices = read();
  ASSERT_THAT(addresses(devices), ElementsAre("0000:00:1c.0", "0000:01:00.0"));
  EXPECT_EQ(parentOf(*devices[1]), "0000:00:1c.0");
  EXPECT_EQ(parentOf(*devices[0]), "(none)");
  EXPECT_EQ(devices[1]->GetClassCode(), 0x0200);
  EXPECT_EQ(devices[1]->GetRevisionId(), 5);
  EXPECT_EQ(devices[1]->GetPhysicalSlot(), 12);
}

TEST_F(Host, AHostWithoutThePciBusHasNoFunctions) {
  unsetenv("QARCTL_PCI_DUMP");
  setenv("QARCTL_SYSFS_ROOT", folder.c_str(), 1);
  EXPECT_TRUE(read().empty());
  setenv("QARCTL_SYSFS_ROOT", (folder / "missing").c_str(), 1);
  EXPECT_THAT(failure(), HasSubstr((folder / "missing").string()));
}

TEST_F(Host, TheNameComesFromTheEnvironment) {
  setenv("QARCTL_HOST_NAME", "HostA01", 1);
  EXPECT_EQ(HostCtl::Host::GetHardwareInfo()->GetSystemInfo().hostName, "HostA01");
  EXPECT_NE(HostCtl::HostFactory::GetHost(), nullptr);
}

}  // namespace
