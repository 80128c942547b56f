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
  /// Rows [top, bottom) of an image.
  struct RowRange {
    int top = 0;
    int bottom = 0;
    friend bool operator==(const RowRange&, const RowRange&) = default;
  };

  ZRGreyImage() = default;
  /// A white image.
  ZRGreyImage(int width, int height, double pixelsPerPoint);

  /// The image's luminance, composited over white, at `pixelsPerPoint` (the size in points times
  /// it, rounded, at least 1x1). Reduction averages areas; enlargement repeats pixels.
  static ZRGreyImage fromImage(const UIImage& image, double pixelsPerPoint);
  /// The same, converting only the rows given (of the copy); the other rows stay white. A frame
  /// where a few rows changed converts only those.
  static ZRGreyImage fromImage(const UIImage& image, double pixelsPerPoint, const std::vector<RowRange>& rows);

  int width() const { return width_; }
  int height() const { return height_; }
  double pixelsPerPoint() const { return pixelsPerPoint_; }
  bool empty() const { return width_ == 0 || height_ == 0; }
  const std::uint8_t* data() const { return pixels_.data(); }
  std::uint8_t* row(int y) { return &pixels_[static_cast<std::size_t>(y) * width_]; }
  const std::uint8_t* row(int y) const { return &pixels_[static_cast<std::size_t>(y) * width_]; }
  std::uint8_t at(int x, int y) const { return row(y)[x]; }

  /// A copy the recogniser reads as reliably whatever the colours: black text on white.
  /// Grounds are the large areas of one flat (or smoothly shaded) tone: a page, a bar, a button,
  /// an icon; each becomes white. Every other pixel is ink by how far it is from the nearest
  /// ground, so light text on a coloured or dark ground reads like dark text on white; each
  /// connected piece of ink (a glyph) is stretched to full contrast, so grey and pale text reads
  /// as black. Pixels between two grounds (the rim of a button) and areas with no ground near
  /// (photographs, textures) become white: the engine's layout analysis then sees only text.
  /// Only the rows given are worked on, each range on its own; the others are white.
  ZRGreyImage withTextOnWhite(const std::vector<RowRange>& rows) const;
  ZRGreyImage withTextOnWhite() const { return withTextOnWhite({{0, height_}}); }

  /// The pixels a side of `points` gets at `pixelsPerPoint`, as fromImage sizes its copies.
  static int scaledSide(double points, double pixelsPerPoint);

 private:
  int width_ = 0;
  int height_ = 0;
  double pixelsPerPoint_ = 1;
  std::vector<std::uint8_t> pixels_;
};

}  // namespace zerva
