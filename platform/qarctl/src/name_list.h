#pragma once

#include <cstdint>
#include <string>

namespace HostCtl {

/// Vendor and device names from the system's PCI id list; "Vendor 1234", "Device 5678" for those
/// that it does not hold. A name stays where it is for the life of the library. Null while the list
/// cannot be read: one that is missing, damaged or too large for what memory is left costs the
/// names only, and those asked for until it is read. A failed reading is tried again at one of the
/// next questions, after every further failure a later one. Safe on any thread.
const std::string* FindVendorName(std::uint16_t vendor);
const std::string* FindDeviceName(std::uint16_t vendor, std::uint16_t device);

/// What stands for a name that cannot be read.
std::string VendorNumber(std::uint16_t vendor);
std::string DeviceNumber(std::uint16_t device);

/// Lets the next question try to read a list again that could not be read; for a new reading of the
/// host. Safe on any thread.
void TryNameListAgain();

}  // namespace HostCtl
