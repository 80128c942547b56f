#pragma once
// A path as a plain value: subpaths of lines and cubic curves, in the coordinates of whoever
// builds it. Adding it to a context maps it through the context's current transform.

#include <vector>

#include "platform/CGGeometry.h"

namespace zerva {

enum CGPathElementType : int {
  kCGPathElementMoveToPoint = 0,
  kCGPathElementAddLineToPoint = 1,
  kCGPathElementAddCurveToPoint = 3,  // points: two control points, then the end point
  kCGPathElementCloseSubpath = 4,
};

struct CGPathElement {
  CGPathElementType type = kCGPathElementMoveToPoint;
  CGPoint points[3];
};

class CGPath {
 public:
  const std::vector<CGPathElement>& elements() const { return elements_; }
  void append(const CGPathElement& e) { elements_.push_back(e); }

 private:
  std::vector<CGPathElement> elements_;
};

using CGMutablePath = CGPath;

void CGPathMoveToPoint(CGPath& path, CGPoint p);
/// Starts a subpath at p when the path has no current point yet.
void CGPathAddLineToPoint(CGPath& path, CGPoint p);
void CGPathAddCurveToPoint(CGPath& path, CGPoint control1, CGPoint control2, CGPoint end);
void CGPathCloseSubpath(CGPath& path);
/// A closed subpath around the rectangle, clockwise on screen (y down).
void CGPathAddRect(CGPath& path, CGRect rect);
/// A closed rounded rectangle; corner sizes are clamped to half the rectangle's width and height.
void CGPathAddRoundedRect(CGPath& path, CGRect rect, CGFloat cornerWidth, CGFloat cornerHeight);
bool CGPathIsEmpty(const CGPath& path);
/// The smallest rectangle holding every point of the path, control points included;
/// CGRectNull for an empty path.
CGRect CGPathGetBoundingBox(const CGPath& path);

}  // namespace zerva
