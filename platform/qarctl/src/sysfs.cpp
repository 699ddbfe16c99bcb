#include "function_record.h"

#include <qarctl/HostCtlException.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>

namespace HostCtl {

namespace {

namespace fs = std::filesystem;

std::string ReadText(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// A number attribute such as "0x8086"; nothing when it is missing or unreadable.
std::optional<std::uint32_t> ReadNumber(const fs::path& file) {
  const std::string text = ReadText(file);
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, 16);
  if (end == text.c_str()) return std::nullopt;
  return static_cast<std::uint32_t>(value);
}

template <class Number>
std::optional<Number> Narrow(std::optional<std::uint32_t> value, unsigned shift = 0) {
  if (!value) return std::nullopt;
  return static_cast<Number>(*value >> shift);
}

/// The function directly above: the folder that holds the device's own, if it is a function too.
std::string ParentOf(const fs::path& device) {
  std::error_code error;
  const fs::path place = fs::canonical(device, error);
  FunctionAddress address;
  const std::string above = error ? std::string() : place.parent_path().filename().string();
  return ParseAddress(above, address) == above.size() && !above.empty() ? address.ToText()
                                                                        : std::string();
}

FunctionRecord ReadFunction(const fs::path& device, const FunctionAddress& address) {
  FunctionRecord record;
  record.address = address;
  const std::string config = ReadText(device / "config");
  record.config = ConfigSpace({config.begin(), config.end()});
  record.vendorId = Narrow<std::uint16_t>(ReadNumber(device / "vendor"));
  record.deviceId = Narrow<std::uint16_t>(ReadNumber(device / "device"));
  record.subsystemVendorId = Narrow<std::uint16_t>(ReadNumber(device / "subsystem_vendor"));
  record.subsystemId = Narrow<std::uint16_t>(ReadNumber(device / "subsystem_device"));
  // The attribute's low byte is the programming interface.
  record.classCode = Narrow<std::uint16_t>(ReadNumber(device / "class"), 8);
  record.revisionId = Narrow<std::uint8_t>(ReadNumber(device / "revision"));
  record.parentAddress = ParentOf(device);
  return record;
}

/// Slot numbers by "segment:bus:device": the leading digits of the slots' names.
std::map<std::string, std::int32_t> ReadSlots(const fs::path& folder) {
  std::map<std::string, std::int32_t> slots;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename().string();
    char* end = nullptr;
    const long number = std::strtol(name.c_str(), &end, 10);
    if (end == name.c_str() || number < 0 || number > 0x7fffffffL) continue;
    std::string address = ReadText(entry.path() / "address");
    address.erase(address.find_last_not_of(" \r\n") + 1);
    slots.emplace(address, static_cast<std::int32_t>(number));
  }
  return slots;
}

}  // namespace

HostInput ReadSysfs(const std::string& root) {
  const fs::path bus = fs::path(root) / "bus" / "pci";
  std::error_code error;
  if (!fs::is_directory(root, error)) {
    throw Lib::HostCtlException("cannot read sysfs root " + root + ": it is no directory");
  }
  HostInput input;
  input.parentsKnown = true;
  // A host without the PCI bus has no PCI functions; that is no failure.
  if (!fs::exists(bus / "devices", error)) return input;
  const auto slots = ReadSlots(bus / "slots");
  fs::directory_iterator devices(bus / "devices", error);
  if (error) {
    throw Lib::HostCtlException("cannot read " + (bus / "devices").string() + ": " +
                                error.message());
  }
  for (const auto& entry : devices) {
    FunctionAddress address;
    const std::string name = entry.path().filename().string();
    if (name.empty() || ParseAddress(name, address) != name.size()) continue;
    FunctionRecord record = ReadFunction(entry.path(), address);
    const std::string text = address.ToText();
    const auto slot = slots.find(text.substr(0, text.size() - 2));
    if (slot != slots.end()) record.slot = slot->second;
    input.functions.push_back(std::move(record));
  }
  return input;
}

}  // namespace HostCtl
