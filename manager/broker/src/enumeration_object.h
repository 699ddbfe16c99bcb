#pragma once

#include <cmpi/cmpi.h>

#include <model/value.h>

#include <cstddef>
#include <utility>
#include <vector>

#include "broker_object.h"
#include "class_layout.h"

namespace cimom {

/// A CMPIEnumeration of paths or instances.
struct EnumerationObject : BrokerObject {
  using Record = CMPIEnumeration;
  static const CMPIEnumerationFT table;
  explicit EnumerationObject(std::vector<CMPIData> content)
      : handle{this, &table}, elements(std::move(content)) {}
  EnumerationObject(const EnumerationObject& other)
      : BrokerObject(other),
        handle{this, &table},
        elements(other.elements),
        position(other.position) {}
  EnumerationObject& operator=(const EnumerationObject&) = delete;
  Record handle;
  std::vector<CMPIData> elements;
  /// Of the element that comes next.
  std::size_t position = 0;
};

CMPIEnumeration* makeEnumeration(const std::vector<ObjectPath>& paths);
CMPIEnumeration* makeEnumeration(const std::vector<Instance>& instances, ClassLayouts& layouts);

}  // namespace cimom
