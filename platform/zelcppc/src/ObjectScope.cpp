#include <zelcppc/ObjectScope.h>

#include <cmpi/embedded_broker.h>
#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiBroker.h>

namespace zelInt {

// Other object managers are not asked: what they do with marks is not known.
const void* ObjectScope::begin() {
  const CMPIBroker* broker = CmpiBroker::currentOrNull();
  if (!cmpi::isEmbedded(broker) || broker->mft == nullptr) return nullptr;
  return askBroker<&CMPIBrokerMemFT::mark>("mark", *broker, broker->mft);
}

// A release that fails leaves the objects to the request.
void ObjectScope::end(const void* mark) noexcept {
  const CMPIBroker* broker = CmpiBroker::currentOrNull();
  if (broker == nullptr || broker->mft == nullptr || broker->mft->release == nullptr) return;
  broker->mft->release(broker, mark);
}

}  // namespace zelInt
