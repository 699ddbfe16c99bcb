#include "PciAnswers.h"
#include "PciDevices.h"
#include "PciKeys.h"
#include "PciListing.h"
#include "PciNames.h"
#include "PciProviders.h"
#include "PciTopologyCache.h"

#include <zelcppc/ProviderFactory.h>

namespace pciprovider {

namespace {

CmpiInstance MakeBridgeInstance(const PciDevice* device, const char** properties) {
  CmpiInstance instance(MakeDevicePath(device, kBridgeClass));
  PopulateDeviceDetails(device, instance);
  const auto subClass = static_cast<unsigned short>(device->GetClassCode() & 0xffU);
  instance.setProperty("BridgeType", CmpiData(subClass));
  instance.setProperty("SecondaryBusNumber", CmpiData(device->GetSecondaryBusNumber()));
  instance.setPropertyFilter(properties, nullptr);
  return instance;
}

}  // namespace

PCIPROVIDER_DEFINE_INSTANCE_CLASS(PCIBridge);

CmpiStatus PCIBridge::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                        const CmpiObjectPath&) {
  ForEachListed(GetBridgesCache(), [&](const PortEntry* port) {
    result.returnData(MakeDevicePath(port->device, kBridgeClass));
  });
  return Done(result);
}

CmpiStatus PCIBridge::enumInstances(const CmpiContext&, CmpiResult& result, const CmpiObjectPath&,
                                    const char** properties) {
  ForEachListed(GetBridgesCache(), [&](const PortEntry* port) {
    result.returnData(MakeBridgeInstance(port->device, properties));
  });
  return Done(result);
}

// Serves bridges that no enumeration lists too (those without ports: host, ISA and the like).
// Never signals done; a known function that is no bridge is not found, an unknown one is an
// empty answer.
CmpiStatus PCIBridge::getInstance(const CmpiContext&, CmpiResult& result, const CmpiObjectPath& cop,
                                  const char** properties) {
  const std::string_view id = KeyText(cop, kDeviceIdKey);
  if (id.empty()) return NotFound();
  DeviceIndex::const_iterator position;
  if (!LookupDevice(id, position)) return CmpiStatus(CMPI_RC_OK);
  const PciDevice* device = position->second->get();
  if (!IsBridge(device)) return NotFound();
  result.returnData(MakeBridgeInstance(device, properties));
  return CmpiStatus(CMPI_RC_OK);
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCIBridge);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCIBridge, pciprovider::PCIBridge,
                                   pciprovider::AnnounceInstanceFactory);
