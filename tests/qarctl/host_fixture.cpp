#include "host_fixture.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include <unistd.h>

namespace qarctltest {

namespace fs = std::filesystem;

HostTest::HostTest()
    : folder(fs::temp_directory_path() / ("qarctl-test-" + std::to_string(getpid()))) {
  fs::create_directories(folder);
  for (const char* name : {"QARCTL_PCI_DUMP", "QARCTL_SYSFS_ROOT", "QARCTL_HOST_NAME"}) {
    unsetenv(name);
  }
  logLines().clear();
}

HostTest::~HostTest() {
  fs::remove_all(folder);
}

Devices HostTest::read() {
  return HostCtl::Host::GetHardwareInfo()->GetPciInfo()->GetPciDevices();
}

std::string HostTest::failure() {
  try {
    read();
  } catch (const HostCtl::Lib::HostCtlException& error) {
    return error.what();
  }
  return "(no failure)";
}

void HostTest::useInventory(const std::string& text) const {
  write(inventoryFile(), text);
  setenv("QARCTL_PCI_DUMP", inventoryFile().c_str(), 1);
}

Devices HostTest::readInventory(const std::string& text) const {
  useInventory(text);
  return read();
}

Devices HostTest::readInventory(const std::vector<MadeFunction>& functions) const {
  std::string text;
  for (const auto& function : functions) text += function.text();
  return readInventory(text);
}

void HostTest::useSysfs() const {
  setenv("QARCTL_SYSFS_ROOT", folder.c_str(), 1);
}

fs::path HostTest::plug(const std::string& place, const MadeFunction& function) const {
  useSysfs();
  const fs::path device = folder / "devices" / place;
  write(device / "config", function.bytes());
  const fs::path links = folder / "bus" / "pci" / "devices";
  fs::create_directories(links);
  fs::create_directory_symlink(device, links / device.filename());
  return device;
}

void HostTest::addSlot(const std::string& name, const std::string& address) const {
  write(folder / "bus" / "pci" / "slots" / name / "address", address + "\n");
}

void HostTest::write(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

std::vector<std::string> addressesOf(const Devices& devices) {
  std::vector<std::string> texts;
  for (const auto& device : devices) texts.push_back(device->GetAddress());
  return texts;
}

std::string parentOf(const PciDevice& device) {
  const auto parent = device.GetParent();
  return parent ? parent->GetAddress() : "-";
}

std::vector<std::string> parentsOf(const Devices& devices) {
  std::vector<std::string> texts;
  for (const auto& device : devices)
    texts.push_back(device->GetAddress() + "<" + parentOf(*device));
  return texts;
}

std::string describe(const PciDevice& device) {
  return ownWords(device) + " slot " + std::to_string(device.GetPhysicalSlot()) + " below " +
         parentOf(device);
}

std::string ownWords(const PciDevice& device) {
  std::ostringstream text;
  text << std::hex << device.GetAddress() << ' ' << device.GetSegmentNumber() << ' '
       << +device.GetBusNumber() << ' ' << +device.GetDeviceNumber() << ' '
       << +device.GetFunctionNumber() << ' ' << device.GetVendorId() << ' ' << device.GetDeviceId()
       << ' ' << device.GetSubsystemVendorId() << ' ' << device.GetSubsystemId() << ' '
       << device.GetClassCode() << ' ' << +device.GetRevisionId() << ' '
       << +device.GetSecondaryBusNumber() << ' ' << device.GetPcieDeviceType() << ' '
       << device.GetVendorName() << ' ' << device.GetDeviceName();
  for (const std::uint32_t capability : device.GetCapabilities()) text << ' ' << capability;
  for (unsigned id = 1; id < 0x20; ++id) {
    text << ' ' << device.HasCapability(static_cast<std::uint8_t>(id));
  }
  return text.str();
}

std::string readSample(const std::string& name) {
  std::ifstream stream(fs::path(SAMPLES_DIRECTORY) / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

}  // namespace qarctltest
