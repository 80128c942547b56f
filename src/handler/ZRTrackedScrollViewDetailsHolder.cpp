// The scroll-tracking record: a scroll view's layer and the position last seen.
// Main thread.

#include "handler/ZRTrackedScrollViewDetailsHolder.h"

#include "platform/CALayer.h"
#include "platform/UIScrollView.h"

namespace zerva {

ZR_DEFINE_CLASS(ZRTrackedScrollViewDetailsHolder, ZRWeakReferenceViewHolder, nullptr)

ZRTrackedScrollViewDetailsHolder::ZRTrackedScrollViewDetailsHolder(const std::shared_ptr<CALayer>& layer)
    : ZRWeakReferenceViewHolder(layer) {
  if (auto scrollView = this->scrollView()) {
    previousContentOffset_ = scrollView->contentOffset();
    previousZoomScale_ = scrollView->zoomScale();
  }
}

std::shared_ptr<UIScrollView> ZRTrackedScrollViewDetailsHolder::scrollView() const {
  auto layer = std::dynamic_pointer_cast<CALayer>(weakReference());
  if (!layer) return nullptr;
  auto delegate = layer->delegate();
  if (!delegate || !delegate->isKindOfClass(UIScrollView::class_())) return nullptr;
  return std::dynamic_pointer_cast<UIScrollView>(delegate);
}

bool ZRTrackedScrollViewDetailsHolder::hasMoved() {
  auto scrollView = this->scrollView();
  if (!scrollView) return false;
  const double zoom = scrollView->zoomScale();
  const CGPoint offset = scrollView->contentOffset();
  const bool moved = zoom != previousZoomScale_ || offset.x != previousContentOffset_.x ||
                     offset.y != previousContentOffset_.y;
  if (moved) {
    previousContentOffset_ = offset;
    previousZoomScale_ = zoom;
  }
  return moved;
}

}  // namespace zerva
