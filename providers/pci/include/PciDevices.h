#pragma once

#include "PciAnswers.h"
#include "PciTopologyCache.h"

#include <cstdint>

/// What device classes and their users share: which class a function belongs to, its path and
/// its properties, and the walks over the cached devices. All are safe on any thread. Unless
/// said otherwise, host-control exceptions pass through, and walks leave `returnDone` to their
/// caller.
namespace pciprovider {

/// Whether the function is an upstream or downstream port of a PCI Express switch (PCI Express
/// capability, flags register, bits 7:4 equal 5 or 6). A host-control failure is logged and
/// returns false.
bool IsPortOnSwitch(const PciDevice* device);
/// Whether the function is a switch's upstream port (type 5). Failures as above.
bool IsUpstreamPortOnSwitch(const PciDevice* device);
/// Whether the function is of base class 6 and no port of a switch.
bool IsBridge(const PciDevice* device);
/// Whether the function is neither a bridge nor a port of a switch.
bool IsPlainDevice(const PciDevice* device);
/// The CIM class by which associations name the function. A switch's downstream port, which no
/// device class enumerates, counts as a plain device here.
const char* SetClassName(const PciDevice* device);

/// Sets the four keys; the creation class is always that of plain devices.
void PopulateDevicePath(const PciDevice* device, CmpiObjectPath& path);
/// Sets the four keys with `className` as the creation class.
void SetDeviceObjectPath(const PciDevice* device, CmpiObjectPath& path, const char* className);
/// A path of `className` with its keys, as SetDeviceObjectPath sets them.
CmpiObjectPath MakeDevicePath(const PciDevice* device, const char* className);
/// Sets the properties that all device classes share. Only a failing slot query is caught.
void PopulateDeviceDetails(const PciDevice* device, CmpiInstance& instance);
/// The instance of `path` with the shared properties, narrowed to `properties`.
CmpiInstance MakeDeviceInstance(const PciDevice* device, const CmpiObjectPath& path,
                                const char** properties);

/// Every plain device, as instances and as paths.
void DeviceList(CmpiResult& result, const char** properties);
void DeviceListRef(CmpiResult& result);

/// The device of the port that the path names, as an instance and as a path.
void ListControllers(const CmpiObjectPath& port, const char** properties, CmpiResult& result);
void ListControllersRef(const CmpiObjectPath& port, CmpiResult& result);

/// The system's association with every plain device, every port, or both in that order.
void LoadSysDevices(const CmpiObjectPath& system, const char** properties, CmpiResult& result);
void LoadSysDevicesRef(const CmpiObjectPath& system, CmpiResult& result);
void LoadSysPorts(const CmpiObjectPath& system, const char** properties, CmpiResult& result);
void LoadSysPortsRef(const CmpiObjectPath& system, CmpiResult& result);
void LoadDevicesAndPorts(const CmpiObjectPath& system, const char** properties, CmpiResult& result);
/// As LoadDevicesAndPorts with paths, but a host-control failure is logged and ends the walk.
void LoadDevicesAndPortsRef(const CmpiObjectPath& system, CmpiResult& result);
/// Hands the association that `path` names to `result`, and returns whether it exists. A
/// host-control failure is logged and returns false.
bool FindDevicePort(const CmpiObjectPath& path, CmpiResult& result, const char** properties);

/// Whether the candidate sits directly below the parent. A failure is logged and returns false.
bool IsChildOf(const PciDevice* parent, PciDevice* candidate);
/// Functions directly below the switch's upstream port, of any kind.
std::uint16_t DownstreamPortsCount(const PciDevice* switchDevice);

}  // namespace pciprovider
