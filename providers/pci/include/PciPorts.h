#pragma once

#include "PciAnswers.h"
#include "PciTopologyCache.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

/// Ports: which a function has, their names, paths and instances, and the listings over the
/// cached ports. The host knows functions, not ports; everything about ports is derived here.
/// All are safe on any thread, exceptions of the host and the binding pass through, and nothing
/// here calls `returnDone`.
namespace pciprovider {

/// The published kind of a port ("PortType").
enum PCIPortType : unsigned short {
  PCIPortTypeUnknown = 0,
  PCIPortTypePCIX = 1,
  PCIPortTypePCI = 150,
  PCIPortTypePCIe = 152
};

/// Whether a text ends as every port's name does, in '-' and two or three characters. Addresses do
/// not, so that hardly one of them needs to be looked up among the names.
inline bool EndsLikePortName(std::string_view text) {
  const std::size_t size = text.size();
  return size >= 3 && (text[size - 3] == '-' || (size >= 4 && text[size - 4] == '-'));
}

/// Appends the device's ports: none, one, or a bridge's two.
void MakePortEntryfromDevice(const PciDevice* device, std::vector<PortEntry>& ports);
void MakePCIeDownstreamPortTRef(const PciDevice* device, std::vector<PortEntry>& ports);
void MakePCIeUpstreamPortTRef(const PciDevice* device, std::vector<PortEntry>& ports);
void MakePCIBridgePortTRef(const PciDevice* device, std::vector<PortEntry>& ports);
void MakePCIEndpointPortTRef(const PciDevice* device, std::vector<PortEntry>& ports);
/// An entry without peer, its address and bus read from the device.
PortEntry MakePCIPortTRef(const std::string& portName, const std::string& ownerAddress,
                          const PciDevice* device);
/// Appends the ports of every cached device, in device order.
void BuildPortDefs(std::vector<PortEntry>& ports);
/// Name of the first port of the device with that address, or empty.
std::string BuildPortFromDevice(std::string_view deviceAddress);

/// The path of the port of that name.
CmpiObjectPath MakePCIPortRef(const std::string& portName);
/// The port's instance, narrowed to `properties`.
CmpiInstance MakePCIPort(const char** properties, const char* portName,
                         const char* controllerDeviceId, const PciDevice* device, PCIPortType type,
                         unsigned char busNumber);

void MakePCIeUpstreamPort(const PciDevice* device, CmpiResult& result, const char** properties);
void MakePCIeDownstreamPort(const PciDevice* device, CmpiResult& result, const char** properties);
void MakePCIEndpointPort(const PciDevice* device, CmpiResult& result, const char** properties);
/// `seen` holds the bridges whose ports this request has returned already.
void MakePCIBridgePorts(const PciDevice* device, CmpiResult& result, std::set<std::string>& seen,
                        const char** properties);
void MakePCIeUpstreamPortRef(const PciDevice* device, CmpiResult& result);
void MakePCIeDownstreamPortRef(const PciDevice* device, CmpiResult& result);
void MakePCIEndpointPortRef(const PciDevice* device, CmpiResult& result);
void MakePCIBridgePortsRef(const PciDevice* device, std::set<std::string>& seen,
                           CmpiResult& result);

/// Returns the device's ports; a null device has none.
void MakePortsForDevice(const PciDevice* device, CmpiResult& result, std::set<std::string>& seen,
                        const char** properties);
/// The same as paths; a null device is logged.
void MakePortsForDeviceRef(const PciDevice* device, std::set<std::string>& seen,
                           CmpiResult& result);

/// Every port of the host.
void PortList(CmpiResult& result, const char** properties);
void PortListRef(CmpiResult& result);
/// The ports of the device of the first port counted to the path's device ...
void ListPorts(const CmpiObjectPath& path, const char** properties, CmpiResult& result);
/// ... and the path of that first port alone.
void ListPortsRef(const CmpiObjectPath& path, CmpiResult& result);
/// The ports under every bridge whose address contains the path's device id.
void ListBridgePorts(const CmpiObjectPath& path, const char** properties, CmpiResult& result);
void ListBridgePortsRef(const CmpiObjectPath& path, CmpiResult& result);
/// The ports under the switch whose address is the path's device id.
void ListSwitchPorts(const CmpiObjectPath& path, const char** properties, CmpiResult& result);
void ListSwitchPortsRef(const CmpiObjectPath& path, CmpiResult& result);

}  // namespace pciprovider
