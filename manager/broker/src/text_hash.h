#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace cimom {

/// Hashes short texts eight bytes at a time, with the given bits of each set. Its low bits are as
/// good as the others.
inline std::size_t hashText(std::string_view text, std::uint64_t bits = 0) noexcept {
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  constexpr std::uint64_t kOddFactor = 0x9e3779b97f4a7c15;
  std::uint64_t hash = text.size();
  const auto mix = [&hash, bits](const char* bytes, std::size_t count) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, count);
    hash = (hash ^ (word | bits)) * kOddFactor;
    hash ^= hash >> 32U;
  };
  if (text.size() < kWord) {
    mix(text.data(), text.size());
    return static_cast<std::size_t>(hash);
  }
  for (std::size_t at = 0; at + kWord < text.size(); at += kWord) mix(text.data() + at, kWord);
  mix(text.data() + text.size() - kWord, kWord);
  return static_cast<std::size_t>(hash);
}

}  // namespace cimom
