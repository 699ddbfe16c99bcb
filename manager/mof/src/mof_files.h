#pragma once

#include <filesystem>
#include <vector>

#include <mof/class_repository.h>

#include "mof_parser.h"

namespace cimom {

/// Reads files, the *.mof files of directories and of those below them, and what all of these
/// include, each file once however it is named; as needed, what a file declares is only found.
/// Throws MofError. Safe from any thread.
std::vector<MofDocument> readMofFiles(const std::vector<std::filesystem::path>& filesAndDirectories,
                                      MofReading reading);

}  // namespace cimom
