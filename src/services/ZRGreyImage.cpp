#include "services/ZRGreyImage.h"

#include <algorithm>
#include <cmath>
#include <numeric>

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

std::vector<ZRGreyImage::RowRange> sortedRanges(std::vector<ZRGreyImage::RowRange> rows, int height) {
  for (auto& r : rows) r = {std::clamp(r.top, 0, height), std::clamp(r.bottom, 0, height)};
  std::erase_if(rows, [](const ZRGreyImage::RowRange& r) { return r.bottom <= r.top; });
  std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.top < b.top; });
  std::vector<ZRGreyImage::RowRange> out;
  for (const auto& r : rows) {
    if (!out.empty() && r.top <= out.back().bottom) out.back().bottom = std::max(out.back().bottom, r.bottom);
    else out.push_back(r);
  }
  return out;
}

// Luminance of premultiplied pixels over white: c + (255 - alpha).
void luminanceRow(const std::uint32_t* src, int width, std::uint8_t* dst) {
  for (int x = 0; x < width; ++x) {
    const std::uint32_t p = src[x];
    const std::uint32_t b = p & 0xFF, g = (p >> 8) & 0xFF, r = (p >> 16) & 0xFF, a = p >> 24;
    const std::uint32_t luma = (r * 77 + g * 150 + b * 29) >> 8;
    dst[x] = static_cast<std::uint8_t>(std::min<std::uint32_t>(255, luma + 255 - a));
  }
}

}  // namespace

ZRGreyImage::ZRGreyImage(int width, int height, double pixelsPerPoint)
    : width_(std::max(0, width)),
      height_(std::max(0, height)),
      pixelsPerPoint_(pixelsPerPoint),
      pixels_(static_cast<std::size_t>(width_) * height_, 255) {}

ZRGreyImage ZRGreyImage::fromImage(const UIImage& image, double pixelsPerPoint) {
  return fromImage(image, pixelsPerPoint, {{0, scaledSide(image.size().height, pixelsPerPoint)}});
}

ZRGreyImage ZRGreyImage::fromImage(const UIImage& image, double pixelsPerPoint, const std::vector<RowRange>& rows) {
  const CGImage& source = *image.CGImage();
  const int sw = static_cast<int>(source.width()), sh = static_cast<int>(source.height());
  if (sw == 0 || sh == 0) return {};
  const CGSize points = image.size();
  const int tw = scaledSide(points.width, pixelsPerPoint), th = scaledSide(points.height, pixelsPerPoint);
  ZRGreyImage out(tw, th, pixelsPerPoint);
  const auto ranges = sortedRanges(rows, th);
  auto sourceRow = [&](int y) {
    return reinterpret_cast<const std::uint32_t*>(source.data() + static_cast<std::size_t>(y) * source.bytesPerRow());
  };
  if (tw == sw && th == sh) {
    for (const auto& r : ranges) {
      for (int y = r.top; y < r.bottom; ++y) luminanceRow(sourceRow(y), sw, out.row(y));
    }
    return out;
  }
  // Separable resampling: the source rows the wanted rows need, along rows into `across`, then
  // down the columns.
  const AxisWeights wx = axisWeights(sw, tw), wy = axisWeights(sh, th);
  std::vector<std::uint8_t> needed(sh, 0);
  for (const auto& r : ranges) {
    for (int y = r.top; y < r.bottom; ++y) std::fill_n(needed.begin() + wy.first[y], wy.count[y], 1);
  }
  std::vector<std::uint8_t> across(static_cast<std::size_t>(tw) * sh);
  std::vector<std::uint8_t> grey(sw);
  for (int y = 0; y < sh; ++y) {
    if (!needed[y]) continue;
    luminanceRow(sourceRow(y), sw, grey.data());
    std::uint8_t* dst = &across[static_cast<std::size_t>(y) * tw];
    for (int x = 0; x < tw; ++x) {
      std::uint32_t sum = 0;
      const std::uint32_t* w = &wx.weights[wx.offset[x]];
      for (int k = 0; k < wx.count[x]; ++k) sum += grey[wx.first[x] + k] * w[k];
      dst[x] = static_cast<std::uint8_t>(std::min<std::uint32_t>(255, (sum + 32768) >> 16));
    }
  }
  std::vector<std::uint32_t> sums(tw);
  for (const auto& r : ranges) {
    for (int y = r.top; y < r.bottom; ++y) {
      std::fill(sums.begin(), sums.end(), 0);
      const std::uint32_t* w = &wy.weights[wy.offset[y]];
      for (int k = 0; k < wy.count[y]; ++k) {
        const std::uint8_t* src = &across[static_cast<std::size_t>(wy.first[y] + k) * tw];
        for (int x = 0; x < tw; ++x) sums[x] += src[x] * w[k];
      }
      std::uint8_t* dst = out.row(y);
      for (int x = 0; x < tw; ++x) dst[x] = static_cast<std::uint8_t>(std::min<std::uint32_t>(255, (sums[x] + 32768) >> 16));
    }
  }
  return out;
}

