#include "services/ZRGreyImage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
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
  // A whole number of capture pixels per copy pixel (2x and 3x captures at 1 pixel per point):
  // the channels of each k x k block are summed and made grey once.
  const int k = sw / tw;
  if (k > 1 && sw == tw * k && sh == th * k) {
    std::vector<std::uint32_t> sums(static_cast<std::size_t>(tw) * 4);
    const std::uint32_t area = static_cast<std::uint32_t>(k * k);
    for (const auto& r : ranges) {
      for (int y = r.top; y < r.bottom; ++y) {
        std::fill(sums.begin(), sums.end(), 0);
        for (int dy = 0; dy < k; ++dy) {
          const std::uint32_t* src = sourceRow(y * k + dy);
          for (int x = 0; x < tw; ++x) {
            std::uint32_t* sum = &sums[static_cast<std::size_t>(x) * 4];
            for (int dx = 0; dx < k; ++dx) {
              const std::uint32_t p = src[x * k + dx];
              sum[0] += p & 0xFF, sum[1] += (p >> 8) & 0xFF, sum[2] += (p >> 16) & 0xFF, sum[3] += p >> 24;
            }
          }
        }
        std::uint8_t* dst = out.row(y);
        for (int x = 0; x < tw; ++x) {
          const std::uint32_t* sum = &sums[static_cast<std::size_t>(x) * 4];
          // Luminance of premultiplied pixels over white, as luminanceRow, of the block's mean.
          const std::uint32_t luma = (sum[2] * 77 + sum[1] * 150 + sum[0] * 29 + 128 * area) / (256 * area);
          const std::uint32_t clear = 255 - (sum[3] + area / 2) / area;
          dst[x] = static_cast<std::uint8_t>(std::min<std::uint32_t>(255, luma + clear));
        }
      }
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

// Neighbouring pixels this close in tone are one area, so that smooth shading is one ground.
constexpr int kGroundTolerance = 2;
// How far, in points, a pixel must be from any change of tone to be deep inside a ground: more
// than half the stroke of any glyph up to about 40 points bold, and less than the margin a
// button or badge leaves around its text. (Smaller badges read as ink around their text.)
constexpr double kGroundDepth = 3.5;
// A piece of ink is a picture when it holds a patch (this many points square) of pixels farther
// than this from anything of its ground's tone: text has ground-toned pixels between its
// strokes (counters, gaps between letters), a photograph has none inside.
constexpr double kPictureDistance = 5;
// Reach, in points, within which two grounds of different tone make a rim, not ink (an
// antialiased edge is a pixel of the capture wide, more in a copy finer than the capture).
constexpr double kRimReach = 2;
// Ink below this is noise; a glyph is stretched to black unless its contrast is below the
// second, so faint specks stay faint.
constexpr int kInkFloor = 12;
constexpr int kStretchFloor = 40;
// Chamfer steps (a side, a diagonal), and "not reached": high enough to stand out, low enough
// that adding a step cannot overflow.
constexpr std::uint32_t kSide = 3, kDiagonal = 4, kFar = 0xF0000000u;

struct DisjointSets {
  std::vector<int> parent;
  void reset(std::size_t n) {
    parent.resize(n);
    std::iota(parent.begin(), parent.end(), 0);
  }
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

// Chamfer distances over a w x h grid, in place. Each value is a distance shifted left by
// `shift` bits, the bits below free to carry something of the source (a tone): the smallest
// value wins, so the nearest source's bits come along. Sources hold their distance 0; the others
// start at kFar. Each pass takes the row above or below first, several independent pixels at a
// time (vector instructions), then runs along the row.
using Lanes = std::uint32_t __attribute__((vector_size(16)));

Lanes lanesAt(const std::uint32_t* p) {
  Lanes v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

Lanes minimum(Lanes a, Lanes b) { return a < b ? a : b; }

void fromNeighbourRow(std::uint32_t* row, const std::uint32_t* other, int w, std::uint32_t side,
                      std::uint32_t diagonal) {
  auto at = [&](int x) {
    const std::uint32_t left = x > 0 ? other[x - 1] : kFar, right = x + 1 < w ? other[x + 1] : kFar;
    row[x] = std::min(row[x], std::min(other[x] + side, std::min(left, right) + diagonal));
  };
  if (w < 2) {
    if (w == 1) at(0);
    return;
  }
  at(0);
  int x = 1;
  constexpr int kLanes = sizeof(Lanes) / sizeof(std::uint32_t);
  for (; x + kLanes <= w - 1; x += kLanes) {
    const Lanes o = lanesAt(other + x), left = lanesAt(other + x - 1), right = lanesAt(other + x + 1);
    const Lanes r = minimum(lanesAt(row + x), minimum(o + side, minimum(left, right) + diagonal));
    std::memcpy(row + x, &r, sizeof r);
  }
  for (; x < w; ++x) at(x);
}

void chamfer(std::uint32_t* d, int w, int h, int shift) {
  const std::uint32_t side = kSide << shift, diagonal = kDiagonal << shift;
  for (int y = 0; y < h; ++y) {
    std::uint32_t* row = d + static_cast<std::size_t>(y) * w;
    if (y > 0) fromNeighbourRow(row, row - w, w, side, diagonal);
    for (int x = 1; x < w; ++x) row[x] = std::min(row[x], row[x - 1] + side);
  }
  for (int y = h - 1; y >= 0; --y) {
    std::uint32_t* row = d + static_cast<std::size_t>(y) * w;
    if (y + 1 < h) fromNeighbourRow(row, row + w, w, side, diagonal);
    for (int x = w - 2; x >= 0; --x) row[x] = std::min(row[x], row[x + 1] + side);
  }
}

// Working memory of the preparation, kept by each thread that prepares (the text processor's
// worker), so that a frame does not fault in fresh pages.
struct Run {
  int begin, end;  // [begin, end) of a row
};

struct Scratch {
  std::vector<std::uint32_t> distance;
  std::vector<Run> runs;
  std::vector<std::size_t> rowStart;  // per row, its first run
  DisjointSets areas;                 // of runs
  std::vector<std::uint8_t> deepArea; // per area's root
  std::vector<std::uint8_t> ink;
  std::vector<std::uint8_t> grounded;  // 1 where a pixel is ground
  DisjointSets pieces;
  std::vector<std::uint8_t> strongest;
  std::vector<int> far;
  std::vector<std::array<int, 4>> extent;  // left, right, top, bottom (included)
};

void textOnWhite(const ZRGreyImage& in, ZRGreyImage::RowRange range, ZRGreyImage& out) {
  thread_local Scratch scratch;
  const int w = in.width(), h = range.bottom - range.top;
  const std::size_t n = static_cast<std::size_t>(w) * h;
  const std::uint8_t* p = in.row(range.top);  // rows are contiguous
  const double ppp = in.pixelsPerPoint();
  auto& d = scratch.distance;
  d.assign(n, 0);

  // How deep each pixel lies inside an area of one tone: its distance to the nearest change of
  // tone (the band's own edges are none: its grounds go on beyond them).
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const std::size_t i = static_cast<std::size_t>(y) * w + x;
      const int v = p[i];
      const bool edge = (x > 0 && std::abs(v - p[i - 1]) > kGroundTolerance) ||
                        (x + 1 < w && std::abs(v - p[i + 1]) > kGroundTolerance) ||
                        (y > 0 && std::abs(v - p[i - w]) > kGroundTolerance) ||
                        (y + 1 < h && std::abs(v - p[i + w]) > kGroundTolerance);
      d[i] = edge ? 0 : kFar;
    }
  }
  chamfer(d.data(), w, h, 0);

  // Areas: runs of one tone along each row, joined where runs of neighbouring rows touch in
  // tone. An area that lies deep enough somewhere is a ground.
  auto& runs = scratch.runs;
  auto& rowStart = scratch.rowStart;
  runs.clear();
  rowStart.assign(static_cast<std::size_t>(h) + 1, 0);
  for (int y = 0; y < h; ++y) {
    rowStart[y] = runs.size();
    const std::uint8_t* row = p + static_cast<std::size_t>(y) * w;
    int begin = 0;
    for (int x = 1; x <= w; ++x) {
      if (x == w || std::abs(row[x] - row[x - 1]) > kGroundTolerance) {
        runs.push_back({begin, x});
        begin = x;
      }
    }
  }
  rowStart[h] = runs.size();
  auto& areas = scratch.areas;
  areas.reset(runs.size());
  for (int y = 1; y < h; ++y) {
    const std::uint8_t* row = p + static_cast<std::size_t>(y) * w;
    const std::uint8_t* above = row - w;
    std::size_t a = rowStart[y - 1], b = rowStart[y];
    while (a < rowStart[y] && b < rowStart[y + 1]) {
      const int lo = std::max(runs[a].begin, runs[b].begin), hi = std::min(runs[a].end, runs[b].end);
      for (int x = lo; x < hi; ++x) {
        if (std::abs(row[x] - above[x]) <= kGroundTolerance) {
          areas.unite(static_cast<int>(a), static_cast<int>(b));
          break;
        }
      }
      if (runs[a].end < runs[b].end) ++a;
      else ++b;
    }
  }
  const std::uint32_t depth = static_cast<std::uint32_t>(kGroundDepth * ppp * kSide);
  auto& deepArea = scratch.deepArea;
  deepArea.assign(runs.size(), 0);
  for (int y = 0; y < h; ++y) {
    const std::uint32_t* row = d.data() + static_cast<std::size_t>(y) * w;
    for (std::size_t r = rowStart[y]; r < rowStart[y + 1]; ++r) {
      if (std::any_of(row + runs[r].begin, row + runs[r].end, [&](std::uint32_t v) { return v >= depth; })) {
        deepArea[areas.find(static_cast<int>(r))] = 1;
      }
    }
  }

  // Grounds, and the tone of every pixel's nearest ground.
  auto& grounded = scratch.grounded;
  grounded.assign(n, 0);
  bool anyGround = false;
  for (int y = 0; y < h; ++y) {
    for (std::size_t r = rowStart[y]; r < rowStart[y + 1]; ++r) {
      if (!deepArea[areas.find(static_cast<int>(r))]) continue;
      anyGround = true;
      std::fill(grounded.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y) * w + runs[r].begin),
                grounded.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(y) * w + runs[r].end), 1);
    }
  }
  if (!anyGround) return;  // no ground at all: a picture, or nothing; it stays white
  constexpr int kToneBits = 8;
  for (std::size_t i = 0; i < n; ++i) d[i] = grounded[i] ? p[i] : kFar;
  chamfer(d.data(), w, h, kToneBits);

  // Ink: how far a pixel is from its ground's tone; none on the rim between two grounds.
  auto& ink = scratch.ink;
  ink.assign(n, 0);
  const int rimReach = std::max(2, static_cast<int>(std::lround(kRimReach * ppp)));
  const std::uint32_t rimDistance = static_cast<std::uint32_t>(rimReach) * kDiagonal;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const std::size_t i = static_cast<std::size_t>(y) * w + x;
      if (grounded[i]) continue;
      const int v = p[i], tone = static_cast<int>(d[i] & 0xFF);
      if ((d[i] >> kToneBits) <= rimDistance) {
        int lo = tone, hi = tone;
        for (int dy = std::max(-rimReach, -y); dy <= std::min(rimReach, h - 1 - y); ++dy) {
          for (int dx = std::max(-rimReach, -x); dx <= std::min(rimReach, w - 1 - x); ++dx) {
            const std::size_t j = i + static_cast<std::ptrdiff_t>(dy) * w + dx;
            if (grounded[j]) lo = std::min<int>(lo, p[j]), hi = std::max<int>(hi, p[j]);
          }
        }
        if (hi - lo > 4 * kGroundTolerance && lo <= v && v <= hi) continue;
      }
      ink[i] = static_cast<std::uint8_t>(std::abs(v - tone));
    }
  }

  // Pieces of ink (8-connected): a piece with a patch far inside is a picture and goes; the
  // others are stretched to full contrast, each on its own.
  auto& pieces = scratch.pieces;
  pieces.reset(n);
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
  const std::uint32_t pictureDistance = static_cast<std::uint32_t>(kPictureDistance * ppp * kSide);
  const int pictureArea = static_cast<int>(kPictureDistance * kPictureDistance * ppp * ppp);
  const int pictureSide = static_cast<int>(2 * kPictureDistance * ppp);
  auto& strongest = scratch.strongest;
  auto& far = scratch.far;
  auto& extent = scratch.extent;
  strongest.assign(n, 0);
  far.assign(n, 0);
  extent.assign(n, {w, -1, h, -1});
  bool large = false;
  for (std::size_t i = 0; i < n; ++i) {
    if (ink[i] < kInkFloor) continue;
    const int r = pieces.parent[i] = pieces.find(static_cast<int>(i));
    strongest[r] = std::max(strongest[r], ink[i]);
    const int x = static_cast<int>(i % w), y = static_cast<int>(i / w);
    auto& e = extent[r];
    e = {std::min(e[0], x), std::max(e[1], x), std::min(e[2], y), std::max(e[3], y)};
    large = large || (e[1] - e[0] > pictureSide && e[3] - e[2] > pictureSide);
  }
  // Only a piece wider and taller than the patch can hold one: how far each pixel of ink is from
  // the nearest that is not, then, and the pieces' far pixels counted.
  if (large) {
    for (std::size_t i = 0; i < n; ++i) d[i] = ink[i] < kInkFloor ? 0 : kFar;
    chamfer(d.data(), w, h, 0);
    for (std::size_t i = 0; i < n; ++i) {
      if (ink[i] >= kInkFloor && d[i] > pictureDistance) ++far[pieces.parent[i]];
    }
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
