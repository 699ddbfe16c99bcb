#pragma once

#include <cmpi/cmpi.h>

#include <broker/request_scope.h>

#include "broker_object.h"

namespace cimom {

/// A CMPIResult.
struct ResultObject : BrokerObject {
  using Record = CMPIResult;
  static const CMPIResultFT table;
  explicit ResultObject(AnswerReceiver& where) : handle{this, &table}, receiver(&where) {}
  ResultObject(const ResultObject& other)
      : BrokerObject(other), handle{this, &table}, receiver(other.receiver) {}
  ResultObject& operator=(const ResultObject&) = delete;
  Record handle;
  AnswerReceiver* receiver;
};

}  // namespace cimom
