#include "bus_map.h"

#include <algorithm>

namespace pcicim {
namespace {

using Bus = BusMap::Bus;

/// Buses whose numbers have changed by the same amount.
struct Run {
  Bus first;
  Bus last;
  Bus newFirst;
  Bus newLast;

  bool isFollowedBy(const Bus& bus, const Bus& newBus) const {
    return bus.first == last.first && newBus.first == newLast.first &&
           newBus.second > newLast.second &&
           bus.second - last.second == newBus.second - newLast.second;
  }
};

Change toChange(const Run& run, bool isWholeSegment) {
  Change change;
  change.kind = Change::Kind::kRenumbered;
  change.buses = {run.first.first, run.first.second, run.last.second};
  change.newBuses = {run.newFirst.first, run.newFirst.second, run.newLast.second};
  change.isWholeSegment = isWholeSegment;
  return change;
}

}  // namespace

BusMap::BusMap(const FunctionTree& before, const FunctionTree& after, const Matching& matching) {
  note(before, after, matching, true);
  note(before, after, matching, false);
}

void BusMap::note(const FunctionTree& before, const FunctionTree& after, const Matching& matching,
                  bool inPlace) {
  for (const std::size_t index : before.topDown()) {
    const std::size_t other = matching.after[index];
    if (other == kNone) {
      continue;
    }
    const ComparedFunction& from = before.function(index);
    const ComparedFunction& to = after.function(other);
    const bool isInPlace = matching.links[index] == Link::kSamePlace;
    if (isInPlace != inPlace || !from.address || !to.address) {
      continue;
    }
    // The bus that a card moved from has not become the one that it moved to.
    if (matching.links[index] != Link::kMoved) {
      buses_.try_emplace({from.address->segment, from.address->bus},
                         Bus{to.address->segment, to.address->bus}, inPlace);
    }
    if (from.secondaryBus.value_or(0) != 0 && to.secondaryBus.value_or(0) != 0) {
      buses_.try_emplace({from.address->segment, *from.secondaryBus},
                         Bus{to.address->segment, *to.secondaryBus}, inPlace);
    }
  }
}

std::optional<Bus> BusMap::find(const Bus& bus) const {
  const auto found = buses_.find(bus);
  return found == buses_.end() ? std::nullopt : std::optional(found->second.first);
}

std::vector<Change> BusMap::renumbered() const {
  const auto isWholeSegment = [this](const Run& run) {
    const auto first = buses_.lower_bound({run.first.first, 0U});
    const auto behind = buses_.upper_bound(run.last);
    return run.first.second == run.newFirst.second && first->first == run.first &&
           (behind == buses_.end() || behind->first.first != run.first.first);
  };
  std::vector<Change> changes;
  std::optional<Run> run;
  const auto endRun = [&] {
    if (run) {
      changes.push_back(toChange(*run, isWholeSegment(*run)));
    }
    run.reset();
  };
  for (const auto& [bus, found] : buses_) {
    const auto& [newBus, isInPlace] = found;
    if (!isInPlace || newBus == bus) {
      endRun();
    } else if (run && run->isFollowedBy(bus, newBus)) {
      run->last = bus;
      run->newLast = newBus;
    } else {
      endRun();
      run = Run{bus, bus, newBus, newBus};
    }
  }
  endRun();
  return changes;
}

std::vector<unsigned> BusMap::numbersAfter(unsigned bus) const {
  std::vector<unsigned> numbers;
  for (const auto& [from, found] : buses_) {
    if (from.second == bus) {
      numbers.push_back(found.first.second);
    }
  }
  return numbers;
}

std::vector<unsigned> BusMap::numbersBefore(unsigned bus) const {
  std::vector<unsigned> numbers;
  for (const auto& [from, found] : buses_) {
    if (found.first.second == bus) {
      numbers.push_back(from.second);
    }
  }
  return numbers;
}

}  // namespace pcicim
