#pragma once

#include <zelcppc/CmpiData.h>

namespace zelInt {

/// Whether two values of keys are the same: text by its characters, integers by value whatever
/// their width, references as paths. Throws CmpiStatus when the broker fails a call.
bool sameValue(const CmpiData& left, const CmpiData& right);

}  // namespace zelInt
