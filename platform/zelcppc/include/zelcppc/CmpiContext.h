#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// The context of a call, valid for that call only.
class ZELCPPC_EXPORT CmpiContext {
 public:
  explicit CmpiContext(const CMPIContext* context) : context_(context) {}
  const CMPIContext* getHandle() const noexcept { return context_; }

 private:
  const CMPIContext* context_;
};

}  // namespace zelInt
