// Secret pixels of a decoded frame, grouped into leaks, and the picture that shows them.

#include "audit/LeakScanner.h"

#include <algorithm>

#include "audit/SecretPalette.h"
#include "platform/CGContext.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "review/VideoFrameReader.h"

namespace zerva {

namespace {

// Rings stand this far outside a leak, so that a one-pixel leak still shows.
constexpr double kRingMargin = 6;
constexpr double kRingWidth = 3;
// Pixels this close to a secret one are its blended edge, not clean.
constexpr int kEdgeReach = 2;

bool nearSecret(const std::vector<std::uint8_t>& secret, int width, int height, int x, int y) {
  for (int ny = std::max(0, y - kEdgeReach); ny <= std::min(height - 1, y + kEdgeReach); ++ny) {
    for (int nx = std::max(0, x - kEdgeReach); nx <= std::min(width - 1, x + kEdgeReach); ++nx) {
      if (secret[ny * width + nx]) return true;
    }
  }
  return false;
}

}  // namespace

CGRect FrameLeakScan::bounds() const {
  CGRect all = CGRectNull;
  for (const auto& leak : leaks) all = CGRectUnion(all, leak);
  return CGRectIsNull(all) ? CGRectZero : all;
}

FrameLeakScan LeakScanner::scan(const DecodedVideoFrame& frame) {
  FrameLeakScan result;
  const int width = frame.width, height = frame.height;
  if (width <= 0 || height <= 0 || frame.pixels.size() < static_cast<std::size_t>(width) * height) return result;

  std::vector<std::uint8_t> secret(frame.pixels.size(), 0);
  std::vector<double> distances(frame.pixels.size());
  for (std::size_t i = 0; i < static_cast<std::size_t>(width) * height; ++i) {
    distances[i] = SecretPalette::distance(frame.pixels[i]);
    if (distances[i] <= SecretPalette::kTolerance) {
      secret[i] = 1;
      ++result.leakedPixels;
    }
  }
  // The margin is measured away from leaks: their edges blend into what is around them.
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      if (result.leakedPixels > 0 && nearSecret(secret, width, height, x, y)) continue;
      result.nearestCleanDistance = std::min(result.nearestCleanDistance, distances[y * width + x]);
    }
  }
  if (result.leakedPixels == 0) return result;

  // Group them: a flood fill over touching secret pixels, each visited once.
  std::vector<int> stack;
  for (int start = 0; start < width * height; ++start) {
    if (secret[start] != 1) continue;
    int minX = width, minY = height, maxX = -1, maxY = -1;
    secret[start] = 2;
    stack.push_back(start);
    while (!stack.empty()) {
      const int at = stack.back();
      stack.pop_back();
      const int x = at % width, y = at / width;
      minX = std::min(minX, x), maxX = std::max(maxX, x), minY = std::min(minY, y), maxY = std::max(maxY, y);
      for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
          const int nx = x + dx, ny = y + dy;
          if (nx < 0 || ny < 0 || nx >= width || ny >= height) continue;
          const int next = ny * width + nx;
          if (secret[next] != 1) continue;
          secret[next] = 2;
          stack.push_back(next);
        }
      }
    }
    result.leaks.push_back(CGRectMake(minX, minY, maxX - minX + 1, maxY - minY + 1));
  }
  return result;
}

std::shared_ptr<UIImage> LeakScanner::drawLeaks(const DecodedVideoFrame& frame, const FrameLeakScan& scan) {
  auto image = frame.image();
  if (!image) return nullptr;
  const UIGraphicsImageRenderer renderer(image->size());
  return renderer.imageWithActions([&](UIGraphicsImageRendererContext& rendererContext) {
    CGContextRef context = rendererContext.CGContext();
    image->drawAtPoint(CGPointZero);
    // Bright green: as far from the secret magenta as a colour gets, and rare in interfaces.
    CGContextSetRGBStrokeColor(context, 0, 1, 0, 1);
    CGContextSetLineWidth(context, kRingWidth);
    for (const auto& leak : scan.leaks) CGContextStrokeRect(context, CGRectInset(leak, -kRingMargin, -kRingMargin));
  });
}

}  // namespace zerva
