#include <topology/arrangement.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace pcicim {
namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

class Arranger {
 public:
  explicit Arranger(std::vector<Function> functions) {
    sort(std::move(functions));
    findParents();
  }

  Arrangement arrange() {
    findRootBuses();
    for (std::size_t i = 0; i < parents_.size(); ++i) {
      const bool isOnRootBus = result_.functions[i].parent.empty() && result_.addresses[i];
      if (parents_[i] == kNone && !isOnRootBus) result_.misplaced.push_back(i);
    }
    cutCircles();
    for (std::size_t i = 0; i < parents_.size(); ++i) {
      if (parents_[i] != kNone) result_.children[parents_[i]].push_back(i);
    }
    return std::move(result_);
  }

 private:
  void sort(std::vector<Function> functions) {
    std::vector<std::optional<Address>> addresses;
    addresses.reserve(functions.size());
    for (const Function& function : functions) {
      addresses.push_back(parseAddress(function.address));
    }
    std::vector<std::size_t> order(functions.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
      if (addresses[left] && addresses[right]) return *addresses[left] < *addresses[right];
      return addresses[left].has_value() && !addresses[right].has_value();
    });
    for (const std::size_t index : order) {
      result_.functions.push_back(std::move(functions[index]));
      result_.addresses.push_back(addresses[index]);
    }
    result_.children.resize(order.size());
  }

  void findParents() {
    std::unordered_map<std::string_view, std::size_t> byAddress;
    for (std::size_t i = 0; i < result_.functions.size(); ++i) {
      byAddress.try_emplace(result_.functions[i].address, i);
    }
    for (const Function& function : result_.functions) {
      const auto found = byAddress.find(function.parent);
      const bool isThere = !function.parent.empty() && found != byAddress.end();
      parents_.push_back(isThere ? found->second : kNone);
    }
  }

  void findRootBuses() {
    std::map<std::pair<std::uint64_t, unsigned>, std::vector<std::size_t>> buses;
    for (std::size_t i = 0; i < result_.functions.size(); ++i) {
      const auto& address = result_.addresses[i];
      if (address && result_.functions[i].parent.empty()) {
        buses[{address->segment, address->bus}].push_back(i);
      }
    }
    for (auto& [place, functions] : buses) {
      result_.buses.push_back({place.first, place.second, std::move(functions)});
    }
  }

  /// Climbs from each function until it comes to one that has been passed: when that was on the
  /// same climb, it is in a circle, which is cut above its lowest function.
  void cutCircles() {
    std::vector<std::size_t> passedFrom(parents_.size(), kNone);
    for (std::size_t start = 0; start < parents_.size(); ++start) {
      std::size_t index = start;
      while (index != kNone && passedFrom[index] == kNone) {
        passedFrom[index] = start;
        index = parents_[index];
      }
      if (index != kNone && passedFrom[index] == start) cutCircle(index);
    }
  }

  void cutCircle(std::size_t index) {
    std::size_t lowest = index;
    for (std::size_t i = parents_[index]; i != index; i = parents_[i]) lowest = std::min(lowest, i);
    parents_[lowest] = kNone;
    result_.circles.push_back(lowest);
  }

  Arrangement result_;
  /// Indices; kNone where the parent is not there.
  std::vector<std::size_t> parents_;
};

}  // namespace

Arrangement arrange(std::vector<Function> functions) {
  return Arranger(std::move(functions)).arrange();
}

}  // namespace pcicim
