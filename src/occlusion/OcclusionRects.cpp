// Rectangles of sensitive views in key-window points, and the per-frame lists handed over once.
// Main thread; the merge and the hand-over on any thread (under the monitor).

#include <mutex>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "occlusion/WindowScale.h"
#include "platform/CALayer.h"
#include "platform/UIView.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "services/ZRControllerUtility.h"

namespace zerva {

namespace {

// The view's bounds in the window layer's space, where the view is on screen now: an animation
// on the view or an ancestor (a scrolling scroll view) moves it away from its model position.
CGRect onScreenRectInWindow(const std::shared_ptr<UIView>& view, const std::shared_ptr<UIWindow>& window) {
  auto layer = view->layer();
  if (!layer) return CGRectZero;
  auto presentation = layer->presentationLayer();
  const auto& onScreen = presentation ? presentation : layer;
  return onScreen->convertRect(view->bounds(), window->layer());
}

}  // namespace

std::optional<ZRRectStringList> ZRViewVideoHandler::captureOcclusionRectsForViews(
    const std::vector<ZROccludedDictionary>& views, const std::shared_ptr<UIViewController>& topController,
    CGSize windowSize) {
  ZR_ASSERT_MAIN_THREAD();
  if (screenIsHidden()) {
    // The frame's full cover is painted from the hide flag; here only gestures need a rectangle.
    if (screenGestureRecordingIsHidden()) {
      ZRRectStringList whole{NSStringFromCGRect(CGRectMake(0, 0, windowSize.width, windowSize.height))};
      inspectRects(whole, ZRHiddenRectSource::WholeScreen);
      return whole;
    }
    return std::nullopt;
  }

  std::lock_guard lock(monitor());
  if (views.empty()) return std::nullopt;
  ZRRectStringList rects;
  rects.reserve(views.size());
  for (const auto& view : views) {
    const CGRect rect = occlusionRectForView(view, topController, windowSize);
    if (CGRectIsNull(rect)) continue;
    rects.push_back(NSStringFromCGRect(rect));
    inspectRects({rects.back()}, view.entry.autoAdded ? ZRHiddenRectSource::AutomaticTextField
                                                      : ZRHiddenRectSource::SensitiveView);
  }
  return rects;
}

CGRect ZRViewVideoHandler::occlusionRectForView(const ZROccludedDictionary& information,
                                                const std::shared_ptr<UIViewController>& topController,
                                                CGSize windowSize) {
  auto view = information.entry.viewRef
                  ? std::dynamic_pointer_cast<UIView>(information.entry.viewRef->weakReference())
                  : nullptr;
  auto window = information.viewWindow ? std::dynamic_pointer_cast<UIWindow>(information.viewWindow->weakReference())
                                       : nullptr;
  if (!view || !window) return CGRectNull;

  const CGRect rect = onScreenRectInWindow(view, window);

  if (topController) {
    auto controllerView = topController->viewIfLoaded();
    if (controllerView && ZRControllerUtility::isControllerPresentedInNonFullScreenMode(topController) &&
        !view->isDescendantOfView(controllerView) && !isPresentedControllerPartiallyVisible(topController)) {
      const CGRect sheet = onScreenRectInWindow(controllerView, window);
      if (CGRectEqualToRect(sheet, CGRectUnion(sheet, rect))) return CGRectNull;
    }
  }

  const CGSize scale = ZRWindowScale(window->bounds(), windowSize);
  return CGRectMake(rect.origin.x * scale.width, rect.origin.y * scale.height, rect.size.width * scale.width,
                    rect.size.height * scale.height);
}

bool ZRViewVideoHandler::isPresentedControllerPartiallyVisible(
    const std::shared_ptr<UIViewController>& controller) const {
  // Without a view to judge by, the sheet is taken to let what is behind it show.
  auto view = controller ? controller->viewIfLoaded() : nullptr;
  if (!view) return true;
  if (view->alpha() < 1.0) return true;
  if (!view->backgroundColor()) return true;
  const auto style = controller->modalPresentationStyle();
  return style == UIModalPresentationPopover || style == UIModalPresentationCustom;
}

// The merge, the reset and the hand-over hold the monitor as a whole: a hybrid framework's hook
// may reply on another thread while the main thread fills the lists of the next frame.

ZRRectStringList ZRViewVideoHandler::viewOcclusionRects() const {
  std::lock_guard lock(monitor());
  ZRRectStringList merged;
  for (const auto& list : {webViewRects(), occlusionRects(), manualOcclusionRects()}) {
    if (list) merged.insert(merged.end(), list->begin(), list->end());
  }
  return merged;
}

void ZRViewVideoHandler::resetOcclusionRects() {
  std::lock_guard lock(monitor());
  setWebViewRects(std::nullopt);
  setOcclusionRects(std::nullopt);
  setManualOcclusionRects(std::nullopt);
  setManualOcclusionRectsWithIdentity(std::nullopt);
}

ZRRectStringList ZRViewVideoHandler::copyAndResetOcclusionRects() {
  std::lock_guard lock(monitor());
  ZRRectStringList rects = viewOcclusionRects();
  resetOcclusionRects();
  return rects;
}

ZRRectStringList ZRViewVideoHandler::updateAndResetOcclusionRects(const ZRRectStringList& rects) {
  ZRRectStringList result = rects;
  const ZRRectStringList handedOver = copyAndResetOcclusionRects();
  result.insert(result.end(), handedOver.begin(), handedOver.end());
  return result;
}

}  // namespace zerva
