#include <zelcppc/CmpiBaseMI.h>
#include <zelcppc/CmpiProviderBase.h>

namespace zelInt {

CmpiProviderBase::~CmpiProviderBase() {
  delete provider_.exchange(nullptr);
}

bool CmpiProviderBase::decUseCount() {
  if (--useCount_ > 0) return false;
  useCount_ = 0;
  delete provider_.exchange(nullptr);
  return true;
}

}  // namespace zelInt
