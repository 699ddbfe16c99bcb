#include "decoded_config.h"

#include <initializer_list>
#include <utility>

namespace HostCtl {

namespace {

constexpr std::size_t kStatus = 0x06;
constexpr std::size_t kHeaderType = 0x0e;
constexpr std::size_t kHeaderEnd = 0x40;
constexpr std::uint8_t kUnknownHeader = 0x7f;
constexpr std::uint8_t kPowerManagement = 0x01;
constexpr std::uint8_t kPciX = 0x07;
constexpr std::uint8_t kSubsystemIds = 0x0d;
constexpr std::uint8_t kPciExpress = 0x10;

/// The first 256 bytes, with the registers that several values need.
class Decoder {
 public:
  explicit Decoder(const ConfigSpace& config) : config_(config), headerType_(HeaderType()) {}

  DecodedConfig Decode();

 private:
  /// Bits 6:0; kUnknownHeader when it is missing.
  std::uint8_t HeaderType() const;
  bool HeaderIsAllOnes() const;
  std::size_t FirstCapability() const;
  void WalkCapabilities();
  void DecodeSubsystem();
  void DecodeBuses();
  void DecodeExpress();
  bool HasAny(std::initializer_list<std::uint8_t> ids) const;
  std::uint16_t CimCapabilities() const;
  /// A register of the standard space: what lies behind it is another's.
  std::uint16_t Word(std::size_t offset) const;
  std::uint32_t Long(std::size_t offset) const;

