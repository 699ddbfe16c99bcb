#pragma once

#include <zelcppc/CmpiBaseMI.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiResult.h>
#include <zelcppc/CmpiStatus.h>

#include "CurrentBroker.h"
#include "LivingProviders.h"

#include <atomic>
#include <exception>
#include <tuple>
#include <type_traits>

namespace zelInt {

/// Runs `operation` and returns its status; what it throws becomes a status too, since no
/// exception may cross into the object manager.
template <class Operation>
CMPIStatus statusOf(Operation operation) noexcept {
  try {
    try {
      return operation().toCmpi();
    } catch (const CmpiStatus& status) {
      return status.toCmpi();
    } catch (const std::exception& failure) {
      return CmpiStatus(CMPI_RC_ERR_FAILED, failure.what()).toCmpi();
    }
  } catch (...) {
    return {CMPI_RC_ERR_FAILED, nullptr};
  }
}

/// A record's handle, which a cleanup on another thread may empty.
template <class Record>
std::atomic_ref<void*> handleOf(const Record* record) noexcept {
  return std::atomic_ref<void*>(const_cast<void*&>(record->hdl));
}

template <class Record>
void emptyHandle(Record* record) noexcept {
  handleOf(record).store(nullptr);
}

/// The provider that the record names; null when it names none, one that is gone (its last user may
/// have left through another record of its class), or another class's at the same address.
template <class Record>
LivingProvider providerOf(const Record* record) noexcept {
  if (record == nullptr) return {};
  return livingProvider({record, record->ft}, handleOf(record).load());
}

/// The provider seen as `Interface`; null where it lacks it.
template <class Interface>
Interface* interfaceOf(const LivingProvider& living) {
  auto& known = std::get<std::atomic<Interface*>>(*living.interfaces);
  Interface* found = known.load();
  if (found == nullptr) {
    found = dynamic_cast<Interface*>(living.provider);
    known.store(found);
  }
  return found;
}

/// Calls `operation` on the record's provider, seen as `Interface`, with the provider's broker as
/// the thread's current one.
template <class Interface, class Record, class Operation>
CMPIStatus drive(const Record* record, Operation operation) noexcept {
  const LivingProvider living = providerOf(record);
  if (living.provider == nullptr) return {CMPI_RC_ERR_FAILED, nullptr};
  const BrokerOfCall call(living.provider->getBroker().getHandle());
  return statusOf([&]() {
    auto* provider = interfaceOf<Interface>(living);
    if (provider == nullptr) {
      throw CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED, "the provider lacks this interface");
    }
    return operation(*provider);
  });
}

/// What an operation returns that a provider does not override.
inline CmpiStatus notSupported() {
  return CmpiStatus(CMPI_RC_ERR_NOT_SUPPORTED);
}

/// Calls a provider's operation with the request's context, result and path as objects of the
/// binding, and each of `others` as the operation takes it.
template <class Interface, class Record, class... Parameters, class... Others>
CMPIStatus driveRequest(const Record* record, const CMPIContext* ctx, const CMPIResult* rslt,
                        const CMPIObjectPath* cop,
                        CmpiStatus (Interface::*operation)(const CmpiContext&, CmpiResult&,
                                                           const CmpiObjectPath&, Parameters...),
                        Others... others) noexcept {
  return drive<Interface>(record, [&](Interface& provider) {
    CmpiResult result(rslt);
    return (provider.*operation)(CmpiContext(ctx), result, CmpiObjectPath(cop),
                                 std::remove_cvref_t<Parameters>(others)...);
  });
}

}  // namespace zelInt
