// Decides the places in three walks over the boxes, none of which calls itself, so that machines of
// any depth can be drawn: from the arrangement to a list of boxes in which each comes after the one
// around it; sizes from the last box to the first; places from the first to the last.
#include <model/visible_text.h>
#include <picture/layout.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <sstream>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <topology/arrangement.h>
#include "packing.h"
#include "text_fit.h"

namespace pcicim {
namespace {

constexpr int kMargin = 16;
constexpr int kPad = 8;
constexpr int kGap = 8;
constexpr int kHeadingHeight = 18;
constexpr int kLineHeight = 14;
constexpr int kTabHeight = 15;
constexpr int kTabPad = 5;
/// Boxes of functions with nothing in them are all of one size: heading, two lines of name.
constexpr std::size_t kNameLines = 2;
constexpr Size kLeaf{236, kPad + kHeadingHeight + 2 * kLineHeight + kPad};
constexpr int kLeastInnerWidth = kLeaf.width;
constexpr int kPageWidth = 560;

std::string hex(std::uint64_t number, std::size_t width) {
  char text[2 * sizeof number];
  const char* const end = std::to_chars(text, text + sizeof text, number, 16).ptr;
  const std::string digits(static_cast<const char*>(text), end);
  return digits.size() < width ? std::string(width - digits.size(), '0') + digits : digits;
}

/// "1 bridge", "2 bridges".
std::string counted(std::size_t count, std::string_view what) {
  std::string text = std::to_string(count) + ' ';
  text += what;
  if (count != 1) text += what.ends_with('h') ? "es" : "s";
  return text;
}

struct KindWords {
  Paint paint;
  std::string_view heading;
  std::string_view counted;
};

/// In the order of Function::Kind.
constexpr std::array kKinds{
    KindWords{Paint::kDevice, "", "device"}, KindWords{Paint::kBridge, "Bridge", "bridge"},
    KindWords{Paint::kSwitch, "Switch", "switch"}, KindWords{Paint::kPort, "Port", "switch port"}};

const KindWords& wordsOf(Function::Kind kind) {
  return kKinds[static_cast<std::size_t>(kind)];
}

/// A box while places are being decided.
struct Draft {
  Box box;
  /// Those directly within, boxes of functions without anything in them first.
  std::vector<std::size_t> within;
  std::size_t leaves = 0;
  std::string heading;
  /// In the corner of the heading, and above what is within.
  std::vector<std::string> nearTabs;
  std::vector<std::string> farTabs;
  std::string note;
  std::string name;
  /// The note has no room beside the heading and goes below the name.
  bool noteIsBelow = false;
  std::size_t nameLines = 0;
  Packing packing;
  Size size;
};

class LayoutMaker {
 public:
  explicit LayoutMaker(Machine machine)
      : hostName_(std::move(machine.hostName)),
        leftOut_(std::move(machine.leftOut)),
        arrangement_(arrange(std::move(machine.functions))) {
    for (const Port& port : machine.ports) ports_[port.function].push_back(port);
  }

  Layout make() {
    draftBeginnings();
    draftInner();
    decideSizes();
    layout_.title = "PCI topology of " + hostName_;
    const int top = addTitle();
    decidePlaces(top);
    addBelow();
    layout_.functions = std::move(arrangement_.functions);
    handOverBoxes();
    return std::move(layout_);
  }

 private:
  std::size_t add(Draft draft, std::optional<std::size_t> around) {
    draft.box.around = around;
    if (draft.box.title.empty()) draft.box.title = draft.heading;
    drafts_.push_back(std::move(draft));
    const std::size_t index = drafts_.size() - 1;
    std::vector<std::size_t>& beside = around ? drafts_[*around].within : outermost_;
    beside.push_back(index);
    return index;
  }

  static Draft headed(Paint paint, std::string heading) {
    Draft draft;
    draft.box.paint = paint;
    draft.heading = std::move(heading);
    return draft;
  }

