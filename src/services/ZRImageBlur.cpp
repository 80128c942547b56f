#include "services/ZRImageBlur.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"

namespace zerva {

namespace {

constexpr int kPasses = 3;
// The blur runs on a copy reduced so that one box pass reaches this many of its pixels; the
// result is smooth anyway, so the reduction costs nothing visible and saves most of the work.
constexpr int kReducedRadius = 4;

struct Bitmap {
  int width = 0;
  int height = 0;
  std::vector<uint32_t> pixels;
  uint32_t* row(int y) { return &pixels[static_cast<size_t>(y) * width]; }
};

// Averages k x k blocks (fewer at the right and bottom edges) of premultiplied pixels.
Bitmap reduce(const CGImage& image, int k) {
  Bitmap out;
  const int w = static_cast<int>(image.width()), h = static_cast<int>(image.height());
  out.width = (w + k - 1) / k;
  out.height = (h + k - 1) / k;
  out.pixels.resize(static_cast<size_t>(out.width) * out.height);
  std::vector<uint32_t> sums(static_cast<size_t>(out.width) * 4);
  for (int by = 0; by < out.height; ++by) {
    std::fill(sums.begin(), sums.end(), 0);
    const int y0 = by * k, y1 = std::min(h, y0 + k);
    for (int y = y0; y < y1; ++y) {
      const auto* src = reinterpret_cast<const uint32_t*>(image.data() + static_cast<size_t>(y) * image.bytesPerRow());
      for (int x = 0; x < w; ++x) {
        const uint32_t p = src[x];
        uint32_t* s = &sums[static_cast<size_t>(x / k) * 4];
        s[0] += p & 0xFF;
        s[1] += (p >> 8) & 0xFF;
        s[2] += (p >> 16) & 0xFF;
        s[3] += p >> 24;
      }
    }
    for (int bx = 0; bx < out.width; ++bx) {
      const uint32_t count = static_cast<uint32_t>((std::min(w, bx * k + k) - bx * k) * (y1 - y0));
      const uint32_t* s = &sums[static_cast<size_t>(bx) * 4];
      uint32_t p = 0;
      for (int ch = 0; ch < 4; ++ch) p |= ((s[ch] + count / 2) / count) << (8 * ch);
      out.row(by)[bx] = p;
    }
  }
  return out;
}

// One box pass along a line of `count` pixels `stride` words apart, edges repeated.
void boxLine(const uint32_t* in, uint32_t* out, int count, int stride, int radius) {
  const int window = 2 * radius + 1;
  int32_t sum[4] = {0, 0, 0, 0};
  auto at = [&](int i) { return in[static_cast<ptrdiff_t>(std::clamp(i, 0, count - 1)) * stride]; };
  auto add = [&](uint32_t p, int sign) {
    for (int ch = 0; ch < 4; ++ch) sum[ch] += sign * static_cast<int32_t>((p >> (8 * ch)) & 0xFF);
  };
  for (int i = -radius; i <= radius; ++i) add(at(i), 1);
  for (int i = 0; i < count; ++i) {
    uint32_t p = 0;
    for (int ch = 0; ch < 4; ++ch) p |= static_cast<uint32_t>((sum[ch] + window / 2) / window) << (8 * ch);
    out[static_cast<ptrdiff_t>(i) * stride] = p;
    add(at(i + radius + 1), 1);
    add(at(i - radius), -1);
  }
}

void boxBlur(Bitmap& bitmap, int radius) {
  std::vector<uint32_t> scratch(bitmap.pixels.size());
  const int w = bitmap.width, h = bitmap.height;
  for (int pass = 0; pass < kPasses; ++pass) {
    for (int y = 0; y < h; ++y) boxLine(bitmap.row(y), &scratch[static_cast<size_t>(y) * w], w, 1, radius);
    for (int x = 0; x < w; ++x) boxLine(&scratch[static_cast<size_t>(x)], &bitmap.pixels[static_cast<size_t>(x)], h, w, radius);
  }
}

}  // namespace

std::shared_ptr<UIImage> ZRBlurImage(const std::shared_ptr<UIImage>& image, double radiusPoints) {
  if (!image) return nullptr;
  const CGImage& source = *image->CGImage();
  if (source.width() == 0 || source.height() == 0) return image;
  const double radiusPixels = std::max(1.0, radiusPoints * image->scale());
  const int k = std::max(1, static_cast<int>(radiusPixels / kReducedRadius));
  Bitmap small = reduce(source, k);
  boxBlur(small, std::max(1, static_cast<int>(std::lround(radiusPixels / k))));

  auto blurred = UIImage::imageWithCGImage(
      CGImageCreateWithPixels(static_cast<size_t>(small.width), static_cast<size_t>(small.height),
                              static_cast<size_t>(small.width) * 4, small.pixels.data()),
      1.0);
  if (!blurred) return nullptr;
  UIGraphicsImageRendererFormat format;
  format.setScale(image->scale());
  // The reduced copy's last block may reach past the picture: map the blocks, not the copy's size.
  const CGSize size = image->size();
  const CGSize drawn{small.width * k / image->scale(), small.height * k / image->scale()};
  return UIGraphicsImageRenderer(size, format).imageWithActions([&](UIGraphicsImageRendererContext& context) {
    CGContextSetInterpolationQuality(context.CGContext(), kCGInterpolationMedium);
    blurred->drawInRect(CGRect{CGPointZero, drawn});
  });
}

}  // namespace zerva
