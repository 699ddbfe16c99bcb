#pragma once

#include <cmpi/cmpi.h>

#include <string>
#include <utility>

#include "broker_object.h"

namespace cimom {

/// A CMPIString.
struct StringObject : BrokerObject {
  using Record = CMPIString;
  static const CMPIStringFT table;
  explicit StringObject(std::string value) : handle{this, &table}, text(std::move(value)) {}
  StringObject(const StringObject& other)
      : BrokerObject(other), handle{this, &table}, text(other.text) {}
  StringObject& operator=(const StringObject&) = delete;
  Record handle;
  std::string text;
};

CMPIString* makeString(const std::string& text);

}  // namespace cimom
