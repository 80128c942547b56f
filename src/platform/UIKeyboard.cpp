#include "platform/UIKeyboard.h"

#include <algorithm>

#include "platform/ProcessClock.h"

namespace zerva {

CGRect UIKeyboard::frame() const {
  if (!isAnimating()) return endFrame_;
  const double f = std::clamp((CACurrentMediaTime() - animationStart_) / animationDuration_, 0.0, 1.0);
  auto mix = [f](double a, double b) { return a + (b - a) * f; };
  return CGRectMake(mix(startFrame_.origin.x, endFrame_.origin.x), mix(startFrame_.origin.y, endFrame_.origin.y),
                    mix(startFrame_.size.width, endFrame_.size.width),
                    mix(startFrame_.size.height, endFrame_.size.height));
}

bool UIKeyboard::isAnimating() const {
  return animationDuration_ > 0 && CACurrentMediaTime() < animationStart_ + animationDuration_;
}

void UIKeyboard::animateTo(CGRect target, double duration) {
  startFrame_ = frame();
  endFrame_ = target;
  animationStart_ = CACurrentMediaTime();
  animationDuration_ = duration > 0 ? duration : 0;
}

void UIKeyboard::show(CGRect frame, double duration) {
  if (!visible_ && !isAnimating()) {
    // Comes up from just below where it will rest.
    endFrame_ = CGRectOffset(frame, 0, frame.size.height);
  }
  visible_ = true;
  animateTo(frame, duration);
}

void UIKeyboard::hide(double duration) {
  if (!visible_) return;
  visible_ = false;
  animateTo(CGRectOffset(endFrame_, 0, endFrame_.size.height), duration);
}

}  // namespace zerva
