#include <broker/broker.h>

#include "broker_tables.h"

namespace cimom {

Broker::Broker(const ClassRepository& repository, Operations* operations)
    : state_(std::make_unique<State>(repository)) {
  state_->operations = operations;
  state_->record = {state_.get(), &upcallTable(), &objectTable(), &operatingSystemTable(),
                    &memoryTable()};
}

Broker::~Broker() = default;

const CMPIBroker* Broker::record() const noexcept {
  return &state_->record;
}

}  // namespace cimom
