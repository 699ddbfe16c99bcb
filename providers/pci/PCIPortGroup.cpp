#include "PciAnswers.h"
#include "PciDevices.h"
#include "PciKeys.h"
#include "PciListing.h"
#include "PciNames.h"
#include "PciPortGroups.h"
#include "PciProviders.h"
#include "PciText.h"
#include "PciTopologyCache.h"

#include <zelcppc/ProviderFactory.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace pciprovider {

CmpiObjectPath MakePortGroupRef(unsigned char bus) {
  const JoinedText id{"Zelmar:bus-", ByteDigits(bus)};
  CmpiObjectPath path(kNameSpace, kPortGroupClass);
  path.setKey("InstanceID", CmpiData(id.c_str()));
  return path;
}

CmpiInstance MakePortGroup(unsigned char bus, const char** /*properties*/) {
  const JoinedText name{"PCI port group with bus number ", ByteDigits(bus)};
  CmpiInstance instance(MakePortGroupRef(bus));
  instance.setProperty("BusNumber", CmpiData(bus));
  instance.setProperty("ElementName", CmpiData(name.c_str()));
  return instance;
}

CmpiInstance MakeFilteredPortGroup(unsigned char bus, const char** properties) {
  CmpiInstance group = MakePortGroup(bus, properties);
  group.setPropertyFilter(properties, nullptr);
  return group;
}

// Lenient on purpose: text before the '-' and after the digits does not count.
bool ParseBusID(const CmpiObjectPath& path, unsigned char& bus) {
  const std::string_view id = KeyText(path, "InstanceID");
  const char* separator = std::strchr(id.data(), '-');
  if (separator == nullptr) return false;
  bus = static_cast<unsigned char>(std::strtol(separator + 1, nullptr, 10));
  return true;
}

bool PortGroupExists(unsigned char bus) {
  // The groups are made of the ports; where the snapshot was not finished they lack some.
  if (IsInGroups(bus)) return true;
  const auto& ports = GetPortsCache();
  return std::any_of(ports.begin(), ports.end(),
                     [bus](const PortEntry& port) { return port.busNumber == bus; });
}

CmpiStatus ListPortGroups(CmpiResult& result, const CmpiObjectPath&, const char** properties) {
  ForEachListed(GetBusNumbers(), [&](std::uint8_t bus) {
    result.returnData(MakeFilteredPortGroup(bus, properties));
  });
  return Done(result);
}

CmpiStatus ListPortGroupRefs(CmpiResult& result, const CmpiObjectPath&) {
  ForEachListed(GetBusNumbers(),
                [&](std::uint8_t bus) { result.returnData(MakePortGroupRef(bus)); });
  return Done(result);
}

CmpiStatus GetRelatedPortGroup(CmpiResult& result, const CmpiObjectPath& path,
                               const char** properties) {
  unsigned char bus = 0;
  // The ports decide whether a group exists, not the list of bus numbers.
  if (!ParseBusID(path, bus) || !PortGroupExists(bus)) {
    result.returnDone();
    return NotFound();
  }
  result.returnData(MakeFilteredPortGroup(bus, properties));
  return Done(result);
}

PCIPROVIDER_DEFINE_INSTANCE_CLASS(PCIPortGroup);

CmpiStatus PCIPortGroup::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                           const CmpiObjectPath& cop) {
  return ListPortGroupRefs(result, cop);
}

CmpiStatus PCIPortGroup::enumInstances(const CmpiContext&, CmpiResult& result,
                                       const CmpiObjectPath& cop, const char** properties) {
  return ListPortGroups(result, cop, properties);
}

CmpiStatus PCIPortGroup::getInstance(const CmpiContext&, CmpiResult& result,
                                     const CmpiObjectPath& cop, const char** properties) {
  return GetRelatedPortGroup(result, cop, properties);
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCIPortGroup);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCIPortGroup, pciprovider::PCIPortGroup,
                                   pciprovider::AnnounceInstanceFactory);