  const ConfigSpace& config_;
  std::uint8_t headerType_;
  /// Where the first of each is, 0 without.
  std::size_t express_ = 0;
  std::size_t subsystemIds_ = 0;
  DecodedConfig decoded_;
};

std::uint16_t Decoder::Word(std::size_t offset) const {
  return offset + 2 <= ConfigSpace::kStandardBytes ? config_.Word(offset) : std::uint16_t{0};
}

std::uint32_t Decoder::Long(std::size_t offset) const {
  return offset + 4 <= ConfigSpace::kStandardBytes ? config_.Long(offset) : 0U;
}

std::uint8_t Decoder::HeaderType() const {
  return config_.Has(kHeaderType) ? static_cast<std::uint8_t>(config_.Byte(kHeaderType) & 0x7fU)
                                  : kUnknownHeader;
}

/// The header decides: some functions that are switched off show what is left of the rest. It has
/// to be there up to its type, so that a row cut behind its ids does not count: those of a virtual
/// function are ones as well.
bool Decoder::HeaderIsAllOnes() const {
  if (!config_.Has(kHeaderType)) return false;
  for (std::size_t at = 0; at < kHeaderEnd; ++at) {
    if (config_.Has(at) && config_.Byte(at) != 0xff) return false;
  }
  return true;
}

DecodedConfig Decoder::Decode() {
  decoded_.vendorId = Word(0x00);
  decoded_.deviceId = Word(0x02);
  decoded_.classCode = Word(0x0a);
  decoded_.revisionId = config_.Byte(0x08);
  decoded_.answers = !HeaderIsAllOnes();
  if (!decoded_.answers) return decoded_;
  WalkCapabilities();
  DecodeSubsystem();
  DecodeBuses();
  DecodeExpress();
  decoded_.cimCapabilities = CimCapabilities();
  return decoded_;
}

std::size_t Decoder::FirstCapability() const {
  // Status register, bit 4: there is a list.
  if ((Word(kStatus) & 0x10U) == 0 || headerType_ > 2) return 0;
  return config_.Byte(headerType_ == 2 ? 0x14 : 0x34) & 0xfcU;
}

void Decoder::WalkCapabilities() {
  // The list lies behind the header; broken hardware lets it loop.
  std::bitset<ConfigSpace::kStandardBytes> visited;
  std::size_t offset = FirstCapability();
  while (offset >= kHeaderEnd && config_.Has(offset) && !visited[offset]) {
    visited[offset] = true;
    const std::uint8_t id = config_.Byte(offset);
    decoded_.capabilityIds[id] = true;
    if (id == kPciExpress && express_ == 0) express_ = offset;
    if (id == kSubsystemIds && subsystemIds_ == 0) subsystemIds_ = offset;
    offset = config_.Byte(offset + 1) & 0xfcU;
  }
}

void Decoder::DecodeSubsystem() {
  std::size_t offset = 0;
  if (headerType_ == 0) offset = 0x2c;
  if (headerType_ == 1 && subsystemIds_ != 0) offset = subsystemIds_ + 4;
  if (headerType_ == 2) offset = 0x40;
  if (offset == 0) return;
  decoded_.subsystemVendorId = Word(offset);
  decoded_.subsystemId = Word(offset + 2);
}

void Decoder::DecodeBuses() {
  if (headerType_ != 1 && headerType_ != 2) return;
  decoded_.secondaryBus = config_.Byte(0x19);
  decoded_.subordinateBus = config_.Byte(0x1a);
}

void Decoder::DecodeExpress() {
  if (express_ == 0 || !config_.Has(express_ + 2, 2)) return;
  const std::uint16_t flags = Word(express_ + 2);
  const unsigned type = flags >> 4U & 0xfU;
  decoded_.pcieDeviceType = static_cast<std::int8_t>(type);
  const bool isPortAbove = type == 4 || type == 6;
  if (!isPortAbove || (flags & 0x100U) == 0) return;
  decoded_.slotBelow = static_cast<std::uint16_t>(Long(express_ + 0x14) >> 19U);
}

bool Decoder::HasAny(std::initializer_list<std::uint8_t> ids) const {
  for (const std::uint8_t id : ids) {
    if (decoded_.capabilityIds[id]) return true;
  }
  return false;
}

std::uint16_t Decoder::CimCapabilities() const {
  const std::uint16_t status = Word(kStatus);
  // Link capabilities register, bits 3:0.
  const std::uint32_t linkSpeed = express_ != 0 ? Long(express_ + 0x0c) & 0xfU : 0U;
  const std::pair<unsigned, bool> values[] = {
      {2, (status & 0x20U) != 0},
      {3, (status & 0x40U) != 0},
      {4, (status & 0x80U) != 0},
      {5, HasAny({kPciX})},
      {6, HasAny({kPowerManagement})},
      {7, HasAny({0x05, 0x11})},
      {9, HasAny({0x02, 0x0e})},
      {10, HasAny({0x03})},
      {11, HasAny({0x04})},
      {12, HasAny({0x06, 0x0c})},
      {13, express_ != 0},
      {14, linkSpeed >= 2},
      {15, linkSpeed >= 3},
  };
  unsigned mask = 0;
  for (const auto& [value, there] : values) mask |= (there ? 1U : 0U) << value;
  return static_cast<std::uint16_t>(mask);
}

/// Where extended space holds a capability, 0 when it does not.
std::size_t FindExtended(const ConfigSpace& config, std::uint16_t id) {
  constexpr std::size_t kHeader = 4;
  std::bitset<ConfigSpace::kMostBytes> visited;
  std::size_t offset = ConfigSpace::kStandardBytes;
  while (offset >= ConfigSpace::kStandardBytes && config.Has(offset, kHeader) && !visited[offset]) {
    visited[offset] = true;
    const std::uint32_t header = config.Long(offset);
    if ((header & 0xffffU) == id) return offset;
    offset = header >> 20U & 0xffcU;
  }
  return 0;
}

}  // namespace

DecodedConfig Decode(const ConfigSpace& config) {
  return Decoder(config).Decode();
}

std::optional<VirtualFunctions> DecodeVirtualFunctions(const ConfigSpace& config) {
  constexpr std::uint16_t kSrIov = 0x0010;
  const std::size_t capability = FindExtended(config, kSrIov);
  // From NumVFs to the VF device id.
  if (capability == 0 || !config.Has(capability + 0x10, 0x0c)) return std::nullopt;
  VirtualFunctions functions;
  functions.count = config.Word(capability + 0x10);
  functions.firstOffset = config.Word(capability + 0x14);
  functions.stride = config.Word(capability + 0x16);
  functions.deviceId = config.Word(capability + 0x1a);
  if (functions.count == 0) return std::nullopt;
  return functions;
}

}  // namespace HostCtl