namespace {

// Neighbouring pixels this close in tone belong to one ground, so smooth shading is one ground.
constexpr int kGroundTolerance = 2;
// How deep, in points, a ground reaches at its deepest (the distance from there to anything of
// another tone): more than half the stroke of any glyph up to about 40 points bold, and less
// than the margin a button or badge leaves around its text. (Smaller badges read as ink
// around their text.)
constexpr double kGroundDepth = 3.5;
// A piece of ink is a picture when it holds a patch (this many points square) of pixels farther
// than this from anything of a ground's tone: text has ground-toned pixels between its strokes
// (counters, gaps between letters, even where they are too small to be grounds themselves), a
// photograph has none inside.
constexpr double kPictureDistance = 5;
// Reach, in pixels, within which two grounds of different tone make a rim, not ink.
constexpr int kRimReach = 2;
// Ink below this is noise; a glyph is stretched to black unless its contrast is below the
// second, so faint specks stay faint.
constexpr int kInkFloor = 12;
constexpr int kStretchFloor = 40;
// Chamfer steps: a side and a diagonal.
constexpr std::uint16_t kSide = 3, kDiagonal = 4, kFar = 0xFFFF;

struct DisjointSets {
  std::vector<int> parent;
  explicit DisjointSets(std::size_t n) : parent(n) { std::iota(parent.begin(), parent.end(), 0); }
  int find(int i) {
    while (parent[i] != i) {
      parent[i] = parent[parent[i]];
      i = parent[i];
    }
    return i;
  }
  void unite(int a, int b) {
    a = find(a), b = find(b);
    if (a < b) parent[b] = a;
    else if (b < a) parent[a] = b;
  }
};

// Chamfer distances, in place: pixels at 0 are the sources, the others kFar until reached.
// `reached(i, j)` is told when pixel i takes its distance through pixel j.
template <typename Reached>
void chamfer(std::vector<std::uint16_t>& distance, int w, int h, Reached reached) {
  auto relax = [&](int i, int j, std::uint16_t step) {
    if (distance[j] != kFar && distance[j] + step < distance[i]) {
      distance[i] = static_cast<std::uint16_t>(distance[j] + step);
      reached(i, j);
    }
  };
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int i = y * w + x;
      if (distance[i] == 0) continue;
      if (x > 0) relax(i, i - 1, kSide);
      if (y > 0) {
        relax(i, i - w, kSide);
        if (x > 0) relax(i, i - w - 1, kDiagonal);
        if (x + 1 < w) relax(i, i - w + 1, kDiagonal);
      }
    }
  }
  for (int y = h - 1; y >= 0; --y) {
    for (int x = w - 1; x >= 0; --x) {
      const int i = y * w + x;
      if (distance[i] == 0) continue;
      if (x + 1 < w) relax(i, i + 1, kSide);
      if (y + 1 < h) {
        relax(i, i + w, kSide);
        if (x + 1 < w) relax(i, i + w + 1, kDiagonal);
        if (x > 0) relax(i, i + w - 1, kDiagonal);
      }
    }
  }
}

