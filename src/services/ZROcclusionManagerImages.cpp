// The whole-screen rules painted into frame images.

#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "services/ZRImageBlur.h"
#include "services/ZROcclusionManager.h"

namespace zerva {

std::shared_ptr<UIImage> ZROcclusionManager::occludeImage(const std::shared_ptr<UIImage>& image,
                                                          const std::vector<std::string>& screens) const {
  if (!image) return image;
  const auto rule = occlusionForScreens(screens, ZROcclusionCategoryWholeScreen);
  if (!rule) return image;
  if (rule->type() == ZROcclusionTypeBlurScreen) {
    auto blurred = ZRBlurImage(image, rule->blurRadius());
    if (blurred) return blurred;
  }
  // A cover, and the fallback when a blur cannot be made: nothing of the picture survives.
  UIGraphicsImageRendererFormat format;
  format.setScale(image->scale());
  format.setOpaque(true);
  UIGraphicsImageRenderer renderer(image->size(), format);
  const CGColor color = rule->color().colorWithAlphaComponent(1.0).cgColor();
  auto covered = renderer.imageWithActions([&](UIGraphicsImageRendererContext& context) {
    CGContextSetFillColorWithColor(context.CGContext(), color);
    CGContextFillRect(context.CGContext(), CGRect{CGPointZero, image->size()});
  });
  return covered;
}

std::shared_ptr<UIImage> ZROcclusionManager::unOccludeImage(const std::shared_ptr<UIImage>& image,
                                                            const std::vector<std::string>&) const {
  return image;
}

}  // namespace zerva
