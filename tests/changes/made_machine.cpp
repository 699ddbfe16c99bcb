#include "made_machine.h"

#include <changes/value_json.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <topology/topology.h>

namespace changetest {
namespace {

using cimom::CimType;
using cimom::NamedValue;
using cimom::Value;

std::string classOf(const MadeFunction& function) {
  return "Zelmar_PCI" + (function.kind == "Port" ? "Device" : function.kind);
}

bool isBridge(const MadeFunction& function) {
  return function.kind != "Device";
}

Value number(std::uint64_t value) {
  return Value::number(CimType::kUint16, value);
}

std::vector<NamedValue> keysOf(const std::string& className, const std::string& id) {
  return {{"SystemCreationClassName", Value::text("OMC_UnitaryComputerSystem")},
          {"SystemName", Value::text("made")},
          {"CreationClassName", Value::text(className)},
          {"DeviceID", Value::text(id)}};
}

cimom::Instance instanceOf(const std::string& className, std::vector<NamedValue> keys,
                           std::vector<NamedValue> properties) {
  cimom::Instance instance;
  instance.path.className = className;
  instance.path.nameSpace = "root/cimv2";
  instance.path.keys = keys;
  instance.properties = std::move(keys);
  std::move(properties.begin(), properties.end(), std::back_inserter(instance.properties));
  return instance;
}

Value capabilitiesOf(const MadeFunction& function) {
  Value value = Value::null(CimType::kUint16, true);
  value.isNull = false;
  for (const unsigned one : function.capabilities) {
    value.elements.emplace_back(std::uint64_t{one});
  }
  return value;
}

cimom::Instance toInstance(const MadeFunction& function) {
  const auto address = pcicim::parseAddress(function.id).value_or(pcicim::Address());
  std::vector<NamedValue> properties{
      {"BusNumber", number(address.bus)},
      {"DeviceNumber", number(address.device)},
      {"FunctionNumber", number(address.function)},
      {"ElementName", Value::text(function.name + " #" + std::to_string(address.device))},
      {"Capabilities", capabilitiesOf(function)},
      {"ClassCode", number(isBridge(function) ? 6 : 2)},
      {"SubClassCode", number(isBridge(function) ? 4 : 0)},
      {"SubsystemID", number(function.subsystem)},
      {"SubsystemVendorID", number(0x8086)},
      {"PCIDeviceID", number(function.device)},
      {"VendorID", number(0x8086)},
      {"RevisionID", number(function.revision)},
      {"SegmentNumber", number(address.segment)},
      {"ParentDeviceID", Value::text(function.parent)}};
  if (function.slot != 0) {
    properties.push_back({"PhysicalSlot", number(function.slot)});
  }
  if (function.kind == "Bridge") {
    properties.push_back({"SecondaryBusNumber", number(function.secondaryBus)});
  }
  return instanceOf(classOf(function), keysOf(classOf(function), function.id), properties);
}

/// The sides of the ports that a function has.
std::vector<std::string> sidesOf(const MadeFunction& function) {
  if (function.kind == "Bridge") {
    return {"-pri", "-sec"};
  }
  return {function.kind == "eSwitch" ? "-up" : "-ep"};
}

cimom::Instance portOf(const MadeFunction& function, const std::string& side) {
  const std::string controller = function.kind == "Port" ? function.parent : function.id;
  return instanceOf("Zelmar_PCIPort", keysOf("Zelmar_PCIPort", function.id + side),
                    {{"ElementName", Value::text(function.name)},
                     {"ControllerDeviceID", Value::text(controller)},
                     {"PortType", number(152)},
                     {"RevisionID", number(function.revision)}});
}

std::set<unsigned> busesOf(const std::vector<MadeFunction>& functions) {
  std::set<unsigned> buses;
  for (const MadeFunction& function : functions) {
    if (const auto address = pcicim::parseAddress(function.id)) {
      buses.insert(address->bus);
    }
    if (function.secondaryBus != 0) {
      buses.insert(function.secondaryBus);
    }
  }
  return buses;
}

class FewWords : public pcicim::ValueWriter {
 public:
  std::string text(const std::string&, const cimom::NamedValue& property) override {
    const std::string json = pcicim::onOneLine(pcicim::toJson(property.value));
    return property.name == "Capabilities" && json == "13" ? json + " (Supports PCIe)" : json;
  }
};

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string movedTo(const std::string& id, const std::map<unsigned, unsigned>& buses) {
  auto address = pcicim::parseAddress(id);
  if (!address || buses.count(address->bus) == 0) {
    return id;
  }
  address->bus = buses.at(address->bus);
  return pcicim::addressText(*address);
}

}  // namespace

MadeFunction endpoint(const std::string& id, const std::string& parent) {
  MadeFunction function;
  function.id = id;
  function.parent = parent;
  function.name = "Card";
  return function;
}

MadeFunction bridge(const std::string& id, unsigned secondaryBus, const std::string& parent) {
  MadeFunction function = endpoint(id, parent);
  function.kind = "Bridge";
  function.device = 0x2000;
  function.secondaryBus = secondaryBus;
  function.name = "Bridge";
  return function;
}

MadeFunction upstream(const std::string& id, const std::string& parent) {
  MadeFunction function = endpoint(id, parent);
  function.kind = "eSwitch";
  function.device = 0x3000;
  function.name = "Switch";
  return function;
}

MadeFunction downstream(const std::string& id, const std::string& parent) {
  MadeFunction function = endpoint(id, parent);
  function.kind = "Port";
  function.device = 0x3001;
  function.name = "Downstream";
  return function;
}

MadeHost& MadeHost::remove(const std::string& id) {
  functions_.erase(std::find_if(functions_.begin(), functions_.end(),
                                [&id](const MadeFunction& one) { return one.id == id; }));
  return *this;
}

MadeFunction& MadeHost::at(const std::string& id) {
  const auto found = std::find_if(functions_.begin(), functions_.end(),
                                  [&id](const MadeFunction& one) { return one.id == id; });
  if (found == functions_.end()) {
    throw std::logic_error("no function " + id);
  }
  return *found;
}

MadeHost& MadeHost::renumber(const std::map<unsigned, unsigned>& buses) {
  for (MadeFunction& function : functions_) {
    function.id = movedTo(function.id, buses);
    function.parent = movedTo(function.parent, buses);
    const auto bus = buses.find(function.secondaryBus);
    function.secondaryBus = bus == buses.end() ? function.secondaryBus : bus->second;
  }
  return *this;
}

std::vector<cimom::Instance> MadeHost::instances(const std::string& className) const {
  std::vector<cimom::Instance> result;
  if (className == "Zelmar_PCIPortGroup") {
    for (const unsigned bus : busesOf(functions_)) {
      const std::string id = "Zelmar:bus-" + std::to_string(bus);
      result.push_back(
          instanceOf(className, {{"InstanceID", Value::text(id)}}, {{"BusNumber", number(bus)}}));
    }
    return result;
  }
  for (const MadeFunction& function : functions_) {
    if (className == "Zelmar_PCIPort") {
      for (const std::string& side : sidesOf(function)) {
        result.push_back(portOf(function, side));
      }
    } else if (function.kind == "Port" ? className == pcicim::kUnlisted
                                       : className == classOf(function)) {
      result.push_back(toInstance(function));
    }
  }
  return result;
}

pcicim::ComparedMachine MadeHost::machine() const {
  pcicim::ComparedMachineBuilder builder;
  std::vector<std::string> classes = pcicim::elementClasses();
  classes.emplace_back(pcicim::kUnlisted);
  for (const std::string& className : classes) {
    builder.beginClass(className);
    for (const cimom::Instance& instance : instances(className)) {
      builder.instance(instance);
    }
  }
  return builder.take();
}

std::vector<std::string> told(const pcicim::ComparedMachine& before,
                              const pcicim::ComparedMachine& after) {
  std::ostringstream out;
  FewWords words;
  pcicim::printChanges(pcicim::compare(before, after), words, out);
  return linesOf(out.str());
}

std::vector<std::string> told(const MadeHost& before, const MadeHost& after) {
  return told(before.machine(), after.machine());
}

}  // namespace changetest
