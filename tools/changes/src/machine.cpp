#include <changes/machine.h>

#include <changes/value_json.h>
#include <model/names.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <system_error>
#include <utility>

namespace pcicim {
namespace {

/// Follow from the place of a function, or are members of their own.
constexpr std::array<std::string_view, 12> kFunctionMembers{
    "BusNumber",          "CreationClassName", "DeviceID",       "DeviceNumber",
    "ElementName",        "FunctionNumber",    "ParentDeviceID", "PhysicalSlot",
    "SecondaryBusNumber", "SegmentNumber",     "SystemName",     "SystemCreationClassName"};

constexpr std::array<std::string_view, 9> kPortMembers{
    "BusNumber",      "ControllerDeviceID", "CreationClassName",
    "DeviceID",       "DeviceNumber",       "ElementName",
    "FunctionNumber", "SystemName",         "SystemCreationClassName"};

template <std::size_t size>
bool holds(const std::array<std::string_view, size>& names, std::string_view name) {
  return std::any_of(names.begin(), names.end(),
                     [name](std::string_view one) { return cimom::sameName(one, name); });
}

std::string textOf(const cimom::Instance& instance, std::string_view name) {
  const cimom::Value* value = instance.findProperty(name);
  return value != nullptr && !value->isArray && !value->elements.empty()
             ? cimom::toText(value->elements.front())
             : "";
}

std::optional<std::uint64_t> numberOf(const cimom::Instance& instance, std::string_view name) {
  const std::string digits = textOf(instance, name);
  std::uint64_t number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number);
  if (digits.empty() || error != std::errc() || stop != end) {
    return std::nullopt;
  }
  return number;
}

std::optional<unsigned> smallNumberOf(const cimom::Instance& instance, std::string_view name) {
  const auto number = numberOf(instance, name);
  if (!number || *number > std::numeric_limits<unsigned>::max()) {
    return std::nullopt;
  }
  return static_cast<unsigned>(*number);
}

std::string valueText(const cimom::Value& value) {
  Json json = toJson(value);
  if (json.is_array()) {
    std::sort(json.begin(), json.end());
  }
  return onOneLine(json);
}

template <std::size_t size>
Properties propertiesOf(const cimom::Instance& instance,
                        const std::array<std::string_view, size>& leftOut) {
  Properties properties;
  for (const auto& [name, value] : instance.properties) {
    if (!value.isNull && !holds(leftOut, name)) {
      properties.push_back({name, valueText(value)});
    }
  }
  std::stable_sort(properties.begin(), properties.end(),
                   [](const Property& left, const Property& right) {
                     return cimom::NameLess()(left.name, right.name);
                   });
  return properties;
}

/// The name without the " #DEVICE" that distinguishes equal devices: the address does that.
std::string plainName(std::string name, std::string_view deviceNumber) {
  const std::string suffix = " #" + std::string(deviceNumber);
  if (!deviceNumber.empty() && name.ends_with(suffix)) {
    name.erase(name.size() - suffix.size());
  }
  return name;
}

Identity identityOf(const cimom::Instance& instance) {
  return {.vendor = numberOf(instance, "VendorID").value_or(0),
          .device = numberOf(instance, "PCIDeviceID").value_or(0),
          .subsystemVendor = numberOf(instance, "SubsystemVendorID").value_or(0),
          .subsystem = numberOf(instance, "SubsystemID").value_or(0),
          .classCode = numberOf(instance, "ClassCode").value_or(0),
          .subClass = numberOf(instance, "SubClassCode").value_or(0)};
}

/// Where the word for the side begins; behind the end when there is none.
std::size_t sideOf(std::string_view portId) {
  const std::size_t minus = portId.rfind('-');
  return minus == std::string_view::npos ? portId.size() : minus;
}

}  // namespace

const std::string* findValue(const Properties& properties, std::string_view name) {
  const auto found = std::lower_bound(properties.begin(), properties.end(), name,
                                      [](const Property& property, std::string_view wanted) {
                                        return cimom::NameLess()(property.name, wanted);
                                      });
  return found != properties.end() && cimom::sameName(found->name, name) ? &found->value : nullptr;
}

std::string_view ComparedPort::functionId() const {
  return std::string_view(id).substr(0, sideOf(id));
}

std::string_view ComparedPort::side() const {
  return std::string_view(id).substr(sideOf(id));
}

bool ComparedMachineBuilder::wants(std::string_view className) const {
  const auto& classes = elementClasses();
  return className == kUnlisted ||
         std::find(classes.begin(), classes.end(), className) != classes.end();
}

void ComparedMachineBuilder::instance(const cimom::Instance& instance) {
  const auto& classes = elementClasses();
  if (className_ == classes[3]) {
    addPort(instance);
  } else if (className_ == classes[4]) {
    addGroup(instance);
  } else {
    addFunction(instance);
  }
}

void ComparedMachineBuilder::addFunction(const cimom::Instance& instance) {
  ComparedFunction function;
  function.id = textOf(instance, "DeviceID");
  function.address = parseAddress(function.id);
  function.parent = textOf(instance, "ParentDeviceID");
  function.className = instance.path.className;
  function.name = plainName(textOf(instance, "ElementName"), textOf(instance, "DeviceNumber"));
  function.identity = identityOf(instance);
  function.secondaryBus = smallNumberOf(instance, "SecondaryBusNumber");
  function.slot = smallNumberOf(instance, "PhysicalSlot");
  function.isListed = className_ != kUnlisted;
  function.properties = propertiesOf(instance, kFunctionMembers);
  machine_.functions.push_back(std::move(function));
}

void ComparedMachineBuilder::addPort(const cimom::Instance& instance) {
  machine_.ports.push_back({textOf(instance, "DeviceID"), textOf(instance, "ElementName"),
                            textOf(instance, "ControllerDeviceID"),
                            propertiesOf(instance, kPortMembers)});
}

void ComparedMachineBuilder::addGroup(const cimom::Instance& instance) {
  machine_.groups.push_back({textOf(instance, "InstanceID"), smallNumberOf(instance, "BusNumber")});
}

ComparedMachine ComparedMachineBuilder::take() {
  return std::exchange(machine_, ComparedMachine());
}

}  // namespace pcicim
