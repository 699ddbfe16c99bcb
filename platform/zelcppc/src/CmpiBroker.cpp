#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiStatus.h>

#include "LivingProviders.h"

namespace zelInt {

namespace {

thread_local const CMPIBroker* currentOfThread = nullptr;

CmpiEnumeration checkedEnumeration(const CMPIEnumeration* enumeration, const CMPIStatus& status,
                                   const char* what) {
  CmpiStatus::check(status, what);
  if (enumeration == nullptr) {
    throw CmpiStatus(CMPI_RC_ERR_FAILED, std::string(what) + " gave no enumeration");
  }
  return CmpiEnumeration(enumeration);
}

}  // namespace

CmpiBroker::CmpiBroker(const CMPIBroker* broker) : broker_(broker) {
  brokerWrapped(broker);
}

CmpiEnumeration CmpiBroker::enumInstances(const CmpiContext& context,
                                          const CmpiObjectPath& classPath,
                                          const char** properties) const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIEnumeration* answer = broker_->bft->enumerateInstances(
      broker_, context.getHandle(), classPath.getHandle(), properties, &status);
  return checkedEnumeration(answer, status, "enumerateInstances");
}

CmpiEnumeration CmpiBroker::enumInstanceNames(const CmpiContext& context,
                                              const CmpiObjectPath& classPath) const {
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CMPIEnumeration* answer = broker_->bft->enumerateInstanceNames(
      broker_, context.getHandle(), classPath.getHandle(), &status);
  return checkedEnumeration(answer, status, "enumerateInstanceNames");
}

const CMPIBroker* CmpiBroker::currentOrNull() noexcept {
  return currentOfThread != nullptr ? currentOfThread : lastBroker();
}

const CMPIBroker& CmpiBroker::current() {
  const CMPIBroker* broker = currentOrNull();
  if (broker == nullptr) throw CmpiStatus(CMPI_RC_ERR_FAILED, "no broker serves this thread");
  return *broker;
}

CurrentBrokerScope::CurrentBrokerScope(const CMPIBroker* broker) noexcept
    : previous_(currentOfThread) {
  currentOfThread = broker;
}

CurrentBrokerScope::~CurrentBrokerScope() {
  currentOfThread = previous_;
}

}  // namespace zelInt
