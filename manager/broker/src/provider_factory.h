#pragma once

#include <broker/request_scope.h>
#include <cmpi/cmpi.h>
#include <model/cim_error.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "provider_call.h"

namespace cimom {

/// One factory of a library with the record that it makes on the first request. The factories of a
/// class share a mutex: providers test for their one object and make it without a lock of their
/// own.
template <class Record>
class ProviderFactory {
 public:
  ProviderFactory() = default;
  ProviderFactory(void* symbol, std::string name, std::shared_ptr<std::mutex> creation)
      : create_(reinterpret_cast<Create>(symbol)),
        name_(std::move(name)),
        creation_(std::move(creation)) {}

  bool exists() const { return create_ != nullptr; }

  Record& record(const CMPIBroker* broker) {
    const std::lock_guard<std::mutex> lock(*creation_);
    if (record_ == nullptr) record_ = make(broker);
    return *record_;
  }

  void cleanup() {
    if (record_ == nullptr) return;
    RequestScope scope;
    try {
      record_->ft->cleanup(record_, scope.newContext(kDefaultNameSpace, 0), 1);
    } catch (...) {
      // All is over; the other providers still want their turn.
    }
    record_ = nullptr;
  }

 private:
  static constexpr int kOldestInterface = 100;
  using Create = Record* (*)(const CMPIBroker*, const CMPIContext*, CMPIStatus*);

  Record* make(const CMPIBroker* broker) {
    RequestScope scope;
    CMPIStatus status{CMPI_RC_OK, nullptr};
    Record* made = nullptr;
    guarded("factory " + name_,
            [&] { made = create_(broker, scope.newContext(kDefaultNameSpace, 0), &status); });
    if (status.rc != CMPI_RC_OK) throw CimError(status.rc, messageOf(status));
    if (made == nullptr || made->ft == nullptr || made->ft->ftVersion < kOldestInterface) {
      throw CimError(CMPI_RC_ERR_FAILED, "factory " + name_ + " gave no usable record");
    }
    return made;
  }

  Create create_ = nullptr;
  std::string name_;
  Record* record_ = nullptr;
  std::shared_ptr<std::mutex> creation_;
};

/// What serves one class.
struct ClassProvider {
  std::shared_ptr<std::mutex> creation = std::make_shared<std::mutex>();
  ProviderFactory<CMPIInstanceMI> instance;
  ProviderFactory<CMPIAssociationMI> association;
};

}  // namespace cimom
