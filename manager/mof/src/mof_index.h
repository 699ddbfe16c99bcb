#pragma once

#include <string>

#include <mof/class_repository.h>

#include "mof_parser.h"

namespace cimom {

/// Reads a text at once, as parseMof does, or finds its declarations alone, for parseMofClass and
/// parseMofQualifierDeclaration to read later. A text that has anything else in it than classes
/// and qualifiers, or that is not well formed outside of them, is read at once either way. Throws
/// MofError. Safe from any thread.
MofDocument readMof(std::string text, const std::string& file, MofReading reading);

}  // namespace cimom