  void draftBeginnings() {
    std::optional<std::uint64_t> segment;
    std::size_t around = 0;
    for (const Arrangement::RootBus& bus : arrangement_.buses) {
      if (segment != bus.segment) {
        segment = bus.segment;
        around = add(headed(Paint::kSegment, "Segment " + hex(bus.segment, 4)), std::nullopt);
      }
      addFunctions(bus.functions, add(headed(Paint::kBus, "Bus " + hex(bus.bus, 2)), around));
    }
    addUnplaced("Not placed (no such parent, or no readable address)", arrangement_.misplaced);
    addUnplaced("Not placed (each behind the other, in a circle)", arrangement_.circles);
  }

  void addUnplaced(const char* heading, const std::vector<std::size_t>& functions) {
    if (!functions.empty()) addFunctions(functions, add(headed(Paint::kUnplaced, heading), {}));
  }

  void addInOrder(const std::vector<std::size_t>& functions, std::size_t around) {
    for (const std::size_t index : functions) add(draftOf(index, around), around);
  }

  /// Those without anything behind them first, each in the order of addresses.
  void addFunctions(const std::vector<std::size_t>& functions, std::size_t around) {
    for (const bool isLeaf : {true, false}) {
      for (const std::size_t index : functions) {
        if (arrangement_.children[index].empty() != isLeaf) continue;
        add(draftOf(index, around), around);
        if (isLeaf) ++drafts_[around].leaves;
      }
    }
  }

  /// What is added here is looked at later in the same loop.
  void draftInner() {
    for (std::size_t i = 0; i < drafts_.size(); ++i) {
      if (const auto function = drafts_[i].box.function) draftBehind(*function, i);
    }
  }

  /// The ports of a switch lie in it, what is behind any other function on its bus.
  void draftBehind(std::size_t index, std::size_t around) {
    const std::vector<std::size_t>& children = arrangement_.children[index];
    if (arrangement_.functions[index].kind == Function::Kind::kSwitch) {
      return addInOrder(children, around);
    }
    std::map<std::string, std::vector<std::size_t>> buses;
    for (const std::size_t child : children) buses[busHeading(child, index)].push_back(child);
    for (const auto& [heading, functions] : buses) {
      addFunctions(functions, add(headed(Paint::kBus, heading), around));
    }
  }

  std::string busHeading(std::size_t child, std::size_t parent) const {
    const auto& address = arrangement_.addresses[child];
    if (!address) return "No bus";
    const auto& above = arrangement_.addresses[parent];
    const bool isSame = above && above->segment == address->segment;
    return "Bus " + (isSame ? "" : hex(address->segment, 4) + ':') + hex(address->bus, 2);
  }

  Draft draftOf(std::size_t index, std::size_t around) const {
    const Function& function = arrangement_.functions[index];
    Draft draft;
    draft.box.paint = wordsOf(function.kind).paint;
    draft.box.function = index;
    draft.heading = wordsOf(function.kind).heading;
    if (!draft.heading.empty()) draft.heading += ' ';
    draft.heading += shownAddress(index, around);
    draft.name = cimom::visibleText(function.name);
    addPorts(draft, function);
    addNotes(draft, index);
    draft.box.title = titleOf(draft, function);
    return draft;
  }

  /// Without the segment, which stands around.
  std::string shownAddress(std::size_t index, std::size_t around) const {
    const std::string& address = arrangement_.functions[index].address;
    const bool isPlaced = drafts_[around].box.paint != Paint::kUnplaced;
    const auto& read = arrangement_.addresses[index];
    if (!isPlaced || !read || addressText(*read) != address) return cimom::visibleText(address);
    return address.substr(address.find(':') + 1);
  }