void textOnWhite(const ZRGreyImage& in, ZRGreyImage::RowRange range, ZRGreyImage& out) {
  const int w = in.width(), h = range.bottom - range.top;
  const std::size_t n = static_cast<std::size_t>(w) * h;
  const std::uint8_t* p = in.row(range.top);  // rows are contiguous
  const double ppp = in.pixelsPerPoint();

  // Grounds: connected areas of one tone (within the tolerance), large enough.
  DisjointSets sets(n);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int i = y * w + x;
      if (x > 0 && std::abs(p[i] - p[i - 1]) <= kGroundTolerance) sets.unite(i, i - 1);
      if (y > 0 && std::abs(p[i] - p[i - w]) <= kGroundTolerance) sets.unite(i, i - w);
    }
  }
  // How deep each area reaches: the chamfer distance of each pixel to the nearest change of
  // tone (the band's own edges are none: its grounds go on beyond them).
  std::vector<std::uint16_t> distance(n, kFar);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int i = y * w + x;
      auto differs = [&](int j) { return std::abs(p[i] - p[j]) > kGroundTolerance; };
      if ((x > 0 && differs(i - 1)) || (x + 1 < w && differs(i + 1)) || (y > 0 && differs(i - w)) ||
          (y + 1 < h && differs(i + w))) {
        distance[i] = 0;
      }
    }
  }
  chamfer(distance, w, h, [](int, int) {});
  std::vector<std::uint16_t> depth(n, 0);
  for (std::size_t i = 0; i < n; ++i) {
    const int r = sets.parent[i] = sets.find(static_cast<int>(i));
    depth[r] = std::max(depth[r], distance[i]);
  }
  const int groundDepth = static_cast<int>(kGroundDepth * ppp * kSide);
  std::vector<std::uint8_t> ground(n);
  for (std::size_t i = 0; i < n; ++i) ground[i] = depth[sets.parent[i]] >= groundDepth;

  // The nearest ground of every pixel (chamfer distance) and its tone.
  std::vector<std::uint8_t> tone(n, 255);
  for (std::size_t i = 0; i < n; ++i) {
    distance[i] = ground[i] ? 0 : kFar;
    if (ground[i]) tone[i] = p[i];
  }
  chamfer(distance, w, h, [&](int i, int j) { tone[i] = tone[j]; });

  // Ink: how far a pixel is from its ground's tone; none on the rim between two grounds.
  std::vector<std::uint8_t> ink(n, 0);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int i = y * w + x;
      if (ground[i] || distance[i] == kFar) continue;
      const int v = p[i];
      if (distance[i] <= kRimReach * kSide) {
        int lo = 255, hi = 0;
        for (int dy = std::max(-kRimReach, -y); dy <= std::min(kRimReach, h - 1 - y); ++dy) {
          for (int dx = std::max(-kRimReach, -x); dx <= std::min(kRimReach, w - 1 - x); ++dx) {
            const int j = i + dy * w + dx;
            if (ground[j]) lo = std::min<int>(lo, p[j]), hi = std::max<int>(hi, p[j]);
          }
        }
        if (hi - lo > 4 * kGroundTolerance && lo <= v && v <= hi) continue;
      }
      ink[i] = static_cast<std::uint8_t>(std::abs(v - tone[i]));
    }
  }

  // How far each pixel of ink is from the nearest pixel that is not.
  for (std::size_t i = 0; i < n; ++i) distance[i] = ink[i] < kInkFloor ? 0 : kFar;
  chamfer(distance, w, h, [](int, int) {});

  // Pieces of ink (8-connected): a piece with a patch far inside is a picture and goes; the
  // others are stretched to full contrast, each on its own.
  DisjointSets pieces(n);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const int i = y * w + x;
      if (ink[i] < kInkFloor) continue;
      if (x > 0 && ink[i - 1] >= kInkFloor) pieces.unite(i, i - 1);
      if (y > 0) {
        if (ink[i - w] >= kInkFloor) pieces.unite(i, i - w);
        if (x > 0 && ink[i - w - 1] >= kInkFloor) pieces.unite(i, i - w - 1);
        if (x + 1 < w && ink[i - w + 1] >= kInkFloor) pieces.unite(i, i - w + 1);
      }
    }
  }
  const int pictureDistance = static_cast<int>(kPictureDistance * ppp * kSide);
  const int pictureArea = static_cast<int>(kPictureDistance * kPictureDistance * ppp * ppp);
  std::vector<std::uint8_t> strongest(n, 0);
  for (std::size_t i = 0; i < n; ++i) {
    if (ink[i] < kInkFloor) continue;
    const int r = pieces.parent[i] = pieces.find(static_cast<int>(i));
    strongest[r] = std::max(strongest[r], ink[i]);
  }
  std::vector<int> far(n, 0);
  for (std::size_t i = 0; i < n; ++i) {
    if (ink[i] >= kInkFloor && distance[i] > pictureDistance) ++far[pieces.parent[i]];
  }
  std::uint8_t* o = out.row(range.top);
  for (std::size_t i = 0; i < n; ++i) {
    if (ink[i] < kInkFloor) continue;
    const int r = pieces.parent[i];
    if (far[r] >= pictureArea) continue;
    const int stretched = ink[i] * 255 / std::max<int>(strongest[r], kStretchFloor);
    o[i] = static_cast<std::uint8_t>(255 - std::min(255, stretched));
  }
}

}  // namespace

ZRGreyImage ZRGreyImage::withTextOnWhite(const std::vector<RowRange>& rows) const {
  ZRGreyImage out(width_, height_, pixelsPerPoint_);
  for (const auto& range : sortedRanges(rows, height_)) textOnWhite(*this, range, out);
  return out;
}

int ZRGreyImage::scaledSide(double points, double pixelsPerPoint) {
  return std::max(1, static_cast<int>(std::lround(points * pixelsPerPoint)));
}

}  // namespace zerva
