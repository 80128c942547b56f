#include "services/ZRGreyImage.h"

#include <algorithm>
#include <cmath>

#include "platform/UIImage.h"

namespace zerva {

namespace {

// Source pixels and their weights (16.16 fixed point, summing to 1) for each target pixel of
// one axis: the target pixel's footprint on the source, by overlap.
struct AxisWeights {
  std::vector<int> first;    // first source index, per target pixel
  std::vector<int> count;    // number of source pixels, per target pixel
  std::vector<std::uint32_t> weights;  // concatenated
  std::vector<std::size_t> offset;     // into weights, per target pixel
};

AxisWeights axisWeights(int sourceSize, int targetSize) {
  AxisWeights w;
  const double step = static_cast<double>(sourceSize) / targetSize;
  for (int i = 0; i < targetSize; ++i) {
    const double a = i * step, b = std::min<double>(sourceSize, (i + 1) * step);
    const int j0 = std::min(sourceSize - 1, static_cast<int>(std::floor(a)));
    const int j1 = std::max(j0 + 1, std::min(sourceSize, static_cast<int>(std::ceil(b))));
    w.first.push_back(j0);
    w.count.push_back(j1 - j0);
    w.offset.push_back(w.weights.size());
    std::uint32_t total = 0;
    for (int j = j0; j < j1; ++j) {
      const double overlap = std::max(0.0, std::min<double>(b, j + 1) - std::max<double>(a, j));
      const auto weight = static_cast<std::uint32_t>(std::lround(overlap / (b - a) * 65536.0));
      w.weights.push_back(weight);
      total += weight;
    }
    // Rounding leftovers go to the first pixel so that flat areas stay exactly flat.
    w.weights[w.offset.back()] += 65536u - std::min(total, 65536u);
  }
  return w;
}

}  // namespace

ZRGreyImage::ZRGreyImage(int width, int height, double pixelsPerPoint)
    : width_(std::max(0, width)),
      height_(std::max(0, height)),
      pixelsPerPoint_(pixelsPerPoint),
      pixels_(static_cast<std::size_t>(width_) * height_, 255) {}

ZRGreyImage ZRGreyImage::fromImage(const UIImage& image, double pixelsPerPoint) {
  const CGImage& source = *image.CGImage();
  const int sw = static_cast<int>(source.width()), sh = static_cast<int>(source.height());
  if (sw == 0 || sh == 0) return {};
  const CGSize points = image.size();
  const int tw = scaledSide(points.width, pixelsPerPoint), th = scaledSide(points.height, pixelsPerPoint);

  // Luminance of premultiplied pixels over white: c + (255 - alpha).
  std::vector<std::uint8_t> grey(static_cast<std::size_t>(sw) * sh);
  for (int y = 0; y < sh; ++y) {
    const auto* src = reinterpret_cast<const std::uint32_t*>(source.data() + static_cast<std::size_t>(y) * source.bytesPerRow());
    std::uint8_t* dst = &grey[static_cast<std::size_t>(y) * sw];
    for (int x = 0; x < sw; ++x) {
      const std::uint32_t p = src[x];
      const std::uint32_t b = p & 0xFF, g = (p >> 8) & 0xFF, r = (p >> 16) & 0xFF, a = p >> 24;
      const std::uint32_t luma = (r * 77 + g * 150 + b * 29) >> 8;
      dst[x] = static_cast<std::uint8_t>(std::min<std::uint32_t>(255, luma + 255 - a));
    }
  }

  ZRGreyImage out(tw, th, pixelsPerPoint);
  if (tw == sw && th == sh) {
    out.pixels_ = std::move(grey);
    return out;
  }
  // Separable resampling: along rows into `across`, then down the columns.
  const AxisWeights wx = axisWeights(sw, tw), wy = axisWeights(sh, th);
  std::vector<std::uint8_t> across(static_cast<std::size_t>(tw) * sh);
  for (int y = 0; y < sh; ++y) {
    const std::uint8_t* src = &grey[static_cast<std::size_t>(y) * sw];
    std::uint8_t* dst = &across[static_cast<std::size_t>(y) * tw];
    for (int x = 0; x < tw; ++x) {
      std::uint32_t sum = 0;
      const std::uint32_t* w = &wx.weights[wx.offset[x]];
      for (int k = 0; k < wx.count[x]; ++k) sum += src[wx.first[x] + k] * w[k];
      dst[x] = static_cast<std::uint8_t>(std::min<std::uint32_t>(255, (sum + 32768) >> 16));
    }
  }
  std::vector<std::uint32_t> sums(tw);
  for (int y = 0; y < th; ++y) {
    std::fill(sums.begin(), sums.end(), 0);
    const std::uint32_t* w = &wy.weights[wy.offset[y]];
    for (int k = 0; k < wy.count[y]; ++k) {
      const std::uint8_t* src = &across[static_cast<std::size_t>(wy.first[y] + k) * tw];
      for (int x = 0; x < tw; ++x) sums[x] += src[x] * w[k];
    }
    std::uint8_t* dst = out.row(y);
    for (int x = 0; x < tw; ++x) dst[x] = static_cast<std::uint8_t>(std::min<std::uint32_t>(255, (sums[x] + 32768) >> 16));
  }
  return out;
}

ZRGreyImage ZRGreyImage::withDarkTextOnLight(int radius) const {
  ZRGreyImage out = *this;
  if (empty()) return out;
  // Summed-area table, one extra row and column of zeros.
  const std::size_t stride = static_cast<std::size_t>(width_) + 1;
  std::vector<std::uint64_t> sat(stride * (height_ + 1), 0);
  for (int y = 0; y < height_; ++y) {
    std::uint64_t rowSum = 0;
    const std::uint8_t* src = row(y);
    for (int x = 0; x < width_; ++x) {
      rowSum += src[x];
      sat[(y + 1) * stride + x + 1] = sat[y * stride + x + 1] + rowSum;
    }
  }
  for (int y = 0; y < height_; ++y) {
    const int y0 = std::max(0, y - radius), y1 = std::min(height_, y + radius + 1);
    std::uint8_t* dst = out.row(y);
    for (int x = 0; x < width_; ++x) {
      const int x0 = std::max(0, x - radius), x1 = std::min(width_, x + radius + 1);
      const std::uint64_t sum = sat[y1 * stride + x1] - sat[y0 * stride + x1] - sat[y1 * stride + x0] + sat[y0 * stride + x0];
      const auto area = static_cast<std::uint64_t>(x1 - x0) * static_cast<std::uint64_t>(y1 - y0);
      if (sum < 128 * area) dst[x] = static_cast<std::uint8_t>(255 - dst[x]);
    }
  }
  return out;
}

int ZRGreyImage::scaledSide(double points, double pixelsPerPoint) {
  return std::max(1, static_cast<int>(std::lround(points * pixelsPerPoint)));
}

}  // namespace zerva
