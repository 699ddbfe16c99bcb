#include "function_tree.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <optional>

namespace pcicim {
namespace {

/// Functions in the order of their addresses, those without one behind all others.
std::vector<std::size_t> ordered(const ComparedMachine& machine) {
  std::vector<std::size_t> indices(machine.functions.size());
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  std::stable_sort(indices.begin(), indices.end(), [&machine](std::size_t left, std::size_t right) {
    const auto& first = machine.functions[left];
    const auto& second = machine.functions[right];
    if (first.address && second.address) {
      return *first.address < *second.address;
    }
    if (first.address || second.address) {
      return first.address.has_value();
    }
    return first.id < second.id;
  });
  return indices;
}

/// The bus and device number, which the functions of a card share; unreadable ones share nothing.
bool isOneCard(const ComparedFunction& left, const ComparedFunction& right) {
  return left.address && right.address && left.address->segment == right.address->segment &&
         left.address->bus == right.address->bus && left.address->device == right.address->device;
}

}  // namespace

FunctionTree::FunctionTree(const ComparedMachine& machine)
    : machine_(machine),
      parents_(machine.functions.size(), kNone),
      children_(machine.functions.size()),
      cardOf_(machine.functions.size(), kNone) {
  byId_.resize(size());
  std::iota(byId_.begin(), byId_.end(), std::size_t{0});
  std::stable_sort(byId_.begin(), byId_.end(), [this](std::size_t left, std::size_t right) {
    return function(left).id < function(right).id;
  });
  const std::vector<std::size_t> indices = ordered(machine);
  findParents(indices);
  breakCircles(indices);
  addRoots(indices);
  walk();
  makeCards();
}

std::size_t FunctionTree::find(std::string_view id) const {
  const auto found = std::lower_bound(
      byId_.begin(), byId_.end(), id,
      [this](std::size_t index, std::string_view wanted) { return function(index).id < wanted; });
  return found != byId_.end() && function(*found).id == id ? *found : kNone;
}

void FunctionTree::findParents(const std::vector<std::size_t>& ordered) {
  for (const std::size_t index : ordered) {
    if (!function(index).parent.empty()) {
      parents_[index] = find(function(index).parent);
    }
  }
}

/// Climbs from each function until it meets one that an earlier climb has passed, or one of its
/// own: that one becomes a root.
void FunctionTree::breakCircles(const std::vector<std::size_t>& ordered) {
  std::vector<std::size_t> passedFrom(size(), kNone);
  for (const std::size_t start : ordered) {
    std::size_t index = start;
    while (index != kNone && passedFrom[index] == kNone) {
      passedFrom[index] = start;
      index = parents_[index];
    }
    if (index != kNone && passedFrom[index] == start) {
      parents_[index] = kNone;
    }
  }
}

void FunctionTree::addRoots(const std::vector<std::size_t>& ordered) {
  std::map<std::optional<std::pair<std::uint64_t, unsigned>>, std::vector<std::size_t>> buses;
  for (const std::size_t index : ordered) {
    if (parents_[index] != kNone) {
      children_[parents_[index]].push_back(index);
      continue;
    }
    const auto& address = function(index).address;
    buses[address ? std::optional(std::pair(address->segment, address->bus)) : std::nullopt]
        .push_back(index);
  }
  for (auto& [number, functions] : buses) {
    rootBuses_.push_back({number, std::move(functions)});
  }
}

void FunctionTree::walk() {
  topDown_.reserve(size());
  std::vector<std::size_t> open;
  for (auto bus = rootBuses_.rbegin(); bus != rootBuses_.rend(); ++bus) {
    open.insert(open.end(), bus->functions.rbegin(), bus->functions.rend());
  }
  while (!open.empty()) {
    const std::size_t index = open.back();
    open.pop_back();
    topDown_.push_back(index);
    open.insert(open.end(), children_[index].rbegin(), children_[index].rend());
  }
}

void FunctionTree::makeCards() {
  // Siblings of one card are neighbours in their list.
  const auto makeFrom = [this](const std::vector<std::size_t>& list) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      const bool goesOn = i > 0 && isOneCard(function(list[i - 1]), function(list[i]));
      if (!goesOn) {
        cards_.emplace_back();
      }
      cards_.back().push_back(list[i]);
    }
  };
  for (const RootBus& bus : rootBuses_) {
    makeFrom(bus.functions);
  }
  for (const std::size_t index : topDown_) {
    makeFrom(children_[index]);
  }
  std::vector<std::size_t> rank(size());
  for (std::size_t i = 0; i < topDown_.size(); ++i) {
    rank[topDown_[i]] = i;
  }
  std::sort(cards_.begin(), cards_.end(), [&rank](const Card& left, const Card& right) {
    return rank[left.front()] < rank[right.front()];
  });
  for (std::size_t card = 0; card < cards_.size(); ++card) {
    for (const std::size_t index : cards_[card]) {
      cardOf_[index] = card;
    }
  }
}

}  // namespace pcicim
