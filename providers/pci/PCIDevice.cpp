// Plain devices: the class Zelmar_PCIDevice, and what the classes of devices and the association
// with the host system share (PciDevices.h).
//
// A function's class follows from its PCI Express capability and its class code, which host control
// is asked for on each request; paths and properties come from the function too. Walks go over the
// snapshot's functions in the host's order and over its ports behind them.
//
// Safe on any thread: nothing here is kept between requests, and the snapshot is only read.
// Invariants: MakePlainDevicePath alone names plain devices, so that enumerations and the system's
// association name them alike; host control's failures pass through, but those that are logged.
#include "PciAnswers.h"
#include "PciAssociations.h"
#include "PciDevices.h"
#include "PciKeys.h"
#include "PciListing.h"
#include "PciLog.h"
#include "PciNames.h"
#include "PciPorts.h"
#include "PciProviders.h"
#include "PciText.h"
#include "PciTopologyCache.h"

#include <qarctl/HostCtlException.h>
#include <zelcppc/CmpiArray.h>
#include <zelcppc/ProviderFactory.h>

#include <optional>

#include <syslog.h>

namespace pciprovider {

using HostCtl::Lib::HostCtlException;
using zelInt::CmpiArray;

namespace {

constexpr std::uint8_t kPciExpressCapability = 0x10;
// PCI Express capability, flags register, bits 7:4.
constexpr std::int32_t kSwitchUpstreamPort = 5;
constexpr std::int32_t kSwitchDownstreamPort = 6;
constexpr unsigned kBridgeBaseClass = 6;

/// Runs a test of a function; a host-control failure is logged and returns false.
template <class Test>
bool TestOrFalse(const char* failureText, Test test) {
  try {
    return test();
  } catch (const HostCtlException& failure) {
    syslog(LOG_ERR, "%s %s", failureText, failure.what());
    return false;
  }
}

CmpiArray MakeCapabilityArray(const std::vector<std::uint32_t>& capabilities) {
  CmpiArray array(static_cast<CMPICount>(capabilities.size()), CMPI_uint16);
  // Eight bits on purpose: clients have always seen entries past 256 wrap around.
  std::uint8_t index = 0;
  for (const std::uint32_t capability : capabilities) {
    array[index] = CmpiData(static_cast<unsigned short>(capability & 0xffffU));
    ++index;
  }
  return array;
}

void SetPhysicalSlot(const PciDevice* device, CmpiInstance& instance) {
  try {
    const std::int32_t slot = device->GetPhysicalSlot();
    if (slot == -1) return;
    instance.setProperty("PhysicalSlot", CmpiData(static_cast<unsigned char>(slot & 0xff)));
  } catch (const HostCtlException& failure) {
    syslog(LOG_ERR, "Report PCI devices failed : %s", failure.what());
  }
}

template <class Visit>
void ForEachPlainDevice(Visit visit) {
  ForEachListed(GetDevicesCache(), [&](const auto& device) {
    if (IsPlainDevice(device.get())) visit(device.get());
  });
}

void SetDeviceKeys(const std::string& address, CmpiObjectPath& path, const char* className) {
  path.setKey("SystemCreationClassName", CmpiData(kSystemClass));
  path.setKey("SystemName", CmpiData(PciGetSystemName()));
  path.setKey("CreationClassName", CmpiData(className));
  path.setKey(kDeviceIdKey, CmpiData(address.c_str()));
}

/// The path by which enumerations and the system association name the plain device at an address.
CmpiObjectPath MakePlainDevicePathAt(const std::string& address) {
  CmpiObjectPath path(kNameSpace, kDeviceClass);
  SetDeviceKeys(address, path, kDeviceClass);
  return path;
}

CmpiObjectPath MakePlainDevicePath(const PciDevice* device) {
  return MakePlainDevicePathAt(device->GetAddress());
}

/// The path of a port's controller: its class is that of a bridge, switch or device, while its
/// creation class is always that of plain devices. Clients rely on both.
CmpiObjectPath MakeControllerPath(const PciDevice* device) {
  CmpiObjectPath path(kNameSpace, SetClassName(device));
  PopulateDevicePath(device, path);
  return path;
}

/// The device of the port that the path names, or null; an unknown port is logged.
const PciDevice* FindController(const CmpiObjectPath& port, const char* caller) {
  const std::string_view name = KeyText(port, kDeviceIdKey);
  if (name.empty()) return nullptr;
  const PortEntry& entry = LookupPortEntry(name);
  if (entry.portName.empty()) {
    syslog(LOG_DEBUG, "%s cop=%s not found", caller, LogText(name).c_str());
    return nullptr;
  }
  return entry.device;
}

using SystemPairs = PairSinks<MakePCISystemDevice, MakePCISystemDeviceRef>;

template <class Give>
void WalkSysDevices(const CmpiObjectPath& system, const Give& give) {
  ForEachPlainDevice([&](const PciDevice* device) { give(system, MakePlainDevicePath(device)); });
}

template <class Give>
void WalkSysPorts(const CmpiObjectPath& system, const Give& give) {
  ForEachListed(GetPortsCache(),
                [&](const PortEntry& port) { give(system, MakePCIPortRef(port.portName)); });
}

/// The path, made as the cache makes it, if it is equal to the part.
std::optional<CmpiObjectPath> IfEqual(const CmpiObjectPath& path, const CmpiObjectPath& part) {
  if (path == part) return path;
  return std::nullopt;
}

/// Only a path with the part's id can be equal to it; without one each is compared.
bool MayBe(const std::string& candidate, const std::optional<std::string_view>& id) {
  return !id || *id == candidate;
}

std::optional<CmpiObjectPath> FindDevicePart(const CmpiObjectPath& part,
                                             const std::optional<std::string_view>& id) {
  for (const auto& device : GetDevicesCache()) {
    if (!IsPlainDevice(device.get())) continue;
    const std::string address = device->GetAddress();
    if (!MayBe(address, id)) continue;
    if (auto path = IfEqual(MakePlainDevicePathAt(address), part)) return path;
  }
  return std::nullopt;
}

std::optional<CmpiObjectPath> FindPortPart(const CmpiObjectPath& part,
                                           const std::optional<std::string_view>& id) {
  // A snapshot whose making failed may have ports that no index leads to.
  if (id && !LookupPortEntry(*id).portName.empty())
    return IfEqual(MakePCIPortRef(std::string(*id)), part);
  for (const PortEntry& port : GetPortsCache()) {
    if (!MayBe(port.portName, id)) continue;
    if (auto path = IfEqual(MakePCIPortRef(port.portName), part)) return path;
  }
  return std::nullopt;
}

/// The cache's own path of the plain device or port that `part` names.
std::optional<CmpiObjectPath> FindSystemPart(const CmpiObjectPath& part) {
  const std::optional<std::string_view> id = TextIfAny(part, kDeviceIdKey);
  if (auto path = FindDevicePart(part, id)) return path;
  return FindPortPart(part, id);
}

void LogReferenceFailure(const HostCtlException& failure) {
  syslog(LOG_ERR, "enumInstance request to retrieve PCI references failed,error %s",
         failure.what());
}

}  // namespace

bool IsPortOnSwitch(const PciDevice* device) {
  return TestOrFalse("Check for Port on PCIeSwitch failed,reporting false, error", [&] {
    if (!device->HasCapability(kPciExpressCapability)) return false;
    const std::int32_t type = device->GetPcieDeviceType();
    return type == kSwitchUpstreamPort || type == kSwitchDownstreamPort;
  });
}

bool IsUpstreamPortOnSwitch(const PciDevice* device) {
  return TestOrFalse("Check Upstream port on PCIeSwitch class failed,reporting false, error", [&] {
    return device->HasCapability(kPciExpressCapability) &&
           device->GetPcieDeviceType() == kSwitchUpstreamPort;
  });
}

bool IsBridge(const PciDevice* device) {
  if (IsPortOnSwitch(device)) return false;
  return (device->GetClassCode() >> 8U) == kBridgeBaseClass;
}

bool IsPlainDevice(const PciDevice* device) {
  return !IsBridge(device) && !IsPortOnSwitch(device);
}

const char* SetClassName(const PciDevice* device) {
  if (IsBridge(device)) return kBridgeClass;
  if (IsUpstreamPortOnSwitch(device)) return kSwitchClass;
  return kDeviceClass;
}

void SetDeviceObjectPath(const PciDevice* device, CmpiObjectPath& path, const char* className) {
  SetDeviceKeys(device->GetAddress(), path, className);
}

void PopulateDevicePath(const PciDevice* device, CmpiObjectPath& path) {
  SetDeviceObjectPath(device, path, kDeviceClass);
}

CmpiObjectPath MakeDevicePath(const PciDevice* device, const char* className) {
  CmpiObjectPath path(kNameSpace, className);
  SetDeviceObjectPath(device, path, className);
  return path;
}

void PopulateDeviceDetails(const PciDevice* device, CmpiInstance& instance) {
  const std::string vendorName = device->GetVendorName();
  const std::string deviceName = device->GetDeviceName();
  const JoinedText elementName{vendorName, " ", deviceName, " #",
                               ByteDigits(device->GetDeviceNumber())};
  const std::unique_ptr<PciDevice> parent = device->GetParent();
  const std::string parentAddress = parent ? parent->GetAddress() : std::string();
  const CmpiArray capabilities = MakeCapabilityArray(device->GetCapabilities());
  const std::uint16_t classCode = device->GetClassCode();
  const unsigned short unknown = 0;

  instance.setProperty("BusNumber", CmpiData(device->GetBusNumber()));
  instance.setProperty("DeviceNumber", CmpiData(device->GetDeviceNumber()));
  instance.setProperty("FunctionNumber", CmpiData(device->GetFunctionNumber()));
  instance.setProperty("ElementName", CmpiData(elementName.c_str()));
  instance.setProperty("PrimaryStatus", CmpiData(unknown));
  instance.setProperty("HealthState", CmpiData(unknown));
  instance.setProperty("EnabledState", CmpiData(unknown));
  instance.setProperty("RequestedState", CmpiData(unknown));
  instance.setProperty("Capabilities", CmpiData(capabilities));
  instance.setProperty("ClassCode", CmpiData(static_cast<unsigned char>(classCode >> 8U)));
  instance.setProperty("SubsystemID", CmpiData(device->GetSubsystemId()));
  instance.setProperty("SubsystemVendorID", CmpiData(device->GetSubsystemVendorId()));
  instance.setProperty("PCIDeviceID", CmpiData(device->GetDeviceId()));
  instance.setProperty("VendorID", CmpiData(device->GetVendorId()));
  instance.setProperty("RevisionID", CmpiData(device->GetRevisionId()));
  instance.setProperty("SubClassCode", CmpiData(static_cast<unsigned char>(classCode & 0xffU)));
  instance.setProperty("SegmentNumber", CmpiData(device->GetSegmentNumber()));
  instance.setProperty("ParentDeviceID", CmpiData(parentAddress.c_str()));
  SetPhysicalSlot(device, instance);
}

CmpiInstance MakeDeviceInstance(const PciDevice* device, const CmpiObjectPath& path,
                                const char** properties) {
  CmpiInstance instance(path);
  PopulateDeviceDetails(device, instance);
  instance.setPropertyFilter(properties, nullptr);
  return instance;
}

void DeviceList(CmpiResult& result, const char** properties) {
  ForEachPlainDevice([&](const PciDevice* device) {
    result.returnData(MakeDeviceInstance(device, MakePlainDevicePath(device), properties));
  });
}

void DeviceListRef(CmpiResult& result) {
  ForEachPlainDevice(
      [&](const PciDevice* device) { result.returnData(MakePlainDevicePath(device)); });
}

void ListControllers(const CmpiObjectPath& port, const char** properties, CmpiResult& result) {
  if (const PciDevice* device = FindController(port, "ListControllers")) {
    result.returnData(MakeDeviceInstance(device, MakeControllerPath(device), properties));
  }
}

void ListControllersRef(const CmpiObjectPath& port, CmpiResult& result) {
  if (const PciDevice* device = FindController(port, "ListControllersRef")) {
    result.returnData(MakeControllerPath(device));
  }
}

void LoadSysDevices(const CmpiObjectPath& system, const char** properties, CmpiResult& result) {
  WalkSysDevices(system, SystemPairs::Instances(result, properties));
}

void LoadSysDevicesRef(const CmpiObjectPath& system, CmpiResult& result) {
  WalkSysDevices(system, SystemPairs::Paths(result));
}

void LoadSysPorts(const CmpiObjectPath& system, const char** properties, CmpiResult& result) {
  WalkSysPorts(system, SystemPairs::Instances(result, properties));
}

void LoadSysPortsRef(const CmpiObjectPath& system, CmpiResult& result) {
  WalkSysPorts(system, SystemPairs::Paths(result));
}

void LoadDevicesAndPorts(const CmpiObjectPath& system, const char** properties,
                         CmpiResult& result) {
  LoadSysDevices(system, properties, result);
  LoadSysPorts(system, properties, result);
}

void LoadDevicesAndPortsRef(const CmpiObjectPath& system, CmpiResult& result) {
  try {
    LoadSysDevicesRef(system, result);
    LoadSysPortsRef(system, result);
  } catch (const HostCtlException& failure) {
    LogReferenceFailure(failure);
  }
}

bool FindDevicePort(const CmpiObjectPath& path, CmpiResult& result, const char** properties) {
  try {
    const CmpiObjectPath system = PciCreateSystemRef();
    if (CmpiObjectPath(path.getKey("GroupComponent")) != system) return false;
    const auto part = FindSystemPart(CmpiObjectPath(path.getKey("PartComponent")));
    if (!part) return false;
    result.returnData(MakePCISystemDevice(system, *part, properties));
    return true;
  } catch (const HostCtlException& failure) {
    LogReferenceFailure(failure);
    return false;
  }
}

PCIPROVIDER_DEFINE_INSTANCE_CLASS(PCIDevice);

CmpiStatus PCIDevice::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                        const CmpiObjectPath&) {
  DeviceListRef(result);
  return Done(result);
}

CmpiStatus PCIDevice::enumInstances(const CmpiContext&, CmpiResult& result, const CmpiObjectPath&,
                                    const char** properties) {
  DeviceList(result, properties);
  return Done(result);
}

// Any known function is returned as a plain device, a bridge too; an unknown one is an empty
// answer, not an error.
CmpiStatus PCIDevice::getInstance(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& cop,
                                  const char** properties) {
  try {
    const std::string_view id = KeyText(cop, kDeviceIdKey);
    if (id.empty()) return NotFound();
    DeviceIndex::const_iterator position;
    if (LookupDevice(id, position)) {
      const PciDevice* device = position->second->get();
      result.returnData(MakeDeviceInstance(device, MakePlainDevicePath(device), properties));
    }
  } catch (const HostCtlException& failure) {
    syslog(LOG_ERR, "enumInstance request to retrieve PCI information failed,error %s",
           failure.what());
  }
  return Done(result);
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCIDevice);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCIDevice, pciprovider::PCIDevice,
                                   pciprovider::AnnounceInstanceFactory);
