#pragma once

#include <picture/layout.h>

#include <iosfwd>
#include <optional>
#include <string>

#include "options.h"

namespace pcicim {

/// The format that the options name, or else the end of the file's name (.svg, .png, .pdf in any
/// case); SVG for standard output. Throws std::runtime_error where neither says one.
PictureFormat pictureFormat(const Options& options);

/// Draws the machine into the file that the options name, which is there whole or not at all, or to
/// `out` for "-". Throws std::runtime_error with the reason where there can be no such file.
void savePicture(Machine machine, const Options& options, std::ostream& out);

}  // namespace pcicim
