#include "services/ZRImageRenderer.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "platform/CGContext.h"
#include "platform/Mutex.h"
#include "platform/MutexLock.h"
#include "platform/ThreadAnnotations.h"

namespace zerva {

namespace {

Mutex gFormatMutex;

UIGraphicsImageRendererFormat& formatLocked() REQUIRES(gFormatMutex) {
  static UIGraphicsImageRendererFormat format = [] {
    UIGraphicsImageRendererFormat f;
    f.setScale(1);
    f.setOpaque(true);
    return f;
  }();
  return format;
}

bool usableSide(double points, double scale) {
  return std::isfinite(points) && points > 0 && points <= ZRImageRenderer::kMaxSide &&
         std::ceil(points * scale) <= ZRImageRenderer::kMaxSide;
}

std::uint8_t premultipliedByte(double channel, double alpha) {
  return static_cast<std::uint8_t>(std::lround(std::clamp(channel * alpha, 0.0, 1.0) * 255.0));
}

}  // namespace

ZR_DEFINE_CLASS(ZRImageRenderer, NSObject, nullptr)

UIGraphicsImageRendererFormat ZRImageRenderer::rendererFormat() {
  MutexLock lock(gFormatMutex);
  return formatLocked();
}

void ZRImageRenderer::setRendererFormat(UIGraphicsImageRendererFormat format) {
  MutexLock lock(gFormatMutex);
  formatLocked() = format;
}

std::shared_ptr<UIGraphicsImageRenderer> ZRImageRenderer::imageRendererForSize(CGSize size) {
  UIGraphicsImageRendererFormat format = rendererFormat();
  if (format.scale() > kMaxPixelsPerPoint) format.setScale(kMaxPixelsPerPoint);
  if (!usableSide(size.width, format.scale()) || !usableSide(size.height, format.scale())) return nullptr;
  return std::make_shared<UIGraphicsImageRenderer>(size, format);
}

std::shared_ptr<UIImage> ZRImageRenderer::blankImageOfSize(CGSize size, const UIColor& color) const {
  if (useImageRenderer_) {
    auto renderer = imageRendererForSize(size);
    if (!renderer) return nullptr;
    return renderer->imageWithActions([&](UIGraphicsImageRendererContext& context) {
      CGContextRef c = context.CGContext();
      CGContextClearRect(c, CGRect{CGPointZero, size});
      CGContextSetFillColorWithColor(c, color.cgColor());
      CGContextFillRect(c, CGRect{CGPointZero, size});
    });
  }
  if (!usableSide(size.width, 1) || !usableSide(size.height, 1)) return nullptr;
  const auto width = static_cast<std::size_t>(std::ceil(size.width - 1e-6));
  const auto height = static_cast<std::size_t>(std::ceil(size.height - 1e-6));
  double r = 0, g = 0, b = 0, a = 0;
  color.getRed(&r, &g, &b, &a);
  const std::uint32_t word = (static_cast<std::uint32_t>(premultipliedByte(1, a)) << 24) |
                             (static_cast<std::uint32_t>(premultipliedByte(r, a)) << 16) |
                             (static_cast<std::uint32_t>(premultipliedByte(g, a)) << 8) | premultipliedByte(b, a);
  const std::vector<std::uint32_t> pixels(width * height, word);
  return UIImage::imageWithCGImage(CGImageCreateWithPixels(width, height, width * 4, pixels.data()), 1.0);
}

}  // namespace zerva
