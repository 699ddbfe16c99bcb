#include "PciAnswers.h"
#include "PciAssociations.h"
#include "PciDevices.h"
#include "PciKeys.h"
#include "PciLog.h"
#include "PciNames.h"
#include "PciPortGroups.h"
#include "PciPorts.h"
#include "PciProviders.h"
#include "PciTopologyCache.h"

#include <zelcppc/ObjectScope.h>
#include <zelcppc/ProviderFactory.h>

#include <optional>
#include <utility>

#include <syslog.h>

namespace pciprovider {

namespace {

constexpr AssociationShape kDeviceConnection{"Zelmar_PCIDeviceConnection", "Antecedent",
                                             "Dependent"};

constexpr auto& MakePCIDeviceConnection = MakePair<kDeviceConnection>;
constexpr auto& MakePCIDeviceConnectionRef = MakePairRef<kDeviceConnection>;

using Pairs = PairSinks<MakePCIDeviceConnection, MakePCIDeviceConnectionRef>;

/// Whether a port of the snapshot has that name.
bool IsKnownPortName(const std::string& name) {
  return EndsLikePortName(name) && GetPortNames().count(name) != 0;
}

/// The port with a device, else null.
const PortEntry* WithDevice(const PortEntry& port) {
  return port.device != nullptr ? &port : nullptr;
}

// The parent's address is looked up as a port name, unchanged: only where an address is itself
// a port name does a pair come out.
template <class Give>
void WalkConnections(const Give& give) {
  for (const auto& device : GetDevicesCache()) {
    const std::unique_ptr<PciDevice> parent = device->GetParent();
    if (!parent) continue;
    const std::string address = parent->GetAddress();
    if (!IsKnownPortName(address)) continue;
    const PortEntry* upper = WithDevice(LookupPortEntry(address));
    if (upper == nullptr) continue;
    const PortEntry* lower = WithDevice(FindConnectedPort(device->GetAddress()));
    if (lower == nullptr) continue;
    // Hardly a function gets here, so that the others need no scope.
    const zelInt::ObjectScope pair;
    give(MakePCIPortRef(upper->portName), MakePCIPortRef(lower->portName));
  }
}

/// The first port of the device that a port is counted to, with the name under which it was
/// looked for; null where there is none.
struct Home {
  std::string name;
  const PortEntry* port = nullptr;
};

Home FindHome(const PortEntry& port) {
  std::string name = BuildPortFromDevice(port.ownerAddress);
  // A name under which a port is found is a known one.
  const PortEntry* home = name.empty() ? nullptr : WithDevice(LookupPortEntry(name));
  return {std::move(name), home};
}

/// A source's home port and the far port that it connects to; null where there is none.
struct Ends {
  const PortEntry* home = nullptr;
  const PortEntry* far = nullptr;
};

enum class FarPortOf { kHomeDevice, kSourceDevice };

Ends FindEnds(const CmpiObjectPath& source, FarPortOf which) {
  const PortEntry& port = LookupPortEntry(KeyTextOrEmpty(source, kDeviceIdKey));
  if (port.portName.empty()) return {};
  const PortEntry* home = FindHome(port).port;
  if (home == nullptr) return {};
  const PciDevice* device = which == FarPortOf::kHomeDevice ? home->device : port.device;
  return {home, WithDevice(FindConnectedPort(device->GetAddress()))};
}

/// Runs `give` and ends the result; without a far port returns not found and leaves it open.
template <class Give>
CmpiStatus GiveIfConnected(CmpiResult& result, const Ends& ends, Give give) {
  if (ends.far == nullptr) return NotFound();
  give(ends);
  return Done(result);
}

// Associated is what connects to the home port's device: all its ports as instances ...
CmpiStatus GetRelatedPort(CmpiResult& result, const CmpiObjectPath& source,
                          const char** properties) {
  return GiveIfConnected(result, FindEnds(source, FarPortOf::kHomeDevice), [&](const Ends& ends) {
    std::set<std::string> seen;
    MakePortsForDevice(ends.far->device, result, seen, properties);
  });
}

// ... but the far port alone as a name.
CmpiStatus GetRelatedPortRef(CmpiResult& result, const CmpiObjectPath& source) {
  return GiveIfConnected(result, FindEnds(source, FarPortOf::kHomeDevice), [&](const Ends& ends) {
    result.returnData(MakePCIPortRef(ends.far->portName));
  });
}

// References pair the home port with what connects to the source's own device.
template <class Give>
CmpiStatus GiveConnection(CmpiResult& result, const CmpiObjectPath& source, const Give& give) {
  return GiveIfConnected(result, FindEnds(source, FarPortOf::kSourceDevice), [&](const Ends& ends) {
    give(MakePCIPortRef(ends.home->portName), MakePCIPortRef(ends.far->portName));
  });
}

CmpiStatus GetDevConnByPort(CmpiResult& result, const CmpiObjectPath& source,
                            const char** properties) {
  return GiveConnection(result, source, Pairs::Instances(result, properties));
}

CmpiStatus GetDevConnByPortRef(CmpiResult& result, const CmpiObjectPath& source) {
  return GiveConnection(result, source, Pairs::Paths(result));
}

/// The name of the port in a role of a requested pair; empty, the name of no port, when the pair
/// lacks the role or the port its name.
std::string_view PortNameInRole(const CmpiObjectPath& pair, const char* role) {
  const std::optional<CmpiData> port = zelInt::findKey(pair, role);
  return port ? KeyTextOrEmpty(CmpiObjectPath(*port), kDeviceIdKey) : std::string_view();
}

void LogMissingHome(const Home& home, std::string_view item) {
  if (home.name.empty()) {
    syslog(LOG_DEBUG, "PCIDeviceConnection gi item %s not found", LogText(item).c_str());
  } else if (!IsKnownPortName(home.name)) {
    syslog(LOG_DEBUG, "PCIDeviceConnection gi no portNames, found using '%s'", home.name.c_str());
  } else {
    syslog(LOG_DEBUG, "PCIDeviceConnection gi FAILED LookupPortEntry(parentID) = %s",
           home.name.c_str());
  }
}

}  // namespace

PCIPROVIDER_DEFINE_ASSOCIATION_CLASS(PCIDeviceConnection);

CmpiStatus PCIDeviceConnection::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                                  const CmpiObjectPath&) {
  WalkConnections(Pairs::Paths(result));
  return Done(result);
}

