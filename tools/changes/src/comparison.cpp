#include <changes/comparison.h>

#include <changes/value_json.h>
#include <model/names.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>
#include <unordered_map>

#include "bus_map.h"
#include "function_tree.h"
#include "matching.h"

namespace pcicim {
namespace {

constexpr std::string_view kPortCount = "NumberOfPorts";
constexpr std::string_view kSlot = "PhysicalSlot";
constexpr std::string_view kSecondaryBus = "SecondaryBusNumber";
constexpr std::string_view kParent = "ParentDeviceID";
constexpr std::string_view kController = "ControllerDeviceID";
constexpr std::string_view kClass = "CreationClassName";

using Kind = Change::Kind;
using List = std::vector<std::size_t>;
using Text = std::optional<std::string>;

/// The ports of each function, in the order of their sides; those of unknown functions apart.
class PortTable {
 public:
  PortTable(const ComparedMachine& machine, const FunctionTree& tree) : machine_(machine) {
    for (std::size_t i = 0; i < machine.ports.size(); ++i) {
      const std::size_t function = tree.find(machine.ports[i].functionId());
      (function == kNone ? homeless_ : byFunction_[function]).push_back(i);
    }
    for (auto& [function, ports] : byFunction_) {
      sortBy(ports, [this](std::size_t port) { return machine_.ports[port].side(); });
    }
    sortBy(homeless_,
           [this](std::size_t port) { return std::string_view(machine_.ports[port].id); });
  }

  const ComparedPort& port(std::size_t index) const { return machine_.ports[index]; }
  const List& homeless() const { return homeless_; }
  const List& of(std::size_t function) const {
    static const List kNoPorts;
    const auto found = byFunction_.find(function);
    return found == byFunction_.end() ? kNoPorts : found->second;
  }

 private:
  template <typename TextOf>
  static void sortBy(List& ports, const TextOf& textOf) {
    std::stable_sort(ports.begin(), ports.end(), [&textOf](std::size_t left, std::size_t right) {
      return textOf(left) < textOf(right);
    });
  }

  const ComparedMachine& machine_;
  std::unordered_map<std::size_t, List> byFunction_;
  List homeless_;
};

Text jsonText(const std::string& text) {
  return onOneLine(Json(text));
}

Text numberText(const std::optional<unsigned>& number) {
  return number ? Text(std::to_string(*number)) : std::nullopt;
}

class Comparison {
 public:
  Comparison(const ComparedMachine& before, const ComparedMachine& after)
      : machine_(before),
        otherMachine_(after),
        before_(before),
        after_(after),
        matching_(match(before_, after_)),
        buses_(before_, after_, matching_),
        ports_(before, before_),
        otherPorts_(after, after_),
        lineOf_(before_.size(), kNone),
        otherLineOf_(after_.size(), kNone) {}

  std::vector<Change> run() {
    tellMovedFromTheirBus();
    changes_ = buses_.renumbered();
    addMoved();
    addGone();
    addNew();
    addEmptied();
    addOccupied();
    for (const std::size_t index : before_.topDown()) {
      if (matching_.after[index] != kNone) {
        compareFunctions(index, matching_.after[index]);
      }
    }
    compareHomeless();
    compareGroups();
    return std::move(changes_);
  }

 private:
  /// Every other address has to be told: a function that is not where its bus went has moved.
  void tellMovedFromTheirBus() {
    for (std::size_t index = 0; index < before_.size(); ++index) {
      if (matching_.links[index] != Link::kSamePlace) {
        continue;
      }
      const ComparedFunction& from = before_.function(index);
      const ComparedFunction& to = after_.function(matching_.after[index]);
      if (addressAfter(from) != to.address) {
        matching_.links[index] = Link::kMoved;
      }
    }
  }

  /// The address that the function has when nothing but its bus's number changed.
  std::optional<Address> addressAfter(const ComparedFunction& function) const {
    if (!function.address) {
      return std::nullopt;
    }
    Address address = *function.address;
    if (const auto bus = buses_.find({address.segment, address.bus})) {
      address.segment = bus->first;
      address.bus = bus->second;
    }
    return address;
  }

