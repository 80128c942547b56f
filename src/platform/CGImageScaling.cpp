// Images drawn as a pure scale onto whole device pixels: found, and resampled by libyuv (the
// frame's downscale to the video size, pictures drawn smaller than their bitmaps, frame copies).

#include "platform/CGImageScaling.h"

#include <libyuv/planar_functions.h>
#include <libyuv/scale_argb.h>

#include <cmath>

#include "platform/CairoHandles.h"

namespace zerva {

namespace {

constexpr double kPixelSlack = 1e-6;

bool wholePixel(double v) { return std::abs(v - std::round(v)) < kPixelSlack; }

}  // namespace

std::optional<ImagePlacement> wholePixelPlacement(cairo_t* cr, const CGImage& image,
                                                  const cairo_matrix_t& userFromImage) {
  // Inside a transparency layer the target has its own origin; Cairo resamples there.
  cairo_surface_t* target = cairo_get_group_target(cr);
  if (target != cairo_get_target(cr) || cairo_surface_get_type(target) != CAIRO_SURFACE_TYPE_IMAGE) return std::nullopt;

  cairo_matrix_t ctm;
  cairo_get_matrix(cr, &ctm);
  cairo_matrix_t m;
  cairo_matrix_multiply(&m, &userFromImage, &ctm);
  // A pure scale, mirrored at most top to bottom (the platform's image drawing).
  if (std::abs(m.xy) > kPixelSlack || std::abs(m.yx) > kPixelSlack || m.xx <= 0 || m.yy == 0) return std::nullopt;

  const double iw = static_cast<double>(image.width()), ih = static_cast<double>(image.height());
  const double width = m.xx * iw, height = std::abs(m.yy) * ih;
  const double left = m.x0, top = m.yy > 0 ? m.y0 : m.y0 + m.yy * ih;
  if (!wholePixel(left) || !wholePixel(top) || !wholePixel(width) || !wholePixel(height)) return std::nullopt;
  ImagePlacement p{static_cast<int>(std::lround(left)), static_cast<int>(std::lround(top)),
                   static_cast<int>(std::lround(width)), static_cast<int>(std::lround(height)), m.yy < 0};
  // A placement that leaves the bitmap is left to Cairo.
  if (p.width <= 0 || p.height <= 0 || p.x < 0 || p.y < 0 || p.x + p.width > cairo_image_surface_get_width(target) ||
      p.y + p.height > cairo_image_surface_get_height(target)) {
    return std::nullopt;
  }
  return p;
}

bool writeImagePixels(const CGImage& image, const ImagePlacement& placement, unsigned char* pixels, int bytesPerRow) {
  const auto* src = image.data();
  const int stride = static_cast<int>(image.bytesPerRow());
  const int w = static_cast<int>(image.width());
  // A negative height reads the rows bottom up.
  const int h = placement.bottomUp ? -static_cast<int>(image.height()) : static_cast<int>(image.height());
  if (placement.width == w && placement.height == std::abs(h)) {
    return libyuv::ARGBCopy(src, stride, pixels, bytesPerRow, w, h) == 0;
  }
  return libyuv::ARGBScale(src, stride, w, h, pixels, bytesPerRow, placement.width, placement.height,
                           libyuv::kFilterBilinear) == 0;
}

bool compositeImagePixels(cairo_t* cr, const CGImage& image, const ImagePlacement& placement, double alpha) {
  CairoUniquePtr<cairo_surface_t> scaled = makeScratchBitmapSurface(placement.width, placement.height);
  if (!scaled) return false;
  cairo_surface_flush(scaled.get());
  if (!writeImagePixels(image, placement, cairo_image_surface_get_data(scaled.get()),
                        cairo_image_surface_get_stride(scaled.get()))) {
    return false;
  }
  cairo_surface_mark_dirty(scaled.get());
  // Composited as any drawing is: through the clip, with the context's alpha.
  cairo_save(cr);
  cairo_identity_matrix(cr);
  cairo_set_source_surface(cr, scaled.get(), placement.x, placement.y);
  cairo_rectangle(cr, placement.x, placement.y, placement.width, placement.height);
  if (alpha >= 1) {
    cairo_fill(cr);
  } else {
    cairo_clip(cr);
    cairo_paint_with_alpha(cr, alpha);
  }
  cairo_restore(cr);
  return true;
}

}  // namespace zerva
