#include "function_record.h"

#include "hex_digit.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <limits>

namespace HostCtl {

namespace {

/// Puts a number's low hex digits at `at`; returns the place behind them.
char* PutHex(char* at, std::uint32_t number, unsigned digits) {
  for (unsigned i = 0; i < digits; ++i) {
    at[digits - 1 - i] = "0123456789abcdef"[number & 0xfU];
    number >>= 4U;
  }
  return at + digits;
}

unsigned HexDigitsOf(std::uint32_t number) {
  return (static_cast<unsigned>(std::bit_width(number)) + 3) / 4;
}

}  // namespace

// Requests over all functions ask for this text again and again, so it is made without a format.
std::string FunctionAddress::ToText() const {
  char text[sizeof "ssssssss:bb:dd.f"];
  char* end = PutHex(text, segment, std::max(4U, HexDigitsOf(segment)));
  *end++ = ':';
  end = PutHex(end, bus, 2);
  *end++ = ':';
  end = PutHex(end, device, 2);
  *end++ = '.';
  return {text, PutHex(end, function, 1)};
}

namespace {

/// Reads `least` to `most` hex digits followed by `end`; advances `at` behind it.
bool ReadHex(std::string_view text, std::size_t& at, std::size_t least, std::size_t most, char end,
             std::uint32_t& value) {
  std::size_t here = at;
  std::uint32_t number = 0;
  for (; here < text.size() && here - at < most && HexValue(text[here]) >= 0; ++here) {
    number = number * 16 + static_cast<std::uint32_t>(HexValue(text[here]));
  }
  if (here - at < least || here >= text.size() || text[here] != end) return false;
  at = here + 1;
  value = number;
  return true;
}

}  // namespace

std::size_t ParseAddress(std::string_view text, FunctionAddress& address) {
  std::uint32_t segment = 0;
  std::uint32_t bus = 0;
  std::uint32_t device = 0;
  std::size_t at = 0;
  const bool segmented = ReadHex(text, at, 4, 8, ':', segment);
  if (!segmented) at = 0;
  if (!ReadHex(text, at, 2, 2, ':', bus) || !ReadHex(text, at, 2, 2, '.', device)) return 0;
  if (device > 31 || at >= text.size() || text[at] < '0' || text[at] > '7') return 0;
  address = {segment, static_cast<std::uint8_t>(bus), static_cast<std::uint8_t>(device),
             static_cast<std::uint8_t>(text[at] - '0')};
  return at + 1;
}

std::optional<std::int32_t> LeadingNumber(std::string_view text) {
  std::uint32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  constexpr std::uint32_t kMost = std::numeric_limits<std::int32_t>::max();
  if (error != std::errc() || number > kMost) return std::nullopt;
  return static_cast<std::int32_t>(number);
}

}  // namespace HostCtl
