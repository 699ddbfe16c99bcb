#include "PciAnswers.h"
#include "PciAssociations.h"
#include "PciDevices.h"
#include "PciKeys.h"
#include "PciListing.h"
#include "PciLog.h"
#include "PciNames.h"
#include "PciPortGroups.h"
#include "PciPorts.h"
#include "PciProviders.h"
#include "PciTopologyCache.h"

#include <zelcppc/ProviderFactory.h>

#include <optional>

#include <syslog.h>

namespace pciprovider {

namespace {

constexpr AssociationShape kMemberOfCollection{"Zelmar_PCIMemberOfCollection", "Collection",
                                               "Member"};
// Unserved sources are logged under the connection association's name: log filters in the field
// watch for these very texts.
constexpr char kUnservedAssociator[] = "PCIDeviceConnection ai ignoring";
constexpr char kUnservedReference[] = "PCIDeviceConnection reference unsupported class";

constexpr auto& MakePCIMemberOfCollection = MakePair<kMemberOfCollection>;
constexpr auto& MakePCIMemberOfCollectionRef = MakePairRef<kMemberOfCollection>;

using Pairs = PairSinks<MakePCIMemberOfCollection, MakePCIMemberOfCollectionRef>;

/// The port and its peer as members of the group of the port's own bus.
template <class Give>
void GiveMemberAndPeer(const PortEntry& port, const Give& give) {
  give(MakePortGroupRef(port.busNumber), MakePCIPortRef(port.portName));
  if (!port.peerPortName.empty()) {
    give(MakePortGroupRef(port.busNumber), MakePCIPortRef(port.peerPortName));
  }
}

/// The port, and for a bridge's secondary port the primary, found by its name alone.
template <class Give>
void GiveMemberAndPrimary(const PortEntry& port, const Give& give) {
  give(MakePortGroupRef(port.busNumber), MakePCIPortRef(port.portName));
  const std::size_t suffix = port.portName.rfind("-sec");
  if (suffix == std::string::npos) return;
  give(MakePortGroupRef(port.busNumber), MakePCIPortRef(port.portName.substr(0, suffix) + "-pri"));
}

// A bridge's ports come twice, each as itself and as the other's peer.
template <class Give>
void WalkMembers(const Give& give) {
  ForEachListed(GetPortsCache(), [&](const PortEntry& port) { GiveMemberAndPeer(port, give); });
}

const PortEntry& SourcePort(const CmpiObjectPath& source) {
  return LookupPortEntry(KeyText(source, kDeviceIdKey));
}

CmpiStatus PortToPortGroup(CmpiResult& result, const CmpiObjectPath& source,
                           const char** properties) {
  const PortEntry& port = SourcePort(source);
  if (port.portName.empty()) return NotFound();
  result.returnData(MakeFilteredPortGroup(port.busNumber, properties));
  return Done(result);
}

CmpiStatus PortToPortGroupRef(CmpiResult& result, const CmpiObjectPath& source) {
  const PortEntry& port = SourcePort(source);
  if (port.portName.empty()) return NotFound();
  result.returnData(MakePortGroupRef(port.busNumber));
  return Done(result);
}

template <class Give>
CmpiStatus GiveMembershipOf(CmpiResult& result, const CmpiObjectPath& source, const Give& give) {
  const std::string_view name = KeyText(source, kDeviceIdKey);
  const PortEntry& port = LookupPortEntry(name);
  if (port.portName.empty()) {
    syslog(LOG_DEBUG, "MemberOfCollection ri: lookup item '%s' not found", LogText(name).c_str());
    return NotFound();
  }
  GiveMemberAndPeer(port, give);
  return Done(result);
}

CmpiStatus GetMBInstanceByPort(CmpiResult& result, const CmpiObjectPath& source,
                               const char** properties) {
  return GiveMembershipOf(result, source, Pairs::Instances(result, properties));
}

CmpiStatus GetMBInstanceByPortRef(CmpiResult& result, const CmpiObjectPath& source) {
  return GiveMembershipOf(result, source, Pairs::Paths(result));
}

/// Runs `give` on each device of the group's bus and ends the result. A malformed group name ends
/// it as well; a bus without ports leaves it open.
template <class Give>
CmpiStatus WalkGroup(CmpiResult& result, const CmpiObjectPath& group, Give give) {
  unsigned char bus = 0;
  if (!ParseBusID(group, bus)) {
    result.returnDone();
    return NotFound();
  }
  std::vector<const PciDevice*> devices;
  if (!FindPortsInGroup(bus, devices)) return NotFound();
  ForEachListed(devices, give);
  return Done(result);
}

CmpiStatus PortGroupToPorts(CmpiResult& result, const CmpiObjectPath& group,
                            const char** properties) {
  std::set<std::string> seen;
  return WalkGroup(result, group, [&](const PciDevice* device) {
    MakePortsForDevice(device, result, seen, properties);
  });
}

CmpiStatus PortGroupToPortsRef(CmpiResult& result, const CmpiObjectPath& group) {
  std::set<std::string> seen;
  return WalkGroup(result, group,
                   [&](const PciDevice* device) { MakePortsForDeviceRef(device, seen, result); });
}

CmpiStatus GetMBInstanceByGroup(CmpiResult& result, const CmpiObjectPath& group,
                                const char** properties) {
  const auto give = Pairs::Instances(result, properties);
  return WalkGroup(result, group, [&](const PciDevice* device) {
    const PortEntry& port = LookupPortByDeviceEntry(device->GetAddress());
    if (!port.portName.empty()) GiveMemberAndPeer(port, give);
  });
}

// Finds the second port of a bridge by name, not by peer as its twin does.
CmpiStatus GetMBInstanceByGroupRef(CmpiResult& result, const CmpiObjectPath& group) {
  const auto give = Pairs::Paths(result);
  return WalkGroup(result, group, [&](const PciDevice* device) {
    const PortEntry& port = LookupPortByDeviceEntry(device->GetAddress());
    if (!port.portName.empty()) GiveMemberAndPrimary(port, give);
  });
}

}  // namespace

PCIPROVIDER_DEFINE_ASSOCIATION_CLASS(PCIMemberOfCollection);

CmpiStatus PCIMemberOfCollection::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                                    const CmpiObjectPath&) {
  WalkMembers(Pairs::Paths(result));
  return Done(result);
}

