#pragma once
// What scroll tracking remembers of one scroll view between frames: its layer (weakly; the
// scroll view is the layer's delegate) and the content offset and zoom scale last seen.
// Main thread.

#include <memory>

#include "handler/ZRWeakReferenceViewHolder.h"
#include "platform/CGGeometry.h"

namespace zerva {

class CALayer;
class UIScrollView;

class ZRTrackedScrollViewDetailsHolder : public ZRWeakReferenceViewHolder {
  ZR_DECLARE_CLASS(ZRTrackedScrollViewDetailsHolder)

 public:
  /// initWithObject: with the scroll view's layer; records its current offset and zoom scale
  /// ((0, 0) and 1.0 when the layer's delegate is not a scroll view).
  explicit ZRTrackedScrollViewDetailsHolder(const std::shared_ptr<CALayer>& layer);

  /// The scroll view behind the tracked layer, or nullptr when the layer or its view is gone or
  /// the view is not a scroll view.
  std::shared_ptr<UIScrollView> scrollView() const;

  /// YES when the zoom scale or the content offset differ from the recorded ones (exactly);
  /// then records the new ones.
  bool hasMoved();

  CGPoint previousContentOffset() const { return previousContentOffset_; }
  void setPreviousContentOffset(CGPoint offset) { previousContentOffset_ = offset; }
  double previousZoomScale() const { return previousZoomScale_; }
  void setPreviousZoomScale(double scale) { previousZoomScale_ = scale; }

 private:
  CGPoint previousContentOffset_;
  double previousZoomScale_ = 1.0;
};

}  // namespace zerva
