#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace HostCtl {

/// The bytes of one function's configuration space as far as they were read. Nothing is assumed
/// beyond the bytes that are there: a register of which a byte is missing reads as 0. It is a place
/// to decode from, too large to be kept for each function.
class ConfigSpace {
 public:
  /// What PCI has; a capability of the standard list lies in these. PCI Express extends them.
  static constexpr std::size_t kStandardBytes = 256;
  static constexpr std::size_t kMostBytes = 4096;

  /// Puts `count` bytes at `offset`; those between the last one and them are missing. Nothing
  /// beyond kMostBytes.
  void Put(std::size_t offset, const std::uint8_t* bytes, std::size_t count);
  /// Forgets every byte from `offset` on.
  void CutAt(std::size_t offset);

  /// Whether every one of `count` bytes is there.
  bool Has(std::size_t offset, std::size_t count = 1) const;
  /// Behind the last byte that is there.
  std::size_t End() const { return end_; }

  std::uint8_t Byte(std::size_t offset) const;
  /// Little-endian.
  std::uint16_t Word(std::size_t offset) const;
  std::uint32_t Long(std::size_t offset) const;

 private:
  std::array<std::uint8_t, kMostBytes> bytes_{};
  std::array<bool, kMostBytes> there_{};
  std::size_t end_ = 0;
};

}  // namespace HostCtl
