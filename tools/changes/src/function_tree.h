#pragma once

#include <changes/machine.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace pcicim {

/// No index.
inline constexpr std::size_t kNone = SIZE_MAX;

/// The functions of a machine by what leads to them, and in cards: functions behind the same one
/// (or on the same root bus) with the same bus and device number. Parents that are not there and
/// circles make roots, so that every function is in the tree once. The machine outlives the tree.
class FunctionTree {
 public:
  /// Functions on one bus without another function that leads there.
  struct RootBus {
    /// Nothing for functions without a readable address.
    std::optional<std::pair<std::uint64_t, unsigned>> number;
    std::vector<std::size_t> functions;
  };
  using Card = std::vector<std::size_t>;

  explicit FunctionTree(const ComparedMachine& machine);

  const ComparedFunction& function(std::size_t index) const { return machine_.functions[index]; }
  std::size_t size() const { return machine_.functions.size(); }
  std::size_t parent(std::size_t index) const { return parents_[index]; }
  /// In the order of their addresses, as all lists here.
  const std::vector<std::size_t>& children(std::size_t index) const { return children_[index]; }
  const std::vector<RootBus>& rootBuses() const { return rootBuses_; }
  /// All functions, each behind what leads to it.
  const std::vector<std::size_t>& topDown() const { return topDown_; }
  /// In the order of the first function of each, from top to bottom.
  const std::vector<Card>& cards() const { return cards_; }
  std::size_t cardOf(std::size_t index) const { return cardOf_[index]; }
  /// The first function of that id; kNone when there is none.
  std::size_t find(std::string_view id) const;

 private:
  void findParents(const std::vector<std::size_t>& ordered);
  void breakCircles(const std::vector<std::size_t>& ordered);
  void addRoots(const std::vector<std::size_t>& ordered);
  void walk();
  void makeCards();

  const ComparedMachine& machine_;
  /// Indices in the order of ids, and of equal ones in that of the answers.
  std::vector<std::size_t> byId_;
  std::vector<std::size_t> parents_;
  std::vector<std::vector<std::size_t>> children_;
  std::vector<RootBus> rootBuses_;
  std::vector<std::size_t> topDown_;
  std::vector<Card> cards_;
  std::vector<std::size_t> cardOf_;
};

}  // namespace pcicim