CmpiStatus PCIDeviceConnection::enumInstances(const CmpiContext&, CmpiResult& result,
                                              const CmpiObjectPath&, const char** properties) {
  WalkConnections(Pairs::Instances(result, properties));
  return Done(result);
}

// Checks that both named ports exist, not that they are connected. The returned pair is of the
// home port of the given Dependent and the given Antecedent, so it need not be the requested one.
CmpiStatus PCIDeviceConnection::getInstance(const CmpiContext&, CmpiResult& result,
                                            const CmpiObjectPath& cop, const char** properties) {
  LogPath("PCIDeviceConnection gi using item", " '", cop, "'");
  const std::string_view dependent = PortNameInRole(cop, kDeviceConnection.secondRole);
  const PortEntry& port = LookupPortEntry(dependent);
  if (port.portName.empty()) {
    syslog(LOG_DEBUG, "PCIDeviceConnection gi: lookup item '%s' not found",
           LogText(dependent).c_str());
    return NotFound();
  }
  const Home home = FindHome(port);
  if (home.port == nullptr) {
    LogMissingHome(home, dependent);
    return NotFound();
  }
  const std::string_view antecedent = PortNameInRole(cop, kDeviceConnection.firstRole);
  const PortEntry* other = WithDevice(LookupPortEntry(antecedent));
  if (other == nullptr) {
    syslog(LOG_DEBUG, "PCIDeviceConnection gi FAILED FindConnectedPort(%s)",
           LogText(antecedent).c_str());
    return NotFound();
  }
  result.returnData(MakePCIDeviceConnection(MakePCIPortRef(home.port->portName),
                                            MakePCIPortRef(other->portName), properties));
  return Done(result);
}

CmpiStatus PCIDeviceConnection::associators(const CmpiContext&, CmpiResult& result,
                                            const CmpiObjectPath& source, const char*, const char*,
                                            const char*, const char*, const char** properties) {
  return ServeBySourceClass(
      result, source, "PCIDeviceConnection ai ignoring",
      ServedSource{kPortClass, [&] { GetRelatedPort(result, source, properties); }});
}

CmpiStatus PCIDeviceConnection::associatorNames(const CmpiContext&, CmpiResult& result,
                                                const CmpiObjectPath& source, const char*,
                                                const char*, const char*, const char*) {
  return ServeBySourceClass(result, source, "PCIDeviceConnection ain ignoring",
                            ServedSource{kPortClass, [&] { GetRelatedPortRef(result, source); }});
}

CmpiStatus PCIDeviceConnection::references(const CmpiContext&, CmpiResult& result,
                                           const CmpiObjectPath& source, const char*, const char*,
                                           const char** properties) {
  return ServeBySourceClass(
      result, source, "PCIDeviceConnection reference unsupported class",
      ServedSource{kPortClass, [&] { GetDevConnByPort(result, source, properties); }});
}

CmpiStatus PCIDeviceConnection::referenceNames(const CmpiContext&, CmpiResult& result,
                                               const CmpiObjectPath& source, const char*,
                                               const char*) {
  return ServeBySourceClass(result, source, "PCIDeviceConnection rin unsupported class",
                            ServedSource{kPortClass, [&] { GetDevConnByPortRef(result, source); }});
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCIDeviceConnection);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCIDeviceConnection, pciprovider::PCIDeviceConnection,
                                   pciprovider::AnnounceInstanceFactory);
ZELCPPC_ASSOCIATION_FACTORY(Zelmar_PCIDeviceConnection, pciprovider::PCIDeviceConnection);
