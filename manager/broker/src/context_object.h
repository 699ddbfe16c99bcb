#pragma once

#include <cmpi/cmpi.h>

#include <model/value.h>

#include <utility>
#include <vector>

#include "broker_object.h"

namespace cimom {

/// A CMPIContext.
struct ContextObject : BrokerObject {
  using Record = CMPIContext;
  static const CMPIContextFT table;
  explicit ContextObject(std::vector<NamedValue> content)
      : handle{this, &table}, entries(std::move(content)) {}
  ContextObject(const ContextObject& other)
      : BrokerObject(other), handle{this, &table}, entries(other.entries) {}
  ContextObject& operator=(const ContextObject&) = delete;
  const std::vector<NamedValue>& values() const { return entries; }

  Record handle;
  std::vector<NamedValue> entries;
};

}  // namespace cimom
