#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiInstance.h>
#include <zelcppc/CmpiObjectPath.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// Where a request's answers go. Handing over never throws: some object managers refuse a second
/// instance or a second done of a get request, and what was delivered before must stay.
///
///     for (const Fan& fan : fans) result.returnData(makeInstance(fan, properties));
///     result.returnDone();  // once, also after nothing
///     return CmpiStatus(CMPI_RC_OK);
class ZELCPPC_EXPORT CmpiResult {
 public:
  explicit CmpiResult(const CMPIResult* result) : result_(result) {}

  void returnData(const CmpiInstance& instance) noexcept;
  void returnData(const CmpiObjectPath& path) noexcept;
  void returnDone() noexcept;

 private:
  const CMPIResult* result_;
};

}  // namespace zelInt
