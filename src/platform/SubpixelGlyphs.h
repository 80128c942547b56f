#pragma once
// Lines of text with each glyph placed to a quarter of a device pixel. Cairo puts every glyph on
// a whole device pixel, so at one pixel per point two letters a fraction of a pixel apart can
// touch: in a small caption "rn" becomes "m" and "Corner" reads "Comer", to a reader and to text
// recognition alike. Any thread; each keeps its own glyph images.

#include <cairo.h>
#include <pango/pango.h>

namespace zerva {

/// Draws a laid-out line, the left end of its baseline at (x, baseline) in user space, in the
/// context's source through its clip. False, having drawn nothing, for a line this does not
/// draw: a turned or mirrored context, colours, decorations or shapes in the line, a glyph the
/// font lacks, a font of bitmap or colour glyphs, glyphs over kLargestSubpixelEm device pixels.
/// The caller then draws it through Pango, on whole pixels.
bool drawLineSubpixel(cairo_t* cr, PangoLayoutLine* line, double x, double baseline);

/// Above this em size in device pixels half a pixel no longer brings letters together.
inline constexpr double kLargestSubpixelEm = 32;

}  // namespace zerva
