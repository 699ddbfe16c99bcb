#include <zelcppc/CmpiEnumeration.h>
#include <zelcppc/CmpiStatus.h>

namespace zelInt {

CmpiData CmpiEnumeration::getNext() {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIData data = enumeration_->ft->getNext(enumeration_, &status);
  CmpiStatus::check(status, "getNext");
  return CmpiData(data);
}

bool CmpiEnumeration::hasNext() const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIBoolean more = enumeration_->ft->hasNext(enumeration_, &status);
  CmpiStatus::check(status, "hasNext");
  return more != 0;
}

}  // namespace zelInt
