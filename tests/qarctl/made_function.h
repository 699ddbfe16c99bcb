#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qarctltest {

/// One function of a made-up machine: an endpoint 8086:10d3 of class 0x0200, revision 3, unless
/// changed.
class MadeFunction {
 public:
  /// `address` as a saved inventory writes it; `size` bytes of configuration space.
  explicit MadeFunction(std::string address, std::size_t size = 256);

  MadeFunction& byte(std::size_t offset, unsigned value);
  /// Little-endian, two and four bytes.
  MadeFunction& word(std::size_t offset, unsigned value);
  MadeFunction& dword(std::size_t offset, unsigned value);
  /// Header type `type` with a bus number range; no other byte is touched.
  MadeFunction& bridge(unsigned secondary, unsigned subordinate, unsigned type = 1);
  /// Appends a capability to the list, of which the header type says where it begins.
  MadeFunction& capability(unsigned id, std::size_t at);
  /// PCI Express capability with its flags register, appended as above.
  MadeFunction& express(unsigned deviceType, std::size_t at = 0x40);
  /// Slot Implemented and the slot number of an express capability.
  MadeFunction& slot(unsigned number, std::size_t at = 0x40);
  MadeFunction& cut(std::size_t size);

  const std::string& address() const { return address_; }
  /// As `lspci -xxx` writes it, with the line that names the function and an empty line behind.
  std::string text() const;
  /// The lines of bytes alone, from and to given offsets.
  std::string hexLines(std::size_t begin = 0, std::size_t end = 4096) const;
  std::string bytes() const { return {bytes_.begin(), bytes_.end()}; }

 private:
  std::string address_;
  std::vector<std::uint8_t> bytes_;
  std::size_t link_ = 0;
};

}  // namespace qarctltest
