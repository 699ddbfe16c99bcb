#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace HostCtl {

/// A function's configuration space as far as it was read (up to 4096 bytes), and what it says.
/// Nothing is assumed beyond the bytes that are there: a register of which a byte is missing
/// answers 0.
class ConfigSpace {
 public:
  static constexpr std::size_t kMostBytes = 4096;
  static constexpr std::uint8_t kUnknownHeader = 0x7f;

  ConfigSpace() = default;
  explicit ConfigSpace(std::vector<std::uint8_t> bytes);

  /// Adds a byte; those between the last one and it are missing. Nothing beyond kMostBytes.
  void Put(std::size_t offset, std::uint8_t byte);
  /// Whether every one of `count` bytes is there.
  bool Has(std::size_t offset, std::size_t count = 1) const;

  std::uint8_t Byte(std::size_t offset) const;
  /// Little-endian.
  std::uint16_t Word(std::size_t offset) const;
  std::uint32_t Long(std::size_t offset) const;

  /// Offset 0x0e, bits 6:0; kUnknownHeader when it is missing.
  std::uint8_t HeaderType() const;
  /// Offset 0x00, and likewise below; see the accessors of PciDevice.
  std::uint16_t VendorId() const;
  std::uint16_t DeviceId() const;
  std::uint16_t ClassCode() const;
  std::uint8_t RevisionId() const;
  std::uint16_t SubsystemVendorId() const;
  std::uint16_t SubsystemId() const;
  /// Offsets 0x19 and 0x1a of header types 1 and 2, else 0.
  std::uint8_t SecondaryBus() const;
  std::uint8_t SubordinateBus() const;
  bool IsBridgeHeader() const;

  /// Where the standard capability list holds the id; 0 when it does not.
  std::size_t FindCapability(std::uint8_t id) const;
  /// PCI Express capability, flags register, bits 7:4; -1 without the capability.
  std::int32_t PcieDeviceType() const;
  /// CIM capability values, ascending, each once.
  std::vector<std::uint32_t> CimCapabilities() const;
  /// PCI Express slot capabilities, bits 31:19, of a root or downstream port with a slot
  /// implemented (flags register, bit 8); 0 for any other function.
  std::uint32_t SlotNumberBelow() const;

 private:
  std::uint16_t SubsystemWord(std::size_t type0, std::size_t type1, std::size_t type2) const;
  std::size_t FirstCapability() const;

  std::vector<std::uint8_t> bytes_;
  /// True for each missing byte; it ends with the last of them, so it is mostly empty.
  std::vector<bool> missing_;
};

}  // namespace HostCtl
