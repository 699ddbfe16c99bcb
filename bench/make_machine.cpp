// Writes made-up machines as `lspci -D -xxx` writes real ones: a workstation of 86 functions below
// two roots, or one of many segments, each a root with 256 functions.
// Each function is built in memory and printed by a Machine, which stops at the number wanted.
// The same arguments always give the same text. For one thread.
// Usage: make_machine FUNCTIONS [FUNCTIONS-PER-SWITCH]
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr unsigned kWorkstation = 86;
constexpr unsigned kSegmentFunctions = 256;
constexpr unsigned kMostFunctions = 65'536;
constexpr unsigned kUsualFunctionsPerSwitch = 4096;

// PCI Express device/port types.
constexpr unsigned kEndpoint = 0;
constexpr unsigned kRootPort = 4;
constexpr unsigned kUpstream = 5;
constexpr unsigned kDownstream = 6;
constexpr unsigned kToPciBridge = 7;

/// One function's configuration space.
class Function {
 public:
  Function(unsigned vendor, unsigned device, unsigned classCode) : bytes_(256) {
    word(0x00, vendor);
    word(0x02, device);
    word(0x06, 0x0010);
    bytes_[0x08] = 0x05;
    word(0x0a, classCode);
    word(0x2c, 0x1028);
    word(0x2e, 0x0617);
    bytes_[0x34] = 0x40;
    // Power management, then message signalled interrupts.
    word(0x40, 0x5001);
    word(0x42, 0xc823);
    word(0x50, 0x0005);
    word(0x52, 0x0080);
  }

  Function& bridge(unsigned primary, unsigned secondary, unsigned subordinate) {
    bytes_[0x0e] = 1;
    byte(0x18, primary);
    byte(0x19, secondary);
    byte(0x1a, subordinate);
    // A bridge keeps its subsystem in a capability.
    word(0x2c, 0);
    word(0x2e, 0);
    return *this;
  }

  Function& express(unsigned type, unsigned speed = 3) {
    byte(0x51, 0x70);
    word(0x70, 0x0010);
    word(0x72, type << 4U | 2U);
    byte(0x7c, 0x80U | speed);
    return *this;
  }

  /// Extended configuration space, with the capability for error reporting.
  Function& extended() {
    bytes_.resize(4096);
    word(0x100, 0x0001);
    word(0x102, 0x0001);
    return *this;
  }

  Function& multifunction() {
    bytes_[0x0e] = static_cast<std::uint8_t>(bytes_[0x0e] | 0x80U);
    return *this;
  }

  bool isExpress() const { return bytes_[0x70] == 0x10; }

  void write() const {
    char part[8];
    std::string text;
    for (std::size_t at = 0; at < bytes_.size(); ++at) {
      if (at % 16 == 0) {
        std::snprintf(part, sizeof part, "%02x:", static_cast<unsigned>(at));
        text += part;
      }
      std::snprintf(part, sizeof part, at % 16 == 15 ? " %02x\n" : " %02x", bytes_[at]);
      text += part;
    }
    std::cout << text << '\n';
  }

 private:
  void byte(std::size_t at, unsigned value) { bytes_[at] = static_cast<std::uint8_t>(value); }
  void word(std::size_t at, unsigned value) {
    byte(at, value & 0xffU);
    byte(at + 1, value >> 8U);
  }

  std::vector<std::uint8_t> bytes_;
};

/// Functions in the order of their writing, up to a number.
class Machine {
 public:
  explicit Machine(unsigned functions) : left_(functions) {}

  /// From here on, PCI Express functions have extended configuration space.
  void extendExpress() { extended_ = true; }

  bool isFull() const { return left_ == 0; }

  void add(unsigned segment, unsigned bus, unsigned device, unsigned function, Function what) {
    if (left_ == 0) return;
    --left_;
    char address[32];
    std::snprintf(address, sizeof address, "%04x:%02x:%02x.%x", segment, bus, device, function);
    std::cout << address << " Made-up function\n";
    if (extended_ && what.isExpress()) what.extended();
    what.write();
  }

 private:
  unsigned left_;
  bool extended_ = false;
};

Function endpoint(unsigned number) {
  static constexpr unsigned kKinds[][3] = {{0x8086, 0x1528, 0x0200},
                                           {0x144d, 0xa804, 0x0108},
                                           {0x10de, 0x13c2, 0x0300},
                                           {0x1912, 0x0014, 0x0c03}};
  const auto& kind = kKinds[number % 4];
  return Function(kind[0], kind[1], kind[2]).express(kEndpoint);
}

/// Devices of eight functions each, the last one of what is left.
void addEndpoints(Machine& machine, unsigned segment, unsigned bus, unsigned count) {
  for (unsigned at = 0; at < count; ++at) {
    machine.add(segment, bus, at / 8, at % 8, endpoint(at / 8).multifunction());
  }
}

Function rootPort(unsigned bus, unsigned secondary, unsigned subordinate) {
  return Function(0x8086, 0x2f04, 0x0604).bridge(bus, secondary, subordinate).express(kRootPort);
}

