#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pcicim {

/// A PCI address such as "0000:02:03.0", taken apart.
struct Address {
  std::uint64_t segment = 0;
  unsigned bus = 0;
  unsigned device = 0;
  unsigned function = 0;

  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes the generated comparison for a 0.
  auto operator<=>(const Address&) const = default;
};

/// Reads "SEGMENT:BUS:DEVICE.FUNCTION" (hexadecimal; a text of two parts is of segment 0); nothing
/// when the text is of another form. Safe from any thread.
std::optional<Address> parseAddress(std::string_view text);

/// The digit of a number below 16, in lower case.
constexpr char hexDigit(unsigned number) {
  return "0123456789abcdef"[number];
}

/// The address as the CIM classes write it: segment in at least four hexadecimal digits.
std::string addressText(const Address& address);

/// One PCI function as the CIM classes describe it.
struct Function {
  enum class Kind { kDevice, kBridge, kSwitch, kSwitchPort };

  Kind kind = Kind::kDevice;
  std::string address;
  /// Address of the function that leads to this one; empty for a function on a root bus.
  std::string parent;
  std::string name;
  /// Of bridges alone; 0 when the bridge has not been given one.
  std::optional<unsigned> secondaryBus;
  std::optional<unsigned> physicalSlot;
  /// Ports of a switch.
  unsigned ports = 0;
  /// True for a bridge that leads to another bus, false for host, ISA and similar bridges.
  bool leadsToBus = false;
  bool isHostBridge = false;
};

/// Prints the functions as a tree: segments, root buses, and below each function those that name
/// it as parent. Every function is printed exactly once, in the order of addresses; those that
/// hang together in a circle, name a parent that is not there or have no readable address follow
/// under a heading of their own. Of functions with the same address the first takes the children.
/// What is not for a terminal is written out in names and addresses (cimom::visibleText); where
/// `isColoured` is set, headings, kinds and remarks are set off from names by escapes of terminals.
void printTree(std::vector<Function> functions, std::ostream& out, bool isColoured = false);

/// Prints how many functions the tree leaves out, a line for each bus that they are on. A function
/// without a readable address does not count.
void printLeftOut(const std::vector<Function>& functions, std::ostream& out);

}  // namespace pcicim
