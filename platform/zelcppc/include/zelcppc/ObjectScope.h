#pragma once

#include <zelcppc/Export.h>

namespace zelInt {

/// What a provider makes through the binding in the life of a scope, and does not hand on, ends
/// with the scope where the object manager is known to allow that, else with the request. So a long
/// listing needs no more memory than a short one:
///
///     for (const Fan& fan : fans) {
///       const ObjectScope each;
///       result.returnData(makeInstance(fan, properties));
///     }
///
/// No handle, and no text, that came of the broker in that time may be used afterwards. Scopes
/// nest. For the thread that made it, within one call of the provider.
class ZELCPPC_EXPORT ObjectScope {
 public:
  /// Throws CmpiStatus when the object manager says that nobody takes the answer any more.
  ZELCPPC_INLINE ObjectScope() {
    if (&begin != nullptr) mark_ = begin();
  }
  ZELCPPC_INLINE ~ObjectScope() {
    if (mark_ != nullptr) end(mark_);
  }
  ObjectScope(const ObjectScope&) = delete;
  ObjectScope& operator=(const ObjectScope&) = delete;

 private:
  /// Null where objects end with the request.
  ZELCPPC_OPTIONAL static const void* begin();
  ZELCPPC_OPTIONAL static void end(const void* mark) noexcept;

  const void* mark_ = nullptr;
};

}  // namespace zelInt
