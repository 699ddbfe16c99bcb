#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <topology/topology.h>

namespace pcicim {

/// Properties of an instance, or keys of a path, as text; what has no value is not there. There are
/// few of them, and one record after the other has the same: a cleared one uses its memory again.
class Record {
 public:
  Record() = default;
  Record(std::initializer_list<std::pair<std::string_view, std::string_view>> values) {
    for (const auto& [name, text] : values) (*this)[name] = text;
  }

  /// The text under that name, which is case-sensitive; added empty where it is not there. Lives
  /// until the next one is added.
  std::string& operator[](std::string_view name);
  /// Empty where it is not there. Lives as long as the record is not changed.
  std::string_view text(std::string_view name) const noexcept;
  void clear() noexcept { used_ = 0; }

 private:
  struct Entry {
    std::string name;
    std::string text;
  };

  /// Its entry, used or not; how many there are, without one.
  std::size_t find(std::string_view name) const noexcept;

  std::vector<Entry> entries_;
  /// How many of the entries are there, from the first.
  std::size_t used_ = 0;
};

using RecordSink = std::function<void(const Record&)>;

/// The few questions about the published classes that the topology is put together from. Listings
/// hand each record over as it comes, so that none has to be kept.
class TopologySource {
 public:
  virtual ~TopologySource() = default;

  virtual void instances(std::string_view className, const std::vector<std::string>& properties,
                         const RecordSink& sink) = 0;
  virtual void names(std::string_view className, const RecordSink& sink) = 0;
  /// The instance with this DeviceID; nothing when there is none. It is asked for the same
  /// properties of a class each time.
  virtual std::optional<Record> instance(std::string_view className, const std::string& deviceId,
                                         const std::vector<std::string>& properties) = 0;
  /// Those of the instances with these DeviceIDs that are there, in that order.
  virtual void instancesOf(std::string_view className, const std::vector<std::string>& deviceIds,
                           const std::vector<std::string>& properties, const RecordSink& sink);
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
