#pragma once

#include <cmpi/cmpi.h>

#include <model/value.h>

#include <utility>

#include "broker_object.h"

namespace cimom {

/// A CMPIObjectPath.
struct PathObject : BrokerObject {
  using Record = CMPIObjectPath;
  static const CMPIObjectPathFT table;
  explicit PathObject(ObjectPath value) : handle{this, &table}, path(std::move(value)) {}
  PathObject(const PathObject& other)
      : BrokerObject(other), handle{this, &table}, path(other.path) {}
  PathObject& operator=(const PathObject&) = delete;
  const std::vector<NamedValue>& values() const { return path.keys; }

  Record handle;
  ObjectPath path;
};

CMPIObjectPath* makePath(ObjectPath path);

/// The path behind a handle; null when there is none.
const ObjectPath* pathOf(const CMPIObjectPath* path);

}  // namespace cimom
