#include "LivingProviders.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace zelInt {

namespace {

struct LivingProvider {
  const CmpiBaseMI* provider;
  const CMPIBroker* broker;
};

// Made before any library that uses this one, and so destroyed after its holders and their
// providers.
std::mutex mutex;
std::vector<LivingProvider> living;
std::atomic<const CMPIBroker*> last{nullptr};

auto findProvider(const void* handle) {
  return std::find_if(living.begin(), living.end(), [&](const LivingProvider& candidate) {
    return static_cast<const void*>(candidate.provider) == handle;
  });
}

}  // namespace

void providerMade(const CmpiBaseMI* provider, const CMPIBroker* broker) {
  const std::lock_guard<std::mutex> lock(mutex);
  living.push_back({provider, broker});
}

void providerGone(const CmpiBaseMI* provider) noexcept {
  const std::lock_guard<std::mutex> lock(mutex);
  const auto gone = findProvider(provider);
  if (gone == living.end()) return;
  const CMPIBroker* broker = gone->broker;
  living.erase(gone);
  last.compare_exchange_strong(broker, living.empty() ? nullptr : living.back().broker);
}

bool isLivingProvider(const void* handle) noexcept {
  const std::lock_guard<std::mutex> lock(mutex);
  return findProvider(handle) != living.end();
}

void brokerWrapped(const CMPIBroker* broker) noexcept {
  last.store(broker);
}

const CMPIBroker* lastBroker() noexcept {
  return last.load();
}

}  // namespace zelInt
