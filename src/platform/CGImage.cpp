#include "platform/CGImage.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>

#include "platform/CairoHandles.h"

namespace zerva {

struct CGImage::Impl {
  CairoUniquePtr<cairo_surface_t> surface;
};

void PrintTo(const CGPixel& p, std::ostream* os) {
  *os << "pixel(r " << int(p.red) << ", g " << int(p.green) << ", b " << int(p.blue) << ", a " << int(p.alpha) << ")";
}

CGImage::CGImage(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
CGImage::~CGImage() = default;

std::size_t CGImage::width() const { return static_cast<std::size_t>(cairo_image_surface_get_width(impl_->surface.get())); }
std::size_t CGImage::height() const { return static_cast<std::size_t>(cairo_image_surface_get_height(impl_->surface.get())); }
std::size_t CGImage::bytesPerRow() const { return static_cast<std::size_t>(cairo_image_surface_get_stride(impl_->surface.get())); }

const std::uint8_t* CGImage::data() const { return cairo_image_surface_get_data(impl_->surface.get()); }

CGPixel CGImage::pixelAt(std::size_t x, std::size_t y) const {
  if (x >= width() || y >= height()) return {};
  std::uint32_t word;
  std::memcpy(&word, data() + y * bytesPerRow() + x * 4, sizeof word);
  return {static_cast<std::uint8_t>(word >> 16), static_cast<std::uint8_t>(word >> 8), static_cast<std::uint8_t>(word),
          static_cast<std::uint8_t>(word >> 24)};
}

CairoUniquePtr<cairo_surface_t> makeBitmapSurface(int pixelWidth, int pixelHeight, bool opaque) {
  if (pixelWidth < 0 || pixelHeight < 0) return nullptr;
  const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_ARGB32, pixelWidth);
  const auto bytes = static_cast<std::size_t>(stride) * static_cast<std::size_t>(pixelHeight);
  if (!opaque || stride <= 0 || bytes == 0) {
    CairoUniquePtr<cairo_surface_t> surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixelWidth, pixelHeight));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
    return surface;
  }
  // Opaque bitmaps start black: one pass over fresh memory (one row set, then copied down),
  // where a cleared surface set black would be written twice (a frame at 400 x 844 is 1.3 MB
  // a pass). Always ARGB32, even when opaque: drawing one such image into another takes
  // Cairo's fast paths, which an alpha-less source into an alpha destination does not.
  auto* pixels = static_cast<unsigned char*>(std::malloc(bytes));
  if (!pixels) return nullptr;
  auto* firstRow = reinterpret_cast<std::uint32_t*>(pixels);
  std::fill_n(firstRow, static_cast<std::size_t>(stride) / 4, 0xFF000000u);
  for (int y = 1; y < pixelHeight; ++y) std::memcpy(pixels + static_cast<std::size_t>(y) * stride, pixels, stride);
  CairoUniquePtr<cairo_surface_t> surface(
      cairo_image_surface_create_for_data(pixels, CAIRO_FORMAT_ARGB32, pixelWidth, pixelHeight, stride));
  static const cairo_user_data_key_t kPixelsKey{};
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS ||
      cairo_surface_set_user_data(surface.get(), &kPixelsKey, pixels, std::free) != CAIRO_STATUS_SUCCESS) {
    std::free(pixels);
    return nullptr;
  }
  cairo_surface_mark_dirty(surface.get());
  return surface;
}

CGImageRef makeImage(CairoUniquePtr<cairo_surface_t> surface) {
  cairo_surface_flush(surface.get());
  auto impl = std::make_unique<CGImage::Impl>();
  impl->surface = std::move(surface);
  return std::make_shared<const CGImage>(std::move(impl));
}

cairo_surface_t* surfaceOf(const CGImage& image) { return image.impl().surface.get(); }

CGImageRef CGImageCreateWithPixels(std::size_t width, std::size_t height, std::size_t bytesPerRow,
                                   const std::uint32_t* pixels) {
  if (width > 32767 || height > 32767 || bytesPerRow < width * 4 || (!pixels && width && height)) return nullptr;
  auto surface = makeBitmapSurface(static_cast<int>(width), static_cast<int>(height), false);
  if (!surface) return nullptr;
  const auto* src = reinterpret_cast<const std::uint8_t*>(pixels);
  std::uint8_t* dst = cairo_image_surface_get_data(surface.get());
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get()));
  for (std::size_t y = 0; y < height; ++y) std::memcpy(dst + y * stride, src + y * bytesPerRow, width * 4);
  cairo_surface_mark_dirty(surface.get());
  return makeImage(std::move(surface));
}

}  // namespace zerva
