#pragma once

#include <string>
#include <string_view>

namespace cimom {

struct ObjectPath;

/// Foreign text for a terminal: everything that could steer the terminal or hide other text is
/// written out. Controls below U+0020 (line ends among them), U+007F and bytes that are no UTF-8
/// become \x1b (two digits); controls from U+0080 to U+009F, the separators U+2028 and U+2029 and
/// the direction marks (U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069) become
/// \u{202e}. All other text stays as it is, backslashes too. Safe from any thread, as all functions
/// here.
std::string visibleText(std::string_view text);

/// The text of the path, with the same characters written as escapes that a reader of paths takes
/// back (\x202E, four digits). Bytes that are no UTF-8 become \xff, which names another character.
std::string visibleText(const ObjectPath& path);

}  // namespace cimom
