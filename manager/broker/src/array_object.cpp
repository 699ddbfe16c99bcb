#include "array_object.h"

#include <utility>

#include "cmpi_values.h"

namespace cimom {
namespace {

CMPICount arraySize(const CMPIArray* handle, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle, status);
  return array != nullptr ? static_cast<CMPICount>(array->elements.size()) : 0;
}

CMPIType arrayType(const CMPIArray* handle, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle, status);
  return array != nullptr ? cmpiTypeOf(array->type) : CMPIType{CMPI_null};
}

CMPIData arrayElementAt(const CMPIArray* handle, CMPICount index, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle);
  if (array == nullptr || index >= array->elements.size()) {
    return notFound(status, CMPI_RC_ERR_NO_SUCH_PROPERTY, "array index out of range");
  }
  setStatus(status, CMPI_RC_OK);
  return dataFrom(array->elements[index]);
}

CMPIStatus arraySetElementAt(const CMPIArray* handle, CMPICount index, const CMPIValue* value,
                             CMPIType type) {
  ArrayObject* array = get<ArrayObject>(handle);
  if (array == nullptr) return badHandle();
  if (index >= array->elements.size()) return {CMPI_RC_ERR_NO_SUCH_PROPERTY, nullptr};
  auto element = valueFrom(value, type);
  if (!element || element->isArray() || element->type() != array->type) {
    return {CMPI_RC_ERR_TYPE_MISMATCH, nullptr};
  }
  array->elements.set(index, *std::move(element));
  return okStatus();
}

}  // namespace

const CMPIArrayFT ArrayObject::table = {200,
                                        releaseObject<ArrayObject>,
                                        cloneObject<ArrayObject>,
                                        arraySize,
                                        arrayType,
                                        arrayElementAt,
                                        arraySetElementAt};

CMPIArray* makeArray(CMPICount size, CimType elementType) {
  return make<ArrayObject>(elementType, SharedElements(size, elementType));
}

}  // namespace cimom
