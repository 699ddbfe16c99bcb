// The live host, below a made-up root.
#include "host_fixture.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace qarctltest {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Sysfs : public HostTest {};

TEST_F(Sysfs, ParentsAreTheFoldersAbove) {
  plug("pci0000:00/0000:00:1c.0", MadeFunction("").bridge(9, 9));
  plug("pci0000:00/0000:00:1c.0/0000:01:00.0", MadeFunction(""));
  plug("pci0000:00/0000:00:1c.0/0000:01:00.0/0000:02:00.0", MadeFunction(""));
  plug("pci0000:00/0000:00:1d.0", MadeFunction("").bridge(2, 2));
  EXPECT_THAT(parentsOf(read()),
              ElementsAre("0000:00:1c.0<-", "0000:00:1d.0<-", "0000:01:00.0<0000:00:1c.0",
                          "0000:02:00.0<0000:01:00.0"));
}

TEST_F(Sysfs, ASegmentBehindADeviceHasRootsOfItsOwn) {
  plug("pci0000:00/0000:00:0e.0", MadeFunction(""));
  plug("pci0000:00/0000:00:0e.0/pci10000:e0/10000:e0:06.0", MadeFunction(""));
  plug("pci0000:00/0000:00:0e.0/pci10000:e0/10000:e0:06.0/10000:e1:00.0", MadeFunction(""));
  EXPECT_THAT(parentsOf(read()),
              ElementsAre("0000:00:0e.0<-", "10000:e0:06.0<-", "10000:e1:00.0<10000:e0:06.0"));
}

TEST_F(Sysfs, AParentThatIsNotOnTheBusIsNone) {
  plug("pci0000:00/0000:00:1c.0/0000:01:00.0", MadeFunction(""));
  EXPECT_THAT(parentsOf(read()), ElementsAre("0000:01:00.0<-"));
}

TEST_F(Sysfs, OrderIsThatOfTheAddresses) {
  for (const char* place : {"0000:0a:00.0", "10000:00:00.0", "0000:02:10.0", "0000:02:02.1"}) {
    plug(place, MadeFunction(""));
  }
  EXPECT_THAT(addressesOf(read()),
              ElementsAre("0000:02:02.1", "0000:02:10.0", "0000:0a:00.0", "10000:00:00.0"));
}

TEST_F(Sysfs, OtherNamesAmongTheDevicesAreNoFunctions) {
  plug("pci0000:00/0000:00:02.0", MadeFunction(""));
  plug("pci0000:00/0000:00:02.0x", MadeFunction(""));
  plug("pci0000:00/readme", MadeFunction(""));
  EXPECT_THAT(addressesOf(read()), ElementsAre("0000:00:02.0"));
}

TEST_F(Sysfs, AFunctionThatIsGoneOrUnreadableDoesNotLoseTheOthers) {
  plug("pci0000:00/0000:00:02.0", MadeFunction(""));
  fs::remove_all(plug("pci0000:00/0000:00:03.0", MadeFunction("")));
  const fs::path bad = plug("pci0000:00/0000:00:04.0", MadeFunction(""));
  fs::remove(bad / "config");
  fs::create_directories(bad / "config");
  fs::create_directories(bad / "device");
  write(bad / "vendor", "0x1af4\n");
  plug("pci0000:00/0000:00:05.0", MadeFunction(""));
  const Devices devices = read();
  EXPECT_THAT(addressesOf(devices), ElementsAre("0000:00:02.0", "0000:00:04.0", "0000:00:05.0"));
  EXPECT_EQ(devices.at(1)->GetVendorId(), 0x1af4);
  EXPECT_EQ(devices.at(1)->GetDeviceId(), 0);
}

/// What was asked of configuration space since the test began.
int configReads = 0;
std::size_t configBytesAsked = 0;

void noteConfigRead(int descriptor, std::size_t count) {
  std::error_code ignored;
  const fs::path file = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored);
  if (file.filename() != "config") return;
  ++configReads;
  configBytesAsked += count;
}

