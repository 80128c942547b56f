#pragma once
// The on-screen keyboard as the app sees it: shown or hidden, its frame in the screen's
// interface space, and whether that frame is animating. Main thread only.

#include "platform/CGGeometry.h"

namespace zerva {

class UIKeyboard {
 public:
  bool isVisible() const { return visible_; }
  /// The frame now: between the start and end frames while an animation runs.
  CGRect frame() const;
  /// The frame the keyboard is moving to (or sits at).
  CGRect endFrame() const { return endFrame_; }
  bool isAnimating() const;

  /// Slides the keyboard up to `frame` over `duration` seconds.
  void show(CGRect frame, double duration);
  /// Slides the keyboard below its frame over `duration` seconds; it counts as hidden at once.
  void hide(double duration);

 private:
  void animateTo(CGRect frame, double duration);

  bool visible_ = false;
  CGRect startFrame_ = CGRectZero;
  CGRect endFrame_ = CGRectZero;
  double animationStart_ = 0;
  double animationDuration_ = 0;
};

}  // namespace zerva
