#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiObject.h>

#include "CurrentBroker.h"

namespace zelInt {

CmpiObject::~CmpiObject() = default;

CmpiString CmpiObject::toString() const {
  const CMPIBroker& broker = currentBroker();
  if (object_ == nullptr) throwNoSuchCall("toString");
  return CmpiString(askBroker<&CMPIBrokerEncFT::toString>("toString", broker, broker.eft, object_));
}

}  // namespace zelInt
