#pragma once

#include <map>
#include <string>
#include <string_view>

namespace clitest {

/// Address of each function with that of the function it sits behind; empty on a root bus.
using Parents = std::map<std::string, std::string>;

/// Reads what `lspci -tv` prints. Throws std::runtime_error at a line that it cannot follow.
Parents parseLspciTree(std::string_view text);

/// Reads what `pcicim tree` prints, headings apart. Throws std::runtime_error at a line that it
/// cannot follow and at a function that is printed twice.
Parents parsePcicimTree(std::string_view text);

}  // namespace clitest
