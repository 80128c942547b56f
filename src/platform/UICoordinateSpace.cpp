#include "platform/UICoordinateSpace.h"

#include <algorithm>

namespace zerva {

CGPoint UICoordinateSpace::convertPoint(CGPoint point, const UICoordinateSpace& to) const {
  if (&to == this) return point;
  return to.convertPointFromFixedScreenSpace(convertPointToFixedScreenSpace(point));
}

CGRect UICoordinateSpace::convertRect(CGRect rect, const UICoordinateSpace& to) const {
  if (CGRectIsNull(rect)) return rect;
  rect = CGRectStandardize(rect);
  const CGPoint a = convertPoint(rect.origin, to);
  const CGPoint b = convertPoint({CGRectGetMaxX(rect), CGRectGetMaxY(rect)}, to);
  return CGRectMake(std::min(a.x, b.x), std::min(a.y, b.y), std::abs(b.x - a.x), std::abs(b.y - a.y));
}

}  // namespace zerva
