#include <zelcppc/CmpiBroker.h>
#include <zelcppc/CmpiStatus.h>

#include <utility>

namespace zelInt {

namespace {

/// The text as far as the broker gives it: a failure must not hide the one that is being told.
const char* messageOf(const CMPIStatus& status) {
  if (status.msg == nullptr || status.msg->ft == nullptr) return "";
  const char* text = status.msg->ft->getCharPtr(status.msg, nullptr);
  return text != nullptr ? text : "";
}

}  // namespace

CmpiStatus::CmpiStatus(CMPIrc code, std::string message)
    : code_(code), message_(std::move(message)) {}

CmpiStatus::CmpiStatus(const CMPIStatus& status) : code_(status.rc), message_(messageOf(status)) {}

CmpiStatus::~CmpiStatus() = default;
CmpiStatus::CmpiStatus(const CmpiStatus&) = default;
CmpiStatus& CmpiStatus::operator=(const CmpiStatus&) = default;

CMPIStatus CmpiStatus::toCmpi() const noexcept {
  const CMPIBroker* broker = CmpiBroker::currentOrNull();
  if (message_.empty() || broker == nullptr) return {code_, nullptr};
  CMPIStatus made{CMPI_RC_OK, nullptr};
  CMPIString* text = broker->eft->newString(broker, message_.c_str(), &made);
  return {code_, made.rc == CMPI_RC_OK ? text : nullptr};
}

void CmpiStatus::check(const CMPIStatus& status, const char* what) {
  if (status.rc == CMPI_RC_OK) return;
  CmpiStatus failure(status);
  if (failure.message_.empty()) failure.message_ = std::string(what) + " failed";
  throw failure;
}

}  // namespace zelInt
