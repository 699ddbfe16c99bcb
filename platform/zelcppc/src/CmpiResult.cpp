#include <zelcppc/CmpiResult.h>

namespace zelInt {

namespace {

/// Hands something over. The broker's status does not count, and what it throws ends here.
template <auto Slot, class... Arguments>
void handOver(const CMPIResult* result, Arguments... arguments) noexcept {
  if (result == nullptr || result->ft == nullptr || result->ft->*Slot == nullptr) return;
  try {
    (result->ft->*Slot)(result, arguments...);
  } catch (...) {
    // A result has no way to report it.
  }
}

}  // namespace

void CmpiResult::returnData(const CmpiInstance& instance) noexcept {
  if (instance.getHandle() == nullptr) return;
  handOver<&CMPIResultFT::returnInstance>(result_, instance.getHandle());
}

void CmpiResult::returnData(const CmpiObjectPath& path) noexcept {
  if (path.getHandle() == nullptr) return;
  handOver<&CMPIResultFT::returnObjectPath>(result_, path.getHandle());
}

void CmpiResult::returnDone() noexcept {
  handOver<&CMPIResultFT::returnDone>(result_);
}

}  // namespace zelInt
