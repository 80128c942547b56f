#include "platform/CGImage.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>

#include "platform/BitmapPool.h"
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

namespace {

constexpr int kMaxBitmapSide = 32767;  // Cairo's limit

// The buffer of a pooled bitmap, handed back to the pool when Cairo drops the surface.
struct PooledPixels {
  unsigned char* data;
  std::size_t bytes;
};

void givePixelsBack(void* pixels) {
  auto* pooled = static_cast<PooledPixels*>(pixels);
  BitmapPool::shared().giveBack(pooled->data, pooled->bytes);
  delete pooled;
}

CairoUniquePtr<cairo_surface_t> makePooledSurface(int pixelWidth, int pixelHeight) {
  if (pixelWidth < 0 || pixelHeight < 0 || pixelWidth > kMaxBitmapSide || pixelHeight > kMaxBitmapSide) return nullptr;
  const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_ARGB32, pixelWidth);
  const auto bytes = static_cast<std::size_t>(stride) * static_cast<std::size_t>(pixelHeight);
  if (stride <= 0 || bytes == 0) {
    // Nothing to pool: Cairo's own empty surface.
    CairoUniquePtr<cairo_surface_t> surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixelWidth, pixelHeight));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
    return surface;
  }
  unsigned char* pixels = BitmapPool::shared().take(bytes);
  if (!pixels) return nullptr;
  // Always ARGB32, even when opaque: drawing one such image into another takes Cairo's fast
  // paths, which an alpha-less source into an alpha destination does not.
  CairoUniquePtr<cairo_surface_t> surface(
      cairo_image_surface_create_for_data(pixels, CAIRO_FORMAT_ARGB32, pixelWidth, pixelHeight, stride));
  static const cairo_user_data_key_t kPixelsKey{};
  auto* pooled = new PooledPixels{pixels, bytes};
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS ||
      cairo_surface_set_user_data(surface.get(), &kPixelsKey, pooled, givePixelsBack) != CAIRO_STATUS_SUCCESS) {
    givePixelsBack(pooled);
    return nullptr;
  }
  return surface;
}

}  // namespace

void fillBitmap(cairo_surface_t* surface, std::uint32_t pixel) {
  cairo_surface_flush(surface);
  unsigned char* pixels = cairo_image_surface_get_data(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  const int height = cairo_image_surface_get_height(surface);
  if (!pixels || stride <= 0 || height <= 0) return;
  if (pixel == 0) {
    std::memset(pixels, 0, static_cast<std::size_t>(stride) * static_cast<std::size_t>(height));
  } else {
    // One row set, then copied down.
    std::fill_n(reinterpret_cast<std::uint32_t*>(pixels), static_cast<std::size_t>(stride) / 4, pixel);
    for (int y = 1; y < height; ++y) std::memcpy(pixels + static_cast<std::size_t>(y) * stride, pixels, stride);
  }
  cairo_surface_mark_dirty(surface);
}

CairoUniquePtr<cairo_surface_t> makeBitmapSurface(int pixelWidth, int pixelHeight, bool opaque) {
  auto surface = makePooledSurface(pixelWidth, pixelHeight);
  if (surface) fillBitmap(surface.get(), opaque ? 0xFF000000u : 0u);
  return surface;
}

CairoUniquePtr<cairo_surface_t> makeScratchBitmapSurface(int pixelWidth, int pixelHeight) {
  return makePooledSurface(pixelWidth, pixelHeight);
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
  auto surface = makeScratchBitmapSurface(static_cast<int>(width), static_cast<int>(height));
  if (!surface) return nullptr;
  const auto* src = reinterpret_cast<const std::uint8_t*>(pixels);
  std::uint8_t* dst = cairo_image_surface_get_data(surface.get());
  const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface.get()));
  for (std::size_t y = 0; y < height; ++y) std::memcpy(dst + y * stride, src + y * bytesPerRow, width * 4);
  cairo_surface_mark_dirty(surface.get());
  return makeImage(std::move(surface));
}

}  // namespace zerva
