#include "made_function.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace qarctltest {

MadeFunction::MadeFunction(std::string address, std::size_t size)
    : address_(std::move(address)), bytes_(size) {
  word(0x00, 0x8086).word(0x02, 0x10d3).word(0x0a, 0x0200).byte(0x08, 3);
}

MadeFunction& MadeFunction::byte(std::size_t offset, unsigned value) {
  if (offset < bytes_.size()) bytes_[offset] = static_cast<std::uint8_t>(value);
  return *this;
}

MadeFunction& MadeFunction::word(std::size_t offset, unsigned value) {
  return byte(offset, value & 0xffU).byte(offset + 1, value >> 8U & 0xffU);
}

MadeFunction& MadeFunction::dword(std::size_t offset, unsigned value) {
  return word(offset, value & 0xffffU).word(offset + 2, value >> 16U);
}

MadeFunction& MadeFunction::bridge(unsigned secondary, unsigned subordinate, unsigned type) {
  return byte(0x0e, type).byte(0x19, secondary).byte(0x1a, subordinate);
}

MadeFunction& MadeFunction::capability(unsigned id, std::size_t at) {
  byte(0x06, bytes_.at(0x06) | 0x10U);
  if (link_ == 0) link_ = (bytes_.at(0x0e) & 0x7fU) == 2 ? 0x14 : 0x34;
  byte(link_, static_cast<unsigned>(at)).byte(at, id).byte(at + 1, 0);
  link_ = at + 1;
  return *this;
}

MadeFunction& MadeFunction::express(unsigned deviceType, std::size_t at) {
  return capability(0x10, at).word(at + 2, deviceType << 4U | 2U);
}

MadeFunction& MadeFunction::slot(unsigned number, std::size_t at) {
  return byte(at + 3, bytes_.at(at + 3) | 1U).dword(at + 0x14, number << 19U);
}

MadeFunction& MadeFunction::cut(std::size_t size) {
  bytes_.resize(size);
  return *this;
}

std::string MadeFunction::hexLines(std::size_t begin, std::size_t end) const {
  std::string lines;
  char part[24];
  for (std::size_t at = begin; at < std::min(end, bytes_.size()); ++at) {
    if (at % 16 == 0) {
      std::snprintf(part, sizeof part, "%02zx:", at);
      lines += part;
    }
    std::snprintf(part, sizeof part, " %02x", static_cast<unsigned>(bytes_[at]));
    lines += part;
    if (at % 16 == 15 || at + 1 == bytes_.size()) lines += '\n';
  }
  return lines;
}

std::string MadeFunction::text() const {
  return address_ + " Made function\n" + hexLines() + "\n";
}

}  // namespace qarctltest
