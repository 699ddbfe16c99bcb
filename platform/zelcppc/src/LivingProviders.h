#pragma once

#include <cmpi/cmpi.h>

/// What the process knows of its providers. Object managers clean up one record of a class more
/// often than they made it, and free a provider's broker once the provider is gone; nothing here
/// may then lead to what was freed. Safe from any thread.
namespace zelInt {

class CmpiBaseMI;

/// A provider lives from its construction to its destruction. Its broker lives at least as long.
void providerMade(const CmpiBaseMI* provider, const CMPIBroker* broker);
void providerGone(const CmpiBaseMI* provider) noexcept;
/// Whether a record's handle is that of a provider that lives; null is none.
bool isLivingProvider(const void* handle) noexcept;

/// The broker that serves outside of calls: the one that was wrapped last, until a provider that
/// was made with it goes, then that of the youngest provider; null when there is none.
void brokerWrapped(const CMPIBroker* broker) noexcept;
const CMPIBroker* lastBroker() noexcept;

}  // namespace zelInt
