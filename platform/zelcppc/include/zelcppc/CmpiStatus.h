#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/Export.h>

#include <string>
#include <utility>

namespace zelInt {

/// A CMPI return code with its text: what an operation returns, and what the binding throws when
/// the broker fails a call. It owns its text, so it may outlive the request.
///
///     return CmpiStatus(CMPI_RC_OK);
///     return {CMPI_RC_ERR_NOT_FOUND, "no such fan"};
///     throw CmpiStatus(CMPI_RC_ERR_FAILED, reason);  // from anywhere below an operation
class ZELCPPC_EXPORT CmpiStatus {
 public:
  explicit CmpiStatus(CMPIrc code) : code_(code) {}
  CmpiStatus(CMPIrc code, std::string message) : code_(code), message_(std::move(message)) {}
  /// Copies the message out of the broker's string.
  explicit CmpiStatus(const CMPIStatus& status);
  ~CmpiStatus();
  CmpiStatus(const CmpiStatus&);
  CmpiStatus& operator=(const CmpiStatus&);

  CMPIrc rc() const noexcept { return code_; }
  /// The message, empty when there is none.
  const char* msg() const noexcept { return message_.c_str(); }

  /// The C form; the message becomes a string of the current broker, or is dropped when the
  /// broker cannot make one. Never throws.
  CMPIStatus toCmpi() const noexcept;

  /// Throws this status unless it is OK. `what` names the failed call where the broker sent no
  /// text of its own.
  static void check(const CMPIStatus& status, const char* what);

 private:
  CMPIrc code_;
  std::string message_;
};

}  // namespace zelInt
