#include "array_object.h"

#include <memory>

#include "cmpi_values.h"

namespace cimom {
namespace {

CMPICount arraySize(const CMPIArray* handle, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle, status);
  return array != nullptr ? static_cast<CMPICount>(array->value.elements.size()) : 0;
}

CMPIType arrayType(const CMPIArray* handle, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle, status);
  return array != nullptr ? cmpiTypeOf(array->value.type) : CMPIType{CMPI_null};
}

CMPIData arrayElementAt(const CMPIArray* handle, CMPICount index, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle);
  if (array == nullptr || index >= array->value.elements.size()) {
    return notFound(status, CMPI_RC_ERR_NO_SUCH_PROPERTY, "array index out of range");
  }
  setStatus(status, CMPI_RC_OK);
  return dataFrom(array->value.elements[index], array->value.type);
}

CMPIStatus arraySetElementAt(const CMPIArray* handle, CMPICount index, const CMPIValue* value,
                             CMPIType type) {
  ArrayObject* array = get<ArrayObject>(handle);
  if (array == nullptr) return badHandle();
  if (index >= array->value.elements.size()) return {CMPI_RC_ERR_NO_SUCH_PROPERTY, nullptr};
  const auto element = valueFrom(value, type);
  if (!element || element->isArray || element->type != array->value.type) {
    return {CMPI_RC_ERR_TYPE_MISMATCH, nullptr};
  }
  array->value.elements[index] = element->isNull ? Scalar() : element->elements.front();
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
  Value value = Value::null(elementType, true);
  value.isNull = false;
  value.elements.resize(size);
  return keep(std::make_unique<ArrayObject>(std::move(value)));
}

}  // namespace cimom
