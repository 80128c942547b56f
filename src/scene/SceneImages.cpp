#include "scene/SceneImages.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"

namespace zerva {

namespace {

UIColor colorAt(const SceneImageDescription& desc, size_t i, UIColor fallback) {
  return i < desc.colors.size() ? desc.colors[i] : fallback;
}

// A small fixed generator: the same picture everywhere.
uint32_t nextRandom(uint32_t& state) {
  state ^= state << 13;
  state ^= state >> 17;
  state ^= state << 5;
  return state;
}

std::shared_ptr<UIImage> photo(const SceneImageDescription& desc) {
  const auto w = static_cast<size_t>(std::ceil(desc.size.width));
  const auto h = static_cast<size_t>(std::ceil(desc.size.height));
  uint32_t state = 0x9E3779B9u ^ static_cast<uint32_t>(w * 31 + h);
  struct Blob {
    double x, y, r, red, green, blue;
  };
  std::vector<Blob> blobs;
  for (int i = 0; i < 6; ++i) {
    auto unit = [&] { return (nextRandom(state) % 10000) / 10000.0; };
    blobs.push_back({unit() * w, unit() * h, (0.2 + 0.4 * unit()) * std::max(w, h), unit(), unit(), unit()});
  }
  std::vector<uint32_t> pixels(w * h);
  for (size_t y = 0; y < h; ++y) {
    for (size_t x = 0; x < w; ++x) {
      double r = 0.35, g = 0.4, b = 0.45, weight = 1;
      for (const Blob& blob : blobs) {
        const double d = std::hypot(x - blob.x, y - blob.y) / blob.r;
        const double k = std::exp(-d * d * 2);
        r += blob.red * k;
        g += blob.green * k;
        b += blob.blue * k;
        weight += k;
      }
      const int grain = static_cast<int>(nextRandom(state) % 25) - 12;
      auto channel = [&](double v) {
        return static_cast<uint32_t>(std::clamp(static_cast<int>(v / weight * 255) + grain, 0, 255));
      };
      pixels[y * w + x] = 0xFF000000u | channel(r) << 16 | channel(g) << 8 | channel(b);
    }
  }
  return UIImage::imageWithCGImage(CGImageCreateWithPixels(w, h, w * 4, pixels.data()));
}

}  // namespace

std::shared_ptr<UIImage> SceneMakeImage(const SceneImageDescription& desc) {
  // The loader has read the file once already; one that went since draws as no picture.
  if (!desc.file.empty()) {
    auto image = UIImage::imageWithContentsOfFile(desc.file);
    return image ? *image : nullptr;
  }
  if (desc.pattern == "photo") return photo(desc);
  const UIColor a = colorAt(desc, 0, UIColor::colorWithWhite(0.55, 1));
  const UIColor b = colorAt(desc, 1, UIColor::colorWithWhite(0.9, 1));
  const CGSize size = desc.size;
  return UIGraphicsImageRenderer(size).imageWithActions([&](UIGraphicsImageRendererContext& context) {
    CGContextRef c = context.CGContext();
    CGContextSetFillColorWithColor(c, b.cgColor());
    CGContextFillRect(c, {CGPointZero, size});
    CGContextSetFillColorWithColor(c, a.cgColor());
    if (desc.pattern == "checker") {
      const double cell = std::max(4.0, std::min(size.width, size.height) / 8);
      for (double y = 0; y < size.height; y += cell) {
        for (double x = 0; x < size.width; x += cell) {
          if (static_cast<long>(x / cell + y / cell) % 2 == 0) CGContextFillRect(c, CGRectMake(x, y, cell, cell));
        }
      }
    } else if (desc.pattern == "stripes") {
      const double band = std::max(2.0, size.height / 10);
      for (double y = 0; y < size.height; y += 2 * band) CGContextFillRect(c, CGRectMake(0, y, size.width, band));
    } else {  // gradient, top colour a to bottom colour b
      double ca[4], cb[4];
      a.getRed(&ca[0], &ca[1], &ca[2], &ca[3]);
      b.getRed(&cb[0], &cb[1], &cb[2], &cb[3]);
      const int steps = std::max(1, static_cast<int>(size.height));
      for (int i = 0; i < steps; ++i) {
        const double f = steps > 1 ? double(i) / (steps - 1) : 0;
        CGContextSetRGBFillColor(c, ca[0] + (cb[0] - ca[0]) * f, ca[1] + (cb[1] - ca[1]) * f, ca[2] + (cb[2] - ca[2]) * f, 1);
        CGContextFillRect(c, CGRectMake(0, i * size.height / steps, size.width, size.height / steps + 0.5));
      }
    }
  });
}

}  // namespace zerva
