#pragma once

#include "function_record.h"

#include <qarctl/PciDevice.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace HostCtl {

/// The functions of one reading, in address order; nothing changes after it is made, so any
/// number of threads may read it.
class Snapshot : public std::enable_shared_from_this<Snapshot> {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  explicit Snapshot(HostInput input);

  std::size_t Size() const { return functions_.size(); }
  const FunctionRecord& Function(std::size_t index) const { return functions_[index]; }
  /// Index of the function above, kNone below a root bus.
  std::size_t Parent(std::size_t index) const { return parents_[index]; }
  /// Number of the physical slot, -1 when none is known.
  std::int32_t Slot(std::size_t index) const { return functions_[index].slot.value_or(-1); }
  /// A light view of the function; it keeps the snapshot alive.
  std::unique_ptr<Hardware::PciDevice> MakeDevice(std::size_t index) const;

 private:
  /// Index of the first function at the address, kNone without one.
  std::size_t Find(const FunctionAddress& address) const;
  void FindParentsByName();
  void FindParentsByBusRange();
  void FindParentsInSegment(std::size_t begin, std::size_t end);
  void FindSlots();

  std::vector<FunctionRecord> functions_;
  std::vector<std::size_t> parents_;
};

}  // namespace HostCtl
