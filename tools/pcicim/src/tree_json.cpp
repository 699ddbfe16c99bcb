#include "tree_json.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>
#include <ostream>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace pcicim {
namespace {

using Json = nlohmann::ordered_json;

const char* kindName(Function::Kind kind) {
  switch (kind) {
    case Function::Kind::kBridge:
      return "bridge";
    case Function::Kind::kSwitch:
      return "switch";
    case Function::Kind::kSwitchPort:
      return "port";
    case Function::Kind::kDevice:
      break;
  }
  return "device";
}

Json describe(const Function& function) {
  Json object{
      {"address", function.address}, {"kind", kindName(function.kind)}, {"name", function.name}};
  if (function.kind == Function::Kind::kSwitch) {
    object["ports"] = function.ports;
  }
  if (function.secondaryBus && function.leadsToBus) {
    object["secondaryBus"] = *function.secondaryBus;
  }
  if (function.physicalSlot) {
    object["physicalSlot"] = *function.physicalSlot;
  }
  return object;
}

Json describeAlone(const Function& function) {
  Json object = describe(function);
  if (!function.parent.empty()) {
    object["parent"] = function.parent;
  }
  return object;
}

class Forest {
 public:
  explicit Forest(const std::vector<Function>& functions)
      : functions_(functions), children_(functions.size()), placed_(functions.size(), false) {
    sortByAddress();
    std::unordered_map<std::string_view, std::size_t> byAddress;
    for (const std::size_t index : order_) {
      byAddress.try_emplace(functions_[index].address, index);
    }
    for (const std::size_t index : order_) {
      const auto parent = byAddress.find(functions_[index].parent);
      if (!functions_[index].parent.empty() && parent != byAddress.end()) {
        children_[parent->second].push_back(index);
      }
    }
  }

  /// To be asked for before notPlaced.
  Json buses() {
    std::map<std::pair<std::uint64_t, unsigned>, Json> buses;
    for (const std::size_t index : order_) {
      const auto address = parseAddress(functions_[index].address);
      if (address && functions_[index].parent.empty()) {
        Json& functions =
            buses.try_emplace({address->segment, address->bus}, Json::array()).first->second;
        functions.push_back(withThoseBehind(index));
      }
    }
    Json array = Json::array();
    for (auto& [bus, functions] : buses) {
      array.push_back(
          {{"segment", bus.first}, {"bus", bus.second}, {"functions", std::move(functions)}});
    }
    return array;
  }

  Json notPlaced() const {
    Json array = Json::array();
    for (const std::size_t index : order_) {
      if (!placed_[index]) {
        array.push_back(describeAlone(functions_[index]));
      }
    }
    return array;
  }

 private:
  void sortByAddress() {
    std::vector<std::optional<Address>> addresses;
    for (const Function& function : functions_) {
      addresses.push_back(parseAddress(function.address));
    }
    order_.resize(functions_.size());
    std::iota(order_.begin(), order_.end(), 0U);
    std::stable_sort(order_.begin(), order_.end(), [&](std::size_t left, std::size_t right) {
      // Those without a readable address last.
      return std::pair(!addresses[left], addresses[left]) <
             std::pair(!addresses[right], addresses[right]);
    });
  }

  /// What is behind a root is no circle: each function hangs off one other.
  Json withThoseBehind(std::size_t index) {
    placed_[index] = true;
    Json object = describe(functions_[index]);
    for (const std::size_t child : children_[index]) {
      object["functions"].push_back(withThoseBehind(child));
    }
    return object;
  }

  const std::vector<Function>& functions_;
  /// Indices in the order of addresses.
  std::vector<std::size_t> order_;
  std::vector<std::vector<std::size_t>> children_;
  std::vector<bool> placed_;
};

}  // namespace

void printTreeJson(const std::vector<Function>& functions, const std::vector<Function>& leftOut,
                   std::ostream& out) {
  Forest forest(functions);
  Json tree;
  tree["buses"] = forest.buses();
  tree["notPlaced"] = forest.notPlaced();
  tree["notShown"] = Json::array();
  for (const Function& function : leftOut) {
    tree["notShown"].push_back(describeAlone(function));
  }
  out << tree.dump(2, ' ', true, Json::error_handler_t::replace) << '\n';
}

}  // namespace pcicim