  const std::string& idBefore(std::size_t index) const {
    return index == kNone ? kNothing : before_.function(index).id;
  }
  const std::string& idAfter(std::size_t index) const {
    return index == kNone ? kNothing : after_.function(index).id;
  }

  static std::string namesOf(const FunctionTree& tree, const List& functions) {
    std::vector<std::string_view> names;
    std::string text;
    for (const std::size_t index : functions) {
      const std::string& name = tree.function(index).name;
      if (std::find(names.begin(), names.end(), name) == names.end()) {
        names.push_back(name);
        text += (text.empty() ? "" : ", ") + name;
      }
    }
    return text;
  }

  void addMoved() {
    for (const FunctionTree::Card& card : before_.cards()) {
      std::map<std::size_t, List> parts;
      for (const std::size_t index : card) {
        if (matching_.links[index] == Link::kMoved) {
          parts[after_.cardOf(matching_.after[index])].push_back(index);
        }
      }
      for (const auto& [target, functions] : parts) {
        addMovedPart(functions);
      }
    }
    // What came along is behind what moved.
    for (const std::size_t index : before_.topDown()) {
      if (matching_.links[index] == Link::kCarried) {
        const std::size_t line = lineOf_[before_.parent(index)];
        lineOf_[index] = line;
        otherLineOf_[matching_.after[index]] = line;
        if (line != kNone) {
          changes_[line].behind.emplace_back(idBefore(index), idAfter(matching_.after[index]));
        }
      }
    }
  }

  void addMovedPart(const List& functions) {
    const std::size_t first = functions.front();
    const std::size_t other = matching_.after[first];
    Change change;
    change.kind = Kind::kMoved;
    change.address = idBefore(first);
    change.newAddress = idAfter(other);
    change.name = namesOf(before_, functions);
    change.parent = idBefore(before_.parent(first));
    change.newParent = idAfter(after_.parent(other));
    change.slot = before_.function(first).slot;
    change.newSlot = after_.function(other).slot;
    for (const std::size_t index : functions) {
      change.functions.emplace_back(idBefore(index), idAfter(matching_.after[index]));
      lineOf_[index] = changes_.size();
      otherLineOf_[matching_.after[index]] = changes_.size();
    }
    changes_.push_back(std::move(change));
  }

  void addGone() { addOneSided(before_, matching_.after, lineOf_, Kind::kGone); }

  void addNew() { addOneSided(after_, matching_.before, otherLineOf_, Kind::kNew); }

  /// Bridges and ports behind others that are gone are told with them, since they are parts of one
  /// card or follow from it; what else was behind is told by itself.
  void addOneSided(const FunctionTree& tree, const List& partners, List& lineOf, Kind kind) {
    for (const FunctionTree::Card& card : tree.cards()) {
      List functions;
      std::copy_if(card.begin(), card.end(), std::back_inserter(functions),
                   [&partners](std::size_t index) { return partners[index] == kNone; });
      if (functions.empty()) {
        continue;
      }
      const std::size_t parent = tree.parent(functions.front());
      const bool isBehind = parent != kNone && partners[parent] == kNone;
      const bool areBridges = std::all_of(
          functions.begin(), functions.end(),
          [&tree](std::size_t index) { return tree.function(index).identity.isBridge(); });
      const std::size_t line = isBehind && areBridges ? lineOf[parent] : changes_.size();
      for (const std::size_t index : functions) {
        lineOf[index] = line;
      }
      if (line == changes_.size()) {
        changes_.push_back(oneSided(tree, functions, kind));
      } else {
        addPairs(changes_[line].behind, tree, functions, kind);
      }
    }
  }

  static void addPairs(std::vector<Change::Pair>& pairs, const FunctionTree& tree,
                       const List& functions, Kind kind) {
    for (const std::size_t index : functions) {
      const std::string& id = tree.function(index).id;
      pairs.push_back(kind == Kind::kGone ? Change::Pair(id, "") : Change::Pair("", id));
    }
  }

