#include <topology/topology_reader.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace pcicim {
namespace {

constexpr std::string_view kDeviceClass = "Zelmar_PCIDevice";
constexpr std::string_view kPciBridgeClass = "Zelmar_PCIBridge";
constexpr std::string_view kSwitchClass = "Zelmar_PCIeSwitch";
constexpr std::string_view kPortClass = "Zelmar_PCIPort";

constexpr unsigned kBusesPerSegment = 256;
constexpr unsigned kDevicesPerBus = 32;
constexpr unsigned kFunctionsPerDevice = 8;
constexpr std::string_view kBridgeClass = "6";
constexpr std::string_view kHostBridgeSubClass = "0";
constexpr std::string_view kPortSuffix = "-ep";

/// The text as one's own.
std::string text(const Record& record, std::string_view name) {
  return std::string(record.text(name));
}

std::optional<unsigned> number(const Record& record, std::string_view name) {
  const std::string_view digits = record.text(name);
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

/// Which functions are known.
class KnownFunctions {
 public:
  /// One bit for each function of each device.
  using Bus = std::array<std::uint8_t, kDevicesPerBus>;

  void add(const std::string& text) {
    if (const auto address = placeOf(text)) {
      bus(address->segment, address->bus)[address->device] |= bitOf(*address);
    } else {
      others_.insert(text);
    }
  }

  bool holds(const std::string& text) {
    const auto address = placeOf(text);
    if (!address) {
      return others_.count(text) != 0;
    }
    return (bus(address->segment, address->bus)[address->device] & bitOf(*address)) != 0;
  }

  /// Those of a bus whose addresses are written as they are asked for. Lives as long as this,
  /// whatever is added.
  Bus& bus(std::uint64_t segment, unsigned bus) {
    // Most questions are for the same bus as the one before.
    const BusNumber number(segment, bus);
    if (latest_ == buses_.end() || latest_->first != number) {
      latest_ = buses_.try_emplace(number).first;
    }
    return latest_->second;
  }

 private:
  using BusNumber = std::pair<std::uint64_t, unsigned>;
  using Buses = std::map<BusNumber, Bus>;

  static std::uint8_t bitOf(const Address& address) {
    return static_cast<std::uint8_t>(1U << address.function);
  }

  static std::optional<Address> placeOf(std::string_view text) {
    const auto address = parseAddress(text);
    const bool isPlace = address && address->device < kDevicesPerBus &&
                         address->function < kFunctionsPerDevice && addressText(*address) == text;
    return isPlace ? address : std::nullopt;
  }

  Buses buses_;
  Buses::iterator latest_ = buses_.end();
  /// Texts that are written in another way, or are no addresses.
  std::unordered_set<std::string> others_;
};

class TopologyReader {
 public:
  explicit TopologyReader(TopologySource& source) : source_(source) {}

  std::vector<Function> read() {
    enumerate(kDeviceClass, Function::Kind::kDevice);
    enumerate(kPciBridgeClass, Function::Kind::kBridge);
    enumerate(kSwitchClass, Function::Kind::kSwitch);
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
    known_.add(function.address);
    functions_.push_back(std::move(function));
  }

  void enumerate(std::string_view className, Function::Kind kind) {
    source_.instances(className, wantedProperties(),
                      [&](const Record& record) { add(record, kind); });
  }

  /// A port named after a function that no class enumerates is a switch's downstream port.
  void addSwitchPorts() {
    std::vector<std::string> addresses;
    source_.names(kPortClass, [&](const Record& record) {
      std::string name = text(record, "DeviceID");
      if (name.size() <= kPortSuffix.size() || !name.ends_with(kPortSuffix)) {
        return;
      }
      name.erase(name.size() - kPortSuffix.size());
      if (!known_.holds(name)) {
        addresses.push_back(std::move(name));
      }
    });
    for (const std::string& address : addresses) {
      if (!known_.holds(address)) {
        addIfThere(address, Function::Kind::kSwitchPort);
      }
    }
  }

  /// Any function can be read as a device by its address.
  bool addIfThere(const std::string& address, std::optional<Function::Kind> kind = std::nullopt) {
    auto record = source_.instance(kDeviceClass, address, wantedProperties());
    if (!record) {
      return false;
    }
    addRead(*record, kind);
    return true;
  }

  /// Adds what was read as a device; only a bridge's instance has its bus.
  void addRead(const Record& record, std::optional<Function::Kind> kind = std::nullopt) {
    if (kind || text(record, "ClassCode") != kBridgeClass) {
      return add(record, kind.value_or(Function::Kind::kDevice));
    }
    const auto bridge =
        source_.instance(kPciBridgeClass, text(record, "DeviceID"), wantedProperties());
    add(bridge ? *bridge : record, Function::Kind::kBridge);
  }

  /// From the given position on; parents found may name parents of their own.
  void addNamedParents(std::size_t from) {
    std::unordered_set<std::string> missing;
    std::string parent;
    for (std::size_t i = from; i < functions_.size(); ++i) {
      // Most have the same parent as the one before.
      if (functions_[i].parent == parent) {
        continue;
      }
      parent = functions_[i].parent;
      if (!parent.empty() && !known_.holds(parent) && missing.count(parent) == 0 &&
          !addIfThere(parent)) {
        missing.insert(parent);
      }
    }
  }

  /// Asks on every bus that functions are on or that a bridge leads to.
  void addFromBuses() {
    std::set<std::pair<std::uint64_t, unsigned>> buses;
    std::optional<Address> latest;
    for (const Function& function : functions_) {
      const auto address = parseAddress(function.address);
      if (!address) {
        continue;
      }
      if (!latest || latest->segment != address->segment || latest->bus != address->bus) {
        latest = address;
        buses.emplace(address->segment, address->bus);
      }
      if (function.leadsToBus && function.secondaryBus.value_or(0) != 0) {
        buses.emplace(address->segment, *function.secondaryBus);
      }
    }
    for (const auto& [segment, bus] : buses) {
      addFromBus(segment, bus);
    }
  }

  void addFromBus(std::uint64_t segment, unsigned bus) {
    // Names on a bus differ in their last digits alone.
    std::string name = addressText({segment, bus, 0, 0});
    const KnownFunctions::Bus& known = known_.bus(segment, bus);
    addFirstFunctions(name, known);
    for (unsigned device = 0; device < kDevicesPerBus; ++device) {
      if (known[device] != 0) {
        setDevice(name, device);
        addOtherFunctions(name, known[device]);
      }
    }
  }

  static void setDevice(std::string& name, unsigned device) {
    name[name.size() - 4] = hexDigit(device / 16);
    name[name.size() - 3] = hexDigit(device % 16);
  }

  void addFirstFunctions(const std::string& name, const KnownFunctions::Bus& known) {
    std::size_t count = 0;
    names_.resize(kDevicesPerBus);
    for (unsigned device = 0; device < kDevicesPerBus; ++device) {
      if ((known[device] & 1U) == 0) {
        names_[count] = name;
        setDevice(names_[count], device);
        ++count;
      }
    }
    names_.resize(count);
    source_.instancesOf(kDeviceClass, names_, wantedProperties(),
                        [this](const Record& record) { addRead(record); });
  }

  /// `known` changes as functions are added.
  void addOtherFunctions(std::string& name, const std::uint8_t& known) {
    for (unsigned i = 1; i < kFunctionsPerDevice; ++i) {
      if ((known >> i & 1U) == 0) {
        name.back() = hexDigit(i);
        addIfThere(name);
      }
    }
  }

  TopologySource& source_;
  std::vector<Function> functions_;
  KnownFunctions known_;
  /// What is asked for at once, kept for the memory that it has.
  std::vector<std::string> names_;
};

}  // namespace

// No two entries have the same name, those behind the used ones neither: the same properties come
// in the same order, so that the next entry is the right one as a rule.
std::string& Record::operator[](std::string_view name) {
  const bool isNext = used_ < entries_.size() && entries_[used_].name == name;
  const std::size_t index = isNext ? used_ : find(name);
  if (index < used_) {
    return entries_[index].text;
  }
  if (index == entries_.size()) {
    entries_.push_back({std::string(name), {}});
  }
  std::swap(entries_[used_], entries_[index]);
  Entry& added = entries_[used_++];
  added.text.clear();
  return added.text;
}

std::string_view Record::text(std::string_view name) const noexcept {
  const std::size_t index = find(name);
  return index < used_ ? std::string_view(entries_[index].text) : std::string_view();
}

std::size_t Record::find(std::string_view name) const noexcept {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [name](const Entry& entry) { return entry.name == name; });
  return static_cast<std::size_t>(found - entries_.begin());
}

void TopologySource::instancesOf(std::string_view className,
                                 const std::vector<std::string>& deviceIds,
                                 const std::vector<std::string>& properties,
                                 const RecordSink& sink) {
  for (const std::string& deviceId : deviceIds) {
    if (const auto record = instance(className, deviceId, properties)) {
      sink(*record);
    }
  }
}

std::vector<Function> readTopology(TopologySource& source) {
  return TopologyReader(source).read();
}

std::vector<Function> findLeftOut(TopologySource& source, const std::vector<Function>& shown) {
  return TopologyReader(source).readBeside(shown);
}

}  // namespace pcicim
