#pragma once

#include <filesystem>
#include <string>

namespace pcicim {

/// What the provider is about to read, checked with the reason that a user needs: a host that
/// cannot be read must not pass for one without PCI. Both throw std::runtime_error.
///
/// The root of the sysfs tree of the live host. Without the PCI bus in it the host has no PCI;
/// without any bus no sysfs is mounted there.
void checkSysfs(const std::filesystem::path& root);
/// The file of a saved inventory, or the pipe.
void checkInventory(const std::string& file);

/// How far this process has read a regular file that it has open, such as ": 40 %"; empty where
/// that cannot be told. Any thread may ask.
std::string readingState(const std::string& file);

}  // namespace pcicim
