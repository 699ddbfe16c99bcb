#pragma once

#include <changes/machine.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace pcicim {

/// Buses of a segment, one behind the other.
struct BusRange {
  std::uint64_t segment = 0;
  unsigned first = 0;
  unsigned last = 0;

  bool operator==(const BusRange&) const = default;
};

/// One change between two machines.
struct Change {
  enum class Kind {
    /// `buses` have become `newBuses`; with `isWholeSegment` all buses of the segment kept their
    /// numbers in another one.
    kRenumbered,
    /// A card is at another place: `address` is that of its first function before, `newAddress`
    /// after. `functions` has all of them, `behind` those that came along.
    kMoved,
    /// A card, or some functions of one. `functions` has all of them, `behind` the bridges and
    /// ports behind it that share its fate.
    kGone,
    kNew,
    /// The function at `address` has `name` and had `oldName`.
    kRenamed,
    /// A property of the function, or of the port `port`, has changed.
    kChanged,
    /// `port` of a function, or without one, is gone or new.
    kPortGone,
    kPortNew,
    /// A port group, named `name`, is gone or new though no function explains it.
    kGroupGone,
    kGroupNew,
  };
  /// Before and after; nothing where it is on one side alone.
  using Pair = std::pair<std::string, std::string>;

  Kind kind = Kind::kChanged;
  BusRange buses;
  BusRange newBuses;
  bool isWholeSegment = false;
  std::string address;
  std::string newAddress;
  std::string name;
  std::string oldName;
  std::vector<Pair> functions;
  std::vector<Pair> behind;
  /// DeviceIDs of what leads to a card; empty on a root bus.
  std::string parent;
  std::string newParent;
  std::optional<unsigned> slot;
  std::optional<unsigned> newSlot;
  /// The bridge or port that has nothing behind it any more, or something for the first time,
  /// by its address after.
  std::string emptied;
  std::string occupied;
  std::string port;
  /// Of a changed property: whose it is, its name, and its values as JSON, nothing without one.
  std::string className;
  std::string property;
  std::optional<std::string> value;
  std::optional<std::string> newValue;
};

/// What has to be told to get from one machine to the other: renumbered buses first, then cards,
/// then what stayed but changed, each in the order of addresses. Host names, times and the order of
/// answers are no changes, and nothing is told twice: ports and groups of a card that is told are
/// not. Safe from any thread.
std::vector<Change> compare(const ComparedMachine& before, const ComparedMachine& after);

}  // namespace pcicim
