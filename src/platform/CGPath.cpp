#include "platform/CGPath.h"

#include <algorithm>
#include <cmath>

namespace zerva {

namespace {
// Control-point distance, as a fraction of the radius, for a quarter circle drawn as one cubic.
constexpr double kKappa = 0.5522847498307936;

bool hasCurrentPoint(const CGPath& path) { return !path.elements().empty(); }
}  // namespace

void CGPathMoveToPoint(CGPath& path, CGPoint p) { path.append({kCGPathElementMoveToPoint, {p}}); }

void CGPathAddLineToPoint(CGPath& path, CGPoint p) {
  if (!hasCurrentPoint(path)) {
    CGPathMoveToPoint(path, p);
    return;
  }
  path.append({kCGPathElementAddLineToPoint, {p}});
}

void CGPathAddCurveToPoint(CGPath& path, CGPoint control1, CGPoint control2, CGPoint end) {
  if (!hasCurrentPoint(path)) CGPathMoveToPoint(path, control1);
  path.append({kCGPathElementAddCurveToPoint, {control1, control2, end}});
}

void CGPathCloseSubpath(CGPath& path) {
  if (hasCurrentPoint(path)) path.append({kCGPathElementCloseSubpath, {}});
}

void CGPathAddRect(CGPath& path, CGRect rect) {
  const CGRect r = CGRectStandardize(rect);
  CGPathMoveToPoint(path, r.origin);
  CGPathAddLineToPoint(path, {CGRectGetMaxX(r), r.origin.y});
  CGPathAddLineToPoint(path, {CGRectGetMaxX(r), CGRectGetMaxY(r)});
  CGPathAddLineToPoint(path, {r.origin.x, CGRectGetMaxY(r)});
  CGPathCloseSubpath(path);
}

void CGPathAddRoundedRect(CGPath& path, CGRect rect, CGFloat cornerWidth, CGFloat cornerHeight) {
  const CGRect r = CGRectStandardize(rect);
  const double rx = std::clamp(std::isnan(cornerWidth) ? 0.0 : cornerWidth, 0.0, r.size.width / 2);
  const double ry = std::clamp(std::isnan(cornerHeight) ? 0.0 : cornerHeight, 0.0, r.size.height / 2);
  if (rx <= 0 || ry <= 0) {
    CGPathAddRect(path, r);
    return;
  }
  const double x0 = r.origin.x, y0 = r.origin.y, x1 = CGRectGetMaxX(r), y1 = CGRectGetMaxY(r);
  const double kx = rx * kKappa, ky = ry * kKappa;
  CGPathMoveToPoint(path, {x0 + rx, y0});
  CGPathAddLineToPoint(path, {x1 - rx, y0});
  CGPathAddCurveToPoint(path, {x1 - rx + kx, y0}, {x1, y0 + ry - ky}, {x1, y0 + ry});
  CGPathAddLineToPoint(path, {x1, y1 - ry});
  CGPathAddCurveToPoint(path, {x1, y1 - ry + ky}, {x1 - rx + kx, y1}, {x1 - rx, y1});
  CGPathAddLineToPoint(path, {x0 + rx, y1});
  CGPathAddCurveToPoint(path, {x0 + rx - kx, y1}, {x0, y1 - ry + ky}, {x0, y1 - ry});
  CGPathAddLineToPoint(path, {x0, y0 + ry});
  CGPathAddCurveToPoint(path, {x0, y0 + ry - ky}, {x0 + rx - kx, y0}, {x0 + rx, y0});
  CGPathCloseSubpath(path);
}

bool CGPathIsEmpty(const CGPath& path) { return path.elements().empty(); }

CGRect CGPathGetBoundingBox(const CGPath& path) {
  CGRect box = CGRectNull;
  for (const CGPathElement& e : path.elements()) {
    const int count = e.type == kCGPathElementAddCurveToPoint ? 3 : e.type == kCGPathElementCloseSubpath ? 0 : 1;
    for (int i = 0; i < count; ++i) box = CGRectUnion(box, CGRect{e.points[i], CGSizeZero});
  }
  return box;
}

}  // namespace zerva
