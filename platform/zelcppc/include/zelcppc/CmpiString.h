#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// Text of the broker, valid until the request ends. A null string reads as empty text.
///
///     const CmpiString name(path.getKey("Name"));
///     if (std::strcmp(name.charPtr(), "fan0") == 0) result.returnData(makeFan(name.charPtr()));
class ZELCPPC_EXPORT CmpiString {
 public:
  /// Throws CmpiStatus when the broker cannot give the characters.
  explicit CmpiString(const CMPIString* string);
  /// Text that is not the broker's; the caller keeps it alive.
  explicit CmpiString(const char* text) : text_(text != nullptr ? text : "") {}

  /// The characters, never null.
  const char* charPtr() const noexcept { return text_; }

 private:
  const char* text_;
};

}  // namespace zelInt
