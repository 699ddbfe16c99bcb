#pragma once

#include <cmpi/cmpi.h>
#include <zelcppc/CmpiData.h>
#include <zelcppc/Export.h>

namespace zelInt {

/// The answer to an upcall (see CmpiBroker). Elements are instances or paths, as the upcall says.
class ZELCPPC_EXPORT CmpiEnumeration {
 public:
  explicit CmpiEnumeration(const CMPIEnumeration* enumeration) : enumeration_(enumeration) {}

  /// The next element. Throws CmpiStatus when there is none or the broker fails.
  CmpiData getNext();
  bool hasNext() const;

 private:
  const CMPIEnumeration* enumeration_;
};

}  // namespace zelInt
