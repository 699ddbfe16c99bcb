#pragma once

#include <cmpi/cmpi.h>

#include <model/value.h>

#include <memory>
#include <utility>

#include "broker_object.h"
#include "class_layout.h"
#include "name_set.h"
#include "stored_value.h"

namespace cimom {

/// A CMPIInstance. It takes properties of its class alone, in the types that the class declares.
struct InstanceObject : BrokerObject {
  using Record = CMPIInstance;
  static const CMPIInstanceFT table;
  /// `classLayout` is that of the path's class and outlives the object.
  InstanceObject(StoredPath itsPath, StoredValues values, const ClassLayout* classLayout)
      : handle{this, &table},
        path(std::move(itsPath)),
        properties(std::move(values)),
        layout(classLayout) {}
  InstanceObject(const InstanceObject& other)
      : BrokerObject(other),
        handle{this, &table},
        path(other.path),
        properties(other.properties),
        layout(other.layout),
        filter(other.filter) {}
  InstanceObject& operator=(const InstanceObject&) = delete;
  const StoredValues& values() const { return properties; }

  Record handle;
  StoredPath path;
  StoredValues properties;
  const ClassLayout* layout;
  /// The names of what it takes; null when it takes all.
  std::shared_ptr<const NameSet> filter;
};

/// `layout` is that of the instance's class.
CMPIInstance* makeInstance(const Instance& instance, const ClassLayout& layout);

}  // namespace cimom
