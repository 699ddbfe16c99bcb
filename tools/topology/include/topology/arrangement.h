#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include <topology/topology.h>

namespace pcicim {

/// Which function is below which, as the tree prints it. Functions are named by their index; each
/// is in exactly one list: the children of one function, or one of the three kinds of beginnings.
struct Arrangement {
  struct RootBus {
    std::uint64_t segment = 0;
    unsigned bus = 0;
    std::vector<std::size_t> functions;
  };

  /// In the order of their addresses, those without a readable one last.
  std::vector<Function> functions;
  std::vector<std::optional<Address>> addresses;
  /// Of each function, in the order of addresses.
  std::vector<std::vector<std::size_t>> children;
  /// In the order of segments and buses.
  std::vector<RootBus> buses;
  /// Those whose parent is not there, and those on a root bus without a readable address.
  std::vector<std::size_t> misplaced;
  /// Of each circle of functions behind each other the one with the lowest address, its own parent
  /// among its descendants' parents.
  std::vector<std::size_t> circles;
};

/// Arranges functions, whatever their addresses and parents say. Of functions with the same
/// address the first takes the children. Time grows as a sort does. Safe from any thread.
Arrangement arrange(std::vector<Function> functions);

}  // namespace pcicim
