// Image to video frame: a finished (occluded) frame image redrawn at the session's video size,
// upright, downscaled when the settings ask for it, and appended; and stretching to a size.
// Frame queue "makeVideoFrame".

#include <memory>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/CGAffineTransform.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "platform/UIKitTypes.h"
#include "platform/UIScreen.h"

namespace zerva {

namespace {

constexpr double kQuarterTurn = 1.5707963267948966;
constexpr double kHalfTurn = 3.141592653589793;

// Only landscape and upside-down frames are turned. Unknown (0) is drawn as portrait: without a
// turn of its own the drawing call would put the picture upside down.
long uprightOrientation(long orientation) {
  switch (orientation) {
    case UIInterfaceOrientationPortraitUpsideDown:
    case UIInterfaceOrientationLandscapeRight:
    case UIInterfaceOrientationLandscapeLeft:
      return orientation;
    default:
      return UIInterfaceOrientationPortrait;
  }
}

// The drawing call puts an image's top row at the largest y of its rectangle; each transform
// below makes the net mapping of an image point (u, v), scaled to the window frame W x H,
// the one named.
CGAffineTransform orientationTransform(long orientation, CGSize window, CGSize video, bool sizeChanged) {
  const double w = window.width;
  const double h = window.height;
  CGAffineTransform t = CGAffineTransformIdentity;
  switch (orientation) {
    case UIInterfaceOrientationLandscapeRight:
    case UIInterfaceOrientationLandscapeLeft:
      // (u, v) -> (H - v, u): a quarter turn clockwise into columns 0...H, rows 0...W.
      t = CGAffineTransformTranslate(t, 0, w);
      t = CGAffineTransformRotate(t, -kQuarterTurn);
      t = CGAffineTransformTranslate(t, w, 0);
      t = CGAffineTransformScale(t, -1.0, 1.0);
      break;
    case UIInterfaceOrientationPortraitUpsideDown:
      // (u, v) -> (W - u, H - v); with a size change (V.width - u, H - v), flush right.
      t = CGAffineTransformTranslate(t, w, h);
      t = CGAffineTransformRotate(t, kHalfTurn);
      t = CGAffineTransformTranslate(t, 0, h);
      t = CGAffineTransformScale(t, 1.0, -1.0);
      if (sizeChanged) t = CGAffineTransformTranslate(t, w - video.width, 0);
      break;
    default:
      // (u, v) -> (u, v): upright at the top-left corner.
      t = CGAffineTransformTranslate(t, 0, h);
      t = CGAffineTransformScale(t, 1.0, -1.0);
      break;
  }
  return t;
}

}  // namespace

void ZRViewVideoHandler::processCapturedImageIntoVideo(std::shared_ptr<UIImage> image, long orientation,
                                                       CGRect windowFrame, bool captureWideGamut,
                                                       bool /*hideFullScreen: the cover is already painted*/) {
  ZR_ASSERT_FRAME_QUEUE();
  if (!image || !isRecording() || wantToStopVideoRecording()) return;
  orientation = uprightOrientation(orientation);

  if (captureWideGamut) {
    // A copy in the renderer's pixel format instead of the capture's.
    auto renderer = imageRendererForSize(image->size());
    if (!renderer) return;
    const auto source = image;
    image = renderer->imageWithActions(
        [&](UIGraphicsImageRendererContext&) { source->drawInRect(CGRect{CGPointZero, source->size()}); });
    if (!image) return;
  }

  const CGSize video = fs_CurrentVideoSize;
  const CGSize window = windowFrame.size;
  // Negated equality, so that a NaN on either side counts as changed.
  const bool sizeChanged = !(window.width == video.width) || !(window.height == video.height);
  const bool redraw = sizeChanged || (orientation != UIInterfaceOrientationPortrait &&
                                      UIScreen::mainScreen()->respondsToSelector("nativeBounds"));

  if (redraw) {
    auto renderer = imageRendererForSize(video);
    if (!renderer) return;
    const auto source = image;
    image = renderer->imageWithActions([&](UIGraphicsImageRendererContext& rendererContext) {
      CGContextRef context = rendererContext.CGContext();
      // Turned pixels are copied, not smoothed.
      CGContextSetInterpolationQuality(context, kCGInterpolationNone);
      CGContextConcatCTM(context, orientationTransform(orientation, window, video, sizeChanged));
      CGContextDrawImage(context, windowFrame, source->CGImage());
    });
    if (!image) return;
  }

  if (fs_ScaleVideoDown) {
    const CGSize downscaled = fs_DownscaledVideoSize;
    auto renderer = imageRendererForSize(downscaled);
    if (!renderer) return;
    const auto source = image;
    const CGSize size = source->size();
    image = renderer->imageWithActions([&](UIGraphicsImageRendererContext& rendererContext) {
      CGContextRef context = rendererContext.CGContext();
      CGContextSetInterpolationQuality(context, kCGInterpolationMedium);
      // (u, v) -> (u * D.width / I.width, v * D.height / I.height): upright, stretched.
      CGAffineTransform t = CGAffineTransformIdentity;
      t = CGAffineTransformScale(t, downscaled.width / size.width, -(downscaled.height / size.height));
      t = CGAffineTransformTranslate(t, 0, -size.height);
      CGContextConcatCTM(context, t);
      CGContextDrawImage(context, CGRect{CGPointZero, size}, source->CGImage());
    });
    if (!image) return;
  }

  setLastScreenImageSize(image->size());
  processScreenImageIntoVideo(image, lastVideoFrameTime());
}

std::shared_ptr<UIImage> ZRViewVideoHandler::scaleImageToScreenSize(const std::shared_ptr<UIImage>& image,
                                                                    CGSize screenSize) const {
  // Nothing to stretch: no frame rather than an empty one.
  if (!image) return nullptr;
  // The platform's own renderer (default format), not the collaborator's.
  const UIGraphicsImageRenderer renderer(screenSize);
  return renderer.imageWithActions([&](UIGraphicsImageRendererContext&) {
    image->drawInRect(CGRect{CGPointZero, screenSize});
  });
}

}  // namespace zerva
