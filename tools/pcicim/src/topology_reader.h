#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "topology.h"

namespace pcicim {

/// Properties of an instance, or keys of a path, as text; what has no value is not there.
using Record = std::map<std::string, std::string, std::less<>>;

/// The few questions about the published classes that the topology is put together from.
class TopologySource {
 public:
  virtual ~TopologySource() = default;

  virtual std::vector<Record> instances(const std::string& className,
                                        const std::vector<std::string>& properties) = 0;
  virtual std::vector<Record> names(const std::string& className) = 0;
  /// The instance with this DeviceID; nothing when there is none.
  virtual std::optional<Record> instance(const std::string& className,
                                         const std::string& deviceId) = 0;
};

/// Collects every PCI function that the classes show.
///
/// Devices, bridges and switches are enumerated; ports of switches show in the names of ports
/// alone. Bridges without ports (host, ISA, CardBus) are in no enumeration, yet answer when asked
/// for: so parents that others name are asked for, and on every bus that functions are on or that a
/// bridge leads to the first function of each device, then the others of the devices found. What
/// sits on any other bus alone is for findLeftOut.
std::vector<Function> readTopology(TopologySource& source);

/// Collects functions beside those of the topology: bridges without ports, alone on buses of
/// segment 0 or of a segment that has shown functions. They are looked for as on the other buses,
/// by asking for the first function of each device, and then for the others of the devices found.
std::vector<Function> findLeftOut(TopologySource& source, const std::vector<Function>& shown);

}  // namespace pcicim
