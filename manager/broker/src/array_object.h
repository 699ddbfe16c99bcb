#pragma once

#include <cmpi/cmpi.h>

#include <model/value.h>

#include <utility>

#include "broker_object.h"

namespace cimom {

/// A CMPIArray.
struct ArrayObject : BrokerObject {
  using Record = CMPIArray;
  static const CMPIArrayFT table;
  explicit ArrayObject(Value content) : handle{this, &table}, value(std::move(content)) {}
  ArrayObject(const ArrayObject& other)
      : BrokerObject(other), handle{this, &table}, value(other.value) {}
  ArrayObject& operator=(const ArrayObject&) = delete;
  Record handle;
  Value value;
};

/// An array of that many null elements.
CMPIArray* makeArray(CMPICount size, CimType elementType);

}  // namespace cimom
