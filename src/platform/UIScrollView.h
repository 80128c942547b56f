#pragma once
// A scroll view: its content offset is its bounds origin, so scrolling moves every subview.

#include "platform/UIView.h"

namespace zerva {

class UIScrollView : public UIView {
  ZR_DECLARE_CLASS(UIScrollView)
 public:
  using UIView::UIView;

  CGPoint contentOffset() const { return bounds().origin; }
  void setContentOffset(CGPoint offset);
  /// Animated: the model jumps to `offset` and the presentation layer travels there over
  /// `duration` seconds.
  void setContentOffset(CGPoint offset, double duration);
  CGSize contentSize() const { return contentSize_; }
  void setContentSize(CGSize size) { contentSize_ = size; }

  double zoomScale() const { return zoomScale_; }
  void setZoomScale(double scale) { zoomScale_ = scale; }
  bool isZooming() const { return zooming_; }
  bool isZoomBouncing() const { return zoomBouncing_; }
  // The stand-in's own setters for the gesture state a user's fingers would produce.
  void setZooming(bool zooming) { zooming_ = zooming; }
  void setZoomBouncing(bool bouncing) { zoomBouncing_ = bouncing; }
  void setZoomAnimating(bool animating) { zoomAnimating_ = animating; }

  /// Answers "zoomAnimating", "zooming" and "zoomBouncing".
  std::optional<NSNumber> valueForKey(std::string_view key) const override;

 private:
  CGSize contentSize_;
  double zoomScale_ = 1.0;
  bool zooming_ = false;
  bool zoomBouncing_ = false;
  bool zoomAnimating_ = false;
};

}  // namespace zerva
