#pragma once

#include <cmpi/cmpi.h>

#include <utility>

#include "broker_object.h"
#include "stored_value.h"

namespace cimom {

/// A CMPIContext.
struct ContextObject : BrokerObject {
  using Record = CMPIContext;
  static const CMPIContextFT table;
  explicit ContextObject(StoredValues content)
      : handle{this, &table}, entries(std::move(content)) {}
  ContextObject(const ContextObject& other)
      : BrokerObject(other), handle{this, &table}, entries(other.entries) {}
  ContextObject& operator=(const ContextObject&) = delete;
  const StoredValues& values() const { return entries; }

  Record handle;
  StoredValues entries;
};

}  // namespace cimom
