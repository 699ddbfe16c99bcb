#pragma once

#include <broker/broker.h>
#include <cmpi/cmpi.h>
#include <model/operations.h>
#include <mof/class_repository.h>

#include <string>

#include "broker_object.h"
#include "class_layout.h"
#include "path_object.h"

/// The function tables of the broker's record, each in a file of its own.
namespace cimom {

/// What the record's hdl points to.
struct Broker::State {
  explicit State(const ClassRepository& classes) : repository(&classes), layouts(classes) {}

  const ClassRepository* repository;
  /// Has a lock of its own.
  mutable ClassLayouts layouts;
  Operations* operations = nullptr;
  CMPIBroker record{};
};

inline const Broker::State* stateOf(const CMPIBroker* broker) {
  return broker != nullptr ? static_cast<const Broker::State*>(broker->hdl) : nullptr;
}

inline const char* orEmpty(const char* text) {
  return text != nullptr ? text : "";
}

/// True when there is a path, otherwise false with the status that says so.
inline bool checkPath(const CMPIObjectPath* path, CMPIStatus* status) {
  if (pathOf(path) != nullptr) return true;
  setStatus(status, CMPI_RC_ERR_INVALID_PARAMETER);
  return false;
}

/// What providers ask other providers through their broker.
const CMPIBrokerFT& upcallTable();
/// Makes objects and returns their types.
const CMPIBrokerEncFT& objectTable();
const CMPIBrokerMemFT& memoryTable();
/// Threads, keys, mutexes and conditions over POSIX.
const CMPIBrokerExtFT& operatingSystemTable();

}  // namespace cimom
