#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiStatus.h>

namespace zelInt {

namespace {

/// A string of the broker; null where it makes none.
CMPIString* stringOf(const CMPIBroker& broker, const std::string& text) noexcept {
  try {
    return askBroker<&CMPIBrokerEncFT::newString>("newString", broker, broker.eft, text.c_str());
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

CmpiStatus::CmpiStatus(const CMPIStatus& status) : code_(status.rc), message_(messageOf(status)) {}

CmpiStatus::~CmpiStatus() = default;
CmpiStatus::CmpiStatus(const CmpiStatus&) = default;
CmpiStatus& CmpiStatus::operator=(const CmpiStatus&) = default;

CMPIStatus CmpiStatus::toCmpi() const noexcept {
  if (message_.empty()) return {code_, nullptr};
  const CMPIBroker* broker = CmpiBroker::currentOrNull();
  return {code_, broker != nullptr ? stringOf(*broker, message_) : nullptr};
}

void CmpiStatus::check(const CMPIStatus& status, const char* what) {
  checkCall(status, what);
}

}  // namespace zelInt
