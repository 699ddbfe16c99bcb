#include "topology_reader.h"

#include <charconv>
#include <set>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace pcicim {
namespace {

constexpr unsigned kBusesPerSegment = 256;
constexpr unsigned kDevicesPerBus = 32;
constexpr unsigned kFunctionsPerDevice = 8;
constexpr std::string_view kBridgeClass = "6";
constexpr std::string_view kHostBridgeSubClass = "0";
constexpr std::string_view kPortSuffix = "-ep";

std::string text(const Record& record, std::string_view name) {
  const auto found = record.find(name);
  return found == record.end() ? "" : found->second;
}

std::optional<unsigned> number(const Record& record, std::string_view name) {
  const std::string digits = text(record, name);
  unsigned value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (digits.empty() || error != std::errc()) {
    return std::nullopt;
  }
  return value;
}

/// The name without the " #DEVICE" that distinguishes equal devices: the address does that here.
std::string plainName(const Record& record) {
  std::string name = text(record, "ElementName");
  const std::string suffix = " #" + text(record, "DeviceNumber");
  if (suffix.size() > 2 && name.size() >= suffix.size() &&
      name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
    name.erase(name.size() - suffix.size());
  }
  return name;
}

/// Sub-classes of bridges that lead from one PCI bus to another and publish ports.
bool isPciToPci(unsigned subClass) {
  return subClass == 0x04 || subClass == 0x09 || subClass == 0x0a || subClass == 0x0b;
}

const std::vector<std::string>& wantedProperties() {
  static const std::vector<std::string> kNames{
      "DeviceID",     "ParentDeviceID",     "ElementName",  "DeviceNumber", "ClassCode",
      "SubClassCode", "SecondaryBusNumber", "PhysicalSlot", "NumberOfPorts"};
  return kNames;
}

char functionDigit(unsigned function) {
  return static_cast<char>('0' + function);
}

class TopologyReader {
 public:
  explicit TopologyReader(TopologySource& source) : source_(source) {}

  std::vector<Function> read() {
    enumerate("Zelmar_PCIDevice", Function::Kind::kDevice);
    enumerate("Zelmar_PCIBridge", Function::Kind::kBridge);
    enumerate("Zelmar_PCIeSwitch", Function::Kind::kSwitch);
    addSwitchPorts();
    addNamedParents(0);
    addFromBuses();
    return std::move(functions_);
  }

  std::vector<Function> readBeside(const std::vector<Function>& shown) {
    std::set<std::uint64_t> segments{0};
    std::set<std::pair<std::uint64_t, unsigned>> known;
    for (const Function& function : shown) {
      if (const auto address = parseAddress(function.address)) {
        segments.insert(address->segment);
        known.emplace(address->segment, address->bus);
      }
    }
    for (const std::uint64_t segment : segments) {
      for (unsigned bus = 0; bus < kBusesPerSegment; ++bus) {
        if (known.count({segment, bus}) == 0) {
          addFromBus(segment, bus);
        }
      }
    }
    return std::move(functions_);
  }

 private:
  bool isKnown(const std::string& address) const { return known_.count(address) != 0; }

  void add(const Record& record, Function::Kind kind) {
    Function function;
    function.kind = kind;
    function.address = text(record, "DeviceID");
    function.parent = text(record, "ParentDeviceID");
    function.name = plainName(record);
    function.secondaryBus = number(record, "SecondaryBusNumber");
    function.physicalSlot = number(record, "PhysicalSlot");
    function.ports = number(record, "NumberOfPorts").value_or(0);
    function.leadsToBus =
        kind == Function::Kind::kBridge && isPciToPci(number(record, "SubClassCode").value_or(0));
    function.isHostBridge = text(record, "ClassCode") == kBridgeClass &&
                            text(record, "SubClassCode") == kHostBridgeSubClass;
    known_.insert(function.address);
    functions_.push_back(std::move(function));
  }

  void enumerate(const std::string& className, Function::Kind kind) {
    for (const Record& record : source_.instances(className, wantedProperties())) {
      add(record, kind);
    }
  }

  /// A port named after a function that no class enumerates is a switch's downstream port.
  void addSwitchPorts() {
    for (const Record& record : source_.names("Zelmar_PCIPort")) {
      std::string name = text(record, "DeviceID");
      if (name.size() <= kPortSuffix.size() || !name.ends_with(kPortSuffix)) {
        continue;
      }
      name.erase(name.size() - kPortSuffix.size());
      if (!isKnown(name)) {
        addIfThere(name, Function::Kind::kSwitchPort);
      }
    }
  }

  /// Any function can be read as a device by its address; only a bridge's instance has its bus.
  bool addIfThere(const std::string& address, std::optional<Function::Kind> kind = std::nullopt) {
    auto record = source_.instance("Zelmar_PCIDevice", address);
    if (!record) {
      return false;
    }
    const bool isBridge = !kind && text(*record, "ClassCode") == kBridgeClass;
    if (isBridge) {
      if (auto bridge = source_.instance("Zelmar_PCIBridge", address)) {
        record = std::move(bridge);
      }
    }
    add(*record, kind.value_or(isBridge ? Function::Kind::kBridge : Function::Kind::kDevice));
    return true;
  }

  /// From the given position on; parents found may name parents of their own.
  void addNamedParents(std::size_t from) {
    std::unordered_set<std::string> missing;
    for (std::size_t i = from; i < functions_.size(); ++i) {
      const std::string parent = functions_[i].parent;
      if (!parent.empty() && !isKnown(parent) && missing.count(parent) == 0 &&
          !addIfThere(parent)) {
        missing.insert(parent);
      }
    }
  }

  /// Asks on every bus that functions are on or that a bridge leads to.
  void addFromBuses() {
    std::set<std::pair<std::uint64_t, unsigned>> buses;
    for (const Function& function : functions_) {
      const auto address = parseAddress(function.address);
      if (!address) {
        continue;
      }
      buses.emplace(address->segment, address->bus);
      if (function.leadsToBus && function.secondaryBus.value_or(0) != 0) {
        buses.emplace(address->segment, *function.secondaryBus);
      }
    }
    for (const auto& [segment, bus] : buses) {
      addFromBus(segment, bus);
    }
  }

  void addFromBus(std::uint64_t segment, unsigned bus) {
    for (unsigned device = 0; device < kDevicesPerBus; ++device) {
      addFunctionsOf({segment, bus, device, 0});
    }
  }

  void addFunctionsOf(const Address& first) {
    // The names of a device's functions differ in their last digit alone.
    std::string name = addressText(first);
    bool found = false;
    for (unsigned i = 0; i < kFunctionsPerDevice; ++i) {
      name.back() = functionDigit(i);
      found = isKnown(name) || found;
    }
    for (unsigned i = 0; i < kFunctionsPerDevice && (i == 0 || found); ++i) {
      name.back() = functionDigit(i);
      if (!isKnown(name)) {
        found = addIfThere(name) || found;
      }
    }
  }

  TopologySource& source_;
  std::vector<Function> functions_;
  std::unordered_set<std::string> known_;
};

}  // namespace

std::vector<Function> readTopology(TopologySource& source) {
  return TopologyReader(source).read();
}

std::vector<Function> findLeftOut(TopologySource& source, const std::vector<Function>& shown) {
  return TopologyReader(source).readBeside(shown);
}

}  // namespace pcicim
