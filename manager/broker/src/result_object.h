#pragma once

#include <cmpi/cmpi.h>

#include <broker/request_scope.h>

#include "broker_object.h"

namespace cimom {

/// A CMPIResult.
struct ResultObject : BrokerObject {
  using Record = CMPIResult;
  static const CMPIResultFT table;
  explicit ResultObject(RequestAnswers& where) : handle{this, &table}, answers(&where) {}
  ResultObject(const ResultObject& other)
      : BrokerObject(other), handle{this, &table}, answers(other.answers) {}
  ResultObject& operator=(const ResultObject&) = delete;
  Record handle;
  RequestAnswers* answers;
};

}  // namespace cimom
