#include "LivingProviders.h"

#include <zelcppc/CmpiBaseMI.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace zelInt {

namespace {

// A class has an instance and an association record; what else names its provider is looked up
// under the lock.
constexpr std::size_t kRecordsAtHand = 4;
// Object managers that copy records make ever new ones: those beyond are not remembered.
constexpr std::ptrdiff_t kMostRecordsPerClass = 16;

/// The place of a living provider. Requests walk the places without a lock, so a place is used
/// again but not given back before the library goes.
struct Place {
  explicit Place(Place* after) : next(after) {}

  std::atomic<const void*> provider{nullptr};
  /// Records known to be of the provider's class.
  std::array<std::atomic<const void*>, kRecordsAtHand> records{};
  Interfaces interfaces{};
  Place* const next;
  // Guarded by the lock.
  const CMPIBroker* broker = nullptr;
  unsigned long long age = 0;
};

struct KnownRecord {
  RecordIdentity identity;
  const CmpiProviderBase* holder;
  /// Null unless the factory made the record known.
  void** handle;
};

// Made before any library that uses this one, and so destroyed after its holders and their
// providers.
std::mutex mutex;
std::atomic<Place*> places{nullptr};
std::vector<std::unique_ptr<Place>> ownedPlaces;
std::vector<KnownRecord> known;
unsigned long long providersMade = 0;
std::atomic<const CMPIBroker*> last{nullptr};

Place* findPlace(const void* provider) noexcept {
  Place* place = places.load(std::memory_order_acquire);
  while (place != nullptr && place->provider.load(std::memory_order_acquire) != provider) {
    place = place->next;
  }
  return place;
}

Place& freePlace() {
  if (Place* free = findPlace(nullptr)) return *free;
  ownedPlaces.push_back(std::make_unique<Place>(places.load()));
  places.store(ownedPlaces.back().get(), std::memory_order_release);
  return *ownedPlaces.back();
}

const CMPIBroker* brokerOfYoungest() noexcept {
  const Place* youngest = nullptr;
  for (const Place* place = places.load(); place != nullptr; place = place->next) {
    if (place->provider.load() == nullptr) continue;
    if (youngest == nullptr || youngest->age < place->age) youngest = place;
  }
  return youngest != nullptr ? youngest->broker : nullptr;
}

bool isAtHand(const Place& place, const void* record) noexcept {
  return std::any_of(place.records.begin(), place.records.end(),
                     [record](const auto& one) { return one.load() == record; });
}

void putAtHand(Place& place, const void* record) noexcept {
  for (auto& one : place.records) {
    const void* none = nullptr;
    if (one.compare_exchange_strong(none, record)) return;
  }
}

/// The record by its place in memory, and unless a factory made it known, by its table: what no
/// factory made known may be a copy that the object manager put where another was.
auto findRecord(RecordIdentity identity) {
  return std::find_if(known.begin(), known.end(), [identity](const KnownRecord& record) {
    return record.identity.record == identity.record &&
           (record.handle != nullptr || record.identity.table == identity.table);
  });
}

/// Whether the record is of the holder's class; one that is not known yet becomes so.
bool belongsTo(const CmpiProviderBase* holder, RecordIdentity identity) {
  const auto found = findRecord(identity);
  if (found != known.end()) return found->holder == holder;
  const auto ofClass =
      std::count_if(known.begin(), known.end(),
                    [holder](const KnownRecord& record) { return record.holder == holder; });
  if (ofClass < kMostRecordsPerClass) known.push_back({identity, holder, nullptr});
  return true;
}

bool becomesAtHand(Place& place, const CmpiProviderBase* holder, RecordIdentity identity) noexcept {
  try {
    const std::lock_guard<std::mutex> lock(mutex);
    if (!belongsTo(holder, identity)) return false;
    putAtHand(place, identity.record);
    return true;
  } catch (...) {
    // Without memory to remember it the record serves as it did before.
    return true;
  }
}

}  // namespace

void providerMade(const CmpiBaseMI* provider, const CMPIBroker* broker) {
  const std::lock_guard<std::mutex> lock(mutex);
  Place& place = freePlace();
  place.broker = broker;
  place.age = ++providersMade;
  for (auto& record : place.records) record.store(nullptr);
  std::apply([](auto&... known) { (known.store(nullptr), ...); }, place.interfaces);
  place.provider.store(provider, std::memory_order_release);
}

void providerGone(const CmpiBaseMI* provider) noexcept {
  const std::lock_guard<std::mutex> lock(mutex);
  Place* place = findPlace(provider);
  if (place == nullptr) return;
  place->provider.store(nullptr);
  const CMPIBroker* broker = place->broker;
  last.compare_exchange_strong(broker, brokerOfYoungest());
}

void recordMade(void*& handle, const CmpiProviderBase* holder) {
  const std::lock_guard<std::mutex> lock(mutex);
  std::erase_if(known,
                [&](const KnownRecord& record) { return record.identity.record == &handle; });
  known.push_back({{&handle, nullptr}, holder, &handle});
}

void emptyRecordsOf(const CmpiBaseMI* provider) noexcept {
  const std::lock_guard<std::mutex> lock(mutex);
  for (const KnownRecord& record : known) {
    if (record.handle == nullptr) continue;
    const std::atomic_ref<void*> handle(*record.handle);
    void* named = const_cast<CmpiBaseMI*>(provider);
    handle.compare_exchange_strong(named, nullptr);
  }
}

void forgetRecordsOf(const CmpiProviderBase* holder) noexcept {
  const std::lock_guard<std::mutex> lock(mutex);
  std::erase_if(known, [holder](const KnownRecord& record) { return record.holder == holder; });
}

LivingProvider livingProvider(RecordIdentity record, void* handle) noexcept {
  if (handle == nullptr) return {};
  Place* place = findPlace(handle);
  if (place == nullptr) return {};
  auto* provider = static_cast<CmpiBaseMI*>(handle);
  const CmpiProviderBase* holder = provider->getProviderBase();
  const bool isOfClass =
      holder == nullptr || isAtHand(*place, record.record) || becomesAtHand(*place, holder, record);
  return isOfClass ? LivingProvider{provider, &place->interfaces} : LivingProvider{};
}

void brokerWrapped(const CMPIBroker* broker) noexcept {
  last.store(broker);
}

const CMPIBroker* lastBroker() noexcept {
  return last.load();
}

}  // namespace zelInt
