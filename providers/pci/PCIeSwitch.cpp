#include "PciAnswers.h"
#include "PciDevices.h"
#include "PciKeys.h"
#include "PciListing.h"
#include "PciNames.h"
#include "PciProviders.h"
#include "PciText.h"
#include "PciTopologyCache.h"

#include <qarctl/HostCtlException.h>
#include <zelcppc/ProviderFactory.h>

#include <syslog.h>

namespace pciprovider {

using HostCtl::Lib::HostCtlException;

namespace {

CmpiInstance MakeSwitchInstance(const PciDevice* device, const char** properties) {
  CmpiInstance instance(MakeDevicePath(device, kSwitchClass));
  PopulateDeviceDetails(device, instance);
  instance.setProperty("NumberOfPorts", CmpiData(DownstreamPortsCount(device)));
  instance.setPropertyFilter(properties, nullptr);
  return instance;
}

}  // namespace

bool IsChildOf(const PciDevice* parent, PciDevice* candidate) {
  try {
    const std::unique_ptr<PciDevice> above = candidate->GetParent();
    return above && IsSameAddress(above->GetAddress(), parent->GetAddress());
  } catch (const HostCtlException& failure) {
    syslog(LOG_ERR, "Check Child of PCIeSwitch class failed,reporting false, error %s",
           failure.what());
    return false;
  }
}

std::uint16_t DownstreamPortsCount(const PciDevice* switchDevice) {
  std::uint16_t count = 0;
  try {
    for (const auto& device : GetDevicesCache()) {
      if (IsChildOf(switchDevice, device.get())) ++count;
    }
  } catch (const HostCtlException& failure) {
    syslog(LOG_ERR, "Fetching ports of PCIeSwitch class failed,returning incomplete set, error %s",
           failure.what());
  }
  return count;
}

PCIPROVIDER_DEFINE_INSTANCE_CLASS(PCIeSwitch);

CmpiStatus PCIeSwitch::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                         const CmpiObjectPath&) {
  ForEachListed(GetSwitchCache(), [&](const PortEntry* port) {
    result.returnData(MakeDevicePath(port->device, kSwitchClass));
  });
  return Done(result);
}

CmpiStatus PCIeSwitch::enumInstances(const CmpiContext&, CmpiResult& result, const CmpiObjectPath&,
                                     const char** properties) {
  // Each listing walks a copy of its own.
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const PortPointers switches = GetSwitchCache();
  ForEachListed(switches, [&](const PortEntry* port) {
    result.returnData(MakeSwitchInstance(port->device, properties));
  });
  return Done(result);
}

// Any known function is returned as a switch with the count of its children, and done is never
// signalled.
CmpiStatus PCIeSwitch::getInstance(const CmpiContext&, CmpiResult& result,
                                   const CmpiObjectPath& cop, const char** properties) {
  try {
    const std::string_view id = KeyText(cop, kDeviceIdKey);
    if (id.empty()) return NotFound();
    DeviceIndex::const_iterator position;
    if (!LookupDevice(id, position)) return CmpiStatus(CMPI_RC_OK);
    result.returnData(MakeSwitchInstance(position->second->get(), properties));
  } catch (const HostCtlException& failure) {
    syslog(LOG_ERR, "enumInstance request to retrieve PCI information failed,error %s",
           failure.what());
  }
  return CmpiStatus(CMPI_RC_OK);
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCIeSwitch);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCIeSwitch, pciprovider::PCIeSwitch,
                                   pciprovider::AnnounceInstanceFactory);
