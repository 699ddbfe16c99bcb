#pragma once

#include <cmpi/cmpi.h>

#include <atomic>
#include <tuple>

/// What the process knows of its providers and their records. Object managers clean up one record
/// of a class more often than they made it, and free a provider's broker once the provider is gone;
/// nothing here may then lead to what was freed, nor to what lives at that address since. Safe from
/// any thread.
namespace zelInt {

class CmpiAssociationMI;
class CmpiBaseMI;
class CmpiInstanceMI;
class CmpiProviderBase;

/// A provider lives from its construction to its destruction. Its broker lives at least as long.
void providerMade(const CmpiBaseMI* provider, const CMPIBroker* broker);
void providerGone(const CmpiBaseMI* provider) noexcept;

/// A factory's record: its handle, with the holder of its class.
void recordMade(void*& handle, const CmpiProviderBase* holder);
/// Empties the handles of the records that name the provider, which is about to go.
void emptyRecordsOf(const CmpiBaseMI* provider) noexcept;
/// The holder is about to go, and its records with it.
void forgetRecordsOf(const CmpiProviderBase* holder) noexcept;

/// What distinguishes a record from others, also where its memory is used again.
struct RecordIdentity {
  const void* record;
  const void* table;
};

/// A provider's interfaces, each null until a request found it: a cast from the virtual base costs
/// more than all else that a request goes through on its way to the provider.
using Interfaces = std::tuple<std::atomic<CmpiInstanceMI*>, std::atomic<CmpiAssociationMI*>>;

/// A provider that lives; both pointers are null where none does.
struct LivingProvider {
  CmpiBaseMI* provider = nullptr;
  Interfaces* interfaces = nullptr;
};

/// The provider with that handle, if it lives and is of the class that the record belongs to. A
/// record that no factory made known belongs to the class of the first provider that it is used
/// with. Requests take no lock here but the first of each record.
LivingProvider livingProvider(RecordIdentity record, void* handle) noexcept;

/// The broker that serves outside of calls: the one that was wrapped last, until a provider that
/// was made with it goes, then that of the youngest provider; null when there is none.
void brokerWrapped(const CMPIBroker* broker) noexcept;
const CMPIBroker* lastBroker() noexcept;

}  // namespace zelInt