  void addPorts(Draft& draft, const Function& function) const {
    const auto found = ports_.find(function.address);
    if (found == ports_.end()) return;
    for (const Port& port : found->second) {
      const std::string bus = port.bus ? ", bus " + hex(*port.bus, 2) : "";
      std::vector<std::string>& tabs =
          port.side == Port::Side::kFar ? draft.farTabs : draft.nearTabs;
      tabs.push_back(port.type + bus);
    }
  }

  void addNotes(Draft& draft, std::size_t index) const {
    const Function& function = arrangement_.functions[index];
    const auto note = [&draft](const std::string& text) {
      draft.note += (draft.note.empty() ? "" : ", ") + text;
    };
    if (function.physicalSlot) note("slot " + std::to_string(*function.physicalSlot));
    if (function.kind == Function::Kind::kSwitch) note(counted(function.ports, "port"));
    const bool hasRoom = function.kind == Function::Kind::kSwitchPort || function.leadsToBus;
    draft.box.isEmpty = hasRoom && arrangement_.children[index].empty();
    if (function.leadsToBus && function.secondaryBus == 0U) note("no bus");
    if (draft.box.isEmpty) note("empty");
  }

  static std::string titleOf(const Draft& draft, const Function& function) {
    std::string title(wordsOf(function.kind).heading);
    title += (title.empty() ? "" : " ") + function.address + ' ' + function.name;
    for (const auto* tabs : {&draft.nearTabs, &draft.farTabs}) {
      for (const std::string& tab : *tabs) title += ", " + tab;
    }
    if (!draft.note.empty()) title += ", " + draft.note;
    return title;
  }

  // Sizes.

  static int tabWidth(const std::string& text) {
    return textWidth(text, TextStyle::kTab) + 2 * kTabPad;
  }

  static bool hasLastLine(const Draft& draft) {
    return !draft.farTabs.empty() || draft.noteIsBelow;
  }

  /// Above what is within.
  static int headerHeight(const Draft& draft) {
    const int heading = kPad + kHeadingHeight;
    if (!draft.box.function) return heading;
    return heading + static_cast<int>(draft.nameLines) * kLineHeight +
           (hasLastLine(draft) ? kTabHeight : 0) + kPad / 2;
  }

  /// Where the tabs begin that have room, from the right edge to the left.
  static std::vector<int> tabStarts(const std::vector<std::string>& tabs, int width) {
    std::vector<int> starts;
    int right = width - kPad;
    for (auto tab = tabs.rbegin(); tab != tabs.rend(); ++tab) {
      const int left = right - tabWidth(*tab);
      if (left < width / 4) break;
      starts.push_back(left);
      right = left - kTabPad;
    }
    return starts;
  }

  /// How far a text reaches to which the tabs leave the rest of the line.
  static int textEnd(const std::vector<std::string>& tabs, int width) {
    const std::vector<int> starts = tabStarts(tabs, width);
    return starts.empty() ? width - kPad : starts.back() - kTabPad;
  }

  static void decideLines(Draft& draft, int width) {
    const int both = kPad + textWidth(draft.heading, TextStyle::kHeading) + kPad +
                     textWidth(draft.note, TextStyle::kNote);
    draft.noteIsBelow = !draft.note.empty() && both > textEnd(draft.nearTabs, width);
    const bool isFull = draft.within.empty() && hasLastLine(draft);
    draft.nameLines =
        wrapToFit(draft.name, width - 2 * kPad, TextStyle::kName, isFull ? 1 : kNameLines).size();
  }

  void decideSizes() {
    for (std::size_t i = drafts_.size(); i-- > 0;) {
      Draft& draft = drafts_[i];
      if (draft.within.empty()) {
        draft.size = kLeaf;
        decideLines(draft, kLeaf.width);
        continue;
      }
      draft.packing = packed(draft.within, draft.leaves);
      const Size& inner = draft.packing.size;
      const int wanted = draft.box.paint == Paint::kUnplaced
                             ? textWidth(draft.heading, TextStyle::kHeading)
                             : kLeastInnerWidth;
      const int width = std::max(inner.width, wanted) + 2 * kPad;
      decideLines(draft, width);
      draft.size = {width, headerHeight(draft) + inner.height + kPad};
    }
    outer_ = packed(outermost_, 0);
  }

