#pragma once

#include <filesystem>
#include <vector>

#include "mof_parser.h"

namespace cimom {

/// Reads files, the *.mof files of directories and of those below them, and what all of these
/// include, each file once however it is named. Throws MofError. Safe from any thread.
std::vector<MofDocument> readMofFiles(
    const std::vector<std::filesystem::path>& filesAndDirectories);

}  // namespace cimom
