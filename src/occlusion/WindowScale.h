#pragma once
// How rectangles measured in a window's bounds scale to the window size a frame asks for.

#include "platform/CGGeometry.h"

namespace zerva {

/// windowSize / bounds per side. A window without area keeps its rectangles unscaled (1, 1),
/// rather than scaling them by a non-finite factor and losing them.
inline CGSize ZRWindowScale(CGRect windowBounds, CGSize windowSize) {
  if (windowBounds.size.width == 0 || windowBounds.size.height == 0) return CGSizeMake(1.0, 1.0);
  return CGSizeMake(windowSize.width / windowBounds.size.width, windowSize.height / windowBounds.size.height);
}

}  // namespace zerva
