#include "file_start.h"
#include "function_record.h"

#include <qarctl/HostCtlException.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>
#include <system_error>
#include <vector>

namespace HostCtl {

namespace {

namespace fs = std::filesystem;

/// What could be read of an attribute: one bad file never loses a function. A page is the most
/// that an attribute has, and none that is read here is longer than a line.
std::string ReadAttribute(const fs::path& file) {
  constexpr std::size_t kLine = 128;
  const std::vector<std::uint8_t> bytes = ReadFileStart(file.string(), kLine);
  return {bytes.begin(), bytes.end()};
}

/// A number attribute such as "0x8086" or "12", without its low `shift` bits; nothing when it is
/// missing or no number of that width.
template <class Number>
std::optional<Number> ReadNumber(const fs::path& file, int base, unsigned shift = 0) {
  const std::string text = ReadAttribute(file);
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, base) >> shift;
  const bool isWhole = end != text.c_str() && (*end == '\0' || *end == '\n');
  if (!isWhole || value > std::numeric_limits<Number>::max()) return std::nullopt;
  return static_cast<Number>(value);
}

/// Takes the attribute in place of what the bytes say, where it is there.
template <class Number>
void Prefer(const fs::path& file, int base, Number& number, unsigned shift = 0) {
  number = ReadNumber<Number>(file, base, shift).value_or(number);
}

std::optional<FunctionAddress> AddressOf(const std::string& name) {
  FunctionAddress address;
  const std::size_t length = ParseAddress(name, address);
  if (length == 0 || length != name.size()) return std::nullopt;
  return address;
}

/// The function directly above: the folder that holds the device's own, if it is a function too.
std::optional<FunctionAddress> ParentOf(const fs::path& device) {
  std::error_code error;
  const fs::path place = fs::canonical(device, error);
  if (error) return std::nullopt;
  return AddressOf(place.parent_path().filename().string());
}

/// The physical function of a virtual one: what the link in its folder names.
std::optional<FunctionAddress> PhysicalOf(const fs::path& device) {
  std::error_code error;
  const fs::path target = fs::read_symlink(device / "physfn", error);
  if (error) return std::nullopt;
  return AddressOf(target.filename().string());
}

/// Nothing beyond the standard space is asked for: on broken hardware reading extended space has
/// effects of its own.
ConfigSpace ReadConfig(const fs::path& device) {
  const auto bytes = ReadFileStart((device / "config").string(), ConfigSpace::kStandardBytes);
  ConfigSpace config;
  config.Put(0, bytes.data(), bytes.size());
  return config;
}

/// A function that went away while its host was read leaves its name behind and no more.
std::optional<FunctionRecord> ReadFunction(const fs::path& device, const FunctionAddress& address) {
  constexpr int kHex = 16;
  const ConfigSpace config = ReadConfig(device);
  const auto vendor = ReadNumber<std::uint16_t>(device / "vendor", kHex);
  const auto id = ReadNumber<std::uint16_t>(device / "device", kHex);
  // The attribute's low byte is the programming interface.
  const auto classCode = ReadNumber<std::uint16_t>(device / "class", kHex, 8);
  if (!config.Has(0x00, 2) && !vendor && !id && !classCode) return std::nullopt;

  FunctionRecord record;
  record.address = address;
  record.config = Decode(config);
  record.config.vendorId = vendor.value_or(record.config.vendorId);
  record.config.deviceId = id.value_or(record.config.deviceId);
  record.config.classCode = classCode.value_or(record.config.classCode);
  Prefer(device / "subsystem_vendor", kHex, record.config.subsystemVendorId);
  Prefer(device / "subsystem_device", kHex, record.config.subsystemId);
  Prefer(device / "revision", kHex, record.config.revisionId);
  if (!record.config.answers) {
    // The kernel remembers which bus it found behind a bridge.
    constexpr int kDecimal = 10;
    Prefer(device / "secondary_bus_number", kDecimal, record.config.secondaryBus);
    Prefer(device / "subordinate_bus_number", kDecimal, record.config.subordinateBus);
  }
  record.parentAddress = ParentOf(device);
  record.physicalAddress = PhysicalOf(device);
  return record;
}

/// The entries of a folder by name; `error` says what ended the reading early.
std::vector<fs::path> List(const fs::path& folder, std::error_code& error) {
  std::vector<fs::path> entries;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    entries.push_back(entry->path());
  }
  std::sort(entries.begin(), entries.end());
  return entries;
}

using Slots = std::map<std::string, std::int32_t>;

/// Slot numbers by "segment:bus:device": the leading digits of the slots' names.
Slots ReadSlots(const fs::path& folder) {
  Slots slots;
  std::error_code error;
  for (const fs::path& entry : List(folder, error)) {
    const auto number = LeadingNumber(entry.filename().string());
    if (!number) continue;
    std::string address = ReadAttribute(entry / "address");
    address.erase(address.find_last_not_of(" \r\n") + 1);
    slots.emplace(address, *number);
  }
  return slots;
}

std::optional<std::int32_t> SlotOf(const FunctionAddress& address, const Slots& slots) {
  const std::string text = address.ToText();
  const auto slot = slots.find(text.substr(0, text.rfind('.')));
  return slot != slots.end() ? std::optional(slot->second) : std::nullopt;
}

[[noreturn]] void Fail(const fs::path& folder, const std::string& reason) {
  throw Lib::HostCtlException("cannot read " + folder.string() + ": " + reason);
}

/// The folder's entries; none when there is no such folder.
std::vector<fs::path> ListIfThere(const fs::path& folder) {
  std::error_code error;
  auto entries = List(folder, error);
  if (error && error != std::errc::no_such_file_or_directory) Fail(folder, error.message());
  return entries;
}

}  // namespace

HostInput ReadSysfs(const std::string& root) {
  std::error_code error;
  const fs::directory_iterator opened(root, error);
  if (error) Fail(root, error.message());
  const fs::path bus = fs::path(root) / "bus" / "pci";
  HostInput input;
  input.parentsKnown = true;
  const Slots slots = ReadSlots(bus / "slots");
  // A host without the PCI bus has no PCI functions; that is no failure.
  for (const fs::path& entry : ListIfThere(bus / "devices")) {
    const auto address = AddressOf(entry.filename().string());
    if (!address) continue;
    auto record = ReadFunction(entry, *address);
    if (!record) continue;
    record->slot = SlotOf(*address, slots);
    input.functions.push_back(*record);
  }
  return input;
}

}  // namespace HostCtl
