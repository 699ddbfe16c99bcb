#pragma once

#include <cstdint>
#include <string>

namespace HostCtl {

/// Vendor and device names from the system's PCI id list. A list that is missing or damaged costs
/// the names only. Safe on any thread.
std::string LookUpVendorName(std::uint16_t vendor);
std::string LookUpDeviceName(std::uint16_t vendor, std::uint16_t device);

}  // namespace HostCtl
