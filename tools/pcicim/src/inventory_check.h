#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace pcicim {

/// Throws std::runtime_error, with the file and the reason, when the inventory cannot be read, or
/// holds text but not one function that `isServed`. The provider logs such trouble and answers as
/// a host without PCI does, which a person must not take for the truth.
void checkInventory(const std::filesystem::path& file,
                    const std::function<bool(const std::string& address)>& isServed);

}  // namespace pcicim
