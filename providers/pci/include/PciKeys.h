#pragma once

#include "PciAnswers.h"

#include <zelcppc/CmpiString.h>
#include <zelcppc/FindKey.h>

#include <optional>
#include <string_view>

/// Keys of the paths that clients send. All are safe on any thread.
namespace pciprovider {

/// The text of a path's key; null is empty. It lasts as long as the request, and a zero follows it.
/// Throws CmpiStatus as the binding does.
inline std::string_view KeyText(const CmpiObjectPath& path, const char* key) {
  return zelInt::CmpiString(path.getKey(key)).charPtr();
}

/// The key's text, if it is one that the path has. Failures of the binding pass through.
inline std::optional<std::string_view> TextIfAny(const CmpiObjectPath& path, const char* key) {
  const std::optional<CmpiData> value = zelInt::findKey(path, key);
  const bool isText = value && (value->type() == CMPI_string || value->type() == CMPI_chars);
  if (!isText) return std::nullopt;
  return zelInt::CmpiString(*value).charPtr();
}

/// Its text, empty for a key that is null or that the path lacks. Other failures of the binding
/// pass through.
inline std::string_view KeyTextOrEmpty(const CmpiObjectPath& path, const char* key) {
  const std::optional<CmpiData> value = zelInt::findKey(path, key);
  return value ? zelInt::CmpiString(*value).charPtr() : std::string_view();
}

}  // namespace pciprovider
