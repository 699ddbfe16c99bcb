#pragma once

#include <cmpi/cmpi.h>

#include <model/cim_type.h>

#include <utility>

#include "broker_object.h"
#include "stored_value.h"

namespace cimom {

/// A CMPIArray.
struct ArrayObject : BrokerObject {
  using Record = CMPIArray;
  static const CMPIArrayFT table;
  ArrayObject(CimType elementType, SharedElements content)
      : handle{this, &table}, type(elementType), elements(std::move(content)) {}
  ArrayObject(const ArrayObject& other)
      : BrokerObject(other), handle{this, &table}, type(other.type), elements(other.elements) {}
  ArrayObject& operator=(const ArrayObject&) = delete;
  Record handle;
  CimType type;
  /// Shared with the values that came of this array.
  SharedElements elements;
};

/// An array of that many null elements.
CMPIArray* makeArray(CMPICount size, CimType elementType);

}  // namespace cimom
