#include <qarctl/HostCtlException.h>
#include <syslog.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "function_record.h"
#include "snapshot.h"

using HostCtl::ConfigSpace;
using HostCtl::FunctionRecord;
using HostCtl::Snapshot;
using HostCtl::Hardware::PciDevice;

namespace {

constexpr std::size_t kBytesPerLine = 16;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

std::string hex(std::size_t value) {
  char text[20];
  std::snprintf(text, sizeof text, "%02zx", value);
  return text;
}

// --- What holds for one function

void checkCapabilities(const PciDevice& device) {
  const auto values = device.GetCapabilities();
  require(std::is_sorted(values.begin(), values.end()), "capabilities ascend");
  require(std::adjacent_find(values.begin(), values.end()) == values.end(), "each once");
  require(values.empty() || (values.front() >= 2 && values.back() <= 15), "known capabilities");
  require(device.HasCapability(0x10) || device.GetPcieDeviceType() == -1, "type by capability");
}

void checkNumbers(const PciDevice& device, const FunctionRecord& record) {
  require(device.GetSegmentNumber() == (record.address.segment & 0xffffU), "segment");
  require(device.GetDeviceNumber() < 32 && device.GetFunctionNumber() < 8, "device and function");
  require(device.GetPhysicalSlot() >= -1, "slot");
  require(device.GetPcieDeviceType() >= -1 && device.GetPcieDeviceType() < 16, "port type");
  require(device.GetSecondaryBusNumber() == 0 || record.config.IsBridgeHeader(), "bus behind");
}

void checkNames(const PciDevice& device) {
  require(!device.GetVendorName().empty() && !device.GetDeviceName().empty(), "names");
}

// --- Parents, found the slow and obvious way

bool claims(const FunctionRecord& bridge, const FunctionRecord& function) {
  const unsigned first = bridge.config.SecondaryBus();
  const unsigned last = bridge.config.SubordinateBus();
  return first != 0 && bridge.address.segment == function.address.segment &&
         first <= function.address.bus && function.address.bus <= last;
}

unsigned width(const FunctionRecord& bridge) {
  return static_cast<unsigned>(bridge.config.SubordinateBus() - bridge.config.SecondaryBus());
}

std::size_t expectedParent(const Snapshot& snapshot, std::size_t index) {
  std::size_t best = Snapshot::kNone;
  for (std::size_t other = 0; other < snapshot.Size(); ++other) {
    if (other == index || !claims(snapshot.Function(other), snapshot.Function(index))) continue;
    if (best == Snapshot::kNone ||
        width(snapshot.Function(other)) < width(snapshot.Function(best))) {
      best = other;
    }
  }
  return best;
}

void checkParent(const Snapshot& snapshot, std::size_t index, const PciDevice& device) {
  const auto parent = device.GetParent();
  require((parent == nullptr) == (snapshot.Parent(index) == Snapshot::kNone), "parent or none");
  // The comparison takes the square of the functions.
  if (snapshot.Size() <= 256) {
    require(snapshot.Parent(index) == expectedParent(snapshot, index), "narrowest range");
  }
}

void checkFunction(const Snapshot& snapshot, std::size_t index) {
  const auto device = snapshot.MakeDevice(index);
  const FunctionRecord& record = snapshot.Function(index);
  require(index == 0 || !(record.address < snapshot.Function(index - 1).address), "order");
  checkNumbers(*device, record);
  checkCapabilities(*device);
  checkNames(*device);
  checkParent(snapshot, index, *device);
}

// --- Writing down again what was read

/// One line of bytes from `offset`, up to the first that is missing; `offset` is then behind it.
std::string byteLine(const ConfigSpace& config, std::size_t& offset) {
  std::string line = hex(offset) + ':';
  const std::size_t end = offset + kBytesPerLine;
  for (; offset < end && config.Has(offset); ++offset) line += ' ' + hex(config.Byte(offset));
  return line + '\n';
}

/// Lines that stand for lost ones, so that bytes at `offset` may follow a line for `expected`.
std::string lostLines(std::size_t expected, std::size_t offset) {
  std::string lines;
  for (; expected < offset; expected += kBytesPerLine) lines += "lost\n";
  return lines;
}

std::string byteLines(const ConfigSpace& config) {
  std::string lines;
  std::size_t expected = 0;
  for (std::size_t offset = 0; offset < ConfigSpace::kMostBytes;) {
    if (!config.Has(offset)) {
      ++offset;
      continue;
    }
    lines += lostLines(expected, offset);
    expected = offset + kBytesPerLine;
    lines += byteLine(config, offset);
  }
  return lines;
}

std::string textOf(const Snapshot& snapshot) {
  std::string text;
  for (std::size_t index = 0; index < snapshot.Size(); ++index) {
    const FunctionRecord& function = snapshot.Function(index);
    text += function.address.ToText() + " made again\n";
    if (function.slot) text += "\tPhysical Slot: " + std::to_string(*function.slot) + '\n';
    text += byteLines(function.config) + '\n';
  }
  return text;
}

std::shared_ptr<const Snapshot> read(std::string_view text) {
  return std::make_shared<const Snapshot>(HostCtl::ReadInventoryText(text, "made"));
}

void checkRoundTrip(const Snapshot& snapshot) {
  if (snapshot.Size() == 0) return;
  const std::string text = textOf(snapshot);
  require(textOf(*read(text)) == text, "what is written down again reads the same");
}

std::shared_ptr<const Snapshot> readAny(std::string_view text) {
  try {
    auto snapshot = read(text);
    require(text.empty() == (snapshot->Size() == 0), "functions, or an empty text");
    return snapshot;
  } catch (const HostCtl::Lib::HostCtlException&) {
    return nullptr;
  }
}

}  // namespace

// Any bytes end in functions that can all be asked, and that read the same when they are written
// down again, or in a HostCtlException.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Warnings of damaged lines would fill the system's log.
  static const int logged = setlogmask(LOG_MASK(LOG_EMERG));
  static_cast<void>(logged);
  const auto snapshot = readAny({reinterpret_cast<const char*>(data), size});
  if (snapshot == nullptr) return 0;
  for (std::size_t index = 0; index < snapshot->Size(); ++index) checkFunction(*snapshot, index);
  checkRoundTrip(*snapshot);
  return 0;
}