  static Change oneSided(const FunctionTree& tree, const List& functions, Kind kind) {
    const std::size_t first = functions.front();
    const std::string parent =
        tree.parent(first) == kNone ? "" : tree.function(tree.parent(first)).id;
    Change change;
    change.kind = kind;
    change.name = namesOf(tree, functions);
    (kind == Kind::kGone ? change.address : change.newAddress) = tree.function(first).id;
    (kind == Kind::kGone ? change.parent : change.newParent) = parent;
    (kind == Kind::kGone ? change.slot : change.newSlot) = tree.function(first).slot;
    addPairs(change.functions, tree, functions, kind);
    return change;
  }

  /// Said with the first card that is no longer behind the port.
  void addEmptied() {
    for (const std::size_t index : before_.topDown()) {
      const std::size_t other = matching_.after[index];
      if (other != kNone && !before_.children(index).empty() && after_.children(other).empty()) {
        sayAtFirst(before_.children(index), lineOf_, idAfter(other), &Change::emptied);
      }
    }
  }

  void addOccupied() {
    for (const std::size_t other : after_.topDown()) {
      const std::size_t index = matching_.before[other];
      if (index != kNone && before_.children(index).empty() && !after_.children(other).empty()) {
        sayAtFirst(after_.children(other), otherLineOf_, idAfter(other), &Change::occupied);
      }
    }
  }

  void sayAtFirst(const List& functions, const List& lineOf, const std::string& port,
                  std::string Change::*member) {
    const auto found = std::find_if(functions.begin(), functions.end(),
                                    [&](std::size_t index) { return lineOf[index] != kNone; });
    if (found != functions.end()) {
      changes_[lineOf[*found]].*member = port;
    }
  }

  Change changeOf(std::size_t index, std::size_t other, Kind kind) const {
    Change change;
    change.kind = kind;
    change.address = idBefore(index);
    change.newAddress = idAfter(other);
    change.name = after_.function(other).name;
    change.className = after_.function(other).className;
    return change;
  }

  void compareFunctions(std::size_t index, std::size_t other) {
    const ComparedFunction& from = before_.function(index);
    const ComparedFunction& to = after_.function(other);
    if (from.name != to.name) {
      Change change = changeOf(index, other, Kind::kRenamed);
      change.oldName = from.name;
      changes_.push_back(std::move(change));
    }
    const Change change = changeOf(index, other, Kind::kChanged);
    const bool isSameClass = cimom::sameName(from.className, to.className);
    if (!isSameClass) {
      addChanged(change, kClass, jsonText(from.className), jsonText(to.className));
    }
    if (matching_.links[index] != Link::kMoved) {
      addChanged(change, kSlot, numberText(from.slot), numberText(to.slot));
      compareParents(change, index, other);
    }
    // A bus that has another number is told as that.
    if ((from.secondaryBus.value_or(0) == 0) != (to.secondaryBus.value_or(0) == 0)) {
      addChanged(change, kSecondaryBus, numberText(from.secondaryBus), numberText(to.secondaryBus));
    }
    compareProperties(change, from.properties, to.properties,
                      [&](const std::string& name, const Text& value, const Text& newValue) {
                        return cimom::sameName(name, kPortCount) &&
                               value == std::to_string(before_.children(index).size()) &&
                               newValue == std::to_string(after_.children(other).size());
                      });
    comparePorts(index, other, isSameClass);
  }

  /// What leads to the two is the same; only a name that leads nowhere may differ.
  void compareParents(const Change& change, std::size_t index, std::size_t other) {
    const std::string& parent = before_.function(index).parent;
    const std::string& newParent = after_.function(other).parent;
    const bool areKnown = (parent.empty() || before_.parent(index) != kNone) &&
                          (newParent.empty() || after_.parent(other) != kNone);
    if (!areKnown || parent.empty() != newParent.empty()) {
      addChanged(change, kParent, jsonText(parent), jsonText(newParent));
    }
  }

