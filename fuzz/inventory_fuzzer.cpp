// Fuzzes the reader of saved inventories. Each text is read whole and in small pieces, by the
// reader and by the judge, which says the rules once more; all have to find the same functions,
// also after these are written down again. Then every property, parent and id of a function is
// checked against a slow and obvious search. A broken rule aborts with its name; HostCtlException
// is a proper end. For one thread; nothing is kept between texts.
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
#include <vector>

#include "function_record.h"
#include "inventory_judge.h"
#include "inventory_reader.h"
#include "snapshot.h"

using HostCtl::ConfigSpace;
using HostCtl::FunctionRecord;
using HostCtl::SavedFunction;
using HostCtl::Snapshot;
using HostCtl::Hardware::PciDevice;

namespace {

constexpr std::size_t kBytesPerRow = HostCtl::InventoryReader::kBytesPerRow;

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

std::string idsText(const SavedFunction& function) {
  char text[16];
  std::snprintf(text, sizeof text, "%04x:%04x", function.ids->vendor, function.ids->device);
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
  require(record.config.answers || device.GetPcieDeviceType() == -1, "nothing of a silent one");
}

void checkNames(const PciDevice& device) {
  require(!device.GetVendorName().empty() && !device.GetDeviceName().empty(), "names");
}

// --- Parents, found the slow and obvious way

bool claims(const FunctionRecord& bridge, const FunctionRecord& function) {
  const unsigned first = bridge.config.secondaryBus;
  const unsigned last = bridge.config.subordinateBus;
  return first != 0 && bridge.address.segment == function.address.segment &&
         first <= function.address.bus && function.address.bus <= last;
}

unsigned width(const FunctionRecord& bridge) {
  return static_cast<unsigned>(bridge.config.subordinateBus - bridge.config.secondaryBus);
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

// --- The functions of a text, with their bytes

using Functions = std::vector<SavedFunction>;

/// Read in pieces of `size` bytes; nothing where there is no function.
Functions readPieces(std::string_view text, std::size_t size) {
  Functions functions;
  HostCtl::InventoryReader reader(
      "made", [&functions](const SavedFunction& function) { functions.push_back(function); });
  try {
    for (std::size_t at = 0; at < text.size(); at += size) reader.Take(text.substr(at, size));
    reader.Finish();
  } catch (const HostCtl::Lib::HostCtlException&) {
    require(functions.empty(), "functions, or a failure");
  }
  return functions;
}

void requireSame(const SavedFunction& one, const SavedFunction& other, const char* what) {
  require(one.address.ToText() == other.address.ToText() && one.slot == other.slot, what);
  require(one.ids.has_value() == other.ids.has_value(), what);
  if (one.ids) require(one.ids->vendor == other.ids->vendor, what);
  if (one.ids) require(one.ids->device == other.ids->device, what);
  require(one.config.End() == other.config.End(), what);
  for (std::size_t at = 0; at < one.config.End(); ++at) {
    require(one.config.Has(at) == other.config.Has(at), what);
    require(one.config.Byte(at) == other.config.Byte(at), what);
  }
}

void requireSame(const Functions& one, const Functions& other, const char* what) {
  require(one.size() == other.size(), what);
  for (std::size_t index = 0; index < one.size(); ++index) {
    requireSame(one[index], other[index], what);
  }
}

// --- Writing down again what was read

/// One line of bytes from `offset`, up to the first that is missing; `offset` is then behind it.
std::string byteLine(const ConfigSpace& config, std::size_t& offset) {
  std::string line = hex(offset) + ':';
  const std::size_t end = offset + kBytesPerRow;
  for (; offset < end && config.Has(offset); ++offset) line += ' ' + hex(config.Byte(offset));
  return line + '\n';
}

/// Lines in place of lost ones, so that bytes at `offset` may follow a line for `expected`.
std::string lostLines(std::size_t expected, std::size_t offset) {
  std::string lines;
  for (; expected < offset; expected += kBytesPerRow) lines += "lost\n";
  return lines;
}

std::string byteLines(const ConfigSpace& config) {
  std::string lines;
  std::size_t expected = 0;
  for (std::size_t offset = 0; offset < config.End();) {
    if (!config.Has(offset)) {
      ++offset;
      continue;
    }
    lines += lostLines(expected, offset);
    expected = offset + kBytesPerRow;
    lines += byteLine(config, offset);
  }
  return lines;
}

std::string textOf(const Functions& functions) {
  std::string text;
  for (const SavedFunction& function : functions) {
    text += function.address.ToText() + " made again";
    if (function.ids) text += " [" + idsText(function) + ']';
    text += '\n';
    if (function.slot) text += "\tPhysical Slot: " + std::to_string(*function.slot) + '\n';
    text += byteLines(function.config) + '\n';
  }
  return text;
}

// --- Ids of virtual functions, found the slow and obvious way

unsigned routingId(const HostCtl::FunctionAddress& address) {
  return address.bus * 256U + address.device * 8U + address.function;
}

bool hasNoIds(const SavedFunction& function) {
  return function.config.Word(0) == 0xffff && function.config.Word(2) == 0xffff;
}

bool isVirtualOf(const SavedFunction& function, const SavedFunction& physical,
                 const HostCtl::VirtualFunctions& virtuals) {
  if (function.address.segment != physical.address.segment) return false;
  const unsigned count = virtuals.stride == 0 ? 1 : virtuals.count;
  for (unsigned number = 0; number < count; ++number) {
    const unsigned sought =
        routingId(physical.address) + virtuals.firstOffset + number * virtuals.stride;
    if (sought == routingId(function.address)) return true;
  }
  return false;
}

/// The first function that has this one among its virtual ones, of those that claim no more than
/// a segment can hold.
const SavedFunction* physicalOf(const SavedFunction& function, const Functions& functions) {
  std::size_t claimed = 0;
  for (const SavedFunction& physical : functions) {
    const auto virtuals = HostCtl::DecodeVirtualFunctions(physical.config);
    if (!virtuals || hasNoIds(physical) || physical.address.segment != function.address.segment) {
      continue;
    }
    claimed += virtuals->count;
    if (claimed > 0x10000) return nullptr;
    if (isVirtualOf(function, physical, *virtuals)) return &physical;
  }
  return nullptr;
}

void checkIds(const FunctionRecord& record, const SavedFunction& function,
              const Functions& functions) {
  unsigned vendor = function.config.Word(0);
  unsigned device = function.config.Word(2);
  const SavedFunction* physical = hasNoIds(function) ? physicalOf(function, functions) : nullptr;
  if (hasNoIds(function) && function.ids) {
    vendor = function.ids->vendor;
    device = function.ids->device;
  }
  if (physical != nullptr && vendor == 0xffff && device == 0xffff) {
    vendor = physical->config.Word(0);
    device = HostCtl::DecodeVirtualFunctions(physical->config)->deviceId;
  }
  require(record.config.vendorId == vendor && record.config.deviceId == device, "ids");
  require(record.physicalAddress.has_value() == (physical != nullptr), "physical or none");
}

void checkAllIds(std::string_view text, const Functions& functions) {
  const HostCtl::HostInput input = HostCtl::ReadInventoryText(text, "made");
  require(input.functions.size() == functions.size(), "every function is kept");
  // The search takes the square of the functions.
  if (functions.size() > 64) return;
  for (std::size_t index = 0; index < functions.size(); ++index) {
    checkIds(input.functions[index], functions[index], functions);
  }
}

void checkSnapshot(std::string_view text) {
  const auto snapshot = Snapshot::Make(HostCtl::ReadInventoryText(text, "made"));
  for (std::size_t index = 0; index < snapshot->Size(); ++index) checkFunction(*snapshot, index);
}

}  // namespace

// Any bytes end in functions that can all be asked, that are those that the slow and obvious
// reading of the whole text finds, however the text comes in pieces, and that read the same when
// they are written down again; or in a HostCtlException.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Warnings of damaged lines would fill the system's log.
  static const int logged = setlogmask(LOG_MASK(LOG_EMERG));
  static_cast<void>(logged);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const Functions functions = readPieces(text, std::max<std::size_t>(size, 1));
  requireSame(functions, readPieces(text, 1 + size % 17), "the same in smaller pieces");
  requireSame(functions, inventoryjudge::functionsOf(text), "what the whole text says");
  if (functions.empty()) return 0;
  checkSnapshot(text);
  checkAllIds(text, functions);
  const std::string again = textOf(functions);
  requireSame(functions, readPieces(again, again.size()), "the same when written down again");
  return 0;
}
