#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiArray.h>
#include <zelcppc/CmpiStatus.h>

#include "CurrentBroker.h"

namespace zelInt {

namespace {

const CMPIArray* newArray(CMPICount count, CMPIType type) {
  const CMPIBroker& broker = currentBroker();
  return askBrokerFor<&CMPIBrokerEncFT::newArray>("array", "newArray", broker, broker.eft, count,
                                                  type);
}

}  // namespace

// An element assigned to itself is read and stored again.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
CmpiArrayIdx& CmpiArrayIdx::operator=(const CmpiArrayIdx& other) {
  return *this = static_cast<CmpiData>(other);
}

CmpiArrayIdx::operator CmpiData() const {
  return CmpiData(ask<&CMPIArrayFT::getElementAt>("getElementAt", array_, index_));
}

CmpiArray::CmpiArray(CMPICount count, CMPIType type) : array_(newArray(count, type)), type_(type) {}

CmpiArray::CmpiArray(const CMPIArray* array)
    : array_(array), type_(ask<&CMPIArrayFT::getSimpleType>("getSimpleType", array)) {}

}  // namespace zelInt
