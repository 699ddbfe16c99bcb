#pragma once

#include <picture/canvas.h>
#include <picture/layout.h>

#include <memory>
#include <string>

namespace pcicim {

/// Draws the whole layout, from start() to finish().
void draw(const Layout& layout, Canvas& canvas);

/// A canvas that becomes SVG 1.1 with CSS, in colours for light and dark: texts are texts, each
/// group is an element with a title. The sink outlives it.
std::unique_ptr<Canvas> svgCanvas(const ByteSink& sink);

/// The content of the one <style> element of such a picture, for policies that name its digest.
const std::string& svgStyle();

}  // namespace pcicim
