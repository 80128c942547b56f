// Snapshots: the raw screen image of a frame, from the key window's view tree or from the layers
// of every displayable window, with the keyboard placeholder, and the test that picks between them.
// Main thread (the view snapshot also on the thread a hybrid framework's hook replies on).

#include <memory>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/AVCaptureVideoPreviewLayer.h"
#include "platform/AVPlayerLayer.h"
#include "platform/CALayer.h"
#include "platform/CAMetalLayer.h"
#include "platform/NSProcessInfo.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "platform/UIKitTypes.h"
#include "platform/UIView.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "services/InternalZRConfiguration.h"

namespace zerva {

namespace {

// Stamps the frame being captured and counts it: the first image of a session is at 0.0, later
// ones at the session time now.
void countSnapshot(ZRViewVideoHandler& handler) {
  handler.setOnCaptureVideoFrameTime(handler.totalSnapshots() == 0 ? 0.0 : handler.videoTimeElapsed());
  handler.setTotalSnapshots(handler.totalSnapshots() + 1);
}

}  // namespace

std::shared_ptr<UIImage> ZRViewVideoHandler::generateSnapShotForView(const std::shared_ptr<UIView>& view, CGRect frame,
                                                                     CGRect keyboardFrame) {
  auto renderer = imageRendererForSize(frame.size);
  if (!renderer) return nullptr;
  auto image = renderer->imageWithActions([&](UIGraphicsImageRendererContext& rendererContext) {
    CGContextRef context = rendererContext.CGContext();
    CGContextStateSaver saved(context);
    // A straight copy of the view's pixels.
    CGContextSetInterpolationQuality(context, kCGInterpolationNone);
    drawImageForView(view, frame.size);
    addKeyboardView(keyboardFrame, context);
    saved.restore();
  });
  countSnapshot(*this);
  return image;
}

void ZRViewVideoHandler::drawImageForView(const std::shared_ptr<UIView>& view, CGSize size) {
  if (!view) return;
  const CGRect target{view->frame().origin, size};
  // As last shown on screen: waiting for pending changes would stall the frame.
  view->drawViewHierarchyInRect(target, false);
}

bool ZRViewVideoHandler::canUseOldLayerMethodToTakeSnapshotInController(
    const std::shared_ptr<UIViewController>& controller, const std::shared_ptr<UIWindow>& window) const {
  ZR_ASSERT_MAIN_THREAD();
  if (InternalZRConfiguration::sharedConfiguration()->enableImprovedScreenCapture()) return false;

  auto view = controller ? controller->view() : nullptr;
  auto layer = view ? view->layer() : nullptr;
  if (!layer && window) layer = window->layer();
  // No layer at all reads as scale 0: refused.
  if (!layer) return false;

  if (layer->contentsScale() != 1.0) return false;
  if (layer->needsLayout()) return false;
  if (!layer->animationKeys().empty()) return false;
  // Video and camera pixels are not in the layer tree.
  if (layer->isKindOfClass(AVCaptureVideoPreviewLayer::class_()) || layer->isKindOfClass(AVPlayerLayer::class_())) {
    return false;
  }
  if (!view || !view->backgroundColor()) return false;
  const CGSize preferred = controller->preferredContentSize();
  if (preferred.width != 0.0 || preferred.height != 0.0) return false;
  if (controller->modalPresentationStyle() == UIModalPresentationCustom) return false;
  if (ZRSystemVersionAtLeast(13, 0)) return !layer->isKindOfClass(CAMetalLayer::class_());
  return true;
}

std::shared_ptr<UIImage> ZRViewVideoHandler::generateSnapShotForLayers(
    const std::vector<std::shared_ptr<CALayer>>& layers, CGSize windowSize, CGRect keyboardFrame) {
  ZR_ASSERT_MAIN_THREAD();
  // One renderer per window size: a rotated window never draws into the old size.
  const CGSize cachedSize = currentWindowSize();
  if (windowSize.width != cachedSize.width || windowSize.height != cachedSize.height) {
    setCurrentScreenRenderer(nullptr);
  }
  if (!currentScreenRenderer()) {
    setCurrentScreenRenderer(imageRendererForSize(windowSize));
    setCurrentWindowSize(windowSize);
  }

  std::shared_ptr<UIImage> image;
  if (auto renderer = currentScreenRenderer()) {
    image = renderer->imageWithActions([&](UIGraphicsImageRendererContext& rendererContext) {
      CGContextRef context = rendererContext.CGContext();
      // Later windows paint over earlier ones, each from the context's origin.
      for (const auto& layer : layers) {
        if (layer) layer->renderInContext(context);
      }
      addKeyboardView(keyboardFrame, context);
    });
  }
  // Counted even when no renderer could be made (the view snapshot is not).
  countSnapshot(*this);
  return image;
}

}  // namespace zerva
