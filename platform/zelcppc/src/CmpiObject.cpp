#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiObject.h>
#include <zelcppc/CmpiStatus.h>

namespace zelInt {

CmpiObject::~CmpiObject() = default;

CmpiString CmpiObject::toString() const {
  const CMPIBroker& broker = CmpiBroker::current();
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIString* text = broker.eft->toString(&broker, object_, &status);
  CmpiStatus::check(status, "toString");
  return CmpiString(text);
}

}  // namespace zelInt
