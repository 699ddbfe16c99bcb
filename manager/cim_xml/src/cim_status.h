#pragma once

#include <model/cim_error.h>

namespace cimom {

/// Status codes of DMTF DSP0200 that the C interface does not know; it leaves their numbers free.
constexpr auto kContinuationOnErrorNotSupported = static_cast<CMPIrc>(26);
constexpr auto kFilteredEnumerationNotSupported = static_cast<CMPIrc>(25);
constexpr auto kInvalidEnumerationContext = static_cast<CMPIrc>(21);
constexpr auto kInvalidOperationTimeout = static_cast<CMPIrc>(22);
constexpr auto kPullHasBeenAbandoned = static_cast<CMPIrc>(23);
constexpr auto kServerLimitsExceeded = static_cast<CMPIrc>(27);
constexpr auto kServerIsShuttingDown = static_cast<CMPIrc>(28);

}  // namespace cimom
