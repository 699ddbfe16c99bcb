#pragma once

#include <string>
#include <string_view>

namespace pcicim {

/// The text as XML and HTML show it, between tags and in quoted attributes: what has a meaning
/// there is escaped, and what no document may hold is written out as visibleText() does, or
/// replaced by U+FFFD where a character cannot be in XML. Safe from any thread.
std::string markupText(std::string_view text);

}  // namespace pcicim
