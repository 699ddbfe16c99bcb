#pragma once

#include <cmpi/cmpi.h>

#include <model/operations.h>
#include <mof/class_repository.h>

#include <memory>

namespace cimom {

/// A CMPI broker. Every slot of its tables is there; what it does not do returns NOT_SUPPORTED.
/// The functions find their state through the record's hdl, so a copy of the record with other
/// tables works as well. Safe from any number of threads.
///
///     Broker broker(repository, &operations);
///     RequestScope scope;
///     CMPIInstanceMI* provider = create(broker.record(), scope.newContext("", 0), &status);
class Broker {
 public:
  /// `operations` are what a provider may ask for through the broker; without any, such requests
  /// are not supported. Both arguments outlive the broker.
  Broker(const ClassRepository& repository, Operations* operations);
  ~Broker();
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;

  const CMPIBroker* record() const noexcept;

  struct State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace cimom
