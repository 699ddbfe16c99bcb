#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiObject.h>

namespace zelInt {

CmpiObject::~CmpiObject() = default;

CmpiString CmpiObject::toString() const {
  const CMPIBroker& broker = CmpiBroker::current();
  if (object_ == nullptr) throwNoSuchCall("toString");
  return CmpiString(askBroker<&CMPIBrokerEncFT::toString>("toString", broker, broker.eft, object_));
}

}  // namespace zelInt
