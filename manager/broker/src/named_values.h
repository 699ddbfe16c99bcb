#pragma once

#include <cmpi/cmpi.h>

#include "broker_object.h"
#include "cmpi_values.h"
#include "stored_value.h"
#include "string_object.h"

/// The functions by which a caller walks the keys of a path, the properties of an instance and the
/// entries of a context. The object has them as values().
namespace cimom {

template <class Object>
CMPIData valueAt(const typename Object::Record* handle, CMPICount index, CMPIString** name,
                 CMPIStatus* status) {
  const Object* object = get<Object>(handle);
  if (object == nullptr) return notFound(status, CMPI_RC_ERR_INVALID_HANDLE, "no such object");
  const StoredValues& values = object->values();
  if (index >= values.size()) {
    return notFound(status, CMPI_RC_ERR_NO_SUCH_PROPERTY, "index out of range");
  }
  setStatus(status, CMPI_RC_OK);
  if (name != nullptr) *name = makeString(values[index].name);
  return dataFrom(values[index].value);
}

template <class Object>
CMPICount valueCount(const typename Object::Record* handle, CMPIStatus* status) {
  const Object* object = get<Object>(handle, status);
  return object != nullptr ? static_cast<CMPICount>(object->values().size()) : 0;
}

}  // namespace cimom
