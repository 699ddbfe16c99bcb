#include <zelcppc/CmpiArray.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiStatus.h>

namespace zelInt {

namespace {

const CMPIArray* newArray(CMPICount count, CMPIType type) {
  const CMPIBroker& broker = CmpiBroker::current();
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIArray* array = broker.eft->newArray(&broker, count, type, &status);
  CmpiStatus::check(status, "newArray");
  if (array == nullptr) throw CmpiStatus(CMPI_RC_ERR_FAILED, "newArray gave no array");
  return array;
}

}  // namespace

CmpiArrayIdx& CmpiArrayIdx::operator=(const CmpiData& value) {
  CmpiStatus::check(array_->ft->setElementAt(array_, index_, value.valuePointer(), value.type()),
                    "setElementAt");
  return *this;
}

// An element assigned to itself is read and stored again.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
CmpiArrayIdx& CmpiArrayIdx::operator=(const CmpiArrayIdx& other) {
  return *this = static_cast<CmpiData>(other);
}

CmpiArrayIdx::operator CmpiData() const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIData data = array_->ft->getElementAt(array_, index_, &status);
  CmpiStatus::check(status, "getElementAt");
  return CmpiData(data);
}

CmpiArray::CmpiArray(CMPICount count, CMPIType type) : array_(newArray(count, type)), type_(type) {}

CmpiArray::CmpiArray(const CMPIArray* array) : array_(array), type_(CMPI_null) {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  type_ = array->ft->getSimpleType(array, &status);
  CmpiStatus::check(status, "getSimpleType");
}

CmpiArrayIdx CmpiArray::operator[](int index) const {
  return CmpiArrayIdx(array_, static_cast<CMPICount>(index));
}

}  // namespace zelInt