  void addChanged(Change change, std::string_view property, const Text& value,
                  const Text& newValue) {
    if (value == newValue) {
      return;
    }
    change.property = property;
    change.value = value;
    change.newValue = newValue;
    changes_.push_back(std::move(change));
  }

  /// Walks both lists by name; `follows` says which differences follow from others.
  template <typename Follows>
  void compareProperties(const Change& change, const Properties& from, const Properties& to,
                         const Follows& follows) {
    auto left = from.begin();
    auto right = to.begin();
    const cimom::NameLess isLess;
    while (left != from.end() || right != to.end()) {
      const bool hasLeft =
          left != from.end() && (right == to.end() || !isLess(right->name, left->name));
      const bool hasRight =
          right != to.end() && (left == from.end() || !isLess(left->name, right->name));
      const std::string& name = hasLeft ? left->name : right->name;
      const Text value = hasLeft ? Text(left->value) : std::nullopt;
      const Text newValue = hasRight ? Text(right->value) : std::nullopt;
      if (value != newValue && !follows(name, value, newValue)) {
        addChanged(change, name, value, newValue);
      }
      left += hasLeft ? 1 : 0;
      right += hasRight ? 1 : 0;
    }
  }

  void comparePorts(std::size_t index, std::size_t other, bool isSameClass) {
    const List& from = ports_.of(index);
    const List& to = otherPorts_.of(other);
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < from.size() || j < to.size()) {
      const ComparedPort* port = i < from.size() ? &ports_.port(from[i]) : nullptr;
      const ComparedPort* newPort = j < to.size() ? &otherPorts_.port(to[j]) : nullptr;
      if (port != nullptr && newPort != nullptr && port->side() == newPort->side()) {
        comparePort(index, other, *port, *newPort);
        ++i;
        ++j;
      } else if (newPort == nullptr || (port != nullptr && port->side() < newPort->side())) {
        addPort(changeOf(index, other, Kind::kPortGone), *port, isSameClass);
        ++i;
      } else {
        addPort(changeOf(index, other, Kind::kPortNew), *newPort, isSameClass);
        ++j;
      }
    }
  }

  /// Another class has other ports: that follows.
  void addPort(Change change, const ComparedPort& port, bool isSameClass) {
    if (isSameClass) {
      change.port = port.id;
      change.name = port.name;
      changes_.push_back(std::move(change));
    }
  }

  void comparePort(std::size_t index, std::size_t other, const ComparedPort& port,
                   const ComparedPort& newPort) {
    const ComparedFunction& from = before_.function(index);
    const ComparedFunction& to = after_.function(other);
    Change change = changeOf(index, other, Kind::kChanged);
    change.port = newPort.id;
    change.className = elementClasses()[3];
    if (port.name != newPort.name && (port.name != from.name || newPort.name != to.name)) {
      addChanged(change, "ElementName", jsonText(port.name), jsonText(newPort.name));
    }
    if (!isSameController(port.controller, newPort.controller)) {
      addChanged(change, kController, jsonText(port.controller), jsonText(newPort.controller));
    }
    compareProperties(change, port.properties, newPort.properties,
                      [&](const std::string& name, const Text& value, const Text& newValue) {
                        return isOfFunction(from, name, value) && isOfFunction(to, name, newValue);
                      });
  }

  /// A port repeats some properties of its function.
  static bool isOfFunction(const ComparedFunction& function, std::string_view name,
                           const Text& value) {
    const std::string* own = findValue(function.properties, name);
    return own != nullptr && value == *own;
  }

  bool isSameController(const std::string& from, const std::string& to) const {
    const std::size_t index = before_.find(from);
    const std::size_t other = after_.find(to);
    return index == kNone || other == kNone ? from == to : matching_.after[index] == other;
  }

