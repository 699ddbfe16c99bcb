#pragma once

#include <filesystem>
#include <string>

namespace machines {

/// What the built provider returns over a saved machine, as text: the instances of the ten classes,
/// a line each, then the functions that no class enumerates, asked for by their addresses, then the
/// warnings and errors that it logged. README.md here says how to read it. Once in the life of a
/// process, since the provider reads its host once.
std::string answersOver(const std::filesystem::path& machine);

}  // namespace machines
