#pragma once

#include <array>
#include <cstdint>

namespace HostCtl {

/// By the character's code; negative where it is no hex digit.
inline constexpr auto kHexValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (int digit = 0; digit < 10; ++digit) values['0' + digit] = static_cast<std::int8_t>(digit);
  for (int digit = 10; digit < 16; ++digit) {
    values['a' + digit - 10] = values['A' + digit - 10] = static_cast<std::int8_t>(digit);
  }
  return values;
}();

/// The value of a hex digit; -1 for any other character.
inline int HexValue(char c) {
  return kHexValues[static_cast<unsigned char>(c)];
}

}  // namespace HostCtl