/// A switch on `bus` with four ports below, each with endpoints.
void addSwitch(Machine& machine, unsigned segment, unsigned bus, unsigned endpointsPerPort) {
  const unsigned inner = bus + 1;
  machine.add(segment, bus, 0, 0,
              Function(0x10b5, 0x8747, 0x0604).bridge(bus, inner, inner + 4).express(kUpstream));
  for (unsigned port = 0; port < 4; ++port) {
    const unsigned below = inner + 1 + port;
    machine.add(segment, inner, 4 + port, 0,
                Function(0x10b5, 0x8747, 0x0604).bridge(inner, below, below).express(kDownstream));
  }
  for (unsigned port = 0; port < 4; ++port) {
    addEndpoints(machine, segment, inner + 1 + port, endpointsPerPort);
  }
}

/// A bridge to conventional PCI on `bus` with four devices below.
void addConventionalBus(Machine& machine, unsigned segment, unsigned bus) {
  machine.add(segment, bus, 0, 0,
              Function(0x1b21, 0x1080, 0x0604).bridge(bus, bus + 1, bus + 1).express(kToPciBridge));
  for (unsigned device = 0; device < 4; ++device) {
    machine.add(segment, bus + 1, device, 0, Function(0x104c, 0x8024, 0x0c00));
  }
}

void addChipset(Machine& machine, unsigned segment, unsigned bus) {
  static constexpr unsigned kDevices[][3] = {{0x11, 0x8d7c, 0xff00}, {0x14, 0x8d31, 0x0c03},
                                             {0x16, 0x8d3a, 0x0780}, {0x1a, 0x8d2d, 0x0c03},
                                             {0x1b, 0x8d20, 0x0403}, {0x1d, 0x8d26, 0x0c03}};
  for (const auto& device : kDevices) {
    machine.add(segment, bus, device[0], 0, Function(0x8086, device[1], device[2]));
  }
  machine.add(segment, bus, 0x1f, 0, Function(0x8086, 0x8d47, 0x0601));
}

constexpr unsigned kRootPorts = 8;
// The first has a switch or as many endpoints, the second a conventional bus.
constexpr unsigned kFirstBehind = 37;
constexpr unsigned kOthersBehind = 33;

void addSegment(Machine& machine, unsigned segment, bool hasSwitch) {
  // Roots differ in number, so that every bus number is somewhere.
  const unsigned root = segment * 23 % 232;
  const unsigned conventional = root + 7;
  machine.add(segment, root, 0, 0, Function(0x8086, 0x2f00, 0x0600).express(kRootPort));
  machine.add(segment, root, 1, 0, rootPort(root, root + 1, root + 6));
  machine.add(segment, root, 2, 0, rootPort(root, conventional, conventional + 1));
  for (unsigned port = 2; port < kRootPorts; ++port) {
    machine.add(segment, root, port + 1, 0,
                rootPort(root, conventional + port, conventional + port));
  }
  addChipset(machine, segment, root);
  if (hasSwitch) {
    addSwitch(machine, segment, root + 1, 8);
  } else {
    addEndpoints(machine, segment, root + 1, kFirstBehind);
  }
  addConventionalBus(machine, segment, conventional);
  for (unsigned port = 2; port < kRootPorts; ++port) {
    addEndpoints(machine, segment, conventional + port, kOthersBehind);
  }
}

void addWorkstation(Machine& machine) {
  machine.extendExpress();
  machine.add(0, 0, 0, 0, Function(0x8086, 0x2f00, 0x0600).express(kRootPort));
  machine.add(0, 0, 1, 0, rootPort(0, 1, 6));
  machine.add(0, 0, 2, 0, rootPort(0, 7, 7));
  machine.add(0, 0, 3, 0, rootPort(0, 8, 8));
  machine.add(0, 0, 0x1c, 0, rootPort(0, 9, 10));
  machine.add(0, 0, 0x1c, 4, rootPort(0, 11, 11));
  addChipset(machine, 0, 0);
  addSwitch(machine, 0, 1, 1);
  addEndpoints(machine, 0, 7, 2);
  addEndpoints(machine, 0, 8, 1);
  addConventionalBus(machine, 0, 9);
  // The second root: what a processor shows of itself.
  for (unsigned at = 0; !machine.isFull(); ++at) {
    machine.add(0, 0xff, 8 + at / 4, at % 4, Function(0x8086, 0x2f80, 0x0880).multifunction());
  }
}

void addSegments(Machine& machine, unsigned functionsPerSwitch) {
  const unsigned every = functionsPerSwitch / kSegmentFunctions;
  for (unsigned segment = 0; !machine.isFull(); ++segment) {
    addSegment(machine, segment, segment % every == 0);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const auto number = [&](int at, unsigned otherwise) {
    return argc > at ? static_cast<unsigned>(std::strtoul(argv[at], nullptr, 10)) : otherwise;
  };
  const unsigned functions = number(1, 0);
  const unsigned perSwitch = number(2, kUsualFunctionsPerSwitch);
  if (functions < kWorkstation || functions > kMostFunctions || perSwitch < kSegmentFunctions) {
    std::cerr << "usage: make_machine FUNCTIONS [FUNCTIONS-PER-SWITCH]\n"
                 "FUNCTIONS from 86, which is a workstation, to 65536; a switch at the most every "
                 "256\n";
    return 2;
  }
  Machine machine(functions);
  if (functions == kWorkstation) {
    addWorkstation(machine);
  } else {
    addSegments(machine, perSwitch);
  }
  return std::cout.good() ? 0 : 1;
}
