#pragma once
// A path with a line width, drawn into the current context (UIGraphicsGetCurrentContext) with
// that context's fill or stroke colour. A plain value: copies are independent.

#include "platform/CGGeometry.h"
#include "platform/CGPath.h"

namespace zerva {

class UIBezierPath {
 public:
  static UIBezierPath bezierPath() { return {}; }
  static UIBezierPath bezierPathWithRect(CGRect rect);
  /// Corner radius clamped to half the shorter side.
  static UIBezierPath bezierPathWithRoundedRect(CGRect rect, CGFloat cornerRadius);

  void moveToPoint(CGPoint point);
  void addLineToPoint(CGPoint point);
  void closePath();

  CGFloat lineWidth() const { return lineWidth_; }
  void setLineWidth(CGFloat width) { lineWidth_ = width; }
  bool isEmpty() const { return CGPathIsEmpty(path_); }
  CGRect bounds() const { return CGPathGetBoundingBox(path_); }
  const ::zerva::CGPath& CGPath() const { return path_; }

  /// Stroke with the path's line width and the context's stroke colour; the context's own line
  /// width and current path are left as they were. No current context: nothing happens.
  void stroke() const;
  void fill() const;

 private:
  ::zerva::CGPath path_;
  CGFloat lineWidth_ = 1;
};

}  // namespace zerva
