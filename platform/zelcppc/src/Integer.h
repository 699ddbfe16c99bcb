#pragma once

#include <cmpi/cmpi.h>

#include <cstdint>
#include <optional>

namespace zelInt {

/// An integer of any width as sign and magnitude, so that all widths compare by value.
struct Integer {
  bool negative;
  std::uint64_t magnitude;
  bool operator==(const Integer&) const = default;
};

inline Integer signedInteger(std::int64_t value) {
  const auto bits = static_cast<std::uint64_t>(value);
  return value < 0 ? Integer{true, 0 - bits} : Integer{false, bits};
}

/// The value if it is an integer; its state does not count.
inline std::optional<Integer> integerOf(const CMPIData& data) {
  switch (data.type) {
    case CMPI_uint8:
      return Integer{false, data.value.uint8};
    case CMPI_uint16:
      return Integer{false, data.value.uint16};
    case CMPI_uint32:
      return Integer{false, data.value.uint32};
    case CMPI_uint64:
      return Integer{false, data.value.uint64};
    case CMPI_sint8:
      return signedInteger(data.value.sint8);
    case CMPI_sint16:
      return signedInteger(data.value.sint16);
    case CMPI_sint32:
      return signedInteger(data.value.sint32);
    case CMPI_sint64:
      return signedInteger(data.value.sint64);
    default:
      return std::nullopt;
  }
}

}  // namespace zelInt
