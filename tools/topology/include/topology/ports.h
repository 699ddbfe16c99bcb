#pragma once

#include <optional>
#include <string>
#include <vector>

#include <topology/topology_reader.h>

namespace pcicim {

/// A port of a PCI function as the CIM classes describe it.
struct Port {
  /// Ends of DeviceID: -ep, -up, -pri and -sec.
  enum class Side { kEndpoint, kUpstream, kNear, kFar };

  Side side = Side::kEndpoint;
  /// Address of the function that the port is of.
  std::string function;
  /// As portTypeName() has it.
  std::string type;
  /// Nothing where the port does not say.
  std::optional<unsigned> bus;
};

/// The bus protocol that a PortType of Zelmar_PCIPort means, in the words of its Values; "Unknown"
/// for a type that the class does not name.
std::string portTypeName(unsigned portType);

struct PortListing {
  /// In the order of the enumeration. A port whose name ends in none of the sides is left out.
  std::vector<Port> ports;
  /// SystemName of the ports; empty where there is none.
  std::string systemName;
};

/// Collects the ports of all functions.
PortListing readPorts(TopologySource& source);

}  // namespace pcicim
