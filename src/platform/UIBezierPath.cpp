#include "platform/UIBezierPath.h"

#include "platform/CGContext.h"
#include "platform/CairoHandles.h"

namespace zerva {

UIBezierPath UIBezierPath::bezierPathWithRect(CGRect rect) {
  UIBezierPath p;
  CGPathAddRect(p.path_, rect);
  return p;
}

UIBezierPath UIBezierPath::bezierPathWithRoundedRect(CGRect rect, CGFloat cornerRadius) {
  UIBezierPath p;
  CGPathAddRoundedRect(p.path_, rect, cornerRadius, cornerRadius);
  return p;
}

void UIBezierPath::moveToPoint(CGPoint point) { CGPathMoveToPoint(path_, point); }
void UIBezierPath::addLineToPoint(CGPoint point) { CGPathAddLineToPoint(path_, point); }
void UIBezierPath::closePath() { CGPathCloseSubpath(path_); }

void UIBezierPath::stroke() const {
  if (CGContextRef c = UIGraphicsGetCurrentContext(); c && !isEmpty()) paintPathAside(*c, path_, /*stroke=*/true, lineWidth_);
}

void UIBezierPath::fill() const {
  if (CGContextRef c = UIGraphicsGetCurrentContext(); c && !isEmpty()) paintPathAside(*c, path_, /*stroke=*/false, lineWidth_);
}

}  // namespace zerva
