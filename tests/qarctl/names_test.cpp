// Names are those that `lspci` prints, and trouble with the list costs the names alone.
#include "host_fixture.h"

#include <array>
#include <cstdio>
#include <map>

#include <dlfcn.h>

extern "C" {
#include <pci/pci.h>
}

namespace qarctltest {
namespace {

/// The list that the name library reads; empty for the system's own.
std::string& listFile() {
  static std::string file;
  return file;
}

/// How often the name library was set up.
std::size_t setUps = 0;

class Names : public HostTest {
 protected:
  void useList(const std::string& text) const {
    write(folder / "pci.ids", text);
    listFile() = folder / "pci.ids";
  }
};

std::string namesOf(const PciDevice& device) {
  return device.GetVendorName() + "|" + device.GetDeviceName();
}

/// Vendor and device by address, as `lspci -mm` prints them.
std::multimap<std::string, std::string> namesByLspci(const std::string& sample) {
  const std::string command = "lspci -D -mm -F " SAMPLES_DIRECTORY "/" + sample;
  std::multimap<std::string, std::string> names;
  FILE* output = popen(command.c_str(), "r");
  if (output == nullptr) return names;
  std::array<char, 1024> line{};
  while (std::fgets(line.data(), line.size(), output) != nullptr) {
    std::array<char, 32> address{};
    std::array<char, 256> vendor{};
    std::array<char, 256> device{};
    if (std::sscanf(line.data(), "%31s \"%*[^\"]\" \"%255[^\"]\" \"%255[^\"]\"", address.data(),
                    vendor.data(), device.data()) == 3) {
      names.emplace(address.data(), std::string(vendor.data()) + "|" + device.data());
    }
  }
  pclose(output);
  return names;
}

TEST_F(Names, AreThoseThatLspciPrints) {
  for (const char* sample : {"q35-pcie-switches.txt", "i440fx-conventional.txt"}) {
    const auto expected = namesByLspci(sample);
    const Devices devices = readInventory(readSample(sample));
    ASSERT_EQ(expected.size(), devices.size()) << sample;
    auto at = expected.begin();
    for (const auto& device : devices) {
      EXPECT_EQ(device->GetAddress(), at->first);
      EXPECT_EQ(namesOf(*device), at->second) << at->first;
      ++at;
    }
  }
}

TEST_F(Names, ComeFromTheListAndElseAreNumbers) {
  useList("8086  Made Vendor\n\t10d3  Made Device\n");
  const Devices devices =
      readInventory({MadeFunction("00:01.0"), MadeFunction("00:02.0").word(0x02, 0x0a1b),
                     MadeFunction("00:03.0").dword(0x00, 0x00560034)});
  EXPECT_EQ(namesOf(*devices.at(0)), "Made Vendor|Made Device");
  EXPECT_EQ(namesOf(*devices.at(1)), "Made Vendor|Device 0a1b");
  EXPECT_EQ(namesOf(*devices.at(2)), "Vendor 0034|Device 0056");
  EXPECT_EQ(namesOf(*devices.at(0)), "Made Vendor|Made Device");
}

TEST_F(Names, OfTheSameDeviceIdDifferByVendor) {
  useList("8086  One\n\t0001  First\n8087  Two\n\t0001  Second\n");
  const Devices devices = readInventory({MadeFunction("00:01.0").dword(0x00, 0x00018086),
                                         MadeFunction("00:02.0").dword(0x00, 0x00018087)});
  EXPECT_EQ(namesOf(*devices.at(0)), "One|First");
  EXPECT_EQ(namesOf(*devices.at(1)), "Two|Second");
}

TEST_F(Names, OfALiveFunctionFollowItsAttributes) {
  useList("8086  Made Vendor\n\t1889  Virtual Function\n");
  const auto device = plug("pci0000:00/0000:00:02.0", MadeFunction("").dword(0x00, 0xffffffff));
  write(device / "vendor", "0x8086\n");
  write(device / "device", "0x1889\n");
  EXPECT_EQ(namesOf(*read().at(0)), "Made Vendor|Virtual Function");
}

TEST_F(Names, AreNumbersWithoutAList) {
  listFile() = folder / "missing.ids";
  const Devices devices = readInventory({MadeFunction("00:01.0")});
  EXPECT_EQ(namesOf(*devices.at(0)), "Vendor 8086|Device 10d3");
  EXPECT_EQ(devices.at(0)->GetVendorId(), 0x8086);
}

TEST_F(Names, AloneAreLostWithADamagedList) {
  useList("8086  Made Vendor\n\tzz is no number\n1af4  Another\n");
  const Devices devices =
      readInventory({MadeFunction("00:01.0"), MadeFunction("00:02.0").word(0x02, 1)});
  EXPECT_EQ(devices.at(0)->GetDeviceName(), "Device 10d3");
  EXPECT_EQ(devices.at(1)->GetDeviceName(), "Device 0001");
  EXPECT_EQ(devices.at(1)->GetDeviceId(), 1);
}

TEST_F(Names, ComeOnceADamagedListIsMended) {
  useList("8086  Made Vendor\n\tzz is no number\n");
  const Devices devices = readInventory({MadeFunction("00:01.0")});
  EXPECT_EQ(namesOf(*devices.at(0)), "Vendor 8086|Device 10d3");
  useList("8086  Made Vendor\n\t10d3  Made Device\n");
  EXPECT_EQ(namesOf(*devices.at(0)), "Made Vendor|Made Device");
}

TEST_F(Names, ComeOnceThereIsAList) {
  listFile() = folder / "missing.ids";
  const Devices devices = readInventory({MadeFunction("00:01.0")});
  for (int i = 0; i < 100; ++i) EXPECT_EQ(namesOf(*devices.at(0)), "Vendor 8086|Device 10d3");
  useList("8086  Made Vendor\n\t10d3  Made Device\n");
  EXPECT_EQ(namesOf(*read().at(0)), "Made Vendor|Made Device");
}

/// Reading it for each question would take minutes on a large host.
TEST_F(Names, AskForAListThatStaysDamagedSeldom) {
  useList("8086  Made Vendor\n\tzz is no number\n");
  const Devices devices = readInventory({MadeFunction("00:01.0")});
  for (int i = 0; i < 50000; ++i) EXPECT_EQ(devices.at(0)->GetVendorName(), "Vendor 8086");
  EXPECT_LT(setUps, 64U);
  useList("8086  Made Vendor\n");
  int questions = 0;
  while (devices.at(0)->GetVendorName() != "Made Vendor" && questions < 50000) ++questions;
  EXPECT_LT(questions, 2000);
}

TEST_F(Names, NeedTheListOnceOnly) {
  useList("8086  Made Vendor\n\t10d3  Made Device\n");
  const Devices devices =
      readInventory({MadeFunction("00:01.0"), MadeFunction("00:02.0").word(0x02, 1)});
  for (const auto& device : devices) namesOf(*device);
  namesOf(*read().at(1));
  EXPECT_EQ(setUps, 1U);
}

}  // namespace
}  // namespace qarctltest

// Replaces the name library's own, to give it the test's list.
extern "C" __attribute__((visibility("default"))) struct pci_access* pci_alloc(void) {
  using Alloc = struct pci_access* (*)();
  const auto real = reinterpret_cast<Alloc>(dlsym(RTLD_NEXT, "pci_alloc"));
  ++qarctltest::setUps;
  struct pci_access* access = real();
  std::string& file = qarctltest::listFile();
  if (!file.empty()) pci_set_name_list_path(access, file.data(), 0);
  return access;
}
