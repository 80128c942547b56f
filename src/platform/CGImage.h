#pragma once
// An immutable bitmap: width x height pixels, 32 bits each, premultiplied alpha.
//
// Memory layout (for code that hands pixels on, such as the video writer): rows of
// bytesPerRow() bytes, top row first; each pixel is one native-endian 32-bit word 0xAARRGGBB,
// that is the bytes B, G, R, A on little-endian machines. Colour channels are premultiplied
// by alpha. Images are shared by std::shared_ptr and never change once made, so any thread
// may read or draw them at the same time.

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>

namespace zerva {

/// One pixel as stored: 8 bits per channel, colour premultiplied by alpha.
struct CGPixel {
  std::uint8_t red = 0, green = 0, blue = 0, alpha = 0;
  friend bool operator==(const CGPixel&, const CGPixel&) = default;
};

void PrintTo(const CGPixel& p, std::ostream* os);

class CGImage;
using CGImageRef = std::shared_ptr<const CGImage>;

class CGImage {
 public:
  struct Impl;
  explicit CGImage(std::unique_ptr<Impl> impl);
  ~CGImage();
  CGImage(const CGImage&) = delete;
  CGImage& operator=(const CGImage&) = delete;

  std::size_t width() const;
  std::size_t height() const;
  std::size_t bytesPerRow() const;
  const std::uint8_t* data() const;
  /// The pixel at column x, row y (row 0 at the top); a clear pixel outside the image.
  CGPixel pixelAt(std::size_t x, std::size_t y) const;

  const Impl& impl() const { return *impl_; }

 private:
  std::unique_ptr<Impl> impl_;
};

/// A copy of `height` rows of premultiplied 0xAARRGGBB words; nullptr when the size is beyond
/// what the drawing backend takes (32767 pixels a side) or bytesPerRow is too small.
CGImageRef CGImageCreateWithPixels(std::size_t width, std::size_t height, std::size_t bytesPerRow,
                                   const std::uint32_t* pixels);

inline std::size_t CGImageGetWidth(const CGImageRef& image) { return image ? image->width() : 0; }
inline std::size_t CGImageGetHeight(const CGImageRef& image) { return image ? image->height() : 0; }

}  // namespace zerva
