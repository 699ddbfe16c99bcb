#pragma once

#include "config_space.h"

#include <bitset>
#include <cstdint>
#include <optional>

namespace HostCtl {

/// What the first 256 bytes of a function's configuration space say; see the accessors of
/// PciDevice. What the bytes do not say is 0, and so is all that a function says that does not
/// answer, apart from its ids, class and revision: those show as the ones that were read.
struct DecodedConfig {
  std::uint16_t vendorId = 0;
  std::uint16_t deviceId = 0;
  std::uint16_t classCode = 0;
  std::uint16_t subsystemVendorId = 0;
  std::uint16_t subsystemId = 0;
  /// Bit n means the CIM capability value n.
  std::uint16_t cimCapabilities = 0;
  /// PCI Express slot capabilities, bits 31:19, of a root or downstream port with a slot
  /// implemented (flags register, bit 8); 0 for any other function.
  std::uint16_t slotBelow = 0;
  std::uint8_t revisionId = 0;
  /// Offsets 0x19 and 0x1a of header types 1 and 2, else 0.
  std::uint8_t secondaryBus = 0;
  std::uint8_t subordinateBus = 0;
  /// PCI Express capability, flags register, bits 7:4; -1 without the capability.
  std::int8_t pcieDeviceType = -1;
  /// False when the whole header reads ones: the function fell off its bus, its link is down, or it
  /// is switched off.
  bool answers = true;
  /// The ids of the standard capability list.
  std::bitset<256> capabilityIds;
};

DecodedConfig Decode(const ConfigSpace& config);

/// The virtual functions of a physical one, from the SR-IOV capability in its extended space.
/// The n-th of them (from 0) has the routing id (bus, device and function in 16 bits) of the
/// physical function plus firstOffset plus n times stride.
struct VirtualFunctions {
  std::uint16_t count = 0;
  std::uint16_t firstOffset = 0;
  std::uint16_t stride = 0;
  std::uint16_t deviceId = 0;
};

/// Nothing without the capability, with a part of its registers missing, or without a virtual
/// function.
std::optional<VirtualFunctions> DecodeVirtualFunctions(const ConfigSpace& config);

}  // namespace HostCtl
