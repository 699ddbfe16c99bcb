#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace HostCtl {

/// By the character's code; negative where it is no hex digit.
inline constexpr auto kHexValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (std::size_t digit = 0; digit < 16; ++digit) {
    const auto value = static_cast<std::int8_t>(digit);
    if (digit < 10) {
      values['0' + digit] = value;
    } else {
      values['a' + digit - 10] = values['A' + digit - 10] = value;
    }
  }
  return values;
}();

/// The value of a hex digit; -1 for any other character.
inline int HexValue(char c) {
  return kHexValues[static_cast<unsigned char>(c)];
}

}  // namespace HostCtl
