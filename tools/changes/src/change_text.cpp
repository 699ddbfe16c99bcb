#include <changes/change_text.h>

#include <changes/value_json.h>
#include <model/visible_text.h>

#include <algorithm>
#include <ostream>
#include <utility>

namespace pcicim {
namespace {

using Kind = Change::Kind;
using cimom::visibleText;

std::string hex(std::uint64_t number, std::size_t width) {
  std::string text;
  for (; number != 0 || text.size() < width; number /= 16) {
    text.insert(text.begin(), hexDigit(static_cast<unsigned>(number % 16)));
  }
  return text;
}

/// The texts behind each other with the separator between them, empty ones left out.
std::string joined(const std::vector<std::string>& texts, std::string_view separator) {
  std::string all;
  for (const std::string& text : texts) {
    if (!text.empty()) {
      all += all.empty() ? text : std::string(separator) + text;
    }
  }
  return all;
}

std::string busText(const BusRange& range, bool withSegment) {
  std::string text = withSegment ? hex(range.segment, 4) + ':' : "";
  text += hex(range.first, 2);
  return range.first == range.last ? text : text + '-' + hex(range.last, 2);
}

std::string renumberedText(const Change& change) {
  if (change.isWholeSegment) {
    return "segment " + hex(change.buses.segment, 4) + " is now " + hex(change.newBuses.segment, 4);
  }
  const bool withSegment = change.buses.segment != 0 || change.newBuses.segment != 0;
  const bool isOne = change.buses.first == change.buses.last;
  return (isOne ? "bus " : "buses ") + busText(change.buses, withSegment) +
         (isOne ? " is now " : " are now ") + busText(change.newBuses, withSegment);
}

/// The first function with the numbers of the others, such as 0000:03:00.0-2,5.
std::string cardText(const std::vector<Change::Pair>& functions, std::string Change::Pair::*side) {
  std::string text = functions.front().*side;
  auto last = parseAddress(text);
  bool isInRun = false;
  for (std::size_t i = 1; i < functions.size(); ++i) {
    const auto next = parseAddress(functions[i].*side);
    if (!last || !next) {
      return text;
    }
    if (next->function == last->function + 1) {
      isInRun = true;
    } else {
      text += isInRun ? std::string("-") + hexDigit(last->function % 16) : "";
      text += std::string(",") + hexDigit(next->function % 16);
      isInRun = false;
    }
    last = next;
  }
  return isInRun ? text + '-' + hexDigit(last->function % 16) : text;
}

std::string slotText(const Change& change) {
  const auto number = [](const std::optional<unsigned>& slot) {
    return slot ? std::to_string(*slot) : std::string("none");
  };
  if (change.kind != Kind::kMoved) {
    const auto& slot = change.kind == Kind::kGone ? change.slot : change.newSlot;
    return slot ? "slot " + number(slot) : "";
  }
  return change.slot == change.newSlot
             ? ""
             : "slot " + number(change.newSlot) + ", was " + number(change.slot);
}

std::string placeText(const Change& change) {
  if (change.kind != Kind::kMoved || change.parent == change.newParent) {
    return "";
  }
  const auto place = [](const std::string& parent) {
    return parent.empty() ? std::string("on a root bus") : "behind " + visibleText(parent);
  };
  return place(change.newParent) + ", was " + place(change.parent);
}

std::string behindText(const Change& change) {
  if (change.behind.empty()) {
    return "";
  }
  const bool isOne = change.behind.size() == 1;
  const char* what = isOne ? " function" : " functions";
  if (change.kind != Kind::kMoved) {
    what = isOne ? " bridge or port" : " bridges and ports";
  }
  return "with " + std::to_string(change.behind.size()) + what + " behind it";
}

std::string details(const Change& change) {
  const std::string text =
      joined({slotText(change), placeText(change), behindText(change),
              change.emptied.empty() ? "" : visibleText(change.emptied) + " is now empty",
              change.occupied.empty() ? "" : visibleText(change.occupied) + " is no longer empty"},
             "; ");
  return text.empty() ? "" : " (" + text + ")";
}

/// What stands in brackets behind an address: the one before.
std::string newAddressText(const Change& change) {
  if (change.address == change.newAddress) {
    return visibleText(change.newAddress);
  }
  return visibleText(change.newAddress) + " (was " + visibleText(change.address) + ")";
}

class ValueText {
 public:
  ValueText(const Change& change, ValueWriter& values) : change_(change), values_(values) {}

  std::string text() const {
    const Json before = parsed(change_.value);
    const Json after = parsed(change_.newValue);
    if (before.is_array() && after.is_array()) {
      return joined({elements("+ ", after, before), elements("- ", before, after)}, ", ");
    }
    return explained(before) + " is now " + explained(after);
  }

 private:
  static Json parsed(const std::optional<std::string>& value) {
    return value ? Json::parse(*value, nullptr, false) : Json(nullptr);
  }

  /// Those that the other does not have as often.
  std::string elements(const char* sign, const Json& from, const Json& other) const {
    std::vector<Json> left(other.begin(), other.end());
    std::vector<std::string> texts;
    for (const Json& element : from) {
      const auto found = std::find(left.begin(), left.end(), element);
      if (found == left.end()) {
        texts.push_back(sign + explained(element));
      } else {
        left.erase(found);
      }
    }
    return joined(texts, ", ");
  }

  std::string explained(const Json& value) const {
    if (value.is_null()) {
      return "nothing";
    }
    return visibleText(value.is_array()
                           ? onOneLine(value)
                           : values_.text(change_.className, {change_.property, toValue(value)}));
  }