  Packing packed(const std::vector<std::size_t>& boxes, std::size_t leaves) const {
    std::vector<Size> sizes;
    sizes.reserve(boxes.size());
    for (const std::size_t box : boxes) sizes.push_back(drafts_[box].size);
    return pack(sizes, leaves, kGap);
  }

  // Places.

  void decidePlaces(int top) {
    layout_.width = std::max(outer_.size.width, kPageWidth) + 2 * kMargin;
    layout_.height = top + outer_.size.height;
    place(outermost_, outer_, kMargin, top);
    for (Draft& draft : drafts_) {
      const Rect& at = draft.box.place;
      place(draft.within, draft.packing, at.x + kPad, at.y + headerHeight(draft));
      addLabels(draft);
    }
  }

  void place(const std::vector<std::size_t>& boxes, const Packing& packing, int left, int top) {
    for (std::size_t i = 0; i < boxes.size(); ++i) {
      Draft& draft = drafts_[boxes[i]];
      draft.box.place = {left + packing.spots[i].x, top + packing.spots[i].y, draft.size.width,
                         draft.size.height};
    }
  }

  // Labels.

  static void addLabel(std::vector<Label>& labels, int x, int y, int width, TextStyle style,
                       std::string_view text) {
    std::string fitting = cutToFit(text, width, style);
    if (fitting.empty()) return;
    const int taken = isCentred(style) ? width : textWidth(fitting, style);
    labels.push_back({x, y, taken, style, std::move(fitting)});
  }

  static void addTabs(Box& box, const std::vector<std::string>& tabs, int top) {
    const std::vector<int> starts = tabStarts(tabs, box.place.width);
    for (std::size_t i = 0; i < starts.size(); ++i) {
      const std::string& text = tabs[tabs.size() - 1 - i];
      const Rect tab{box.place.x + starts[i], top, tabWidth(text), kTabHeight};
      box.tabs.push_back(tab);
      addLabel(box.labels, tab.x + kTabPad, tab.bottom() - 4, tab.width - 2 * kTabPad,
               TextStyle::kTab, text);
    }
  }

  static void addLabels(Draft& draft) {
    Box& box = draft.box;
    const int left = box.place.x + kPad;
    int top = box.place.y + kPad;
    const int end = box.place.x + textEnd(draft.nearTabs, box.place.width);
    addTabs(box, draft.nearTabs, top - 1);
    addLabel(box.labels, left, top + 11, end - left, TextStyle::kHeading, draft.heading);
    if (!draft.noteIsBelow) {
      const int beside = left + textWidth(draft.heading, TextStyle::kHeading) + kPad;
      addLabel(box.labels, beside, top + 11, end - beside, TextStyle::kNote, draft.note);
    }
    if (!box.function) return;
    top += kHeadingHeight;
    const int width = box.place.width - 2 * kPad;
    for (const std::string& line :
         wrapToFit(draft.name, width, TextStyle::kName, draft.nameLines)) {
      addLabel(box.labels, left, top + 10, width, TextStyle::kName, line);
      top += kLineHeight;
    }
    addTabs(box, draft.farTabs, top);
    if (draft.noteIsBelow) {
      const int noteEnd = box.place.x + textEnd(draft.farTabs, box.place.width);
      addLabel(box.labels, left, top + 11, noteEnd - left, TextStyle::kNote, draft.note);
    }
  }

  /// Each directly before those within it.
  void handOverBoxes() {
    std::vector<std::size_t> left(outermost_.rbegin(), outermost_.rend());
    while (!left.empty()) {
      Draft& draft = drafts_[left.back()];
      left.pop_back();
      const std::size_t place = layout_.boxes.size();
      layout_.boxes.push_back(std::move(draft.box));
      for (const std::size_t inner : draft.within) drafts_[inner].box.around = place;
      left.insert(left.end(), draft.within.rbegin(), draft.within.rend());
    }
  }

