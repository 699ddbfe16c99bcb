#pragma once

#include <string>
#include <string_view>

namespace cimom {

/// The text as an error may repeat it: whole up to 1 KiB, else its beginning and its end with
/// " ... " between them, cut where characters of UTF-8 begin. What a name that a client sent stands
/// in keeps its reason, however long the name is.
std::string shortText(std::string_view text);

}  // namespace cimom
