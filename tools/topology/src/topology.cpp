// Builds a tree of functions from their addresses and the addresses of their parents, and prints
// it. The functions are sorted by address first, so that indices are in the order of printing. The
// input is not trusted: parents may be missing or form a circle, and addresses may be unreadable.
// Each function is printed exactly once all the same; `printed_` holds which were. A printer is for
// one thread and one call, and nothing is shared between calls.
#include <model/visible_text.h>
#include <topology/topology.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <map>
#include <numeric>
#include <ostream>
#include <span>
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

/// Of what the terminal shows; all are ended by kPlain.
constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kDim = "\x1b[2m";
constexpr std::string_view kCyan = "\x1b[36m";
constexpr std::string_view kPlain = "\x1b[0m";

/// Names come from a list that anyone can edit: nothing in them may reach the terminal as control.
void appendPrintable(std::string_view text, std::string& to) {
  to += cimom::visibleText(text);
}

/// Which functions are below which, all of them by their index.
class Branches {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  /// Indices of children, in order.
  using Range = std::span<const std::size_t>;

  explicit Branches(const std::vector<Function>& functions)
      : parents_(parentsOf(functions)), begins_(functions.size() + 1), children_(functions.size()) {
    for (const std::size_t parent : parents_) {
      if (parent != kNone) {
        ++begins_[parent + 1];
      }
    }
    std::partial_sum(begins_.begin(), begins_.end(), begins_.begin());
    std::vector<std::size_t> next = begins_;
    for (std::size_t i = 0; i < parents_.size(); ++i) {
      if (parents_[i] != kNone) {
        children_[next[parents_[i]]++] = i;
      }
    }
  }

  /// kNone where it has none, or one that is not there.
  std::size_t parent(std::size_t index) const { return parents_[index]; }
  Range children(std::size_t index) const {
    return Range(children_).subspan(begins_[index], begins_[index + 1] - begins_[index]);
  }

 private:
  /// Most functions name the same parent as the one before, and few are a parent.
  static std::vector<std::size_t> parentsOf(const std::vector<Function>& functions) {
    std::unordered_map<std::string_view, std::size_t> places;
    forEachNamed(functions, [&](std::size_t i) { places.try_emplace(functions[i].parent, kNone); });
    for (std::size_t i = functions.size(); i-- > 0;) {
      const auto found = places.find(functions[i].address);
      if (found != places.end()) {
        found->second = i;
      }
    }
    std::vector<std::size_t> parents(functions.size(), kNone);
    std::size_t latest = kNone;
    for (std::size_t i = 0; i < functions.size(); ++i) {
      const std::string& parent = functions[i].parent;
      if (i == 0 || parent != functions[i - 1].parent) {
        latest = parent.empty() ? kNone : places.at(parent);
      }
      parents[i] = latest;
    }
    return parents;
  }

  /// Visits one function, at least, for each parent that any of them names.
  template <class Visit>
  static void forEachNamed(const std::vector<Function>& functions, Visit visit) {
    for (std::size_t i = 0; i < functions.size(); ++i) {
      const std::string& parent = functions[i].parent;
      if (!parent.empty() && (i == 0 || parent != functions[i - 1].parent)) {
        visit(i);
      }
    }
  }

  std::vector<std::size_t> parents_;
  /// Where the children of each begin in children_; those of the next one end them.
  std::vector<std::size_t> begins_;
  std::vector<std::size_t> children_;
};

class TreePrinter {
 public:
  TreePrinter(std::vector<Function> functions, std::ostream& out, bool isColoured)
      : functions_(sorted(std::move(functions), addresses_)),
        out_(out),
        isColoured_(isColoured),
        branches_(functions_),
        printed_(functions_.size(), false) {}

  void print() {
    printRootBuses();
    printMisplaced();
    flush();
  }

 private:
  static constexpr std::size_t kNone = Branches::kNone;
  /// Enough that writing costs little.
  static constexpr std::size_t kMostKept = 16384;