  // Around the boxes.

  int addTitle() {
    const int width = std::max(outer_.size.width, kPageWidth);
    addLabel(layout_.labels, kMargin, kMargin + 16, width, TextStyle::kTitle,
             cimom::visibleText(hostName_));
    addLabel(layout_.labels, kMargin, kMargin + 38, width, TextStyle::kSummary, summary());
    return kMargin + 50;
  }

  std::string summary() const {
    std::array<std::size_t, kKinds.size()> counts{};
    for (const Function& function : arrangement_.functions) {
      ++counts[static_cast<std::size_t>(function.kind)];
    }
    std::string text;
    for (std::size_t kind = 0; kind < counts.size(); ++kind) {
      if (counts[kind] == 0) continue;
      text += (text.empty() ? "" : ", ") + counted(counts[kind], kKinds[kind].counted);
    }
    return text.empty() ? "No PCI functions." : text;
  }

  void addBelow() {
    addLeftOut();
    if (!drafts_.empty()) addLegend();
    layout_.height += kMargin;
  }

  void addLeftOut() {
    std::ostringstream text;
    printLeftOut(leftOut_, text);
    std::istringstream lines(text.str());
    for (std::string line; std::getline(lines, line);) {
      layout_.height += kLineHeight + 2;
      addLabel(layout_.labels, kMargin, layout_.height, layout_.width - 2 * kMargin,
               TextStyle::kName, line);
    }
  }

  void addLegend() {
    struct Entry {
      Paint paint;
      bool isEmpty;
      std::string_view text;
    };
    static constexpr std::array kEntries{Entry{Paint::kSegment, false, "Segment"},
                                         Entry{Paint::kBus, false, "Bus"},
                                         Entry{Paint::kDevice, false, "Device"},
                                         Entry{Paint::kBridge, false, "Bridge"},
                                         Entry{Paint::kSwitch, false, "Switch"},
                                         Entry{Paint::kPort, false, "Port of a switch"},
                                         Entry{Paint::kPort, true, "Nothing behind"},
                                         Entry{Paint::kTab, false, "A port: its type and bus"}};
    constexpr int kSwatch = 22;
    int x = kMargin;
    int y = layout_.height + kMargin;
    for (const Entry& entry : kEntries) {
      const int width = textWidth(entry.text, TextStyle::kName);
      if (x > kMargin && x + kSwatch + 6 + width > layout_.width - kMargin) {
        x = kMargin;
        y += kTabHeight + kGap;
      }
      Box box;
      box.paint = entry.paint;
      box.isEmpty = entry.isEmpty;
      box.place = {x, y, kSwatch, kTabHeight};
      addLabel(box.labels, x + kSwatch + 6, y + 11, width, TextStyle::kName, entry.text);
      layout_.legend.push_back(std::move(box));
      x += kSwatch + 6 + width + 2 * kPad;
    }
    layout_.height = y + kTabHeight;
  }

  std::string hostName_;
  std::vector<Function> leftOut_;
  Arrangement arrangement_;
  std::unordered_map<std::string, std::vector<Port>> ports_;
  std::vector<Draft> drafts_;
  std::vector<std::size_t> outermost_;
  Packing outer_;
  Layout layout_;
};

}  // namespace

Machine readMachine(TopologySource& source, const std::string& hostName) {
  Machine machine;
  machine.functions = readTopology(source);
  machine.leftOut = findLeftOut(source, machine.functions);
  PortListing listing = readPorts(source);
  machine.ports = std::move(listing.ports);
  machine.hostName = listing.systemName.empty() ? hostName : listing.systemName;
  return machine;
}

Layout layOut(Machine machine) {
  return LayoutMaker(std::move(machine)).make();
}

}  // namespace pcicim
