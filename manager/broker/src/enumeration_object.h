#pragma once

#include <cmpi/cmpi.h>

#include <model/value.h>
#include <mof/class_repository.h>

#include <cstddef>
#include <vector>

#include "broker_object.h"

namespace cimom {

/// A CMPIEnumeration of paths or instances.
struct EnumerationObject : BrokerObject {
  using Record = CMPIEnumeration;
  static const CMPIEnumerationFT table;
  EnumerationObject() : handle{this, &table} {}
  EnumerationObject(const EnumerationObject& other)
      : BrokerObject(other), handle{this, &table}, elements(other.elements), next(other.next) {}
  EnumerationObject& operator=(const EnumerationObject&) = delete;
  Record handle;
  std::vector<CMPIData> elements;
  std::size_t next = 0;
};

CMPIEnumeration* makeEnumeration(std::vector<ObjectPath> paths);
CMPIEnumeration* makeEnumeration(std::vector<Instance> instances,
                                 const ClassRepository& repository);

}  // namespace cimom
