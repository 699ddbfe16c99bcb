#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace HostCtl {

/// At most `most` bytes from the start of a file, by one positional read; none when it cannot be
/// read that way. Neither a folder nor a failing disk is an exception here.
std::vector<std::uint8_t> ReadFileStart(const std::string& path, std::size_t most);

}  // namespace HostCtl
