#include "PciAnswers.h"
#include "PciAssociations.h"
#include "PciDevices.h"
#include "PciLog.h"
#include "PciNames.h"
#include "PciPortGroups.h"
#include "PciPorts.h"
#include "PciProviders.h"
#include "PciTopologyCache.h"

#include <zelcppc/ProviderFactory.h>

#include <atomic>
#include <exception>
#include <string>

#include <strings.h>
#include <syslog.h>

namespace pciprovider {

namespace {

constexpr AssociationShape kSystemDevice{"Zelmar_PCISystemDevice", "GroupComponent",
                                         "PartComponent"};

/// Which parts of the system a client wants; a result class that is neither narrows nothing.
struct WantedParts {
  bool ports = true;
  bool devices = true;

  explicit WantedParts(const char* resultClass) {
    if (resultClass == nullptr) return;
    if (strcasecmp(resultClass, kPortClass) == 0) {
      devices = false;
    } else if (strcasecmp(resultClass, kDeviceClass) == 0) {
      ports = false;
    }
  }
};

/// One line for the life of the library: the object manager lacks a provider, and every request
/// that needs it fails the same way.
void LogMissingSystemOnce(const std::string& text) {
  static std::atomic_flag logged = ATOMIC_FLAG_INIT;
  if (!logged.test_and_set()) syslog(LOG_ERR, "%s", LogText(text).c_str());
}

[[noreturn]] void ThrowMissingSystem(CMPIrc code, const std::string& reason) {
  const std::string text = std::string("no ") + kSystemClass + " could be fetched: " + reason;
  LogMissingSystemOnce(text);
  throw CmpiStatus(code, text);
}

/// What `fetch` gets of the object manager, converted. The client needs to hear what its object
/// manager lacks, not which step of ours went wrong.
template <class Object, class Fetch>
Object Fetched(Fetch fetch) {
  const CmpiObjectPath classPath(kNameSpace, kSystemClass);
  try {
    return fetch(classPath);
  } catch (const CmpiStatus& failure) {
    ThrowMissingSystem(failure.rc(), failure.msg());
  } catch (const std::exception& failure) {
    ThrowMissingSystem(CMPI_RC_ERR_FAILED, failure.what());
  }
}

}  // namespace

CmpiObjectPath PciCreateSystemRef() {
  CmpiObjectPath path(kNameSpace, kSystemClass);
  path.setKey("CreationClassName", CmpiData(kSystemClass));
  path.setKey("Name", CmpiData(PciGetSystemName()));
  return path;
}

CmpiInstance FetchHostSystem(const zelInt::CmpiBroker& broker, const CmpiContext& context,
                             const char** properties) {
  return Fetched<CmpiInstance>([&](const CmpiObjectPath& classPath) {
    return broker.enumInstances(context, classPath, properties).getNext();
  });
}

CmpiObjectPath FetchHostSystemPath(const zelInt::CmpiBroker& broker, const CmpiContext& context) {
  return Fetched<CmpiObjectPath>([&](const CmpiObjectPath& classPath) {
    return broker.enumInstanceNames(context, classPath).getNext();
  });
}

CmpiObjectPath MakePCISystemDeviceRef(const CmpiObjectPath& system, const CmpiObjectPath& part) {
  return kSystemDevice.MakePath(system, part);
}

CmpiInstance MakePCISystemDevice(const CmpiObjectPath& system, const CmpiObjectPath& part,
                                 const char** properties) {
  return kSystemDevice.MakeInstance(system, part, properties);
}

PCIPROVIDER_DEFINE_ASSOCIATION_CLASS(PCISystemDevice);

CmpiStatus PCISystemDevice::enumInstanceNames(const CmpiContext&, CmpiResult& result,
                                              const CmpiObjectPath&) {
  LoadDevicesAndPortsRef(PciCreateSystemRef(), result);
  return Done(result);
}

CmpiStatus PCISystemDevice::enumInstances(const CmpiContext&, CmpiResult& result,
                                          const CmpiObjectPath&, const char** properties) {
  LoadDevicesAndPorts(PciCreateSystemRef(), properties, result);
  return Done(result);
}

CmpiStatus PCISystemDevice::getInstance(const CmpiContext&, CmpiResult& result,
                                        const CmpiObjectPath& cop, const char** properties) {
  if (!FindDevicePort(cop, result, properties)) return NotFound();
  return Done(result);
}

CmpiStatus PCISystemDevice::associators(const CmpiContext& context, CmpiResult& result,
                                        const CmpiObjectPath& source, const char*,
                                        const char* resultClass, const char*, const char*,
                                        const char** properties) {
  const auto system = [&] { result.returnData(FetchHostSystem(getBroker(), context, properties)); };
  const auto parts = [&] {
    const WantedParts wanted(resultClass);
    if (wanted.ports) PortList(result, properties);
    if (wanted.devices) DeviceList(result, properties);
  };
  return ServeBySourceClass(result, source, "PCISystemDevice ai ignoring",
                            ServedSource{kPortClass, system}, ServedSource{kDeviceClass, system},
                            ServedSource{kSystemClass, parts});
}

// Names the system itself: unlike the instance, its path needs no other provider.
CmpiStatus PCISystemDevice::associatorNames(const CmpiContext&, CmpiResult& result,
                                            const CmpiObjectPath& source, const char*,
                                            const char* resultClass, const char*, const char*) {
  const auto system = [&] { result.returnData(PciCreateSystemRef()); };
  const auto parts = [&] {
    const WantedParts wanted(resultClass);
    if (wanted.ports) PortListRef(result);
    if (wanted.devices) DeviceListRef(result);
  };
  return ServeBySourceClass(result, source, "PCISystemDevice ai ignoring",
                            ServedSource{kPortClass, system}, ServedSource{kDeviceClass, system},
                            ServedSource{kSystemClass, parts});
}

// Only the source's class counts: the references of one device are those of all devices.
CmpiStatus PCISystemDevice::references(const CmpiContext&, CmpiResult& result,
                                       const CmpiObjectPath& source, const char*, const char*,
                                       const char** properties) {
  return ServeBySourceClass(
      result, source, "PCISystemDevice reference unsupported class",
      ServedSource{kDeviceClass, [&] { LoadSysDevices(PciCreateSystemRef(), properties, result); }},
      ServedSource{kPortClass, [&] { LoadSysPorts(PciCreateSystemRef(), properties, result); }},
      ServedSource{kSystemClass,
                   [&] { LoadDevicesAndPorts(PciCreateSystemRef(), properties, result); }});
}

CmpiStatus PCISystemDevice::referenceNames(const CmpiContext&, CmpiResult& result,
                                           const CmpiObjectPath& source, const char*, const char*) {
  return ServeBySourceClass(
      result, source, "PCISystemDevice reference unsupported class",
      ServedSource{kDeviceClass, [&] { LoadSysDevicesRef(PciCreateSystemRef(), result); }},
      ServedSource{kPortClass, [&] { LoadSysPortsRef(PciCreateSystemRef(), result); }},
      ServedSource{kSystemClass, [&] { LoadDevicesAndPortsRef(PciCreateSystemRef(), result); }});
}

}  // namespace pciprovider

ZELCPPC_HOLDER(Zelmar_PCISystemDevice);
ZELCPPC_ANNOUNCED_INSTANCE_FACTORY(Zelmar_PCISystemDevice, pciprovider::PCISystemDevice,
                                   pciprovider::AnnounceInstanceFactory);
ZELCPPC_ASSOCIATION_FACTORY(Zelmar_PCISystemDevice, pciprovider::PCISystemDevice);
