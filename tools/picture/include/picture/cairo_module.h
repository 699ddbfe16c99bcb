#pragma once

#include <picture/canvas.h>

namespace pcicim {

/// The formats that cairo writes.
enum class CairoFormat { kPng, kPdf };

/// What the module `pcicim-cairo.so` exports under the name `pcicim_cairo_canvas`: a canvas, which
/// the caller deletes before the module is closed and the sink goes; null without memory. A module
/// of its own, since cairo brings two dozen libraries, which would be loaded for every command.
using CairoCanvasMaker = Canvas*(CairoFormat format, const ByteSink* sink);

}  // namespace pcicim
