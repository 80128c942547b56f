// Scroll tracking: whether any scroll view of the key window moved since the last check (the
// scroll-stutter test), the records it keeps for that, and whether a scroll view is zooming.
// Main thread.

#include <algorithm>
#include <memory>
#include <unordered_set>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/CALayer.h"
#include "platform/UIScrollView.h"
#include "platform/UIView.h"

namespace zerva {

namespace {

// The view behind a record: the delegate of its layer (nullptr when the layer or the view is gone).
std::shared_ptr<NSObject> trackedView(const ZRTrackedScrollViewDetailsHolder& record) {
  auto layer = std::dynamic_pointer_cast<CALayer>(record.weakReference());
  return layer ? layer->delegate() : nullptr;
}

}  // namespace

bool ZRViewVideoHandler::anyViewScrollingInHierarchy(const std::shared_ptr<UIView>& view) {
  ZR_ASSERT_MAIN_THREAD();
  // Before tracking starts nothing is recorded and nothing reads as moving: no walk.
  if (!view || !trackedScrollViews()) return false;
  if (view->isKindOfClass(UIScrollView::class_())) {
    auto scrollView = std::dynamic_pointer_cast<UIScrollView>(view);
    if (scrollView && svContentOffsetHasChanged(scrollView)) return true;
  }
  // Depth-first, stopping at the first moving scroll view; later ones are reported next time.
  for (const auto& subview : view->subviews()) {
    if (anyViewScrollingInHierarchy(subview)) return true;
  }
  return false;
}

bool ZRViewVideoHandler::svContentOffsetHasChanged(const std::shared_ptr<UIScrollView>& scrollView) {
  ZR_ASSERT_MAIN_THREAD();
  auto tracked = trackedScrollViews();
  if (!tracked || !scrollView) return false;
  for (const auto& record : *tracked) {
    if (record && trackedView(*record) == scrollView) return record->hasMoved();
  }
  // Met for the first time: its position now is the reference, not a movement.
  tracked->push_back(std::make_shared<ZRTrackedScrollViewDetailsHolder>(scrollView->layer()));
  return false;
}

void ZRViewVideoHandler::cleanupTrackedScrollviews() {
  ZR_ASSERT_MAIN_THREAD();
  auto tracked = trackedScrollViews();
  if (!tracked || tracked->empty()) return;
  std::unordered_set<const ZRTrackedScrollViewDetailsHolder*> stale;
  for (const auto& record : *tracked) {
    if (!record || !trackedView(*record)) stale.insert(record.get());
  }
  // Removed in one step after the enumeration.
  std::erase_if(*tracked, [&](const auto& record) { return stale.contains(record.get()); });
}

bool ZRViewVideoHandler::isScrollViewZooming(const std::shared_ptr<UIScrollView>& scrollView) const {
  ZR_ASSERT_MAIN_THREAD();
  if (!scrollView) return false;
  if (scrollView->isZooming() || scrollView->isZoomBouncing()) return true;
  const auto animating = scrollView->valueForKey("zoomAnimating");
  return animating && animating->boolValue();
}

}  // namespace zerva
