#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiStatus.h>

#include "BrokerCall.h"

namespace zelInt {

namespace {

/// The text as far as the broker gives it: a failure must not hide the one that is reported.
const char* messageOf(const CMPIStatus& status) noexcept {
  const CMPIStringFT* table = tableOf(status.msg);
  if (table == nullptr || table->getCharPtr == nullptr) return "";
  try {
    const char* text = table->getCharPtr(status.msg, nullptr);
    return text != nullptr ? text : "";
  } catch (...) {
    return "";
  }
}

/// A string of the broker; null where it makes none.
CMPIString* stringOf(const CMPIBroker& broker, const std::string& text) noexcept {
  try {
    return askBroker<&CMPIBrokerEncFT::newString>("newString", broker, broker.eft, text.c_str());
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

void throwNoSuchCall(const char* name) {
  throw CmpiStatus(CMPI_RC_ERR_FAILED,
                   std::string(name) + " cannot be called: the object or the function is missing");
}

CmpiStatus::CmpiStatus(const CMPIStatus& status) : code_(status.rc), message_(messageOf(status)) {}

CmpiStatus::~CmpiStatus() = default;
CmpiStatus::CmpiStatus(const CmpiStatus&) = default;
CmpiStatus& CmpiStatus::operator=(const CmpiStatus&) = default;

CMPIStatus CmpiStatus::toCmpi() const noexcept {
  const CMPIBroker* broker = CmpiBroker::currentOrNull();
  if (message_.empty() || broker == nullptr) return {code_, nullptr};
  return {code_, stringOf(*broker, message_)};
}

void CmpiStatus::check(const CMPIStatus& status, const char* what) {
  if (status.rc == CMPI_RC_OK) return;
  CmpiStatus failure(status);
  if (failure.message_.empty()) failure.message_ = std::string(what) + " failed";
  throw failure;
}

}  // namespace zelInt
