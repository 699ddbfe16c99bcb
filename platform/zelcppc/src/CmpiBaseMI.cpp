#include <zelcppc/CmpiBaseMI.h>
#include <zelcppc/CmpiProviderBase.h>

#include "Drive.h"

namespace zelInt {

namespace {

bool keepsProvider(CMPIrc code) {
  return code == CMPI_RC_DO_NOT_UNLOAD || code == CMPI_RC_NEVER_UNLOAD;
}

/// A provider that asks to stay keeps its user; any other code lets the user go.
CMPIStatus runCleanup(CmpiBaseMI& provider, CmpiContext& context, bool terminating) {
  return statusOf([&]() {
    if (!terminating && !provider.isUnloadable()) return CmpiStatus(CMPI_RC_DO_NOT_UNLOAD);
    return provider.cleanup(context, terminating);
  });
}

template <class Record>
CMPIStatus cleanupRecord(Record* record, const CMPIContext* cmpiContext,
                         bool terminating) noexcept {
  CmpiBaseMI* provider = providerOf(record).provider;
  // A record whose provider is gone has nothing left to do.
  if (provider == nullptr) return {CMPI_RC_OK, nullptr};
  const CurrentBrokerScope scope(provider->getBroker().getHandle());
  CmpiContext context(cmpiContext);
  const CMPIStatus status = runCleanup(*provider, context, terminating);
  if (keepsProvider(status.rc) && !terminating) return status;
  CmpiProviderBase* holder = provider->getProviderBase();
  if (holder != nullptr && holder->decUseCount()) emptyHandle(record);
  return status;
}

}  // namespace

CmpiBaseMI::CmpiBaseMI(const CmpiBroker& broker, const CmpiContext&) : broker_(broker) {
  providerMade(this, broker.getHandle());
}

CmpiBaseMI::~CmpiBaseMI() {
  providerGone(this);
}

CmpiStatus CmpiBaseMI::initialize(const CmpiContext&) {
  return CmpiStatus(CMPI_RC_OK);
}
CmpiStatus CmpiBaseMI::cleanup(CmpiContext&, bool) {
  return CmpiStatus(CMPI_RC_OK);
}
bool CmpiBaseMI::isUnloadable() const {
  return true;
}

CMPIStatus CmpiBaseMI::driveBaseCleanup(CMPIInstanceMI* mi, const CMPIContext* context,
                                        CMPIBoolean terminating) {
  return cleanupRecord(mi, context, terminating != 0);
}

CMPIStatus CmpiBaseMI::driveBaseCleanup(CMPIAssociationMI* mi, const CMPIContext* context,
                                        CMPIBoolean terminating) {
  return cleanupRecord(mi, context, terminating != 0);
}

}  // namespace zelInt
