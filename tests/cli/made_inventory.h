#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace clitest {

/// One function of a made-up machine, as 256 bytes of configuration space.
class MadeFunction {
 public:
  /// `address` as a saved inventory writes it; an endpoint of class 0x0200 to begin with.
  explicit MadeFunction(std::string address);

  MadeFunction& classCode(unsigned code);
  /// A PCI-to-PCI bridge with the given bus numbers.
  MadeFunction& bridge(unsigned secondary, unsigned subordinate);
  /// A CardBus bridge (sub-class 7, header type 2), which no class enumerates.
  MadeFunction& cardBus(unsigned secondary, unsigned subordinate);
  /// A PCI Express capability of the given device/port type (5 and 6 are a switch's ports).
  MadeFunction& express(unsigned type);

  /// The text that `lspci -xxx` would write.
  std::string text() const;

 private:
  void set(std::size_t offset, unsigned value);

  std::string address_;
  std::array<std::uint8_t, 256> bytes_{};
};

/// A machine of one bridge and otherwise endpoints, behind it and beside it; 1 to 65,536 functions.
std::string machineOf(unsigned functions);

}  // namespace clitest