  void printRootBuses() {
    // In the order of addresses, a bus's functions are in one place.
    std::vector<std::size_t> roots;
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      if (!addresses_[i] || !functions_[i].parent.empty()) {
        continue;
      }
      if (!roots.empty() && !isOnBusOf(roots.back(), i)) {
        printBus(roots);
        roots.clear();
      }
      roots.push_back(i);
    }
    if (!roots.empty()) {
      printBus(roots);
    }
  }

  bool isOnBusOf(std::size_t left, std::size_t right) const {
    const Address& one = *addresses_[left];
    const Address& other = *addresses_[right];
    return one.segment == other.segment && one.bus == other.bus;
  }

  void printBus(const std::vector<std::size_t>& roots) {
    const Address& address = *addresses_[roots.front()];
    heading("Segment " + hex(address.segment, 4) + ", bus " + hex(address.bus, 2));
    printList(roots);
  }

  void printMisplaced() {
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      if (!printed_[i] && branches_.parent(i) == kNone) {
        starts.push_back(i);
      }
    }
    if (!starts.empty()) {
      heading("Not placed (no such parent, or no readable address)");
      printList(starts);
    }
    if (std::find(printed_.begin(), printed_.end(), false) != printed_.end()) {
      heading("Not placed (each behind the other, in a circle)");
      printCircles();
    }
  }

  void printCircles() {
    /// The climb that passed a function last; one mark for all climbs keeps them cheap.
    std::vector<std::size_t> passedFrom(functions_.size(), kNone);
    for (std::size_t i = 0; i < functions_.size(); ++i) {
      if (!printed_[i]) {
        printBranch(lowestInCircle(i, passedFrom), true);
      }
    }
  }

  void heading(std::string_view text) {
    paint(kBold, [&] { text_ += text; });
    text_ += '\n';
  }

  /// What `append` appends is shown in that manner, where colours are wanted.
  template <class Append>
  void paint(std::string_view manner, Append append) {
    const std::size_t start = text_.size();
    append();
    if (isColoured_ && text_.size() != start) {
      text_.insert(start, manner);
      text_ += kPlain;
    }
  }

  /// What is left once everything with a beginning is printed hangs off circles: climbing leads
  /// into one.
  std::size_t lowestInCircle(std::size_t start, std::vector<std::size_t>& passedFrom) const {
    std::size_t index = start;
    while (passedFrom[index] != start) {
      passedFrom[index] = start;
      index = branches_.parent(index);
    }
    std::size_t lowest = index;
    for (std::size_t i = branches_.parent(index); i != index; i = branches_.parent(i)) {
      lowest = std::min(lowest, i);
    }
    return lowest;
  }

  void printList(const std::vector<std::size_t>& list) {
    for (const std::size_t index : list) {
      printBranch(index, index == list.back());
    }
  }

  /// A function and all below it. Chains may be of any length, so this does not call itself.
  void printBranch(std::size_t start, bool isLast) {
    printLine(start, isLast);
    descend(start, isLast);
    while (!open_.empty()) {
      Branches::Range& left = open_.back();
      if (left.empty()) {
        open_.pop_back();
        indent_.resize(indent_.size() - kIndentWidth);
        continue;
      }
      const std::size_t index = left.front();
      left = unprinted(left.subspan(1));
      const bool isLastOfAll = left.empty();
      printLine(index, isLastOfAll);
      descend(index, isLastOfAll);
    }
  }

  void descend(std::size_t index, bool isLast) {
    indent_ += isLast ? "   " : "|  ";
    open_.push_back(unprinted(branches_.children(index)));
  }

  /// From the first on that is to be printed: a circle's first function is some other member's
  /// child again, and is not printed twice.
  Branches::Range unprinted(Branches::Range range) const {
    const auto first = std::find_if(range.begin(), range.end(),
                                    [this](std::size_t index) { return !printed_[index]; });
    return range.subspan(static_cast<std::size_t>(first - range.begin()));
  }

  void printLine(std::size_t index, bool isLast) {
    printed_[index] = true;
    const Function& function = functions_[index];
    text_ += indent_;
    text_ += isLast ? "`- " : "|- ";
    appendPrintable(function.address, text_);
    text_ += "  ";
    paint(kCyan, [&] { describe(index); });
    appendPrintable(function.name, text_);
    paint(kDim, [&] { remark(index); });
    text_ += '\n';
    if (text_.size() >= kMostKept) {
      flush();
    }
  }

  void flush() {
    out_.write(text_.data(), static_cast<std::streamsize>(text_.size()));
    text_.clear();
  }

  void describe(std::size_t index) {
    const Function& function = functions_[index];
    switch (function.kind) {
      case Function::Kind::kDevice:
        return;
      case Function::Kind::kSwitch:
        text_ += "[switch, " + std::to_string(function.ports);
        text_ += function.ports == 1 ? " port] " : " ports] ";
        return;
      case Function::Kind::kSwitchPort:
        text_ += "[port";
        break;
      case Function::Kind::kBridge:
        text_ += "[bridge";
        break;
    }
    busBehind(index);
    text_ += "] ";
  }

  /// A switch's port does not publish its secondary bus: it is the bus of what is behind it.
  void busBehind(std::size_t index) {
    const Function& function = functions_[index];
    if (function.secondaryBus && function.leadsToBus) {
      text_ +=
          *function.secondaryBus == 0 ? ", no bus" : " to bus " + hex(*function.secondaryBus, 2);
      return;
    }
    const Branches::Range below = branches_.children(index);
    if (function.kind == Function::Kind::kSwitchPort && !below.empty()) {
      const auto& child = addresses_[below.front()];
      text_ += child ? " to bus " + hex(child->bus, 2) : "";
    }
  }

  void remark(std::size_t index) {
    const Function& function = functions_[index];
    if (function.physicalSlot) {
      text_ += ", slot " + std::to_string(*function.physicalSlot);
    }
    const bool hasRoom = function.kind == Function::Kind::kSwitchPort || function.leadsToBus;
    if (hasRoom && branches_.children(index).empty()) {
      text_ += " (empty)";
    }
    if (!function.parent.empty() && !isPrinted(branches_.parent(index))) {
      text_ += " (parent ";
      appendPrintable(function.parent, text_);
      text_ += ')';
    }
  }

  bool isPrinted(std::size_t index) const { return index != kNone && printed_[index]; }

  static constexpr std::size_t kIndentWidth = 3;

  /// Of each function, in the same order; nothing where it cannot be read.
  std::vector<std::optional<Address>> addresses_;
  std::vector<Function> functions_;
  std::ostream& out_;
  bool isColoured_;
  Branches branches_;
  std::vector<bool> printed_;
  /// What of the branches on the way to the latest line is still to be printed, and what stands
  /// before their lines.
  std::vector<Branches::Range> open_;
  std::string indent_;
  /// Lines that are not written yet.
  std::string text_;
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

void printTree(std::vector<Function> functions, std::ostream& out, bool isColoured) {
  TreePrinter(std::move(functions), out, isColoured).print();
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
