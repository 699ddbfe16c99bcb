#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiEnumeration.h>

namespace zelInt {

CmpiData CmpiEnumeration::getNext() {
  return CmpiData(ask<&CMPIEnumerationFT::getNext>("getNext", enumeration_));
}

bool CmpiEnumeration::hasNext() const {
  return ask<&CMPIEnumerationFT::hasNext>("hasNext", enumeration_) != 0;
}

}  // namespace zelInt
