// Builds a tree of functions from their addresses and the addresses of their parents, and prints
// it. The functions are sorted by address first, so that indices are in the order of printing. The
// input is not trusted: parents may be missing or form a circle, and addresses may be unreadable.
// Each function is printed exactly once all the same; `printed_` holds which were. A printer is for
// one thread and one call, and nothing is shared between calls.
#include <topology/topology.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <map>
#include <ostream>
#include <unordered_map>
#include <utility>

namespace pcicim {
namespace {

template <typename Number>
bool readHex(std::string_view text, Number& number, std::size_t maxDigits) {
  if (text.empty() || text.size() > maxDigits) {
    return false;
  }
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, 16);
  return error == std::errc() && stop == end;
}

/// Cuts the text behind the last `separator` off and hands it out; false without a separator.
bool cutLast(std::string_view& text, char separator, std::string_view& last) {
  const std::size_t at = text.rfind(separator);
  if (at == std::string_view::npos) {
    return false;
  }
  last = text.substr(at + 1);
  text = text.substr(0, at);
  return true;
}

/// Lower-case hex digits, with zeros in front up to the width.
std::string hex(std::uint64_t number, std::size_t width) {
  char text[2 * sizeof number];
  const char* end = std::to_chars(text, text + sizeof text, number, 16).ptr;
  const auto length = static_cast<std::size_t>(end - text);
  std::string padded(std::max(length, width), '0');
  padded.replace(padded.size() - length, length, text, length);
  return padded;
}

/// The functions in the order of their addresses, those with unreadable ones behind all others.
std::vector<Function> sorted(std::vector<Function> functions,
                             std::vector<std::optional<Address>>& addresses) {
  using Place = std::pair<std::optional<Address>, std::size_t>;
  std::vector<Place> places;
  places.reserve(functions.size());
  for (const Function& function : functions) {
    places.emplace_back(parseAddress(function.address), places.size());
  }
  std::stable_sort(places.begin(), places.end(), [](const Place& left, const Place& right) {
    if (left.first && right.first) {
      return *left.first < *right.first;
    }
    return left.first.has_value() && !right.first.has_value();
  });
  std::vector<Function> result;
  result.reserve(functions.size());
  for (const auto& [address, index] : places) {
    addresses.push_back(address);
    result.push_back(std::move(functions[index]));
  }
  return result;
}

/// Names come from a list that anyone can edit: nothing in them may reach the terminal as control.
std::string printable(std::string_view text) {
  std::string result(text);
  std::replace_if(
      result.begin(), result.end(),
      [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
  return result;
}

class TreePrinter {
 public:
  TreePrinter(std::vector<Function> functions, std::ostream& out)
      : functions_(sorted(std::move(functions), addresses_)), out_(out) {
    std::unordered_map<std::string_view, std::size_t> byAddress;
    byAddress.reserve(functions_.size());
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      byAddress.try_emplace(functions_[i].address, i);
    }
    children_.resize(functions_.size());
    parents_.resize(functions_.size());
    printed_.resize(functions_.size(), false);
    passedFrom_.resize(functions_.size(), functions_.size());
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      const auto found = byAddress.find(functions_[i].parent);
      if (!functions_[i].parent.empty() && found != byAddress.end()) {
        parents_[i] = found->second;
        children_[found->second].push_back(i);
      }
    }
  }

  void print() {
    printRootBuses();
    printMisplaced();
  }

 private:
  std::optional<std::size_t> parentOf(std::size_t index) const { return parents_[index]; }

  void printRootBuses() {
    std::map<std::pair<std::uint64_t, unsigned>, std::vector<std::size_t>> buses;
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      const auto& address = addresses_[i];
      if (address && functions_[i].parent.empty()) {
        buses[{address->segment, address->bus}].push_back(i);
      }
    }
    for (const auto& [bus, roots] : buses) {
      out_ << "Segment " << hex(bus.first, 4) << ", bus " << hex(bus.second, 2) << '\n';
      printList(roots, "");
    }
  }

