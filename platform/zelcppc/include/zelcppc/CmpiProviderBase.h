#pragma once

#include <zelcppc/Export.h>

#include <atomic>

namespace zelInt {

class CmpiBaseMI;

/// Remembers the one provider object of a class, how many factory calls handed it out, and the
/// records that name it. A provider that is still remembered when the holder dies (at unload: some
/// object managers clean up one record per library, not each) is destroyed with it.
class ZELCPPC_EXPORT CmpiProviderBase {
 public:
  CmpiProviderBase() = default;
  ~CmpiProviderBase();
  CmpiProviderBase(const CmpiProviderBase&) = delete;
  CmpiProviderBase& operator=(const CmpiProviderBase&) = delete;

  /// The remembered provider or null.
  CmpiBaseMI* getBaseMI() const noexcept { return provider_.load(); }
  /// Remembers the provider and owns it from now on.
  void setBaseMI(CmpiBaseMI* provider) noexcept { provider_.store(provider); }
  void incUseCount() noexcept { ++useCount_; }
  /// Makes a record of the class known by its handle, which names the provider and lives as long as
  /// the holder. When the provider goes, the handle is emptied: an object that lives at that
  /// address later is not the record's. A record that its factory does not make known is known from
  /// its first request on, and then serves no other class. Throws std::bad_alloc.
  void addRecord(void*& handle) {
    if (&noteRecord != nullptr) noteRecord(*this, handle);
  }
  /// One user less; the last one takes the provider with it, and all records of the class then name
  /// none. Returns whether it did.
  bool decUseCount();
  int useCount() const noexcept { return useCount_.load(); }

 private:
  ZELCPPC_OPTIONAL static void noteRecord(const CmpiProviderBase& holder, void*& handle);

  std::atomic<CmpiBaseMI*> provider_{nullptr};
  std::atomic<int> useCount_{0};
};

}  // namespace zelInt
