// The process-wide snapshot of the host's PCI topology (PciTopologyCache.h), and the association of
// ports with the functions that control them, which is served from indexes of the snapshot.
//
// LoadCache runs GetPCIData once: it reads every function from host control, derives the ports, and
// sorts both into indexes. Afterwards nothing changes them, so that lookups are plain reads, safe
// on any number of threads without a lock. The association follows the source's device id where it
// has one, else the source's class.
//
// Invariants: pciDevices and pciPorts do not grow or move once an index points into them. Whatever
// deviceNameMap has passes deviceNameFilter. Where two
// functions share an address or two ports a name, deviceNameMap and portNameMap lead to the first;
// portByDeviceMap, cbPortMap and cbDevMap lead to the last.
#include "AbsenceFilter.h"
#include "PciAnswers.h"
#include "PciAssociations.h"
#include "PciDevices.h"
#include "PciKeys.h"
#include "PciListing.h"
#include "PciLog.h"
#include "PciNames.h"
#include "PciPorts.h"
#include "PciProviders.h"
#include "PciTopologyCache.h"

#include <qarctl/HostCtlException.h>
#include <qarctl/HostFactory.h>
#include <zelcppc/ProviderFactory.h>

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>

#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

namespace pciprovider {

using HostCtl::Lib::HostCtlException;

namespace {

/// A port with the device that controls it and that device's class.
struct ControlledByEntry {
  const PciDevice* device;
  const char* className;
  const PortEntry* port;
};

/// Of the ports that are counted to a device, the first and the first on the lowest bus.
struct ConnectedPort {
  const PortEntry* first;
  const PortEntry* lowest;
};

template <class Text>
using ControlledByIndex = TextIndex<Text, const ControlledByEntry*>;

// The snapshot. Pointers, iterators and views in it point into pciDevices and pciPorts, which
// nothing changes after the build, and it is torn down from the last to the first. There are tens
// of thousands of ports on a large host: an index by a text that a port holds views it there.
std::string systemName;
DeviceVector pciDevices;
DeviceIndex deviceNameMap;
AbsenceFilter deviceNameFilter;
PortVector pciPorts;
TextIndex<std::string_view, PortVector::const_iterator> portNameMap;
TextIndex<std::string_view, const PortEntry*> portByDeviceMap;
PortBuckets bridgePortsMap;
std::set<std::string> portNames;
std::vector<std::uint8_t> busNumbers;
std::unordered_map<std::uint8_t, std::vector<const PciDevice*>> busDeviceMap;
PortPointers switchEntries;
PortPointers bridgeEntries;
PortBuckets switchPortsMap;
const PortPointers emptyPortList;
const PortEntry emptyPortEntry;
std::vector<ControlledByEntry> cbEntries;
ControlledByIndex<std::string_view> cbPortMap;
ControlledByIndex<std::string> cbDevMap;
TextIndex<std::string_view, ConnectedPort> connectedPortMap;
pthread_once_t cacheOnce = PTHREAD_ONCE_INIT;

const PortPointers& PortsUnder(const PortBuckets& buckets, const std::string& address) {
  const auto found = buckets.find(address);
  return found != buckets.end() ? found->second : emptyPortList;
}

void PCICacheSystemName() {
  const auto hardware = HostCtl::Host::GetHardwareInfo();
  systemName = hardware->GetSystemInfo().hostName;
  std::transform(systemName.begin(), systemName.end(), systemName.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
}

// Both maps hold the last port of a name or device.
void CacheControlledBy() {
  // The maps point into the vector: it must not grow under them.
  cbEntries.reserve(pciPorts.size());
  for (const PortEntry& port : pciPorts) {
    if (port.portName.find('-') == std::string::npos) {
      syslog(LOG_ERR, "PortEntry name not right skipping %s", port.portName.c_str());
      continue;
    }
    cbEntries.push_back({port.device, SetClassName(port.device), &port});
  }
  for (const ControlledByEntry& entry : cbEntries) cbPortMap[entry.port->portName] = &entry;
  for (const ControlledByEntry& entry : cbEntries) cbDevMap[entry.device->GetAddress()] = &entry;
  syslog(LOG_DEBUG, "PCI CB cache idx: cbPortMap=%d cbDevMap=%d",
         static_cast<int>(cbPortMap.size()), static_cast<int>(cbDevMap.size()));
}

/// One run of the build: what it needs only while it fills the snapshot.
class CacheBuild {
 public:
  explicit CacheBuild(int progressPriority) : progressPriority_(progressPriority) {}

  void Run();

 private:
  void IndexDevices();
  void ClassDevice(const PciDevice* device, const std::string& address);
  void IndexPortNames();
  void SortPort(const PortEntry& port);
  void SortPortUnderOwner(const PortEntry& port);

  int progressPriority_;
  std::set<std::string> bridgeNames_;
  std::set<std::string> switchNames_;
};

void CacheBuild::Run() {
  HostCtl::HostFactory::GetHost();
  auto hardware = HostCtl::Host::GetHardwareInfo();
  const auto pciInfo = hardware->GetPciInfo();
  hardware.reset();
  pciDevices = pciInfo->GetPciDevices();
  IndexDevices();
  BuildPortDefs(pciPorts);
  switchEntries.reserve(pciPorts.size() / 2);
  IndexPortNames();
  // Ports with duplicate names take part here: they are still there, only not to be found by name.
  for (const PortEntry& port : pciPorts) SortPort(port);
  CacheControlledBy();
}

// A function whose address is taken stays listed, but is neither indexed nor classed.
void CacheBuild::IndexDevices() {
  deviceNameFilter.MakeRoomFor(pciDevices.size());
  for (auto position = pciDevices.cbegin(); position != pciDevices.cend(); ++position) {
    const std::string address = (*position)->GetAddress();
    // First, so that whatever the index has passes the filter.
    deviceNameFilter.Add(TextHash()(address));
    if (!deviceNameMap.emplace(address, position).second) {
      syslog(LOG_ERR, "duplicate name found '%s' skipped", address.c_str());
      continue;
    }
    ClassDevice(position->get(), address);
  }
}

void CacheBuild::ClassDevice(const PciDevice* device, const std::string& address) {
  if (IsBridge(device)) {
    bridgeNames_.insert(address);
    syslog(progressPriority_, " *** Bridge: %s", address.c_str());
  } else if (IsUpstreamPortOnSwitch(device)) {
    switchNames_.insert(address);
    syslog(progressPriority_, " *** Switch: %s", address.c_str());
  }
}

void CacheBuild::IndexPortNames() {
  std::set<std::uint8_t> buses;
  for (auto position = pciPorts.cbegin(); position != pciPorts.cend(); ++position) {
    if (!portNameMap.emplace(position->portName, position).second) {
      syslog(LOG_ERR, "duplicate port name found '%s; skipped", position->portName.c_str());
      continue;
    }
    portNames.insert(position->portName);
    buses.insert(position->busNumber);
  }
  busNumbers.reserve(buses.size());
  busNumbers.assign(buses.begin(), buses.end());
}

void CacheBuild::SortPort(const PortEntry& port) {
  busDeviceMap[port.busNumber].push_back(port.device);
  portByDeviceMap[port.deviceAddress] = &port;
  if (switchNames_.count(port.deviceAddress) != 0) {
    switchEntries.push_back(&port);
    syslog(progressPriority_, "loaded switch %s", port.portName.c_str());
  } else if (bridgeNames_.count(port.deviceAddress) == 0) {
    SortPortUnderOwner(port);
  } else if (port.portName.rfind("-pri") != std::string::npos) {
    bridgeEntries.push_back(&port);
    syslog(progressPriority_, "loaded bridge %s", port.portName.c_str());
  }
}

void CacheBuild::SortPortUnderOwner(const PortEntry& port) {
  if (bridgeNames_.count(port.ownerAddress) != 0) {
    AddToMap(port.ownerAddress, port, bridgePortsMap);
    syslog(progressPriority_, "loaded bridge port %s", port.portName.c_str());
  } else if (switchNames_.count(port.ownerAddress) != 0) {
    AddToMap(port.ownerAddress, port, switchPortsMap);
    syslog(progressPriority_, "loaded switch port %s", port.portName.c_str());
  } else {
    syslog(progressPriority_, "not loaded port %s parent %s", port.portName.c_str(),
           port.ownerAddress.c_str());
  }
}

void IndexConnectedPorts() {
  connectedPortMap.reserve(pciPorts.size());
  for (const PortEntry& port : pciPorts) {
    ConnectedPort& connected =
        connectedPortMap.try_emplace(port.ownerAddress, ConnectedPort{&port, &port}).first->second;
    if (port.busNumber < connected.lowest->busNumber) connected.lowest = &port;
  }
}

/// Takes a step of the build, whose failure is logged and ends the step alone.
template <class Step>
void TryStep(const Step& step) {
  try {
    step();
  } catch (const HostCtlException& failure) {
    syslog(LOG_ERR, "PCI information caught exception, reporting may be incomplete, error %s",
           failure.what());
  } catch (...) {
    syslog(LOG_ERR, "Unexpected exception from PCI initialization, reporting may be incomplete.");
  }
}

// After any failure, what has been read so far is served: a client is better off with a part of
// the topology than with none.
void GetPCIData() {
  // Support raises the build's trace by this file where debug lines are not kept.
  const int progressPriority = access("/tmp/dump_pci", R_OK) == 0 ? LOG_CRIT : LOG_DEBUG;
  syslog(progressPriority, "GetPCIData started to analyze and cache RQL PCI data");
  PCICacheSystemName();
  TryStep([&] { CacheBuild(progressPriority).Run(); });
  // Of the ports that there are, however far the build got.
  TryStep(IndexConnectedPorts);
  syslog(progressPriority, "*** GetPCIData loaded, %lu switches, %lu bridges busNumbers %lu",
         static_cast<unsigned long>(switchEntries.size()),
         static_cast<unsigned long>(bridgeEntries.size()),
         static_cast<unsigned long>(busNumbers.size()));
}

}  // namespace

int LoadCache() {
  return pthread_once(&cacheOnce, GetPCIData);
}

const DeviceVector& GetDevicesCache() {
  return pciDevices;
}
const PortVector& GetPortsCache() {
  return pciPorts;
}
const PortBuckets& GetBridgePortsCache() {
  return bridgePortsMap;
}
const PortBuckets& GetSwitchPortsCache() {
  return switchPortsMap;
}
const PortPointers& GetBridgesCache() {
  return bridgeEntries;
}
const PortPointers& GetSwitchCache() {
  return switchEntries;
}
const std::vector<std::uint8_t>& GetBusNumbers() {
  return busNumbers;
}
const char* PciGetSystemName() {
  return systemName.c_str();
}
const std::set<std::string>& GetPortNames() {
  return portNames;
}

bool LookupDevice(std::string_view address, DeviceIndex::const_iterator& position) {
  if (!deviceNameFilter.MayHold(TextHash()(address))) return false;
  const auto found = deviceNameMap.find(address);
  if (found == deviceNameMap.end()) return false;
  position = found;
  return true;
}

bool LookupPort(std::string_view name, const PciDevice*& device) {
  const auto found = portNameMap.find(name);
  if (found == portNameMap.end()) return false;
  device = found->second->device;
  return true;
}

const PortEntry& LookupPortEntry(std::string_view name) {
  const auto found = portNameMap.find(name);
  return found != portNameMap.end() ? *found->second : emptyPortEntry;
}

const PortEntry& LookupPortByDeviceEntry(std::string_view address) noexcept {
  const auto found = portByDeviceMap.find(address);
  return found != portByDeviceMap.end() ? *found->second : emptyPortEntry;
}

const PortPointers& LookupBridgePorts(const std::string& address) {
  return PortsUnder(bridgePortsMap, address);
}

const PortPointers& LookupSwitchPorts(const std::string& address) {
  return PortsUnder(switchPortsMap, address);
}

bool FindPortsInGroup(std::uint8_t bus, std::vector<const PciDevice*>& devices) {
  const auto found = busDeviceMap.find(bus);
  if (found == busDeviceMap.end()) return false;
  devices = found->second;
  return true;
}

bool IsInGroups(std::uint8_t bus) {
  return busDeviceMap.find(bus) != busDeviceMap.end();
}

void AddToMap(const std::string& key, const PortEntry& entry, PortBuckets& map) {
  map[key].push_back(&entry);
}

const PortEntry& FindConnectedPort(std::string_view name) {
  const auto found = connectedPortMap.find(name);
  if (found == connectedPortMap.end()) return emptyPortEntry;
  const auto& [first, lowest] = found->second;
  syslog(LOG_DEBUG, "FindConnectedPort looking for lowest busid %u",
         static_cast<unsigned>(first->busNumber));
  syslog(LOG_DEBUG, "FindConnectedPort returning bus %u", static_cast<unsigned>(lowest->busNumber));
  return *lowest;
}

namespace {

constexpr AssociationShape kControlledBy{"Zelmar_PCIControlledBy", "Antecedent", "Dependent"};

constexpr auto& MakePCIControlledBy = MakePair<kControlledBy>;
constexpr auto& MakePCIControlledByRef = MakePairRef<kControlledBy>;

using Pairs = PairSinks<MakePCIControlledBy, MakePCIControlledByRef>;

template <class Text>
const ControlledByEntry* Find(const ControlledByIndex<Text>& index, std::string_view key) {
  const auto found = index.find(key);
  return found != index.end() ? found->second : nullptr;
}

CmpiObjectPath ControllerPath(const ControlledByEntry& entry) {
  return MakeDevicePath(entry.device, entry.className);
}

/// Whether an id has the form of a port's name; addresses have no '-'.
bool LooksLikePortName(std::string_view deviceId) {
  return deviceId.find('-') != std::string_view::npos;
}

/// The source's device id; empty when it has none, which sends the request to the source's class.
/// One that cannot be read counts as none, so that the workers meet the failure.
std::string_view DeviceIdOrEmpty(const CmpiObjectPath& source) {
  try {
    return KeyTextOrEmpty(source, kDeviceIdKey);
  } catch (const CmpiStatus&) {
    return {};
  }
}

template <class Give>
void WalkEntries(const Give& give) {
  ForEachListed(cbEntries, [&](const ControlledByEntry& entry) {
    give(ControllerPath(entry), MakePCIPortRef(entry.port->portName));
  });
}

/// Pairs the device with the port, and with the port's peer where it has one.
template <class Give>
void GiveControlledPortAndPeer(const CmpiObjectPath& device, const PortEntry& port,
                               const Give& give) {
  give(device, MakePCIPortRef(port.portName));
  if (!port.peerPortName.empty()) give(device, MakePCIPortRef(port.peerPortName));
}

template <class Give>
void GivePairsOf(std::string_view deviceId, const Give& give) {
  if (LooksLikePortName(deviceId)) {
    if (const ControlledByEntry* entry = Find(cbPortMap, deviceId)) {
      give(ControllerPath(*entry), MakePCIPortRef(entry->port->portName));
    }
  } else if (const ControlledByEntry* entry = Find(cbDevMap, deviceId)) {
    GiveControlledPortAndPeer(ControllerPath(*entry), *entry->port, give);
  }
}

/// How the owner of a port is looked for, and where the search ended.
struct OwnerSearch {
  enum class End { kFound, kUnknownPort, kNoOwnerDevice, kNoOwnerPort };
  End end;
  std::string_view portName;
  std::string ownerPortName;
  const PortEntry* ownerPort = nullptr;
};

OwnerSearch FindOwnerPort(std::string_view portName) {
  using End = OwnerSearch::End;
  const PortEntry& port = LookupPortEntry(portName);
  if (port.portName.empty()) return {End::kUnknownPort, portName, {}, nullptr};
  std::string name = BuildPortFromDevice(port.ownerAddress);
  const PortEntry& owner = LookupPortEntry(name);
  End end = End::kFound;
  if (owner.device == nullptr) {
    end = End::kNoOwnerDevice;
  } else if (name.empty()) {
    end = End::kNoOwnerPort;
  }
  return {end, portName, std::move(name), &owner};
}

void LogOwnerSearch(const OwnerSearch& search, const char* operation) {
  switch (search.end) {
    case OwnerSearch::End::kFound:
      break;
    case OwnerSearch::End::kUnknownPort:
      syslog(LOG_DEBUG, "PCIControlledBy %s: lookup item '%s' not found", operation,
             LogText(search.portName).c_str());
      break;
    case OwnerSearch::End::kNoOwnerDevice:
      syslog(LOG_DEBUG, "PCIControlledBy gi FAILED LookupPortEntry(parentID) = %s",
             search.ownerPortName.c_str());
      break;
    case OwnerSearch::End::kNoOwnerPort:
      syslog(LOG_DEBUG, "PCIControlledBy gi item %s not found", LogText(search.portName).c_str());
      break;
  }
}

// The pair is the owner's and its first port, which need not be the requested port: the pair of a
// downstream port is its switch's.
template <class Give>
bool GiveOwnerPair(const OwnerSearch& search, CmpiResult& result, const Give& give) {
  if (search.end != OwnerSearch::End::kFound) return false;
  const PciDevice* device = search.ownerPort->device;
  give(MakeDevicePath(device, SetClassName(device)), MakePCIPortRef(search.ownerPort->portName));
  result.returnDone();
  return true;
}

CmpiStatus GetInstance(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& path,
                       const char** properties) {
  LogPath("GetInstance for", " ", path);
  const CmpiObjectPath port(path.getKey("Dependent"));
  const OwnerSearch search = FindOwnerPort(KeyText(port, kDeviceIdKey));
  LogOwnerSearch(search, "gi");
  const bool found = GiveOwnerPair(search, result, Pairs::Instances(result, properties));
  return CmpiStatus(found ? CMPI_RC_OK : CMPI_RC_ERR_NOT_FOUND);
}

// The device-side workers name the device by the source path as it came.

template <class Give>
void GiveConnectedPort(const CmpiObjectPath& source, const Give& give) {
  const std::string_view id = KeyText(source, kDeviceIdKey);
  if (BuildPortFromDevice(id).empty()) return;
  const PortEntry& port = FindConnectedPort(id);
  if (port.device != nullptr) GiveControlledPortAndPeer(source, port, give);
}

template <class Give>
void GivePortsUnder(const CmpiObjectPath& source, const Give& give,
                    const PortPointers& (*lookup)(const std::string&)) {
  const PortPointers& ports = lookup(std::string(KeyText(source, kDeviceIdKey)));
  ForEachListed(ports,
                [&](const PortEntry* port) { GiveControlledPortAndPeer(source, *port, give); });
}

void GetCBInstanceByDevice(CmpiResult& result, const CmpiObjectPath& source,
                           const char** properties) {
  GiveConnectedPort(source, Pairs::Instances(result, properties));
}

void GetCBInstanceByDeviceRef(CmpiResult& result, const CmpiObjectPath& source) {
  GiveConnectedPort(source, Pairs::Paths(result));
}

void GetCBInstancesByBridge(CmpiResult& result, const CmpiObjectPath& source,
                            const char** properties) {
  GivePortsUnder(source, Pairs::Instances(result, properties), LookupBridgePorts);
}

void GetCBInstancesByBridgeRef(CmpiResult& result, const CmpiObjectPath& source) {
  GivePortsUnder(source, Pairs::Paths(result), LookupBridgePorts);
}

void GetCBInstancesBySwitch(CmpiResult& result, const CmpiObjectPath& source,
                            const char** properties) {
  GivePortsUnder(source, Pairs::Instances(result, properties), LookupSwitchPorts);
}

void GetCBInstancesBySwitchRef(CmpiResult& result, const CmpiObjectPath& source) {
  GivePortsUnder(source, Pairs::Paths(result), LookupSwitchPorts);
}

// Silent, unlike its twin.
void GetCBInstanceByPort(CmpiResult& result, const CmpiObjectPath& source,
                         const char** properties) {
  GiveOwnerPair(FindOwnerPort(KeyText(source, kDeviceIdKey)), result,
                Pairs::Instances(result, properties));
}

void GetCBInstanceByPortRef(CmpiResult& result, const CmpiObjectPath& source) {
  const OwnerSearch search = FindOwnerPort(KeyText(source, kDeviceIdKey));
  LogOwnerSearch(search, "rin");
  GiveOwnerPair(search, result, Pairs::Paths(result));
}

}  // namespace

PCIPROVIDER_DEFINE_ASSOCIATION_CLASS(PCIControlledBy);

CmpiStatus PCIControlledBy::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                              const CmpiObjectPath&) {
  WalkEntries(Pairs::Paths(result));
  return Done(result);
}

CmpiStatus PCIControlledBy::enumInstances(const CmpiContext&, CmpiResult& result,
                                          const CmpiObjectPath&, const char** properties) {
  WalkEntries(Pairs::Instances(result, properties));
  return Done(result);
}

CmpiStatus PCIControlledBy::getInstance(const CmpiContext& context, CmpiResult& result,
                                        const CmpiObjectPath& cop, const char** properties) {
  return GetInstance(context, result, cop, properties);
}

// A device id decides alone, for a source of any class; only without one does the class count.
CmpiStatus PCIControlledBy::associators(const CmpiContext&, CmpiResult& result,
                                        const CmpiObjectPath& source, const char*, const char*,
                                        const char*, const char*, const char** properties) {
  const std::string_view id = DeviceIdOrEmpty(source);
  if (id.empty()) {
    return ServeBySourceClass(
        result, source, "PCIControlledBy ai ignoring",
        ServedSource{kBridgeClass, [&] { ListBridgePorts(source, properties, result); }},
        ServedSource{kSwitchClass, [&] { ListSwitchPorts(source, properties, result); }},
        ServedSource{kDeviceClass, [&] { ListPorts(source, properties, result); }},
        ServedSource{kPortClass, [&] { ListControllers(source, properties, result); }});
  }
  if (!LooksLikePortName(id)) {
    if (const ControlledByEntry* entry = Find(cbDevMap, id)) {
      std::set<std::string> seen;
      MakePortsForDevice(entry->port->device, result, seen, properties);
    }
  } else if (const ControlledByEntry* entry = Find(cbPortMap, id)) {
    result.returnData(MakeDeviceInstance(entry->port->device, ControllerPath(*entry), properties));
  }
  return Done(result);
}

CmpiStatus PCIControlledBy::associatorNames(const CmpiContext&, CmpiResult& result,
                                            const CmpiObjectPath& source, const char*, const char*,
                                            const char*, const char*) {
  const std::string_view id = DeviceIdOrEmpty(source);
  if (id.empty()) {
    return ServeBySourceClass(
        result, source, "PCIControlledBy ai ignoring",
        ServedSource{kBridgeClass, [&] { ListBridgePortsRef(source, result); }},
        ServedSource{kSwitchClass, [&] { ListSwitchPortsRef(source, result); }},
        ServedSource{kDeviceClass, [&] { ListPortsRef(source, result); }},
        ServedSource{kPortClass, [&] { ListControllersRef(source, result); }});
  }
  if (!LooksLikePortName(id)) {
    if (const ControlledByEntry* entry = Find(cbDevMap, id)) {
      const PortEntry& port = *entry->port;
      result.returnData(MakePCIPortRef(port.portName));
      if (!port.peerPortName.empty()) result.returnData(MakePCIPortRef(port.peerPortName));
    }
  } else if (const ControlledByEntry* entry = Find(cbPortMap, id)) {
    result.returnData(ControllerPath(*entry));
  }
  return Done(result);
}

CmpiStatus PCIControlledBy::references(const CmpiContext&, CmpiResult& result,
                                       const CmpiObjectPath& source, const char*, const char*,
                                       const char** properties) {
  const std::string_view id = DeviceIdOrEmpty(source);
  if (!id.empty()) {
    GivePairsOf(id, Pairs::Instances(result, properties));
    return Done(result);
  }
  return ServeBySourceClass(
      result, source, "PCIControlledBy reference unsupported class",
      ServedSource{kBridgeClass, [&] { GetCBInstancesByBridge(result, source, properties); }},
      ServedSource{kSwitchClass, [&] { GetCBInstancesBySwitch(result, source, properties); }},
      ServedSource{kDeviceClass, [&] { GetCBInstanceByDevice(result, source, properties); }},
      ServedSource{kPortClass, [&] { GetCBInstanceByPort(result, source, properties); }});
}

CmpiStatus PCIControlledBy::referenceNames(const CmpiContext&, CmpiResult& result,
                                           const CmpiObjectPath& source, const char*, const char*) {
  const std::string_view id = DeviceIdOrEmpty(source);
  if (!id.empty()) {
    GivePairsOf(id, Pairs::Paths(result));
    return Done(result);
  }
  return ServeBySourceClass(
      result, source, "PCIControlledBy reference unsupported class",
      ServedSource{kBridgeClass, [&] { GetCBInstancesByBridgeRef(result, source); }},
      ServedSource{kSwitchClass, [&] { GetCBInstancesBySwitchRef(result, source); }},
      ServedSource{kDeviceClass, [&] { GetCBInstanceByDeviceRef(result, source); }},
      ServedSource{kPortClass, [&] { GetCBInstanceByPortRef(result, source); }});
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCIControlledBy);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCIControlledBy, pciprovider::PCIControlledBy,
                                   pciprovider::AnnounceInstanceFactory);
ZELCPPC_ASSOCIATION_FACTORY(Zelmar_PCIControlledBy, pciprovider::PCIControlledBy);