CmpiStatus PCIMemberOfCollection::enumInstances(const CmpiContext&, CmpiResult& result,
                                                const CmpiObjectPath&, const char** properties) {
  WalkMembers(Pairs::Instances(result, properties));
  return Done(result);
}

// The Collection is not read: a port has one group.
CmpiStatus PCIMemberOfCollection::getInstance(const CmpiContext&, CmpiResult& result,
                                              const CmpiObjectPath& cop, const char** properties) {
  LogPath("PCIMemberOfCollection", " ", cop);
  const std::string_view name = KeyText(CmpiObjectPath(cop.getKey("Member")), kDeviceIdKey);
  const PortEntry& port = LookupPortEntry(name);
  if (port.portName.empty()) {
    syslog(LOG_DEBUG, "MemberOfCollection gi: lookup item '%s' not found", LogText(name).c_str());
    return NotFound();
  }
  result.returnData(MakePCIMemberOfCollection(MakePortGroupRef(port.busNumber),
                                              MakePCIPortRef(port.portName), properties));
  return Done(result);
}

CmpiStatus PCIMemberOfCollection::associators(const CmpiContext&, CmpiResult& result,
                                              const CmpiObjectPath& source, const char*,
                                              const char*, const char*, const char*,
                                              const char** properties) {
  return ServeBySourceClass(
      result, source, kUnservedAssociator,
      ServedSource{kPortClass, [&] { PortToPortGroup(result, source, properties); }},
      ServedSource{kPortGroupClass, [&] { PortGroupToPorts(result, source, properties); }});
}

CmpiStatus PCIMemberOfCollection::associatorNames(const CmpiContext&, CmpiResult& result,
                                                  const CmpiObjectPath& source, const char*,
                                                  const char*, const char*, const char*) {
  return ServeBySourceClass(
      result, source, kUnservedAssociator,
      ServedSource{kPortClass, [&] { PortToPortGroupRef(result, source); }},
      ServedSource{kPortGroupClass, [&] { PortGroupToPortsRef(result, source); }});
}

CmpiStatus PCIMemberOfCollection::references(const CmpiContext&, CmpiResult& result,
                                             const CmpiObjectPath& source, const char*, const char*,
                                             const char** properties) {
  return ServeBySourceClass(
      result, source, kUnservedReference,
      ServedSource{kPortClass, [&] { GetMBInstanceByPort(result, source, properties); }},
      ServedSource{kPortGroupClass, [&] { GetMBInstanceByGroup(result, source, properties); }});
}

CmpiStatus PCIMemberOfCollection::referenceNames(const CmpiContext&, CmpiResult& result,
                                                 const CmpiObjectPath& source, const char*,
                                                 const char*) {
  return ServeBySourceClass(
      result, source, kUnservedReference,
      ServedSource{kPortClass, [&] { GetMBInstanceByPortRef(result, source); }},
      ServedSource{kPortGroupClass, [&] { GetMBInstanceByGroupRef(result, source); }});
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCIMemberOfCollection);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCIMemberOfCollection, pciprovider::PCIMemberOfCollection,
                                   pciprovider::AnnounceInstanceFactory);
ZELCPPC_ASSOCIATION_FACTORY(Zelmar_PCIMemberOfCollection, pciprovider::PCIMemberOfCollection);