  void printMisplaced() {
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      if (!printed_[i] && !parentOf(i)) {
        starts.push_back(i);
      }
    }
    if (!starts.empty()) {
      heading("Not placed (no such parent, or no readable address)");
      printList(starts, "");
    }
    if (std::find(printed_.begin(), printed_.end(), false) == printed_.end()) {
      return;
    }
    heading("Not placed (each behind the other, in a circle)");
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      if (!printed_[i]) {
        printList({lowestInCircle(i)}, "");
      }
    }
  }

  void heading(std::string_view text) { out_ << text << '\n'; }

  /// What is left once everything with a beginning is printed hangs off circles: climbing leads
  /// into one.
  std::size_t lowestInCircle(std::size_t start) {
    std::size_t index = start;
    while (passedFrom_[index] != start) {
      passedFrom_[index] = start;
      index = *parentOf(index);
    }
    std::size_t lowest = index;
    for (std::size_t i = *parentOf(index); i != index; i = *parentOf(i)) {
      lowest = std::min(lowest, i);
    }
    return lowest;
  }

  void printList(const std::vector<std::size_t>& list, const std::string& indent) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      const bool last = i + 1 == list.size();
      printFunction(list[i], indent, last);
    }
  }

  void printFunction(std::size_t index, const std::string& indent, bool last) {
    printed_[index] = true;
    const Function& function = functions_[index];
    const std::vector<std::size_t> below = unprintedChildren(index);
    out_ << indent << (last ? "`- " : "|- ") << printable(function.address) << "  "
         << describe(index) << printable(function.name) << remarks(index) << '\n';
    printList(below, indent + (last ? "   " : "|  "));
  }

  /// A circle's first function is some other member's child again: it is not printed twice.
  std::vector<std::size_t> unprintedChildren(std::size_t index) const {
    std::vector<std::size_t> result;
    std::copy_if(children_[index].begin(), children_[index].end(), std::back_inserter(result),
                 [this](std::size_t child) { return !printed_[child]; });
    return result;
  }

  std::string describe(std::size_t index) const {
    const Function& function = functions_[index];
    switch (function.kind) {
      case Function::Kind::kDevice:
        return "";
      case Function::Kind::kSwitch:
        return "[switch, " + std::to_string(function.ports) +
               (function.ports == 1 ? " port] " : " ports] ");
      case Function::Kind::kSwitchPort:
        return "[port" + busBehind(index) + "] ";
      case Function::Kind::kBridge:
        return "[bridge" + busBehind(index) + "] ";
    }
    return "";
  }

  /// A switch's port does not publish its secondary bus: it is the bus of what is behind it.
  std::string busBehind(std::size_t index) const {
    const Function& function = functions_[index];
    if (function.secondaryBus && function.leadsToBus) {
      return *function.secondaryBus == 0 ? ", no bus" : " to bus " + hex(*function.secondaryBus, 2);
    }
    if (function.kind == Function::Kind::kSwitchPort && !children_[index].empty()) {
      const auto& child = addresses_[children_[index].front()];
      return child ? " to bus " + hex(child->bus, 2) : "";
    }
    return "";
  }

  std::string remarks(std::size_t index) const {
    const Function& function = functions_[index];
    std::string text;
    if (function.physicalSlot) {
      text += ", slot " + std::to_string(*function.physicalSlot);
    }
    const bool hasRoom = function.kind == Function::Kind::kSwitchPort || function.leadsToBus;
    if (hasRoom && children_[index].empty()) {
      text += " (empty)";
    }
    const bool unknownParent = !function.parent.empty() && !parentOf(index);
    if (unknownParent || (!function.parent.empty() && printed_[*parentOf(index)] == false)) {
      text += " (parent " + printable(function.parent) + ")";
    }
    return text;
  }

  /// Of each function, in the same order; nothing where it cannot be read.
  std::vector<std::optional<Address>> addresses_;
  std::vector<Function> functions_;
  std::ostream& out_;
  /// Indices; nothing where the parent is not there.
  std::vector<std::optional<std::size_t>> parents_;
  std::vector<std::vector<std::size_t>> children_;
  std::vector<bool> printed_;
  /// The climb that passed a function last; one mark for all climbs keeps them cheap.
  std::vector<std::size_t> passedFrom_;
};

/// "host bridges" when each of them is one; the common name of all otherwise.
std::string commonName(const std::vector<const Function*>& functions) {
  const auto all = [&functions](auto test) {
    return std::all_of(functions.begin(), functions.end(), test);
  };
  std::string name = "function";
  if (all([](const Function* function) { return function->isHostBridge; })) {
    name = "host bridge";
  } else if (all([](const Function* f) { return f->kind == Function::Kind::kBridge; })) {
    name = "bridge";
  }
  return functions.size() == 1 ? name : name + 's';
}

}  // namespace

std::optional<Address> parseAddress(std::string_view text) {
  Address address;
  std::string_view function;
  std::string_view device;
  std::string_view bus;
  if (!cutLast(text, '.', function) || !cutLast(text, ':', device)) {
    return std::nullopt;
  }
  const bool hasSegment = cutLast(text, ':', bus);
  if (!hasSegment) {
    bus = text;
  }
  if ((hasSegment && !readHex(text, address.segment, 16)) || !readHex(bus, address.bus, 2) ||
      !readHex(device, address.device, 2) || !readHex(function, address.function, 1)) {
    return std::nullopt;
  }
  return address;
}

std::string addressText(const Address& address) {
  std::string text = hex(address.segment, 4);
  text += {':', hexDigit(address.bus / 16 % 16),    hexDigit(address.bus % 16),
           ':', hexDigit(address.device / 16 % 16), hexDigit(address.device % 16),
           '.', hexDigit(address.function % 16)};
  return text;
}

void printTree(std::vector<Function> functions, std::ostream& out) {
  TreePrinter(std::move(functions), out).print();
}

void printLeftOut(const std::vector<Function>& functions, std::ostream& out) {
  std::map<std::pair<std::uint64_t, unsigned>, std::vector<const Function*>> buses;
  for (const Function& function : functions) {
    if (const auto address = parseAddress(function.address)) {
      buses[{address->segment, address->bus}].push_back(&function);
    }
  }
  for (const auto& [bus, there] : buses) {
    out << there.size() << ' ' << commonName(there) << " alone on bus "
        << (bus.first == 0 ? "" : hex(bus.first, 4) + ':') << hex(bus.second, 2)
        << (there.size() == 1 ? " is" : " are") << " not shown.\n";
  }
}

}  // namespace pcicim
