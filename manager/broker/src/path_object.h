#pragma once

#include <cmpi/cmpi.h>

#include <utility>

#include "broker_object.h"
#include "stored_value.h"

namespace cimom {

/// A CMPIObjectPath.
struct PathObject : BrokerObject {
  using Record = CMPIObjectPath;
  static const CMPIObjectPathFT table;
  explicit PathObject(StoredPath value) : handle{this, &table}, path(std::move(value)) {}
  PathObject(const PathObject& other)
      : BrokerObject(other), handle{this, &table}, path(other.path) {}
  PathObject& operator=(const PathObject&) = delete;
  const StoredValues& values() const { return path.keys; }

  Record handle;
  StoredPath path;
  /// The string through which the first key is read, where whoever made the path has it ready. It
  /// has the key's text, and copies of the path do not share it.
  CMPIString* firstKey = nullptr;
};

CMPIObjectPath* makePath(StoredPath path);

/// The path behind a handle; null when there is none.
const StoredPath* pathOf(const CMPIObjectPath* path);

}  // namespace cimom
