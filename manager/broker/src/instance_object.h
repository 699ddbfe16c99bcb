#pragma once

#include <cmpi/cmpi.h>

#include <model/operations.h>
#include <model/value.h>
#include <mof/class_repository.h>

#include <utility>

#include "broker_object.h"

namespace cimom {

/// A CMPIInstance. It takes properties of its class alone, in the types that the class declares.
struct InstanceObject : BrokerObject {
  using Record = CMPIInstance;
  static const CMPIInstanceFT table;
  InstanceObject(Instance value, const ClassRepository* classes)
      : handle{this, &table}, instance(std::move(value)), repository(classes) {}
  InstanceObject(const InstanceObject& other)
      : BrokerObject(other),
        handle{this, &table},
        instance(other.instance),
        repository(other.repository),
        filter(other.filter) {}
  InstanceObject& operator=(const InstanceObject&) = delete;
  const std::vector<NamedValue>& values() const { return instance.properties; }

  Record handle;
  Instance instance;
  const ClassRepository* repository;
  PropertyList filter;
};

CMPIInstance* makeInstance(Instance instance, const ClassRepository& repository);

}  // namespace cimom
