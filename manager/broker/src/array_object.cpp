#include "array_object.h"

#include <memory>
#include <utility>

#include "cmpi_values.h"

namespace cimom {
namespace {

CMPICount arraySize(const CMPIArray* handle, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle, status);
  return array != nullptr ? static_cast<CMPICount>(array->elements->size()) : 0;
}

CMPIType arrayType(const CMPIArray* handle, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle, status);
  return array != nullptr ? cmpiTypeOf(array->type) : CMPIType{CMPI_null};
}

CMPIData arrayElementAt(const CMPIArray* handle, CMPICount index, CMPIStatus* status) {
  const ArrayObject* array = get<ArrayObject>(handle);
  if (array == nullptr || index >= array->elements->size()) {
    return notFound(status, CMPI_RC_ERR_NO_SUCH_PROPERTY, "array index out of range");
  }
  setStatus(status, CMPI_RC_OK);
  return dataFrom((*array->elements)[index]);
}

CMPIStatus arraySetElementAt(const CMPIArray* handle, CMPICount index, const CMPIValue* value,
                             CMPIType type) {
  ArrayObject* array = get<ArrayObject>(handle);
  if (array == nullptr) return badHandle();
  if (index >= array->elements->size()) return {CMPI_RC_ERR_NO_SUCH_PROPERTY, nullptr};
  auto element = valueFrom(value, type);
  if (!element || element->isArray() || element->type() != array->type) {
    return {CMPI_RC_ERR_TYPE_MISMATCH, nullptr};
  }
  auto changed = std::make_shared<StoredElements>(*array->elements);
  (*changed)[index] = *std::move(element);
  array->elements = std::move(changed);
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
  return make<ArrayObject>(elementType,
                           std::make_shared<const StoredElements>(size, StoredValue(elementType)));
}

}  // namespace cimom
