#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/BrokerCall.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// Text of the broker, valid until the request ends. A null string reads as empty text.
///
///     const CmpiString name(path.getKey("Name"));
///     if (std::strcmp(name.charPtr(), "fan0") == 0) result.returnData(makeFan(name.charPtr()));
class ZELCPPC_EXPORT CmpiString {
 public:
  /// Throws CmpiStatus when the broker cannot give the characters.
  ZELCPPC_INLINE explicit CmpiString(const CMPIString* string) : text_(charactersOf(string)) {}
  /// Text that is not the broker's; the caller keeps it alive.
  explicit CmpiString(const char* text) : text_(text != nullptr ? text : "") {}

  /// The characters, never null.
  const char* charPtr() const noexcept { return text_; }

 private:
  static const char* charactersOf(const CMPIString* string) {
    if (tableOf(string) == nullptr) return "";
    const char* text = ask<&CMPIStringFT::getCharPtr>("getCharPtr", string);
    return text != nullptr ? text : "";
  }

  const char* text_;
};

}  // namespace zelInt
