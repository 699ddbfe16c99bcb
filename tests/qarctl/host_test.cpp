// The entry points, what they promise not to do, and how failures are reported.
#include "host_fixture.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <type_traits>

#include <sys/utsname.h>

namespace qarctltest {
namespace {

namespace fs = std::filesystem;
using HostCtl::Host;
using HostCtl::HostFactory;
using HostCtl::Hardware::HardwareInfo;
using HostCtl::Hardware::PciDeviceBase;
using HostCtl::Hardware::PciInfo;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

class EntryPoints : public HostTest {};
class Failures : public HostTest {};
class Threads : public HostTest {};

static_assert(std::has_virtual_destructor_v<HardwareInfo> &&
              std::has_virtual_destructor_v<PciInfo> && std::has_virtual_destructor_v<PciDevice>);
static_assert(std::is_base_of_v<PciDeviceBase, PciDevice>);
static_assert(std::is_same_v<decltype(Host::GetHardwareInfo()), std::unique_ptr<HardwareInfo>>);
static_assert(std::is_same_v<decltype(HostFactory::GetHost()), Host*>);

/// The place of an operation in its class's table.
template <class Operation>
std::ptrdiff_t placeOf(Operation operation) {
  static_assert(sizeof operation == 2 * sizeof(std::ptrdiff_t));
  std::ptrdiff_t place = 0;
  std::memcpy(&place, &operation, sizeof place);
  return place;
}

// Programs built against the platform's own library call by place.
TEST_F(EntryPoints, OperationsStandInTheirOrder) {
  EXPECT_LT(placeOf(&HardwareInfo::GetPciInfo), placeOf(&HardwareInfo::GetSystemInfo));
  const std::vector<std::ptrdiff_t> places = {
      placeOf(&PciDevice::GetSegmentNumber),     placeOf(&PciDevice::GetBusNumber),
      placeOf(&PciDevice::GetDeviceNumber),      placeOf(&PciDevice::GetFunctionNumber),
      placeOf(&PciDevice::GetPhysicalSlot),      placeOf(&PciDevice::GetVendorId),
      placeOf(&PciDevice::GetVendorName),        placeOf(&PciDevice::GetDeviceId),
      placeOf(&PciDevice::GetSubsystemVendorId), placeOf(&PciDevice::GetSubsystemId),
      placeOf(&PciDevice::GetDeviceName),        placeOf(&PciDevice::GetClassCode),
      placeOf(&PciDevice::GetRevisionId),        placeOf(&PciDevice::GetSecondaryBusNumber),
      placeOf(&PciDevice::GetCapabilities),      placeOf(&PciDevice::HasCapability),
      placeOf(&PciDevice::GetPcieDeviceType),    placeOf(&PciDevice::GetParent),
  };
  for (std::size_t at = 1; at < places.size(); ++at) EXPECT_LT(places[at - 1], places[at]) << at;
}

TEST_F(EntryPoints, NeverThrowAndLeaveTheInputToTheReading) {
  for (const char* input : {"/no/such/inventory", "/"}) {
    setenv("QARCTL_PCI_DUMP", input, 1);
    setenv("QARCTL_SYSFS_ROOT", input, 1);
    EXPECT_NO_THROW({
      EXPECT_NE(HostFactory::GetHost(), nullptr);
      const auto hardware = Host::GetHardwareInfo();
      EXPECT_FALSE(hardware->GetSystemInfo().hostName.empty());
      EXPECT_NE(hardware->GetPciInfo(), nullptr);
    });
    EXPECT_THROW(Host::GetHardwareInfo()->GetPciInfo()->GetPciDevices(),
                 HostCtl::Lib::HostCtlException);
  }
}

TEST_F(EntryPoints, TheInputIsReadAtEachReading) {
  useInventory(MadeFunction("00:01.0").text());
  const auto pci = Host::GetHardwareInfo()->GetPciInfo();
  useInventory(MadeFunction("00:02.0").text());
  EXPECT_THAT(addressesOf(pci->GetPciDevices()), testing::ElementsAre("0000:00:02.0"));
  useInventory(MadeFunction("00:03.0").text());
  EXPECT_THAT(addressesOf(pci->GetPciDevices()), testing::ElementsAre("0000:00:03.0"));
}

TEST_F(EntryPoints, DevicesOutliveWhatHandedThemOut) {
  useInventory(MadeFunction("00:01.0").text());
  auto pci = Host::GetHardwareInfo()->GetPciInfo();
  const Devices devices = pci->GetPciDevices();
  pci.reset();
  fs::remove(inventoryFile());
  EXPECT_EQ(devices.at(0)->GetDeviceId(), 0x10d3);
}

TEST_F(EntryPoints, TheHostIsOneAndTheSame) {
  EXPECT_EQ(HostFactory::GetHost(), HostFactory::GetHost());
}

TEST_F(EntryPoints, TheThirdFieldIsTheHostsName) {
  setenv("QARCTL_HOST_NAME", "HostA01", 1);
  const auto [system, machine, name] = Host::GetHardwareInfo()->GetSystemInfo();
  EXPECT_EQ(name, "HostA01");
  utsname node{};
  ASSERT_EQ(uname(&node), 0);
  setenv("QARCTL_HOST_NAME", "", 1);
  EXPECT_EQ(Host::GetHardwareInfo()->GetSystemInfo().hostName, node.nodename);
  unsetenv("QARCTL_HOST_NAME");
  EXPECT_EQ(Host::GetHardwareInfo()->GetSystemInfo().hostName, node.nodename);
}

TEST_F(Failures, OfAnInventoryNameTheFileAndTheReason) {
  setenv("QARCTL_PCI_DUMP", (folder / "missing").c_str(), 1);
  EXPECT_THAT(failure(), AllOf(HasSubstr((folder / "missing").string()),
                               HasSubstr("No such file or directory")));
  setenv("QARCTL_PCI_DUMP", folder.c_str(), 1);
  EXPECT_THAT(failure(), AllOf(HasSubstr(folder.string()), HasSubstr("Is a directory")));
}

TEST_F(Failures, OfTheReadingItselfAreHostControlsToo) {
  // Opens, and fails at its first byte.
  setenv("QARCTL_PCI_DUMP", "/proc/self/mem", 1);
  EXPECT_THAT(failure(), AllOf(HasSubstr("/proc/self/mem"), HasSubstr("Input/output error")));
}

/// Text in two bytes a character, the lower one first.
std::string wide(const std::string& text) {
  std::string bytes;
  for (const char c : text) bytes += {c, '\0'};
  return bytes;
}

TEST_F(Failures, OfInventoriesWithoutAFunctionSayWhatWasFoundAndWhatIsExpected) {
  const std::string one = MadeFunction("00:02.0").text();
  const std::pair<std::string, const char*> cases[] = {
      {"\n", "other text"},
      {"no function here\n", "other text"},
      {"00:02.0 VGA compatible controller: x\n",
       "functions without their bytes (lspci without -x)"},
      {"00:02.0 x\n00: lspci: oops\n", "functions without their bytes (lspci without -x)"},
      {"00: 86 80 d3 10\n", "bytes without the lines that name their functions"},
      {"Slot:\t00:02.0\nClass:\tEthernet controller\n\n", "the fields of lspci -vmm"},
      {"-[0000:00]-+-00.0  Made\n           \\-1f.0  Made\n", "the tree of lspci -t"},
      {"\xff\xfe" + wide(one), "UTF-16 text"},
      {wide(one), "UTF-16 text"},
      {std::string("\0", 1) + wide(one), "UTF-16 text"},
      {"\x1f\x8b\x08 made", "a file compressed by gzip"},
      {"\xfd\x37zXZ made", "a file compressed by xz"},
      {"BZh9 made", "a file compressed by bzip2"},
      {"\x28\xb5\x2f\xfd made", "a file compressed by zstd"},
      {"PK\x03\x04 made", "a zip archive"},
      {std::string("\x7f made\0\0\0", 9), "bytes that are no text"},
  };
  for (const auto& [text, found] : cases) {
    useInventory(text);
    EXPECT_EQ(failure(), "PCI inventory " + inventoryFile().string() +
                             " holds no PCI function: found " + found +
                             ", expected what lspci -D -xxxx writes");
  }
}

TEST_F(Failures, AreNotEmptyInventories) {
  EXPECT_THAT(readInventory(""), IsEmpty());
  EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(Failures, CarryTheirTextWithThem) {
  const HostCtl::Lib::HostCtlException original("a text");
  const std::unique_ptr<HostCtl::Lib::HostCtlException> copy =
      std::make_unique<HostCtl::Lib::HostCtlException>(original);
  EXPECT_STREQ(copy->what(), "a text");
  const std::exception& base = *copy;
  EXPECT_STREQ(base.what(), "a text");
}

/// What every function of the snapshot says, one line each.
std::vector<std::string> describeAll(const Devices& devices) {
  std::vector<std::string> texts;
  for (const auto& device : devices) texts.push_back(describe(*device));
  return texts;
}

template <class Work>
void inEightThreads(const Work& work) {
  std::vector<std::thread> threads;
  for (int count = 0; count < 8; ++count) threads.emplace_back(work);
  for (auto& thread : threads) thread.join();
}

TEST_F(Threads, EightReadOneSnapshotAlike) {
  const Devices devices = readInventory(readSample("q35-pcie-switches.txt"));
  std::vector<std::vector<std::string>> answers(8);
  std::atomic<std::size_t> next = 0;
  inEightThreads([&] { answers[next++] = describeAll(devices); });
  const std::vector<std::string> expected = describeAll(devices);
  for (const auto& answer : answers) EXPECT_EQ(answer, expected);
}

TEST_F(Threads, EightReadTheInputAtOnce) {
  useInventory(readSample("i440fx-conventional.txt"));
  const std::vector<std::string> expected = describeAll(read());
  std::atomic<int> alike = 0;
  inEightThreads([&] { alike += describeAll(read()) == expected ? 1 : 0; });
  EXPECT_EQ(alike, 8);
}

}  // namespace
}  // namespace qarctltest