  /// Ports whose function is in no answer.
  void compareHomeless() {
    std::map<std::string, std::size_t> left;
    for (const std::size_t port : otherPorts_.homeless()) {
      left.emplace(otherPorts_.port(port).id, port);
    }
    for (const std::size_t port : ports_.homeless()) {
      const ComparedPort& from = ports_.port(port);
      const auto found = left.find(idAfterRenumbering(from));
      if (found != left.end()) {
        Change change;
        change.port = found->first;
        change.name = otherPorts_.port(found->second).name;
        change.className = elementClasses()[3];
        compareProperties(change, from.properties, otherPorts_.port(found->second).properties,
                          [](const std::string&, const Text&, const Text&) { return false; });
        left.erase(found);
      } else {
        addHomeless(from, Kind::kPortGone);
      }
    }
    for (const auto& [id, port] : left) {
      addHomeless(otherPorts_.port(port), Kind::kPortNew);
    }
  }

  std::string idAfterRenumbering(const ComparedPort& port) const {
    ComparedFunction function;
    function.address = parseAddress(port.functionId());
    const auto address = addressAfter(function);
    return address ? addressText(*address) + std::string(port.side()) : port.id;
  }

  void addHomeless(const ComparedPort& port, Kind kind) {
    Change change;
    change.kind = kind;
    change.port = port.id;
    change.name = port.name;
    changes_.push_back(std::move(change));
  }

  void compareGroups() {
    tellGroups(machine_, otherMachine_, busesTold(before_, lineOf_), Kind::kGroupGone);
    tellGroups(otherMachine_, machine_, busesTold(after_, otherLineOf_), Kind::kGroupNew);
  }

  /// The buses on which, or right behind which, something is told: their groups follow from that.
  static std::vector<bool> busesTold(const FunctionTree& tree, const List& lineOf) {
    std::vector<bool> told(kBuses, false);
    for (std::size_t index = 0; index < tree.size(); ++index) {
      if (lineOf[index] == kNone) {
        continue;
      }
      const ComparedFunction& function = tree.function(index);
      if (function.address) {
        told[function.address->bus % kBuses] = true;
      }
      if (const unsigned behind = function.secondaryBus.value_or(0); behind != 0) {
        told[behind % kBuses] = true;
      }
    }
    return told;
  }

  void tellGroups(const ComparedMachine& machine, const ComparedMachine& other,
                  const std::vector<bool>& told, Kind kind) {
    std::vector<bool> isThere(kBuses, false);
    for (const ComparedGroup& group : other.groups) {
      if (group.bus && *group.bus < kBuses) {
        isThere[*group.bus] = true;
      }
    }
    for (const ComparedGroup& group : machine.groups) {
      if (!group.bus || *group.bus >= kBuses || told[*group.bus]) {
        continue;
      }
      std::vector<unsigned> numbers = kind == Kind::kGroupGone ? buses_.numbersAfter(*group.bus)
                                                               : buses_.numbersBefore(*group.bus);
      if (numbers.empty()) {
        numbers.push_back(*group.bus);
      }
      const bool isFound = std::any_of(numbers.begin(), numbers.end(), [&](unsigned number) {
        return number < kBuses && isThere[number];
      });
      if (!isFound) {
        Change change;
        change.kind = kind;
        change.name = group.id;
        changes_.push_back(std::move(change));
      }
    }
  }

  static constexpr unsigned kBuses = 256;
  static const std::string kNothing;

  const ComparedMachine& machine_;
  const ComparedMachine& otherMachine_;
  FunctionTree before_;
  FunctionTree after_;
  Matching matching_;
  BusMap buses_;
  PortTable ports_;
  PortTable otherPorts_;
  std::vector<Change> changes_;
  /// In which change a function is told to be gone, new or moved; kNone where it is in none.
  List lineOf_;
  List otherLineOf_;
};

const std::string Comparison::kNothing;

}  // namespace

std::vector<Change> compare(const ComparedMachine& before, const ComparedMachine& after) {
  return Comparison(before, after).run();
}

}  // namespace pcicim
