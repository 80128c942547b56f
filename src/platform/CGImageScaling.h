#pragma once
// Images drawn as a pure scale onto whole device pixels: where they land, and their pixels
// written (copied, or resampled by libyuv) instead of drawn through Cairo. Any thread.

#include <cairo.h>

#include <optional>

#include "platform/CGImage.h"

namespace zerva {

/// Where an image drawn with the given mapping lands, in device pixels, when the mapping is a pure
/// scale onto whole pixels inside the bitmap, mirrored at most top to bottom (bottomUp: the
/// image's top row at the bottom); std::nullopt for any other placement, and inside a
/// transparency layer. userFromImage maps image pixels to user space.
struct ImagePlacement {
  int x, y, width, height;
  bool bottomUp;
};
std::optional<ImagePlacement> wholePixelPlacement(cairo_t* cr, const CGImage& image,
                                                  const cairo_matrix_t& userFromImage);
/// Writes the image's pixels, placed (copied, or scaled bilinear by libyuv), to the rows at
/// `pixels`: placement.width x placement.height pixels, nothing composited. False when libyuv
/// refuses.
bool writeImagePixels(const CGImage& image, const ImagePlacement& placement, unsigned char* pixels, int bytesPerRow);
/// The same through a scratch bitmap composited as any drawing: over what is there, through the
/// context's clip, with the alpha.
bool compositeImagePixels(cairo_t* cr, const CGImage& image, const ImagePlacement& placement, double alpha);

}  // namespace zerva