TEST_F(Sysfs, ConfigurationSpaceIsAskedOnceAndForTheStandardPartAlone) {
  plug("pci0000:00/0000:00:02.0", MadeFunction("", 4096).express(4));
  configReads = 0;
  configBytesAsked = 0;
  EXPECT_EQ(read().at(0)->GetPcieDeviceType(), 4);
  EXPECT_EQ(configReads, 1);
  EXPECT_EQ(configBytesAsked, 256U);
}

TEST_F(Sysfs, BytesBehindTheStandardSpaceAreNobodysRegisters) {
  const auto port = MadeFunction("", 4096).bridge(1, 1).express(4, 0xf0).slot(7, 0xf0);
  plug("pci0000:00/0000:00:01.0", port);
  plug("pci0000:00/0000:00:01.0/0000:01:00.0", MadeFunction(""));
  EXPECT_EQ(read().at(1)->GetPhysicalSlot(), -1) << "its slot register would be at 0x104";
  EXPECT_EQ(readInventory("00:01.0 x\n" + port.hexLines() + MadeFunction("01:00.0").text())
                .at(1)
                ->GetPhysicalSlot(),
            -1);
}

TEST_F(Sysfs, WithoutThePciBusIsAHostWithoutFunctions) {
  useSysfs();
  EXPECT_THAT(read(), IsEmpty());
  fs::create_directories(folder / "bus" / "pci" / "devices");
  EXPECT_THAT(read(), IsEmpty());
}

TEST_F(Sysfs, FailuresNameTheFolderAndTheReason) {
  useSysfs();
  fs::create_directories(folder / "bus" / "pci");
  fs::create_symlink("devices", folder / "bus" / "pci" / "devices");
  EXPECT_THAT(failure(), AllOf(HasSubstr((folder / "bus" / "pci" / "devices").string()),
                               HasSubstr("symbolic links")));
  fs::remove(folder / "bus" / "pci" / "devices");
  write(folder / "bus" / "pci" / "devices", "");
  EXPECT_THAT(failure(), HasSubstr("Not a directory"));
  setenv("QARCTL_SYSFS_ROOT", (folder / "missing").c_str(), 1);
  EXPECT_THAT(failure(), AllOf(HasSubstr((folder / "missing").string()),
                               HasSubstr("No such file or directory")));
}

TEST_F(Sysfs, IsReadWhereNoInventoryIsNamed) {
  plug("pci0000:00/0000:00:02.0", MadeFunction(""));
  setenv("QARCTL_PCI_DUMP", "", 1);
  EXPECT_THAT(addressesOf(read()), ElementsAre("0000:00:02.0"));
  useInventory(MadeFunction("00:07.0").text());
  EXPECT_THAT(addressesOf(read()), ElementsAre("0000:00:07.0"));
}

TEST_F(Sysfs, AndInventoryOfTheSameMachineSayTheSame) {
  const auto upper =
      MadeFunction("0000:00:01.0").bridge(1, 1).express(4).slot(3).word(0x0a, 0x0604);
  const auto lower = MadeFunction("0000:01:00.0").capability(0x05, 0x50).dword(0x2c, 0x22221111);
  const Devices saved = readInventory({upper, lower});
  unsetenv("QARCTL_PCI_DUMP");
  plug("pci0000:00/0000:00:01.0", upper);
  plug("pci0000:00/0000:00:01.0/0000:01:00.0", lower);
  const Devices live = read();
  ASSERT_EQ(live.size(), saved.size());
  for (std::size_t at = 0; at < saved.size(); ++at) {
    EXPECT_EQ(describe(*live[at]), describe(*saved[at]));
  }
}

}  // namespace

}  // namespace qarctltest

// These replace the C library's.
extern "C" {
__attribute__((visibility("default"))) ssize_t pread(int descriptor, void* bytes, std::size_t count,
                                                     off_t offset);

ssize_t pread(int descriptor, void* bytes, std::size_t count, off_t offset) {
  qarctltest::noteConfigRead(descriptor, count);
  return syscall(SYS_pread64, descriptor, bytes, count, offset);
}
}
