#pragma once

#include <cmpi/cmpi.h>

#include <string_view>
#include <utility>

#include "broker_object.h"
#include "shared_text.h"

namespace cimom {

/// A CMPIString.
struct StringObject : BrokerObject {
  using Record = CMPIString;
  static const CMPIStringFT table;
  explicit StringObject(SharedText value) : handle{this, &table}, text(std::move(value)) {}
  /// Providers may write into what they cloned.
  StringObject(const StringObject& other)
      : BrokerObject(other), handle{this, &table}, text(other.text.view()) {}
  StringObject& operator=(const StringObject&) = delete;
  Record handle;
  SharedText text;
};

/// A string of its own.
CMPIString* makeString(std::string_view text);
/// One through which a value is read: reads of the same text may share it.
CMPIString* makeString(SharedText text);

}  // namespace cimom
