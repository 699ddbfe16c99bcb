#pragma once

#include <cmpi/cmpi.h>

#include <cstring>

namespace cmpi {

/// CMPIBrokerFT::brokerName of the object manager of this project. It alone is known to end at once
/// what CMPIBrokerMemFT::release is asked to end, and to fail CMPIBrokerMemFT::mark once nobody
/// takes the answer of a request any more.
inline constexpr char kEmbeddedBrokerName[] = "pciprovider embedded object manager";

/// Whether the broker, which may be null, is that one. Safe from any thread.
inline bool isEmbedded(const CMPIBroker* broker) noexcept {
  return broker != nullptr && broker->bft != nullptr && broker->bft->brokerName != nullptr &&
         std::strcmp(broker->bft->brokerName, kEmbeddedBrokerName) == 0;
}

}  // namespace cmpi
