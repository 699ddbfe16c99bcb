#include <zelcppc/CmpiResult.h>

namespace zelInt {

void CmpiResult::returnData(const CmpiInstance& instance) noexcept {
  result_->ft->returnInstance(result_, instance.getHandle());
}

void CmpiResult::returnData(const CmpiObjectPath& path) noexcept {
  result_->ft->returnObjectPath(result_, path.getHandle());
}

void CmpiResult::returnDone() noexcept {
  result_->ft->returnDone(result_);
}

}  // namespace zelInt
