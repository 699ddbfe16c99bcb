#pragma once

#include <picture/canvas.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace pcicim {

/// About how many pixels the text takes, rather too many than too few: pictures must not depend on
/// the fonts of the host that they are made on. Safe from any thread, as all functions here.
int textWidth(std::string_view text, TextStyle style);

/// The text, or its beginning with "…" where all of it does not fit; empty where not even that
/// does.
std::string cutToFit(std::string_view text, int width, TextStyle style);

/// The text in up to `lines` lines, broken between words where there are any; the last one is cut
/// where more would be needed. At least one line.
std::vector<std::string> wrapToFit(std::string_view text, int width, TextStyle style,
                                   std::size_t lines);

}  // namespace pcicim
