#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiContext.h>
#include <zelcppc/CmpiEnumeration.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// The object manager as a provider sees it. Object managers give each provider a broker of its
/// own, so new objects are made by the thread's current broker: the one of the provider that is
/// being called, or, outside a call, the last that was wrapped. When a provider goes, the broker of
/// the youngest one left takes over there from its own; a broker that is wrapped without a provider
/// must outlive the use of this library.
///
/// From an operation of a provider, what another provider serves:
///
///     const CmpiObjectPath fans("root/cimv2", "Acme_Fan");
///     CmpiEnumeration all = getBroker().enumInstances(ctx, fans, nullptr);
///     while (all.hasNext()) use(CmpiInstance(all.getNext()));
class ZELCPPC_EXPORT CmpiBroker {
 public:
  explicit CmpiBroker(const CMPIBroker* broker);

  /// Upcalls. They throw CmpiStatus when the object manager fails them.
  CmpiEnumeration enumInstances(const CmpiContext& context, const CmpiObjectPath& classPath,
                                const char** properties) const;
  CmpiEnumeration enumInstanceNames(const CmpiContext& context,
                                    const CmpiObjectPath& classPath) const;

  const CMPIBroker* getHandle() const noexcept { return broker_; }

  /// The broker that serves this thread now. Throws CmpiStatus when none does.
  static const CMPIBroker& current();
  /// The same, null when there is none.
  static const CMPIBroker* currentOrNull() noexcept;

 private:
  const CMPIBroker* broker_;
};

/// Makes a broker the thread's current one for the length of its life; calls nest.
class ZELCPPC_EXPORT CurrentBrokerScope {
 public:
  explicit CurrentBrokerScope(const CMPIBroker* broker) noexcept;
  ~CurrentBrokerScope();
  CurrentBrokerScope(const CurrentBrokerScope&) = delete;
  CurrentBrokerScope& operator=(const CurrentBrokerScope&) = delete;

 private:
  const CMPIBroker* previous_;
};

}  // namespace zelInt
