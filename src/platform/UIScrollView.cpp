#include "platform/UIScrollView.h"

namespace zerva {

ZR_DEFINE_CLASS(UIScrollView, UIView, [] { return std::make_shared<UIScrollView>(); })

void UIScrollView::setContentOffset(CGPoint offset) {
  CGRect b = bounds();
  b.origin = offset;
  setBounds(b);
}

void UIScrollView::setContentOffset(CGPoint offset, double duration) {
  const CGPoint from = contentOffset();
  setContentOffset(offset);
  if (duration <= 0) return;
  auto animation = CABasicAnimation::animationWithKeyPath("bounds.origin");
  animation.setFromValue(from);
  animation.setToValue(offset);
  animation.setDuration(duration);
  layer()->addAnimation(animation, "bounds.origin");
}

std::optional<NSNumber> UIScrollView::valueForKey(std::string_view key) const {
  if (key == "zoomAnimating") return NSNumber::numberWithBool(zoomAnimating_);
  if (key == "zooming") return NSNumber::numberWithBool(zooming_);
  if (key == "zoomBouncing") return NSNumber::numberWithBool(zoomBouncing_);
  return UIView::valueForKey(key);
}

}  // namespace zerva
