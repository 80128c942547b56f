// Painting a frame's occlusion into its image: opaque boxes over its rectangles, or over all of
// it, then the screen rules of the occlusion manager. Frame queue.

#include "handler/ZRFrameInspector.h"
#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "services/ZervaHandler.h"

namespace zerva {

namespace {

struct RGB {
  double red = 0, green = 0, blue = 0;
};

/// The session's sensitive-view colour, read afresh for each frame. Without settings, or with a
/// colour that cannot be split into red, green and blue, the boxes are dark grey: a box of some
/// fixed colour is always painted, never a see-through one.
RGB sensitiveFillColour() {
  UIColor colour = UIColor::darkGrayColor();
  if (auto settings = ZervaHandler::shared()->sessionSettings()) colour = settings->sensitiveViewColor();
  RGB rgb;
  double alpha = 1;
  if (!colour.getRed(&rgb.red, &rgb.green, &rgb.blue, &alpha)) {
    UIColor::darkGrayColor().getRed(&rgb.red, &rgb.green, &rgb.blue, &alpha);
  }
  return rgb;
}

}  // namespace

std::shared_ptr<UIImage> ZRViewVideoHandler::occludeSensitiveViewsIntoImage(const std::shared_ptr<UIImage>& image,
                                                                          const std::vector<std::string>& screens,
                                                                          const ZRRectStringList& occlusionRects,
                                                                          bool flipCoords, bool hideFullScreen) {
  ZR_ASSERT_FRAME_QUEUE();
  // A test's masking fault works on a copy; without an inspector this is one null test.
  const ZRRectStringList* rects = &occlusionRects;
  ZRRectStringList faulty;
  if (auto inspector = frameInspector(); inspector && inspector->maskFault()) {
    faulty = occlusionRects;
    inspector->maskFault()(faulty);
    rects = &faulty;
  }
  // Nothing to paint: no image is drawn, the screen rules see the capture itself.
  if (!hideFullScreen && rects->empty()) return occludeUsingNewAPI(image, screens);

  auto masked = drawOccludedImageForImage(image, *rects, hideFullScreen, flipCoords);
  // A fully covered image has nothing left for a screen rule to hide.
  if (hideFullScreen) return masked;
  return occludeUsingNewAPI(masked, screens);
}

std::shared_ptr<UIImage> ZRViewVideoHandler::drawOccludedImageForImage(const std::shared_ptr<UIImage>& image,
                                                                     const ZRRectStringList& occlusionRects,
                                                                     bool hideFullScreen, bool flipCoords) {
  ZR_ASSERT_FRAME_QUEUE();
  const CGSize size = image ? image->size() : CGSizeZero;
  auto renderer = imageRendererForSize(size);
  if (!renderer) return image;

  // A bitmap that cannot be made gives no image: the frame is dropped rather than shown unmasked.
  return renderer->imageWithActions([&](UIGraphicsImageRendererContext& rendererContext) {
    CGContextRef context = rendererContext.CGContext();
    if (image) image->drawAtPoint(CGPointZero);
    const RGB fill = sensitiveFillColour();
    CGContextSetRGBFillColor(context, fill.red, fill.green, fill.blue, 1.0);
    if (hideFullScreen) {
      CGContextFillRect(context, CGRectMake(0, 0, size.width, size.height));
      return;
    }
    if (!occlusionRects.empty()) occludePartialScreen(occlusionRects, context, flipCoords, size);
  });
}

void ZRViewVideoHandler::occludePartialScreen(const ZRRectStringList& occlusionRects, CGContextRef context,
                                              bool flipCoords, CGSize screenSize) {
  for (const auto& rectString : occlusionRects) {
    CGRect rect = CGRectFromString(rectString);
    if (flipCoords) rect.origin.y = screenSize.height - rect.origin.y - rect.size.height;
    CGContextFillRect(context, rect);
  }
}

}  // namespace zerva
