#include "function_record.h"
#include "name_list.h"
#include "snapshot.h"

#include <qarctl/HostCtlException.h>
#include <qarctl/HostFactory.h>

#include <cstdlib>
#include <new>
#include <string>

#include <sys/utsname.h>
#include <syslog.h>

namespace HostCtl {

namespace {

/// A variable of the environment; empty when it is not set.
std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string InventoryName() {
  return Variable("QARCTL_PCI_DUMP");
}

std::string SysfsRoot() {
  const std::string root = Variable("QARCTL_SYSFS_ROOT");
  return root.empty() ? "/sys" : root;
}

HostInput ReadInput() {
  const std::string inventory = InventoryName();
  return inventory.empty() ? ReadSysfs(SysfsRoot()) : ReadInventory(inventory);
}

[[noreturn]] void FailForMemory() {
  const std::string inventory = InventoryName();
  throw Lib::HostCtlException("cannot read " +
                              (inventory.empty() ? SysfsRoot() : "PCI inventory " + inventory) +
                              ": out of memory");
}

/// Logs once per reading how many functions do not answer, and names the first of them.
void ReportSilent(const Snapshot& snapshot) {
  constexpr std::size_t kMostNames = 8;
  std::size_t count = 0;
  std::string names;
  for (std::size_t index = 0; index < snapshot.Size(); ++index) {
    if (snapshot.Function(index).config.answers) continue;
    if (++count > kMostNames) continue;
    names += (count == 1 ? "" : ", ") + snapshot.Function(index).address.ToText();
  }
  if (count == 0) return;
  if (count > kMostNames) names += " and " + std::to_string(count - kMostNames) + " more";
  syslog(LOG_WARNING, "%zu PCI %s all ones: %s", count,
         count == 1 ? "function does not answer, its header reads"
                    : "functions do not answer, their headers read",
         names.c_str());
}

class PciInput : public Hardware::PciInfo {
 public:
  std::vector<std::unique_ptr<Hardware::PciDevice>> GetPciDevices() override {
    TryNameListAgain();
    try {
      return ReadDevices();
    } catch (const std::bad_alloc&) {
      // What was read is freed by now.
      FailForMemory();
    }
  }

 private:
  static std::vector<std::unique_ptr<Hardware::PciDevice>> ReadDevices() {
    const auto snapshot = Snapshot::Make(ReadInput());
    ReportSilent(*snapshot);
    std::vector<std::unique_ptr<Hardware::PciDevice>> devices;
    devices.reserve(snapshot->Size());
    for (std::size_t index = 0; index < snapshot->Size(); ++index) {
      devices.push_back(snapshot->MakeDevice(index));
    }
    return devices;
  }
};

class HostHardware : public Hardware::HardwareInfo {
 public:
  std::unique_ptr<Hardware::PciInfo> GetPciInfo() override { return std::make_unique<PciInput>(); }

  Hardware::SystemInfo GetSystemInfo() override {
    utsname node{};
    Hardware::SystemInfo info;
    if (uname(&node) == 0) info = {node.sysname, node.machine, node.nodename};
    const char* name = std::getenv("QARCTL_HOST_NAME");
    if (name != nullptr && *name != '\0') info.hostName = name;
    return info;
  }
};

}  // namespace

std::unique_ptr<Hardware::HardwareInfo> Host::GetHardwareInfo() {
  return std::make_unique<HostHardware>();
}

Host* HostFactory::GetHost() {
  static Host host;
  return &host;
}

}  // namespace HostCtl
