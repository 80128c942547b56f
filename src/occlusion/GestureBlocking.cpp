// Gesture blocking: whether a touch fell on a gesture-blocking sensitive view or a screen whose
// gestures are hidden, and whether a view is itself hidden. Main thread.

#include <algorithm>
#include <mutex>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/UIApplication.h"
#include "platform/UIScreen.h"
#include "platform/UIView.h"
#include "platform/UIWindow.h"
#include "services/ZRControllerUtility.h"

namespace zerva {

bool ZRViewVideoHandler::gestureBlockedBySensitiveView(CGPoint point, const std::shared_ptr<UIView>& view) {
  ZR_ASSERT_MAIN_THREAD();
  if (view) {
    const auto blocking = listOfActiveSensitiveViews(true);
    for (auto current = view; current; current = current->superview()) {
      if (std::find(blocking.begin(), blocking.end(), current) != blocking.end()) return true;
    }
  }

  refreshAutoOccludedViews();

  auto keyWindow = UIApplication::sharedApplication()->keyWindow();
  auto topController =
      keyWindow ? ZRControllerUtility::topViewControllerWithRootViewController(keyWindow->rootViewController()) : nullptr;
  const CGSize windowSize = keyWindow ? keyWindow->frame().size : CGSizeZero;

  const auto rects = captureOcclusionRectsForViews(listOfOccludedDictionaries(true), topController, windowSize);
  if (!rects) return false;

  // The rectangles are in key-window points; the touch is in the screen's fixed space.
  auto screen = UIScreen::mainScreen();
  const bool convert = screen->respondsToSelector("fixedCoordinateSpace");
  auto interfaceSpace = convert ? screen->coordinateSpace() : nullptr;
  auto fixedSpace = convert ? screen->fixedCoordinateSpace() : nullptr;
  for (const auto& rectString : *rects) {
    CGRect rect = CGRectFromString(rectString);
    if (convert) rect = (interfaceSpace && fixedSpace) ? interfaceSpace->convertRect(rect, *fixedSpace) : CGRectZero;
    if (CGRectContainsPoint(rect, point)) return true;
  }
  return false;
}

bool ZRViewVideoHandler::isViewOccluded(const std::shared_ptr<UIView>& view) {
  ZR_ASSERT_MAIN_THREAD();
  std::lock_guard lock(monitor());
  const auto active = listOfActiveSensitiveViews();
  if (active.empty()) return false;
  return std::find(active.begin(), active.end(), view) != active.end();
}

}  // namespace zerva
