#pragma once

#include <string_view>

namespace pcicim {

/// Writes "pcicim: TEXT" and a line end to standard error, in one piece, with everything in the
/// text written out that is not for a terminal (cimom::visibleText). Any thread may call it. A
/// standard error that cannot be written to loses the line.
void complain(std::string_view text);

}  // namespace pcicim
