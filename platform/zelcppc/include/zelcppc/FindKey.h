#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/BrokerCall.h>
#include <zelcppc/CmpiData.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiStatus.h>

#include <optional>

/// Here, and not in the library, so that a provider loads with every version of it.
#pragma GCC visibility push(hidden)
namespace zelInt {

/// Whether an object manager says by its code that a path lacks a key: they differ in it.
inline bool isMissingKey(CMPIrc code) noexcept {
  return code == CMPI_RC_ERR_NOT_FOUND || code == CMPI_RC_ERR_NO_SUCH_PROPERTY;
}

/// The key, as getKey returns it, or nothing where the path lacks it: an exception costs much where
/// paths without the key are nothing exceptional. Throws CmpiStatus when the broker fails
/// otherwise.
inline std::optional<CmpiData> findKey(const CmpiObjectPath& path, const char* name) {
  const CMPIObjectPath* handle = path.getHandle();
  if (handle != nullptr && handle->ft != nullptr && handle->ft->getKey != nullptr) {
    CMPIStatus status{CMPI_RC_OK, nullptr};
    const CmpiData value(handle->ft->getKey(handle, name, &status));
    if (isMissingKey(status.rc)) return std::nullopt;
    checkCall(status, "getKey");
    if ((value.raw().state & CMPI_notFound) == 0) return value;
  }
  // getKey names what is missing, and knows what else may be meant by the state.
  try {
    return path.getKey(name);
  } catch (const CmpiStatus& failure) {
    if (isMissingKey(failure.rc())) return std::nullopt;
    throw;
  }
}

}  // namespace zelInt
#pragma GCC visibility pop
