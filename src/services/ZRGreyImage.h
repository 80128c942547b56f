#pragma once
// An 8-bit grey copy of a frame at a chosen resolution: what text recognition reads. Grey is
// as good as colour for the recogniser and a quarter of the bytes; a lower resolution than the
// screen's costs few words and much less time.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zerva {

class UIImage;

class ZRGreyImage {
 public:
  ZRGreyImage() = default;
  /// A white image.
  ZRGreyImage(int width, int height, double pixelsPerPoint);

  /// The image's luminance, composited over white, at `pixelsPerPoint` (the size in points times
  /// it, rounded, at least 1x1). Reduction averages areas; enlargement repeats pixels.
  static ZRGreyImage fromImage(const UIImage& image, double pixelsPerPoint);

  int width() const { return width_; }
  int height() const { return height_; }
  double pixelsPerPoint() const { return pixelsPerPoint_; }
  bool empty() const { return width_ == 0 || height_ == 0; }
  const std::uint8_t* data() const { return pixels_.data(); }
  std::uint8_t* row(int y) { return &pixels_[static_cast<std::size_t>(y) * width_]; }
  const std::uint8_t* row(int y) const { return &pixels_[static_cast<std::size_t>(y) * width_]; }
  std::uint8_t at(int x, int y) const { return row(y)[x]; }

  /// A copy with light text on dark ground turned into dark text on light ground: pixels whose
  /// surroundings (a square of 2 * radius + 1 pixels) are dark on average are inverted. The
  /// recogniser then needs no second, inverted pass of its own.
  ZRGreyImage withDarkTextOnLight(int radius) const;

  /// The pixels a side of `points` gets at `pixelsPerPoint`, as fromImage sizes its copies.
  static int scaledSide(double points, double pixelsPerPoint);

 private:
  int width_ = 0;
  int height_ = 0;
  double pixelsPerPoint_ = 1;
  std::vector<std::uint8_t> pixels_;
};

}  // namespace zerva
