#include "config_space.h"

#include <bitset>
#include <initializer_list>
#include <utility>

namespace HostCtl {

namespace {

constexpr std::size_t kStatus = 0x06;
constexpr std::uint8_t kPowerManagement = 0x01;
constexpr std::uint8_t kPciX = 0x07;
constexpr std::uint8_t kSubsystemIds = 0x0d;
constexpr std::uint8_t kPciExpress = 0x10;

}  // namespace

ConfigSpace::ConfigSpace(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {
  if (bytes_.size() > kMostBytes) bytes_.resize(kMostBytes);
  bytes_.shrink_to_fit();
}

void ConfigSpace::Put(std::size_t offset, std::uint8_t byte) {
  if (offset >= kMostBytes) return;
  if (offset > bytes_.size()) {
    missing_.resize(bytes_.size(), false);
    missing_.resize(offset, true);
  }
  if (offset >= bytes_.size()) bytes_.resize(offset + 1);
  if (offset < missing_.size()) missing_[offset] = false;
  bytes_[offset] = byte;
}

bool ConfigSpace::Has(std::size_t offset, std::size_t count) const {
  if (offset + count > bytes_.size()) return false;
  for (std::size_t at = offset; at < offset + count && at < missing_.size(); ++at) {
    if (missing_[at]) return false;
  }
  return true;
}

std::uint8_t ConfigSpace::Byte(std::size_t offset) const {
  return Has(offset) ? bytes_[offset] : std::uint8_t{0};
}

std::uint16_t ConfigSpace::Word(std::size_t offset) const {
  if (!Has(offset, 2)) return 0;
  return static_cast<std::uint16_t>(bytes_[offset] | (bytes_[offset + 1] << 8U));
}

std::uint32_t ConfigSpace::Long(std::size_t offset) const {
  if (!Has(offset, 4)) return 0;
  return Word(offset) | (static_cast<std::uint32_t>(Word(offset + 2)) << 16U);
}

std::uint8_t ConfigSpace::HeaderType() const {
  return Has(0x0e) ? static_cast<std::uint8_t>(bytes_[0x0e] & 0x7fU) : kUnknownHeader;
}
std::uint16_t ConfigSpace::VendorId() const {
  return Word(0x00);
}
std::uint16_t ConfigSpace::DeviceId() const {
  return Word(0x02);
}
std::uint16_t ConfigSpace::ClassCode() const {
  return Word(0x0a);
}
std::uint8_t ConfigSpace::RevisionId() const {
  return Byte(0x08);
}

std::uint16_t ConfigSpace::SubsystemWord(std::size_t type0, std::size_t type1,
                                         std::size_t type2) const {
  switch (HeaderType()) {
    case 0:
      return Word(type0);
    case 1: {
      const std::size_t capability = FindCapability(kSubsystemIds);
      return capability != 0 ? Word(capability + type1) : std::uint16_t{0};
    }
    case 2:
      return Word(type2);
    default:
      return 0;
  }
}

std::uint16_t ConfigSpace::SubsystemVendorId() const {
  return SubsystemWord(0x2c, 4, 0x40);
}
std::uint16_t ConfigSpace::SubsystemId() const {
  return SubsystemWord(0x2e, 6, 0x42);
}

bool ConfigSpace::IsBridgeHeader() const {
  return HeaderType() == 1 || HeaderType() == 2;
}
std::uint8_t ConfigSpace::SecondaryBus() const {
  return IsBridgeHeader() ? Byte(0x19) : std::uint8_t{0};
}
std::uint8_t ConfigSpace::SubordinateBus() const {
  return IsBridgeHeader() ? Byte(0x1a) : std::uint8_t{0};
}

std::size_t ConfigSpace::FirstCapability() const {
  // Status register, bit 4: there is a list.
  if ((Word(kStatus) & 0x10U) == 0 || HeaderType() > 2) return 0;
  return Byte(HeaderType() == 2 ? 0x14 : 0x34) & 0xfcU;
}

std::size_t ConfigSpace::FindCapability(std::uint8_t id) const {
  // The list lies behind the header, in the first 256 bytes.
  std::bitset<256> visited;
  std::size_t offset = FirstCapability();
  while (offset >= 0x40 && Has(offset) && !visited[offset]) {
    visited[offset] = true;
    if (bytes_[offset] == id) return offset;
    offset = Byte(offset + 1) & 0xfcU;
  }
  return 0;
}

std::int32_t ConfigSpace::PcieDeviceType() const {
  const std::size_t capability = FindCapability(kPciExpress);
  if (capability == 0 || !Has(capability + 2, 2)) return -1;
  return static_cast<std::int32_t>((Word(capability + 2) >> 4U) & 0xfU);
}

std::vector<std::uint32_t> ConfigSpace::CimCapabilities() const {
  const auto hasAny = [this](std::initializer_list<int> ids) {
    for (const int id : ids) {
      if (FindCapability(static_cast<std::uint8_t>(id)) != 0) return true;
    }
    return false;
  };
  const std::uint16_t status = Word(kStatus);
  const std::size_t express = FindCapability(kPciExpress);
  // Link capabilities register, bits 3:0.
  const std::uint32_t linkSpeed = express != 0 ? Long(express + 0x0c) & 0xfU : 0U;
  const std::pair<std::uint32_t, bool> values[] = {
      {2, (status & 0x20U) != 0},
      {3, (status & 0x40U) != 0},
      {4, (status & 0x80U) != 0},
      {5, hasAny({kPciX})},
      {6, hasAny({kPowerManagement})},
      {7, hasAny({0x05, 0x11})},
      {9, hasAny({0x02, 0x0e})},
      {10, hasAny({0x03})},
      {11, hasAny({0x04})},
      {12, hasAny({0x06, 0x0c})},
      {13, express != 0},
      {14, linkSpeed >= 2},
      {15, linkSpeed >= 3},
  };
  std::vector<std::uint32_t> capabilities;
  for (const auto& [value, there] : values) {
    if (there) capabilities.push_back(value);
  }
  return capabilities;
}

std::uint32_t ConfigSpace::SlotNumberBelow() const {
  const std::int32_t type = PcieDeviceType();
  if (type != 4 && type != 6) return 0;
  const std::size_t capability = FindCapability(kPciExpress);
  if ((Word(capability + 2) & 0x100U) == 0) return 0;
  return Long(capability + 0x14) >> 19U;
}

}  // namespace HostCtl
