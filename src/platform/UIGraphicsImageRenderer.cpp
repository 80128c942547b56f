#include "platform/UIGraphicsImageRenderer.h"

#include <cmath>
#include <limits>

#include "platform/CairoHandles.h"

namespace zerva {

namespace {

double validLength(double v) { return std::isfinite(v) && v > 0 ? v : 0.0; }

std::size_t pixelsFor(double points, double scale) {
  // Rounded up, with a little slack so that 844.0000000001 stays 844.
  const double pixels = std::ceil(points * scale - 1e-6);
  if (pixels <= 0) return 0;
  if (pixels >= static_cast<double>(std::numeric_limits<int>::max())) return std::numeric_limits<int>::max();
  return static_cast<std::size_t>(pixels);
}

class CurrentContextScope {
 public:
  explicit CurrentContextScope(CGContextRef c) { UIGraphicsPushContext(c); }
  ~CurrentContextScope() { UIGraphicsPopContext(); }
  CurrentContextScope(const CurrentContextScope&) = delete;
  CurrentContextScope& operator=(const CurrentContextScope&) = delete;
};

}  // namespace

ZR_DEFINE_CLASS(UIGraphicsImageRenderer, NSObject, nullptr)

void UIGraphicsImageRendererFormat::setScale(double scale) { scale_ = std::isfinite(scale) && scale > 0 ? scale : 1.0; }

UIGraphicsImageRenderer::UIGraphicsImageRenderer(CGSize size)
    : UIGraphicsImageRenderer(size, UIGraphicsImageRendererFormat::defaultFormat()) {}

UIGraphicsImageRenderer::UIGraphicsImageRenderer(CGSize size, UIGraphicsImageRendererFormat format)
    : size_{validLength(size.width), validLength(size.height)}, format_(format) {}

std::size_t UIGraphicsImageRenderer::pixelWidth() const { return pixelsFor(size_.width, format_.scale()); }
std::size_t UIGraphicsImageRenderer::pixelHeight() const { return pixelsFor(size_.height, format_.scale()); }

std::shared_ptr<UIImage> UIGraphicsImageRenderer::imageWithActions(const Actions& actions) const {
  constexpr std::size_t kMaxSide = 32767;
  const std::size_t w = pixelWidth(), h = pixelHeight();
  if (w > kMaxSide || h > kMaxSide) return nullptr;
  auto surface = makeScratchBitmapSurface(static_cast<int>(w), static_cast<int>(h));
  if (!surface) return nullptr;
  std::unique_ptr<zerva::CGContext> context = makeBitmapContext(std::move(surface), format_.scale(), format_.opaque());
  if (actions) {
    UIGraphicsImageRendererContext rendererContext(context.get(), format_);
    CurrentContextScope current(context.get());
    actions(rendererContext);
  }
  return std::make_shared<UIImage>(takeImage(*context), format_.scale());
}

}  // namespace zerva
