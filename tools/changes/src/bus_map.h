#pragma once

#include <changes/comparison.h>

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "function_tree.h"
#include "matching.h"

namespace pcicim {

/// Which bus before is which bus after.
class BusMap {
 public:
  /// Segment and number.
  using Bus = std::pair<std::uint64_t, unsigned>;

  BusMap(const FunctionTree& before, const FunctionTree& after, const Matching& matching);

  /// What has become of the bus; nothing when nobody knows.
  std::optional<Bus> find(const Bus& bus) const;
  /// The buses that have another number without anything having moved, in ranges.
  std::vector<Change> renumbered() const;
  /// What a port group's bus, which has no segment, may have become, or what may have become it.
  std::vector<unsigned> numbersAfter(unsigned bus) const;
  std::vector<unsigned> numbersBefore(unsigned bus) const;

 private:
  void note(const FunctionTree& before, const FunctionTree& after, const Matching& matching,
            bool inPlace);

  /// With whether nothing has moved.
  std::map<Bus, std::pair<Bus, bool>> buses_;
};

}  // namespace pcicim
