#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiStatus.h>

#include "CurrentBroker.h"
#include "LivingProviders.h"

namespace zelInt {

constinit thread_local const CMPIBroker* brokerOfCall = nullptr;

namespace {

/// Makes an upcall. Object managers take the context of the request for granted.
template <auto Slot, class... Arguments>
CmpiEnumeration enumerate(const char* name, const CMPIBroker* broker, const CMPIContext* context,
                          Arguments... arguments) {
  if (broker == nullptr || context == nullptr) throwNoSuchCall(name);
  return CmpiEnumeration(
      askBrokerFor<Slot>("enumeration", name, *broker, broker->bft, context, arguments...));
}

}  // namespace

CmpiBroker::CmpiBroker(const CMPIBroker* broker) : broker_(broker) {
  brokerWrapped(broker);
}

CmpiEnumeration CmpiBroker::enumInstances(const CmpiContext& context,
                                          const CmpiObjectPath& classPath,
                                          const char** properties) const {
  return enumerate<&CMPIBrokerFT::enumerateInstances>(
      "enumerateInstances", broker_, context.getHandle(), classPath.getHandle(), properties);
}

CmpiEnumeration CmpiBroker::enumInstanceNames(const CmpiContext& context,
                                              const CmpiObjectPath& classPath) const {
  return enumerate<&CMPIBrokerFT::enumerateInstanceNames>(
      "enumerateInstanceNames", broker_, context.getHandle(), classPath.getHandle());
}

const CMPIBroker* CmpiBroker::currentOrNull() noexcept {
  const CMPIBroker* broker = brokerOfCall;
  return broker != nullptr ? broker : lastBroker();
}

const CMPIBroker& CmpiBroker::current() {
  const CMPIBroker* broker = currentOrNull();
  if (broker == nullptr) throw CmpiStatus(CMPI_RC_ERR_FAILED, "no broker serves this thread");
  return *broker;
}

CurrentBrokerScope::CurrentBrokerScope(const CMPIBroker* broker) noexcept
    : previous_(brokerOfCall) {
  brokerOfCall = broker;
}

CurrentBrokerScope::~CurrentBrokerScope() {
  brokerOfCall = previous_;
}

}  // namespace zelInt
