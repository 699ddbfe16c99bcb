// Ports: the class Zelmar_PCIPort, and what all listings of ports share (PciPorts.h).
//
// Host control knows functions, not ports. PortKindOf sorts a function, and each kind has its
// makers: of entries for the snapshot (MakePCI...TRef), and of instances and paths for requests,
// made anew from the function each time. Listings walk the snapshot's ports and run a maker on each
// function.
//
// Safe on any thread: requests read the snapshot alone, and what one has returned so far is in a
// set of its own. Invariants: a bridge's two ports come together, the primary first, and once in
// each request; only the operations of the class end a result.
#include "PciAnswers.h"
#include "PciDevices.h"
#include "PciKeys.h"
#include "PciListing.h"
#include "PciLog.h"
#include "PciNames.h"
#include "PciPorts.h"
#include "PciProviders.h"
#include "PciText.h"
#include "PciTopologyCache.h"

#include <zelcppc/ProviderFactory.h>

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include <syslog.h>

namespace pciprovider {

namespace {

constexpr std::uint8_t kPciExpressCapability = 0x10;
constexpr std::uint8_t kPciXCapability = 0x07;

constexpr char kUpstreamSuffix[] = "-up";
// A switch's downstream ports carry it too; their owner distinguishes them.
constexpr char kEndpointSuffix[] = "-ep";
constexpr char kPrimarySuffix[] = "-pri";
constexpr char kSecondarySuffix[] = "-sec";

struct BridgePortTypes {
  PCIPortType primary;
  PCIPortType secondary;
};

/// The kinds of a bridge's two ports by PCI sub-class; other bridges have no ports.
std::optional<BridgePortTypes> FindBridgePortTypes(const PciDevice* bridge) {
  switch (bridge->GetClassCode() & 0xffU) {
    case 0x04:
      return BridgePortTypes{PCIPortTypePCI, PCIPortTypePCI};
    case 0x0a:
      return BridgePortTypes{PCIPortTypePCI, PCIPortTypePCIe};
    case 0x0b:
      return BridgePortTypes{PCIPortTypePCIe, PCIPortTypePCI};
    default:
      return std::nullopt;
  }
}

PCIPortType EndpointPortType(const PciDevice* device) {
  if (device->HasCapability(kPciExpressCapability)) return PCIPortTypePCIe;
  if (device->HasCapability(kPciXCapability)) return PCIPortTypePCIX;
  return PCIPortTypeUnknown;
}

CmpiObjectPath MakePortPath(const char* portName) {
  CmpiObjectPath path(kNameSpace, kPortClass);
  path.setKey("SystemName", CmpiData(PciGetSystemName()));
  path.setKey("CreationClassName", CmpiData(kPortClass));
  path.setKey("SystemCreationClassName", CmpiData(kSystemClass));
  path.setKey(kDeviceIdKey, CmpiData(portName));
  return path;
}

/// Which ports a function has. None only where host control's replies do not fit together.
enum class PortKind { kSwitchDownstream, kSwitchUpstream, kBridge, kEndpoint, kNone };

PortKind PortKindOf(const PciDevice* device) {
  if (IsPortOnSwitch(device) && !IsUpstreamPortOnSwitch(device)) return PortKind::kSwitchDownstream;
  if (IsPortOnSwitch(device) && IsUpstreamPortOnSwitch(device)) return PortKind::kSwitchUpstream;
  if (IsBridge(device)) return PortKind::kBridge;
  if (!IsPortOnSwitch(device)) return PortKind::kEndpoint;
  return PortKind::kNone;
}

/// What a port's texts are made of.
struct PortParts {
  const std::string& address;
  const char* suffix;
  const std::string& owner;
  /// Of a bridge's other port, else null.
  const char* peerSuffix = nullptr;
};

/// The port of a device that is its own controller.
template <class Take>
void TakeOwnPort(const PciDevice* device, const char* suffix, const Take& take) {
  const std::string address = device->GetAddress();
  take(PortParts{address, suffix, address});
}

template <class Take>
void TakeDownstreamPort(const PciDevice* device, const Take& take) {
  const std::unique_ptr<PciDevice> parent = device->GetParent();
  if (!parent) return;
  const std::string owner = parent->GetAddress();
  const std::string address = device->GetAddress();
  take(PortParts{address, kEndpointSuffix, owner});
}

template <class Take>
void TakeBridgePorts(const PciDevice* device, const Take& take) {
  if (!FindBridgePortTypes(device)) return;
  const std::string address = device->GetAddress();
  take(PortParts{address, kPrimarySuffix, address, kSecondarySuffix});
  take(PortParts{address, kSecondarySuffix, address, kPrimarySuffix});
}

template <class Take>
void TakePorts(const PciDevice* device, const Take& take) {
  switch (PortKindOf(device)) {
    case PortKind::kSwitchDownstream:
      return TakeDownstreamPort(device, take);
    case PortKind::kSwitchUpstream:
      return TakeOwnPort(device, kUpstreamSuffix, take);
    case PortKind::kBridge:
      return TakeBridgePorts(device, take);
    case PortKind::kEndpoint:
      return TakeOwnPort(device, kEndpointSuffix, take);
    case PortKind::kNone:
      return;
  }
}

/// Takes ports as entries.
auto EntriesOf(const PciDevice* device, std::vector<PortEntry>& ports) {
  return [device, &ports](const PortParts& port) {
    PortEntry entry = MakePCIPortTRef(port.address + port.suffix, port.owner, device);
    if (port.peerSuffix != nullptr) entry.peerPortName = port.address + port.peerSuffix;
    ports.push_back(std::move(entry));
  };
}

void ReturnOwnPort(const PciDevice* device, std::string_view suffix, PCIPortType type,
                   CmpiResult& result, const char** properties) {
  const std::string address = device->GetAddress();
  const JoinedText name{address, suffix};
  result.returnData(
      MakePCIPort(properties, name.c_str(), address.c_str(), device, type, device->GetBusNumber()));
}

void ReturnPortPath(const PciDevice* device, std::string_view suffix, CmpiResult& result) {
  const std::string address = device->GetAddress();
  result.returnData(MakePortPath(JoinedText{address, suffix}.c_str()));
}

/// The address and port kinds of a bridge that this request has not returned yet.
std::optional<std::pair<std::string, BridgePortTypes>> TakeUnseenBridge(
    const PciDevice* device, std::set<std::string>& seen) {
  const auto types = FindBridgePortTypes(device);
  if (!types) return std::nullopt;
  std::string address = device->GetAddress();
  if (!seen.insert(address).second) return std::nullopt;
  return std::make_pair(std::move(address), *types);
}

/// Makers of a device's ports in the form that the request asks for: one set of seen bridges serves
/// the whole of a request.
auto InstanceMaker(CmpiResult& result, std::set<std::string>& seen, const char** properties) {
  return [&result, &seen, properties](const PciDevice* device) {
    MakePortsForDevice(device, result, seen, properties);
  };
}

auto PathMaker(CmpiResult& result, std::set<std::string>& seen) {
  return [&result, &seen](const PciDevice* device) { MakePortsForDeviceRef(device, seen, result); };
}

template <class Make>
void WalkPorts(const Make& make) {
  ForEachListed(GetPortsCache(), [&](const PortEntry& port) { make(port.device); });
}

const PortEntry* FindFirstPortOf(const CmpiObjectPath& path) {
  const std::string_view id = KeyText(path, kDeviceIdKey);
  if (id.empty()) return nullptr;
  const auto& ports = GetPortsCache();
  const auto found = std::find_if(ports.begin(), ports.end(),
                                  [&](const PortEntry& port) { return port.ownerAddress == id; });
  return found != ports.end() ? &*found : nullptr;
}

// Any part of a bridge's address matches: clients ask with a bus prefix for all its bridges.
template <class Make>
void WalkBridgePorts(const CmpiObjectPath& path, const Make& make) {
  const std::string_view id = KeyText(path, kDeviceIdKey);
  if (id.empty()) return;
  for (const auto& [address, ports] : GetBridgePortsCache()) {
    if (address.find(id) == std::string::npos) continue;
    ForEachListed(ports, [&](const PortEntry* port) { make(port->device); });
  }
}

// Every switch visited is logged, matching or not: the line is how support follows the search.
template <class Make>
void WalkSwitchPorts(const CmpiObjectPath& path, const char* caller, const Make& make) {
  const std::string_view id = KeyText(path, kDeviceIdKey);
  if (id.empty()) return;
  const std::string idText = LogText(id);
  for (const auto& [address, ports] : GetSwitchPortsCache()) {
    syslog(LOG_CRIT, "%s searching %s (p:%lu) for %s", caller, address.c_str(),
           static_cast<unsigned long>(ports.size()), idText.c_str());
    if (address != id) continue;
    ForEachListed(ports, [&](const PortEntry* port) { make(port->device); });
  }
}

}  // namespace

PortEntry MakePCIPortTRef(const std::string& portName, const std::string& ownerAddress,
                          const PciDevice* device) {
  PortEntry entry;
  entry.busNumber = device->GetBusNumber();
  entry.ownerAddress = ownerAddress;
  entry.portName = portName;
  entry.deviceAddress = device->GetAddress();
  entry.device = device;
  return entry;
}

void MakePCIeDownstreamPortTRef(const PciDevice* device, std::vector<PortEntry>& ports) {
  TakeDownstreamPort(device, EntriesOf(device, ports));
}

void MakePCIeUpstreamPortTRef(const PciDevice* device, std::vector<PortEntry>& ports) {
  TakeOwnPort(device, kUpstreamSuffix, EntriesOf(device, ports));
}

void MakePCIBridgePortTRef(const PciDevice* device, std::vector<PortEntry>& ports) {
  TakeBridgePorts(device, EntriesOf(device, ports));
}

void MakePCIEndpointPortTRef(const PciDevice* device, std::vector<PortEntry>& ports) {
  TakeOwnPort(device, kEndpointSuffix, EntriesOf(device, ports));
}

void MakePortEntryfromDevice(const PciDevice* device, std::vector<PortEntry>& ports) {
  TakePorts(device, EntriesOf(device, ports));
}

void BuildPortDefs(std::vector<PortEntry>& ports) {
  const auto& devices = GetDevicesCache();
  // Most functions have one port; the rest is room for the bridges of a usual host.
  ports.reserve(devices.size() + 20);
  for (const auto& device : devices) {
    // A function without even an address to read ends the build here, before it has ports.
    device->GetAddress();
    MakePortEntryfromDevice(device.get(), ports);
  }
}

std::string BuildPortFromDevice(std::string_view deviceAddress) {
  DeviceIndex::const_iterator position;
  if (!LookupDevice(deviceAddress, position)) return {};
  const PciDevice* device = position->second->get();
  std::string first;
  TakePorts(device, [&](const PortParts& port) {
    // A device has the ports that entries can be made of: those need these answers as well.
    device->GetBusNumber();
    device->GetAddress();
    if (first.empty()) first = port.address + port.suffix;
  });
  return first;
}

CmpiObjectPath MakePCIPortRef(const std::string& portName) {
  return MakePortPath(portName.c_str());
}

CmpiInstance MakePCIPort(const char** properties, const char* portName,
                         const char* controllerDeviceId, const PciDevice* device, PCIPortType type,
                         unsigned char busNumber) {
  const CmpiObjectPath path = MakePortPath(portName);
  const std::uint16_t classCode = device->GetClassCode();
  const std::string deviceName = device->GetDeviceName();
  const std::string vendorName = device->GetVendorName();
  const JoinedText elementName{vendorName, " ", deviceName};

  CmpiInstance instance(path);
  instance.setProperty("PortType", CmpiData(static_cast<unsigned short>(type)));
  instance.setProperty("ElementName", CmpiData(elementName.c_str()));
  instance.setProperty("ControllerDeviceID", CmpiData(controllerDeviceId));
  instance.setProperty("BusNumber", CmpiData(busNumber));
  instance.setProperty("DeviceNumber", CmpiData(device->GetDeviceNumber()));
  instance.setProperty("FunctionNumber", CmpiData(device->GetFunctionNumber()));
  instance.setProperty("PCIDeviceID", CmpiData(device->GetDeviceId()));
  instance.setProperty("VendorID", CmpiData(device->GetVendorId()));
  instance.setProperty("RevisionID", CmpiData(device->GetRevisionId()));
  instance.setProperty("ClassCode", CmpiData(static_cast<unsigned char>(classCode >> 8U)));
  instance.setProperty("SubClassCode", CmpiData(static_cast<unsigned char>(classCode & 0xffU)));
  instance.setPropertyFilter(properties, nullptr);
  return instance;
}

void MakePCIeUpstreamPort(const PciDevice* device, CmpiResult& result, const char** properties) {
  ReturnOwnPort(device, kUpstreamSuffix, PCIPortTypePCIe, result, properties);
}

void MakePCIeDownstreamPort(const PciDevice* device, CmpiResult& result, const char** properties) {
  const std::unique_ptr<PciDevice> parent = device->GetParent();
  if (!parent) return;
  const std::string controller = parent->GetAddress();
  const std::string address = device->GetAddress();
  const JoinedText name{address, kEndpointSuffix};
  result.returnData(MakePCIPort(properties, name.c_str(), controller.c_str(), device,
                                PCIPortTypePCIe, device->GetBusNumber()));
}

void MakePCIEndpointPort(const PciDevice* device, CmpiResult& result, const char** properties) {
  ReturnOwnPort(device, kEndpointSuffix, EndpointPortType(device), result, properties);
}

void MakePCIBridgePorts(const PciDevice* device, CmpiResult& result, std::set<std::string>& seen,
                        const char** properties) {
  const auto bridge = TakeUnseenBridge(device, seen);
  if (!bridge) return;
  const auto& [address, types] = *bridge;
  const JoinedText primary{address, kPrimarySuffix};
  const JoinedText secondary{address, kSecondarySuffix};
  result.returnData(MakePCIPort(properties, primary.c_str(), address.c_str(), device, types.primary,
                                device->GetBusNumber()));
  result.returnData(MakePCIPort(properties, secondary.c_str(), address.c_str(), device,
                                types.secondary, device->GetSecondaryBusNumber()));
}

void MakePCIeUpstreamPortRef(const PciDevice* device, CmpiResult& result) {
  ReturnPortPath(device, kUpstreamSuffix, result);
}

// Does not ask for the parent: a downstream port without one has a path, though no instance.
void MakePCIeDownstreamPortRef(const PciDevice* device, CmpiResult& result) {
  ReturnPortPath(device, kEndpointSuffix, result);
}

void MakePCIEndpointPortRef(const PciDevice* device, CmpiResult& result) {
  ReturnPortPath(device, kEndpointSuffix, result);
}

void MakePCIBridgePortsRef(const PciDevice* device, std::set<std::string>& seen,
                           CmpiResult& result) {
  const auto bridge = TakeUnseenBridge(device, seen);
  if (!bridge) return;
  const std::string& address = bridge->first;
  result.returnData(MakePortPath(JoinedText{address, kPrimarySuffix}.c_str()));
  result.returnData(MakePortPath(JoinedText{address, kSecondarySuffix}.c_str()));
}

void MakePortsForDevice(const PciDevice* device, CmpiResult& result, std::set<std::string>& seen,
                        const char** properties) {
  if (device == nullptr) return;
  switch (PortKindOf(device)) {
    case PortKind::kSwitchDownstream:
      return MakePCIeDownstreamPort(device, result, properties);
    case PortKind::kSwitchUpstream:
      return MakePCIeUpstreamPort(device, result, properties);
    case PortKind::kBridge:
      return MakePCIBridgePorts(device, result, seen, properties);
    case PortKind::kEndpoint:
      return MakePCIEndpointPort(device, result, properties);
    case PortKind::kNone:
      return;
  }
}

void MakePortsForDeviceRef(const PciDevice* device, std::set<std::string>& seen,
                           CmpiResult& result) {
  if (device == nullptr) {
    syslog(LOG_CRIT, "ignoring null device");
    return;
  }
  switch (PortKindOf(device)) {
    case PortKind::kSwitchDownstream:
      return MakePCIeDownstreamPortRef(device, result);
    case PortKind::kSwitchUpstream:
      return MakePCIeUpstreamPortRef(device, result);
    case PortKind::kBridge:
      return MakePCIBridgePortsRef(device, seen, result);
    case PortKind::kEndpoint:
      return MakePCIEndpointPortRef(device, result);
    case PortKind::kNone:
      return;
  }
}

void PortList(CmpiResult& result, const char** properties) {
  std::set<std::string> seen;
  WalkPorts(InstanceMaker(result, seen, properties));
}

void PortListRef(CmpiResult& result) {
  std::set<std::string> seen;
  WalkPorts(PathMaker(result, seen));
}

void ListPorts(const CmpiObjectPath& path, const char** properties, CmpiResult& result) {
  const PortEntry* port = FindFirstPortOf(path);
  if (port == nullptr) return;
  std::set<std::string> seen;
  MakePortsForDevice(port->device, result, seen, properties);
}

void ListPortsRef(const CmpiObjectPath& path, CmpiResult& result) {
  if (const PortEntry* port = FindFirstPortOf(path)) {
    result.returnData(MakePCIPortRef(port->portName));
  }
}

void ListBridgePorts(const CmpiObjectPath& path, const char** properties, CmpiResult& result) {
  std::set<std::string> seen;
  WalkBridgePorts(path, InstanceMaker(result, seen, properties));
}

void ListBridgePortsRef(const CmpiObjectPath& path, CmpiResult& result) {
  std::set<std::string> seen;
  WalkBridgePorts(path, PathMaker(result, seen));
}

void ListSwitchPorts(const CmpiObjectPath& path, const char** properties, CmpiResult& result) {
  std::set<std::string> seen;
  WalkSwitchPorts(path, "ListSwitchPorts", InstanceMaker(result, seen, properties));
}

void ListSwitchPortsRef(const CmpiObjectPath& path, CmpiResult& result) {
  std::set<std::string> seen;
  WalkSwitchPorts(path, "ListSwitchPortsRef", PathMaker(result, seen));
}

PCIPROVIDER_DEFINE_INSTANCE_CLASS(PCIPort);

CmpiStatus PCIPort::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                      const CmpiObjectPath&) {
  PortListRef(result);
  return Done(result);
}

CmpiStatus PCIPort::enumInstances(const CmpiContext&, CmpiResult& result, const CmpiObjectPath&,
                                  const char** properties) {
  PortList(result, properties);
  return Done(result);
}

// Asked for one port of a bridge, clients get both: they come from one function. An unknown port
// is an empty answer, not an error.
CmpiStatus PCIPort::getInstance(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& cop,
                                const char** properties) {
  const std::string_view name = KeyText(cop, kDeviceIdKey);
  if (name.empty()) return NotFound();
  const PciDevice* device = nullptr;
  if (LookupPort(name, device)) {
    std::set<std::string> seen;
    MakePortsForDevice(device, result, seen, properties);
  }
  return Done(result);
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCIPort);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCIPort, pciprovider::PCIPort,
                                   pciprovider::AnnounceInstanceFactory);
