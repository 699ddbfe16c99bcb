#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiData.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/CmpiStatus.h>

#include <optional>

/// Here, and not in the library, so that providers load with every version of it.
#pragma GCC visibility push(hidden)
namespace zelInt {

/// Whether an object manager says by its code that a path lacks a key: they differ in it.
inline bool isMissingKey(CMPIrc code) noexcept {
  return code == CMPI_RC_ERR_NOT_FOUND || code == CMPI_RC_ERR_NO_SUCH_PROPERTY;
}

/// The key, as getKey returns it, or nothing where the path lacks it: paths without a key are
/// nothing exceptional where any object may come. Throws CmpiStatus when the broker fails
/// otherwise.
inline std::optional<CmpiData> findKey(const CmpiObjectPath& path, const char* name) {
  const CMPIObjectPath* handle = path.getHandle();
  // getKey names what is missing.
  if (handle == nullptr || handle->ft == nullptr || handle->ft->getKey == nullptr) {
    return path.getKey(name);
  }
  CMPIStatus status{CMPI_RC_OK, nullptr};
  const CmpiData value(handle->ft->getKey(handle, name, &status));
  if (isMissingKey(status.rc)) return std::nullopt;
  CmpiStatus::check(status, "getKey");
  if ((value.raw().state & CMPI_notFound) != 0 && !value.holdsObject()) return std::nullopt;
  return value;
}

}  // namespace zelInt
#pragma GCC visibility pop