  const Change& change_;
  ValueWriter& values_;
};

std::string changedText(const Change& change, ValueWriter& values) {
  const std::string whose =
      change.port.empty() ? newAddressText(change) : "port " + visibleText(change.port);
  return "changed: " + whose + ' ' + visibleText(change.name) + ": " +
         visibleText(change.property) + ' ' + ValueText(change, values).text();
}

std::string lineOf(const Change& change, ValueWriter& values) {
  const std::string name = ' ' + visibleText(change.name);
  switch (change.kind) {
    case Kind::kRenumbered:
      return renumberedText(change);
    case Kind::kMoved:
      return "moved: " + visibleText(cardText(change.functions, &Change::Pair::first)) + name +
             " to " + visibleText(change.newAddress) + details(change);
    case Kind::kGone:
      return "gone: " + visibleText(cardText(change.functions, &Change::Pair::first)) + name +
             details(change);
    case Kind::kNew:
      return "new: " + visibleText(cardText(change.functions, &Change::Pair::second)) + name +
             details(change);
    case Kind::kRenamed:
      return "renamed: " + newAddressText(change) + ' ' + visibleText(change.oldName) + " is now" +
             name;
    case Kind::kChanged:
      return changedText(change, values);
    case Kind::kPortGone:
      return "port gone: " + visibleText(change.port) + name;
    case Kind::kPortNew:
      return "port new: " + visibleText(change.port) + name;
    case Kind::kGroupGone:
      return "port group gone:" + name;
    case Kind::kGroupNew:
      return "port group new:" + name;
  }
  return "";
}

const char* kindName(Kind kind) {
  switch (kind) {
    case Kind::kRenumbered:
      return "renumbered";
    case Kind::kMoved:
      return "moved";
    case Kind::kGone:
      return "gone";
    case Kind::kNew:
      return "new";
    case Kind::kRenamed:
      return "renamed";
    case Kind::kChanged:
      return "changed";
    case Kind::kPortGone:
      return "port-gone";
    case Kind::kPortNew:
      return "port-new";
    case Kind::kGroupGone:
      return "group-gone";
    case Kind::kGroupNew:
      return "group-new";
  }
  return "";
}

void addText(Json& object, const char* name, const std::string& text) {
  if (!text.empty()) {
    object[name] = text;
  }
}

void addPairs(Json& object, const char* name, const std::vector<Change::Pair>& pairs) {
  if (pairs.empty()) {
    return;
  }
  Json list = Json::array();
  for (const auto& [address, newAddress] : pairs) {
    Json pair = Json::object();
    addText(pair, "address", address);
    addText(pair, "newAddress", newAddress);
    list.push_back(std::move(pair));
  }
  object[name] = std::move(list);
}

void addRange(Json& object, const BusRange& range, const char* segment, const char* first,
              const char* last) {
  object[segment] = range.segment;
  object[first] = range.first;
  object[last] = range.last;
}

/// Of a card, where it was and is: an empty text is a root bus.
void addPlace(Json& object, const Change& change) {
  if (change.kind != Kind::kNew) {
    object["parent"] = change.parent;
    object["slot"] = change.slot ? Json(*change.slot) : Json(nullptr);
  }
  if (change.kind != Kind::kGone) {
    object["newParent"] = change.newParent;
    object["newSlot"] = change.newSlot ? Json(*change.newSlot) : Json(nullptr);
  }
}

void addValue(Json& object, const char* name, const std::optional<std::string>& value) {
  object[name] = value ? Json::parse(*value, nullptr, false) : Json(nullptr);
}

bool isOfCard(Kind kind) {
  return kind == Kind::kMoved || kind == Kind::kGone || kind == Kind::kNew;
}

Json toJson(const Change& change) {
  Json object = Json::object();
  object["change"] = kindName(change.kind);
  if (change.kind == Kind::kRenumbered) {
    addRange(object, change.buses, "segment", "firstBus", "lastBus");
    addRange(object, change.newBuses, "newSegment", "newFirstBus", "newLastBus");
    return object;
  }
  addText(object, "address", change.address);
  addText(object, "newAddress", change.newAddress);
  addText(object, "port", change.port);
  if (change.kind == Kind::kRenamed) {
    object["oldName"] = change.oldName;
  }
  object["name"] = change.name;
  if (isOfCard(change.kind)) {
    addPlace(object, change);
    addPairs(object, "functions", change.functions);
    addPairs(object, "behind", change.behind);
    addText(object, "nowEmpty", change.emptied);
    addText(object, "noLongerEmpty", change.occupied);
  }
  if (change.kind == Kind::kChanged) {
    object["class"] = change.className;
    object["property"] = change.property;
    addValue(object, "value", change.value);
    addValue(object, "newValue", change.newValue);
  }
  return object;
}

Json toJson(const HostFacts& facts) {
  return {{"source", facts.source}, {"host", facts.name}, {"time", facts.time}};
}

}  // namespace

void printChanges(const std::vector<Change>& changes, ValueWriter& values, std::ostream& out) {
  for (const Change& change : changes) {
    out << lineOf(change, values) << '\n';
  }
}

void printChangesAsJson(const HostFacts& before, const HostFacts& after,
                        const std::vector<Change>& changes, std::ostream& out) {
  out << "{\"before\":" << onOneLine(toJson(before)) << ",\n\"after\":" << onOneLine(toJson(after))
      << ",\n\"changes\":[";
  const char* separator = "\n";
  for (const Change& change : changes) {
    out << separator << onOneLine(toJson(change));
    separator = ",\n";
  }
  out << (changes.empty() ? "]}\n" : "\n]}\n");
}

}  // namespace pcicim
