#pragma once

#include "decoded_config.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace HostCtl {

/// Where a function sits: the order of functions is the order of these.
struct FunctionAddress {
  std::uint32_t segment = 0;
  std::uint8_t bus = 0;
  std::uint8_t device = 0;
  std::uint8_t function = 0;

  bool operator<(const FunctionAddress& other) const {
    return std::tie(segment, bus, device, function) <
           std::tie(other.segment, other.bus, other.device, other.function);
  }
  /// segment:bus:device.function in lower-case hex.
  std::string ToText() const;
};

/// Reads "[segment:]bus:device.function" at the start of a text; returns how many characters it
/// took, 0 when the text does not start with an address.
std::size_t ParseAddress(std::string_view text, FunctionAddress& address);

/// The number that a text begins with, in decimal digits; nothing without one that fits.
std::optional<std::int32_t> LeadingNumber(std::string_view text);

/// What is kept of one function.
struct FunctionRecord {
  FunctionAddress address;
  /// Ids, class, revision and buses are those that the input states by other means where it does.
  DecodedConfig config;
  std::optional<std::int32_t> slot;
  /// Where the parent sits, where the input names it.
  std::optional<FunctionAddress> parentAddress;
  /// Where the physical function of a virtual one sits, where it is known.
  std::optional<FunctionAddress> physicalAddress;
};

/// What was read. `parentsKnown` says that the input itself states parents.
struct HostInput {
  std::vector<FunctionRecord> functions;
  bool parentsKnown = false;
};

/// Reads a saved inventory, once and in pieces, so that it may be a pipe. Throws
/// HostCtl::Lib::HostCtlException naming the file and the reason; lines that cannot be read are
/// skipped and reported once.
HostInput ReadInventory(const std::string& file);

/// Reads the text of a saved inventory; `name` is its name in messages. As above.
HostInput ReadInventoryText(std::string_view text, const std::string& name);

/// Reads the live host below a sysfs root. Throws as above.
HostInput ReadSysfs(const std::string& root);

}  // namespace HostCtl
