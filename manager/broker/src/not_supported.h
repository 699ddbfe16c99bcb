#pragma once

#include <cmpi/cmpi.h>

#include <type_traits>

#include "broker_object.h"
#include "cmpi_values.h"

/// Functions for the slots of a table that the broker does not serve.
namespace cimom {

template <class Function>
struct NotSupported;

inline void reportNotSupported(CMPIStatus* status) {
  setStatus(status, CMPI_RC_ERR_NOT_SUPPORTED);
}
template <class Other>
void reportNotSupported(const Other&) {}

template <class Answer, class... Arguments>
struct NotSupported<Answer (*)(Arguments...)> {
  static Answer function(Arguments... arguments) {
    (reportNotSupported(arguments), ...);
    if constexpr (std::is_same_v<Answer, CMPIStatus>) {
      return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
    } else if constexpr (std::is_same_v<Answer, CMPIData>) {
      return nullData(CMPI_null);
    } else if constexpr (!std::is_void_v<Answer>) {
      return Answer{};
    }
  }
};

/// A function of any signature that returns "not supported": as its status, or through its status
/// argument with a null or empty value.
template <class Function>
constexpr Function notSupported() {
  return &NotSupported<Function>::function;
}

}  // namespace cimom
