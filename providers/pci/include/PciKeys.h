#pragma once

#include "PciAnswers.h"

#include <zelcppc/CmpiString.h>

#include <optional>
#include <string>

/// Keys of the paths that clients send. All are safe on any thread.
namespace pciprovider {

/// The text of a path's key; null is empty. Throws CmpiStatus as the binding does.
inline std::string KeyText(const CmpiObjectPath& path, const char* key) {
  return zelInt::CmpiString(path.getKey(key)).charPtr();
}

/// The key, if the path has it. Other failures of the binding pass through.
inline std::optional<CmpiData> FindKey(const CmpiObjectPath& path, const char* key) {
  try {
    return path.getKey(key);
  } catch (const CmpiStatus& failure) {
    // Object managers differ in the code for a key that is not there.
    const CMPIrc code = failure.rc();
    if (code == CMPI_RC_ERR_NOT_FOUND || code == CMPI_RC_ERR_NO_SUCH_PROPERTY) return std::nullopt;
    throw;
  }
}

/// Its text, empty for a key that is null or that the path lacks.
inline std::string KeyTextOrEmpty(const CmpiObjectPath& path, const char* key) {
  const std::optional<CmpiData> value = FindKey(path, key);
  return value ? zelInt::CmpiString(*value).charPtr() : std::string();
}

}  // namespace pciprovider
