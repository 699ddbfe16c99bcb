#pragma once

#include "function_record.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace HostCtl {

/// A physical function of a saved inventory with what it says of its virtual ones.
struct PhysicalFunction {
  FunctionAddress address;
  std::uint16_t vendorId = 0;
  VirtualFunctions virtuals;
};

/// Finds the virtual functions of a saved inventory, whose own configuration space holds ones in
/// place of their ids. `candidates` are the indices of the functions of that kind in `functions`.
/// Each that sits where one of the physical functions has a virtual one gets to know it and, where
/// the input gave it no ids, those that it says: its own vendor and the device of its virtual
/// functions. Of several physical ones the first counts.
void IdentifyVirtualFunctions(const std::vector<PhysicalFunction>& physicals,
                              const std::vector<std::size_t>& candidates,
                              std::vector<FunctionRecord>& functions);

}  // namespace HostCtl
