#include "platform/CGAffineTransform.h"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace zerva {

CGAffineTransform CGAffineTransformMakeTranslation(CGFloat tx, CGFloat ty) { return {1, 0, 0, 1, tx, ty}; }

CGAffineTransform CGAffineTransformMakeScale(CGFloat sx, CGFloat sy) { return {sx, 0, 0, sy, 0, 0}; }

CGAffineTransform CGAffineTransformMakeRotation(CGFloat angle) {
  const CGFloat c = std::cos(angle), s = std::sin(angle);
  return {c, s, -s, c, 0, 0};
}

CGAffineTransform CGAffineTransformConcat(CGAffineTransform t1, CGAffineTransform t2) {
  return {t1.a * t2.a + t1.b * t2.c,          t1.a * t2.b + t1.b * t2.d,
          t1.c * t2.a + t1.d * t2.c,          t1.c * t2.b + t1.d * t2.d,
          t1.tx * t2.a + t1.ty * t2.c + t2.tx, t1.tx * t2.b + t1.ty * t2.d + t2.ty};
}

CGAffineTransform CGAffineTransformTranslate(CGAffineTransform t, CGFloat tx, CGFloat ty) {
  return CGAffineTransformConcat(CGAffineTransformMakeTranslation(tx, ty), t);
}

CGAffineTransform CGAffineTransformScale(CGAffineTransform t, CGFloat sx, CGFloat sy) {
  return CGAffineTransformConcat(CGAffineTransformMakeScale(sx, sy), t);
}

CGAffineTransform CGAffineTransformRotate(CGAffineTransform t, CGFloat angle) {
  return CGAffineTransformConcat(CGAffineTransformMakeRotation(angle), t);
}

CGAffineTransform CGAffineTransformInvert(CGAffineTransform t) {
  const CGFloat det = t.a * t.d - t.b * t.c;
  if (det == 0) return t;  // the platform returns a singular transform unchanged
  return {t.d / det, -t.b / det, -t.c / det, t.a / det, (t.c * t.ty - t.d * t.tx) / det,
          (t.b * t.tx - t.a * t.ty) / det};
}

bool CGAffineTransformIsIdentity(CGAffineTransform t) { return t == CGAffineTransformIdentity; }

CGPoint CGPointApplyAffineTransform(CGPoint p, CGAffineTransform t) {
  return {t.a * p.x + t.c * p.y + t.tx, t.b * p.x + t.d * p.y + t.ty};
}

CGSize CGSizeApplyAffineTransform(CGSize s, CGAffineTransform t) {
  return {t.a * s.width + t.c * s.height, t.b * s.width + t.d * s.height};
}

CGRect CGRectApplyAffineTransform(CGRect r, CGAffineTransform t) {
  if (CGRectIsNull(r)) return r;
  r = CGRectStandardize(r);
  const CGPoint corners[4] = {
      CGPointApplyAffineTransform(r.origin, t),
      CGPointApplyAffineTransform({CGRectGetMaxX(r), r.origin.y}, t),
      CGPointApplyAffineTransform({r.origin.x, CGRectGetMaxY(r)}, t),
      CGPointApplyAffineTransform({CGRectGetMaxX(r), CGRectGetMaxY(r)}, t),
  };
  CGFloat minX = corners[0].x, maxX = corners[0].x, minY = corners[0].y, maxY = corners[0].y;
  for (const CGPoint& p : corners) {
    minX = std::min(minX, p.x);
    maxX = std::max(maxX, p.x);
    minY = std::min(minY, p.y);
    maxY = std::max(maxY, p.y);
  }
  return CGRectMake(minX, minY, maxX - minX, maxY - minY);
}

void PrintTo(const CGAffineTransform& t, std::ostream* os) {
  *os << "[" << t.a << ", " << t.b << ", " << t.c << ", " << t.d << ", " << t.tx << ", " << t.ty << "]";
}

}  // namespace zerva
