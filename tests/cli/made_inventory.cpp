#include "made_inventory.h"

#include <cstdio>
#include <utility>

namespace clitest {

MadeFunction::MadeFunction(std::string address) : address_(std::move(address)) {
  set(0x00, 0x34);
  set(0x01, 0x12);
  set(0x02, 0x78);
  set(0x03, 0x56);
  classCode(0x0200);
}

MadeFunction& MadeFunction::classCode(unsigned code) {
  set(0x0a, code & 0xff);
  set(0x0b, code >> 8);
  return *this;
}

MadeFunction& MadeFunction::bridge(unsigned secondary, unsigned subordinate) {
  classCode(0x0604);
  set(0x0e, 1);
  set(0x19, secondary);
  set(0x1a, subordinate);
  return *this;
}

MadeFunction& MadeFunction::cardBus(unsigned secondary, unsigned subordinate) {
  bridge(secondary, subordinate);
  classCode(0x0607);
  set(0x0e, 2);
  return *this;
}

MadeFunction& MadeFunction::express(unsigned type) {
  set(0x06, 0x10);
  set(0x34, 0x40);
  set(0x40, 0x10);
  set(0x42, type << 4 | 2);
  return *this;
}

std::string MadeFunction::text() const {
  std::string result = address_ + " Made function\n";
  char part[8];
  for (std::size_t line = 0; line < bytes_.size(); line += 16) {
    std::snprintf(part, sizeof part, "%02x:", static_cast<unsigned>(line));
    result += part;
    for (std::size_t i = line; i < line + 16; ++i) {
      std::snprintf(part, sizeof part, " %02x", bytes_[i]);
      result += part;
    }
    result += '\n';
  }
  return result + '\n';
}

void MadeFunction::set(std::size_t offset, unsigned value) {
  bytes_[offset] = static_cast<std::uint8_t>(value);
}

std::string machineOf(unsigned functions) {
  std::string text = MadeFunction("0000:00:00.0").bridge(1, 255).text();
  char address[24];
  for (unsigned i = 1; i < functions; ++i) {
    std::snprintf(address, sizeof address, "0000:%02x:%02x.%x", i >> 8 & 0xff, i >> 3 & 0x1f,
                  i & 7);
    text += MadeFunction(address).text();
  }
  return text;
}

}  // namespace clitest
