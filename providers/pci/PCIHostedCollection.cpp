#include "PciAnswers.h"
#include "PciAssociations.h"
#include "PciDevices.h"
#include "PciListing.h"
#include "PciNames.h"
#include "PciPortGroups.h"
#include "PciPorts.h"
#include "PciProviders.h"
#include "PciTopologyCache.h"

#include <zelcppc/ProviderFactory.h>

namespace pciprovider {

namespace {

constexpr AssociationShape kHostedCollection{"Zelmar_PCIHostedCollection", "Antecedent",
                                             "Dependent"};

constexpr auto& MakePCIHostedCollection = MakePair<kHostedCollection>;
constexpr auto& MakePCIHostedCollectionRef = MakePairRef<kHostedCollection>;

using Pairs = PairSinks<MakePCIHostedCollection, MakePCIHostedCollectionRef>;

// The workers end the result themselves, and association requests end it once more.

template <class Give>
CmpiStatus GiveGroups(CmpiResult& result, const Give& give) {
  const CmpiObjectPath system = PciCreateSystemRef();
  // Each listing walks a copy of its own.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const std::vector<std::uint8_t> buses = GetBusNumbers();
  ForEachListed(buses, [&](std::uint8_t bus) { give(system, MakePortGroupRef(bus)); });
  return Done(result);
}

// A group without ports is an empty answer, not an error; only a malformed name is.
template <class Give>
CmpiStatus GiveGroup(CmpiResult& result, const CmpiObjectPath& group, const Give& give) {
  unsigned char bus = 0;
  const bool named = ParseBusID(group, bus);
  if (named && PortGroupExists(bus)) give(PciCreateSystemRef(), MakePortGroupRef(bus));
  result.returnDone();
  return CmpiStatus(named ? CMPI_RC_OK : CMPI_RC_ERR_NOT_FOUND);
}

CmpiStatus EnumInstances(CmpiResult& result, const CmpiObjectPath&, const char** properties) {
  return GiveGroups(result, Pairs::Instances(result, properties));
}

CmpiStatus EnumInstanceRefs(CmpiResult& result, const CmpiObjectPath&) {
  return GiveGroups(result, Pairs::Paths(result));
}

CmpiStatus GetInstance(CmpiResult& result, const CmpiObjectPath& group, const char** properties) {
  return GiveGroup(result, group, Pairs::Instances(result, properties));
}

CmpiStatus GetInstanceRef(CmpiResult& result, const CmpiObjectPath& group) {
  return GiveGroup(result, group, Pairs::Paths(result));
}

}  // namespace

PCIPROVIDER_DEFINE_ASSOCIATION_CLASS(PCIHostedCollection);

CmpiStatus PCIHostedCollection::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                                  const CmpiObjectPath& cop) {
  return EnumInstanceRefs(result, cop);
}

CmpiStatus PCIHostedCollection::enumInstances(const CmpiContext&, CmpiResult& result,
                                              const CmpiObjectPath& cop, const char** properties) {
  return EnumInstances(result, cop, properties);
}

// The Antecedent is not read: there is one host system.
CmpiStatus PCIHostedCollection::getInstance(const CmpiContext&, CmpiResult& result,
                                            const CmpiObjectPath& cop, const char** properties) {
  return GetInstance(result, CmpiObjectPath(cop.getKey("Dependent")), properties);
}

CmpiStatus PCIHostedCollection::associators(const CmpiContext& context, CmpiResult& result,
                                            const CmpiObjectPath& source, const char*, const char*,
                                            const char*, const char*, const char** properties) {
  return ServeBySourceClass(
      result, source, "PCIHostedCollection ai ignoring",
      ServedSource{kPortGroupClass,
                   [&] { result.returnData(FetchHostSystem(getBroker(), context, properties)); }},
      ServedSource{kSystemClass, [&] { ListPortGroups(result, source, properties); }});
}

CmpiStatus PCIHostedCollection::associatorNames(const CmpiContext& context, CmpiResult& result,
                                                const CmpiObjectPath& source, const char*,
                                                const char*, const char*, const char*) {
  return ServeBySourceClass(
      result, source, "PCIHostedCollection ain ignoring",
      ServedSource{kPortGroupClass,
                   [&] { result.returnData(FetchHostSystemPath(getBroker(), context)); }},
      ServedSource{kSystemClass, [&] { ListPortGroupRefs(result, source); }});
}

CmpiStatus PCIHostedCollection::references(const CmpiContext&, CmpiResult& result,
                                           const CmpiObjectPath& source, const char*, const char*,
                                           const char** properties) {
  return ServeBySourceClass(
      result, source, "PCIHostedCollection reference unsupported class",
      ServedSource{kPortGroupClass, [&] { GetInstance(result, source, properties); }},
      ServedSource{kSystemClass, [&] { EnumInstances(result, source, properties); }});
}

CmpiStatus PCIHostedCollection::referenceNames(const CmpiContext&, CmpiResult& result,
                                               const CmpiObjectPath& source, const char*,
                                               const char*) {
  return ServeBySourceClass(result, source, "PCIHostedCollection reference unsupported class",
                            ServedSource{kPortGroupClass, [&] { GetInstanceRef(result, source); }},
                            ServedSource{kSystemClass, [&] { EnumInstanceRefs(result, source); }});
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCIHostedCollection);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCIHostedCollection, pciprovider::PCIHostedCollection,
                                   pciprovider::AnnounceInstanceFactory);
ZELCPPC_ASSOCIATION_FACTORY(Zelmar_PCIHostedCollection, pciprovider::PCIHostedCollection);
