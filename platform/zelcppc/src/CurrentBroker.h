#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiBroker.h>

namespace zelInt {

/// The broker of the provider that this thread is calling; null outside of calls.
extern constinit thread_local const CMPIBroker* brokerOfCall;

/// The broker that serves this thread, as CmpiBroker::current returns it.
inline const CMPIBroker& currentBroker() {
  const CMPIBroker* broker = brokerOfCall;
  if (broker == nullptr) [[unlikely]]
    return CmpiBroker::current();
  return *broker;
}

/// As CurrentBrokerScope, for the calls that are made here.
class BrokerOfCall {
 public:
  explicit BrokerOfCall(const CMPIBroker* broker) noexcept
      : place_(brokerOfCall), previous_(place_) {
    place_ = broker;
  }
  ~BrokerOfCall() { place_ = previous_; }
  BrokerOfCall(const BrokerOfCall&) = delete;
  BrokerOfCall& operator=(const BrokerOfCall&) = delete;

 private:
  const CMPIBroker*& place_;
  const CMPIBroker* const previous_;
};

}  // namespace zelInt
