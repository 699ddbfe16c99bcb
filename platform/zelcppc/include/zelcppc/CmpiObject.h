#pragma once

#include <zelcppc/CmpiString.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// A handle on an object of the broker: cheap to copy, never released here. The object lives
/// until the request ends.
class ZELCPPC_EXPORT CmpiObject {
 public:
  virtual ~CmpiObject();

  /// The object as text, for logs. Throws CmpiStatus when the broker cannot make it.
  virtual CmpiString toString() const;

 protected:
  explicit CmpiObject(const void* object) : object_(object) {}
  CmpiObject(const CmpiObject&) = default;
  CmpiObject& operator=(const CmpiObject&) = default;

  const void* object() const noexcept { return object_; }

 private:
  const void* object_;
};

}  // namespace zelInt
