#pragma once
// Synthetic screen content for the recorder benchmarks, made straight into BGRA pixels so that
// making it costs little next to encoding it.
//
// Both kinds scroll the same way over time: 1.5 s of scrolling at 600 points a second, then
// 2.5 s still, again and again; so a 2 fps and a 10 fps recording of one minute show the same
// screens, the slower one in bigger steps.
//  - Schematic: the redrawn hierarchy of a list screen: flat boxes, icons and text-like glyph
//    runs on a light background, a fixed navigation bar.
//  - Photo: a feed of photographs: a tall picture of smooth shapes with fine grain, scrolled.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace zerva::bench {

enum class Content { Schematic, Photo };

inline double scrollOffsetAt(double seconds) {
  constexpr double kScroll = 1.5, kStill = 2.5, kSpeed = 600;
  const double cycle = kScroll + kStill;
  const double cycles = std::floor(seconds / cycle);
  const double into = seconds - cycles * cycle;
  return (cycles * kScroll + std::min(into, kScroll)) * kSpeed;
}

class ContentGenerator {
 public:
  ContentGenerator(Content content, int width, int height)
      : content_(content), width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * height) {
    if (content_ == Content::Photo) makeFeed();
  }

  int width() const { return width_; }
  int height() const { return height_; }
  std::size_t bytesPerRow() const { return static_cast<std::size_t>(width_) * 4; }
  const std::uint8_t* pixels() const { return reinterpret_cast<const std::uint8_t*>(pixels_.data()); }
  const std::uint32_t* words() const { return pixels_.data(); }

  /// Draws the screen as it is `seconds` into the session.
  void renderAt(double seconds) {
    const int offset = static_cast<int>(scrollOffsetAt(seconds));
    if (content_ == Content::Schematic) renderList(offset);
    else renderFeed(offset);
  }

 private:
  static std::uint32_t rgb(int r, int g, int b) {
    return 0xFF000000u | (static_cast<std::uint32_t>(r) << 16) | (static_cast<std::uint32_t>(g) << 8) |
           static_cast<std::uint32_t>(b);
  }
  static std::uint32_t hash(std::uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    x ^= x >> 16;
    return x;
  }

  void fill(int x0, int y0, int x1, int y1, std::uint32_t colour) {
    x0 = std::clamp(x0, 0, width_), x1 = std::clamp(x1, 0, width_);
    y0 = std::clamp(y0, 0, height_), y1 = std::clamp(y1, 0, height_);
    for (int y = y0; y < y1; ++y) std::fill(&pixels_[y * width_ + x0], &pixels_[y * width_ + x1], colour);
  }

  // A line of "text": glyph-sized boxes of varying widths, the way small text looks to an encoder.
  void textRun(int x, int y, int maxWidth, int glyphHeight, std::uint32_t seed, std::uint32_t colour) {
    int at = x;
    for (std::uint32_t i = 0; at < x + maxWidth; ++i) {
      const std::uint32_t h = hash(seed * 131 + i);
      const int glyph = 3 + static_cast<int>(h % 5);
      if (h % 7 == 0) {
        at += 5;  // a space
        continue;
      }
      const int top = (h >> 8) % 3 == 0 ? y - glyphHeight / 3 : y;  // ascenders
      fill(at, top, at + glyph - 1, y + glyphHeight, colour);
      at += glyph + 1;
    }
  }

  void renderList(int offset) {
    static const std::uint32_t kIcons[] = {rgb(255, 59, 48), rgb(52, 199, 89), rgb(0, 122, 255), rgb(255, 149, 0),
                                           rgb(175, 82, 222), rgb(90, 200, 250)};
    fill(0, 0, width_, height_, rgb(242, 242, 247));
    constexpr int kBar = 96, kCell = 76;
    const int first = offset / kCell;
    for (int row = first; (row - first) * kCell - offset % kCell < height_; ++row) {
      const int top = kBar + row * kCell - offset;
      if (top + kCell < kBar) continue;
      const std::uint32_t seed = hash(static_cast<std::uint32_t>(row));
      fill(16, top, width_ - 16, top + kCell - 1, rgb(255, 255, 255));
      fill(28, top + 16, 72, top + 60, kIcons[seed % 6]);
      textRun(84, top + 22, static_cast<int>((width_ - 120) * (0.5 + (seed % 40) / 100.0)), 10, seed, rgb(28, 28, 30));
      textRun(84, top + 44, static_cast<int>((width_ - 120) * 0.4), 8, seed + 1, rgb(142, 142, 147));
    }
    fill(0, 0, width_, kBar, rgb(249, 249, 249));
    fill(0, kBar - 1, width_, kBar, rgb(200, 200, 204));
    textRun(width_ / 2 - 60, 60, 120, 14, 7, rgb(0, 0, 0));
  }

  void makeFeed() {
    feedHeight_ = height_ * 4;
    feed_.resize(static_cast<std::size_t>(width_) * feedHeight_);
    // Smooth value noise at a few scales, tinted per "photo", plus a little grain.
    auto lattice = [](int x, int y, int scale) {
      return (hash(static_cast<std::uint32_t>(x * 73856093) ^ static_cast<std::uint32_t>(y * 19349663) ^
                   static_cast<std::uint32_t>(scale)) &
              0xFF) /
             255.0;
    };
    auto noise = [&](double x, double y, int scale) {
      const int xi = static_cast<int>(std::floor(x)), yi = static_cast<int>(std::floor(y));
      const double fx = x - xi, fy = y - yi;
      const double sx = fx * fx * (3 - 2 * fx), sy = fy * fy * (3 - 2 * fy);
      const double a = lattice(xi, yi, scale), b = lattice(xi + 1, yi, scale);
      const double c = lattice(xi, yi + 1, scale), d = lattice(xi + 1, yi + 1, scale);
      return (a + (b - a) * sx) * (1 - sy) + (c + (d - c) * sx) * sy;
    };
    for (int y = 0; y < feedHeight_; ++y) {
      const int photo = y / 420;
      const bool gap = y % 420 >= 380;  // caption strip between photos
      const std::uint32_t tint = hash(static_cast<std::uint32_t>(photo) + 99);
      for (int x = 0; x < width_; ++x) {
        if (gap) {
          feed_[static_cast<std::size_t>(y) * width_ + x] = rgb(255, 255, 255);
          continue;
        }
        double v = 0.5 * noise(x / 90.0, y / 90.0, 1) + 0.3 * noise(x / 23.0, y / 23.0, 2) +
                   0.15 * noise(x / 6.0, y / 6.0, 3);
        v += ((hash(static_cast<std::uint32_t>(y * width_ + x)) & 0xFF) / 255.0 - 0.5) * 0.08;
        auto channel = [&](int shift) {
          const double t = ((tint >> shift) & 0xFF) / 255.0;
          return std::clamp(static_cast<int>(255 * (v * (0.6 + 0.4 * t) + 0.1 * t)), 0, 255);
        };
        feed_[static_cast<std::size_t>(y) * width_ + x] = rgb(channel(0), channel(8), channel(16));
      }
    }
  }

  void renderFeed(int offset) {
    for (int y = 0; y < height_; ++y) {
      const int source = (y + offset) % feedHeight_;
      std::memcpy(&pixels_[static_cast<std::size_t>(y) * width_], &feed_[static_cast<std::size_t>(source) * width_],
                  static_cast<std::size_t>(width_) * 4);
    }
  }

  Content content_;
  int width_, height_;
  std::vector<std::uint32_t> pixels_;
  std::vector<std::uint32_t> feed_;
  int feedHeight_ = 0;
};

}  // namespace zerva::bench
