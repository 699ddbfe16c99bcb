#pragma once

#include "function_record.h"
#include "ready_function.h"

#include <qarctl/PciDevice.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace HostCtl {

class Snapshot;

/// A share in a snapshot.
struct ReleaseShare {
  void operator()(const Snapshot* snapshot) const;
};
using SnapshotShare = std::unique_ptr<const Snapshot, ReleaseShare>;

/// The functions of one reading, in address order; nothing that shows changes after it is made, so
/// any number of threads may read it.
class Snapshot {
 public:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  /// The first share in a new snapshot. A function of the snapshot that was handed out is one too.
  static SnapshotShare Make(HostInput input);

  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

  std::size_t Size() const { return functions_.size(); }
  const FunctionRecord& Function(std::size_t index) const { return functions_[index]; }
  /// Index of the function above, kNone below a root bus.
  std::size_t Parent(std::size_t index) const;
  /// A light view of the function; it keeps the snapshot alive.
  std::unique_ptr<Hardware::PciDevice> MakeDevice(std::size_t index) const;

  /// The snapshot goes when its last share is given back.
  void TakeShare() const { shares_.fetch_add(1, std::memory_order_relaxed); }
  void GiveShareBack() const {
    // Whoever gives back the last one sees all that the others did.
    if (shares_.fetch_sub(1, std::memory_order_acq_rel) == 1) Delete();
  }

 private:
  explicit Snapshot(HostInput input);
  ~Snapshot();
  void Delete() const;

  /// Index of the first function at the address, kNone without one.
  std::size_t Find(const FunctionAddress& address) const;
  void SetParent(std::size_t index, std::size_t parent);
  void FindParentsByName();
  void FindParentsByBusRange();
  void FindParentsInSegment(std::size_t begin, std::size_t end);
  void FindSlots();

  std::vector<FunctionRecord> functions_;
  std::unique_ptr<ReadyFunction[]> ready_;
  mutable std::atomic<std::size_t> shares_{1};
};

}  // namespace HostCtl
