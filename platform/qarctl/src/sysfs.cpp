#include "function_record.h"
#include "text_file.h"

#include <qarctl/HostCtlException.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>
#include <system_error>
#include <utility>

namespace HostCtl {

namespace {

namespace fs = std::filesystem;

/// What could be read of an attribute: one bad file never loses a function.
std::string ReadAttribute(const fs::path& file) {
  std::error_code error;
  return ReadTextFile(file.string(), error);
}

/// A number attribute such as "0x8086" without its low `shift` bits; nothing when it is missing
/// or no number of that width.
template <class Number>
std::optional<Number> ReadNumber(const fs::path& file, unsigned shift = 0) {
  const std::string text = ReadAttribute(file);
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, 16) >> shift;
  const bool isWhole = end != text.c_str() && (*end == '\0' || *end == '\n');
  if (!isWhole || value > std::numeric_limits<Number>::max()) return std::nullopt;
  return static_cast<Number>(value);
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

FunctionRecord ReadFunction(const fs::path& device, const FunctionAddress& address) {
  FunctionRecord record;
  record.address = address;
  const std::string config = ReadAttribute(device / "config");
  record.config = ConfigSpace({config.begin(), config.end()});
  record.vendorId = ReadNumber<std::uint16_t>(device / "vendor");
  record.deviceId = ReadNumber<std::uint16_t>(device / "device");
  record.subsystemVendorId = ReadNumber<std::uint16_t>(device / "subsystem_vendor");
  record.subsystemId = ReadNumber<std::uint16_t>(device / "subsystem_device");
  // The attribute's low byte is the programming interface.
  record.classCode = ReadNumber<std::uint16_t>(device / "class", 8);
  record.revisionId = ReadNumber<std::uint8_t>(device / "revision");
  record.parentAddress = ParentOf(device);
  return record;
}

/// A function that went away while its host was read leaves its name behind and no more.
bool IsThere(const FunctionRecord& record) {
  return record.config.Has(0x00, 2) || record.vendorId || record.deviceId || record.classCode;
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
    FunctionRecord record = ReadFunction(entry, *address);
    if (!IsThere(record)) continue;
    record.slot = SlotOf(*address, slots);
    input.functions.push_back(std::move(record));
  }
  return input;
}

}  // namespace HostCtl
