#include <zelcppc/CmpiBaseMI.h>
#include <zelcppc/CmpiProviderBase.h>

#include "LivingProviders.h"

namespace zelInt {

CmpiProviderBase::~CmpiProviderBase() {
  // The records go with the library of the holder: nothing writes to them any more.
  forgetRecordsOf(this);
  delete provider_.exchange(nullptr);
}

void CmpiProviderBase::noteRecord(const CmpiProviderBase& holder, void*& handle) {
  recordMade(handle, &holder);
}

bool CmpiProviderBase::decUseCount() {
  if (--useCount_ > 0) return false;
  useCount_ = 0;
  CmpiBaseMI* provider = provider_.exchange(nullptr);
  emptyRecordsOf(provider);
  delete provider;
  return true;
}

}  // namespace zelInt
