#pragma once
// Private to the drawing sources of src/platform: the Cairo handles behind CGContext and CGImage.
// No public header includes this file, so Cairo stays out of the rest of the code.

#include <cairo.h>

#include <cstdint>
#include <memory>

#include "platform/CGContext.h"
#include "platform/CGImage.h"

namespace zerva {

struct CairoDestroy {
  void operator()(cairo_t* cr) const { cairo_destroy(cr); }
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
  void operator()(cairo_pattern_t* p) const { cairo_pattern_destroy(p); }
  void operator()(cairo_path_t* p) const { cairo_path_destroy(p); }
  void operator()(cairo_font_options_t* o) const { cairo_font_options_destroy(o); }
  void operator()(cairo_scaled_font_t* f) const { cairo_scaled_font_destroy(f); }
};

template <typename T>
using CairoUniquePtr = std::unique_ptr<T, CairoDestroy>;

/// A new ARGB32 bitmap of the given pixel size; nullptr when Cairo cannot make one
/// (sizes beyond 32767 pixels, out of memory). Opaque bitmaps start opaque black, others clear.
/// Its pixels come from BitmapPool and go back to it when the surface is destroyed.
CairoUniquePtr<cairo_surface_t> makeBitmapSurface(int pixelWidth, int pixelHeight, bool opaque);
/// The same with its pixels left as the pool hands them over, which may be an old frame's: for a
/// bitmap written whole before anything reads it.
CairoUniquePtr<cairo_surface_t> makeScratchBitmapSurface(int pixelWidth, int pixelHeight);
/// Sets every pixel of an image surface to the premultiplied 0xAARRGGBB word.
void fillBitmap(cairo_surface_t* surface, std::uint32_t pixel);

/// The cairo_t a context draws with.
cairo_t* cairoOf(CGContext& context);

/// Makes a context over a bitmap whose pixels are not set yet (makeScratchBitmapSurface); user
/// space is the bitmap's pixels scaled down by `scale`. The pixels are set to the start (opaque
/// black or clear) when something first draws, or when the image is taken; a first image drawing
/// that covers every pixel writes them instead.
std::unique_ptr<CGContext> makeBitmapContext(CairoUniquePtr<cairo_surface_t> surface, double scale, bool opaque);

/// The alpha the context's graphics state multiplies everything by.
double contextAlpha(CGContext& context);

/// Draws the image stretched over the rectangle, its top row at the rectangle's smallest y when
/// upright, else at its largest y (CGContextDrawImage).
void drawImageInRect(CGContext& context, CGRect rect, const CGImage& image, bool upright);

/// Fills or strokes (with the given line width) a path of its own, leaving the context's
/// current path and graphics state as they were.
void paintPathAside(CGContext& context, const CGPath& path, bool stroke, double lineWidth);

/// Ends drawing and hands the context's bitmap over as an image, without copying it.
/// The context must not be drawn into afterwards.
CGImageRef takeImage(CGContext& context);

/// Wraps a finished bitmap. The image owns it from now on and nothing draws into it again.
CGImageRef makeImage(CairoUniquePtr<cairo_surface_t> surface);

/// The image's bitmap, for use as a drawing source only.
cairo_surface_t* surfaceOf(const CGImage& image);

}  // namespace zerva
