#pragma once

#include <optional>
#include <string>

namespace cimom {

/// Text and type name ("CMPIString", ...) of any object of this broker; nothing and null for what
/// is none.
std::optional<std::string> objectText(const void* object);
const char* objectTypeName(const void* object);

}  // namespace cimom
