#pragma once
// Affine transforms as the platform has them: a point (x, y) maps to
// (a*x + c*y + tx, b*x + d*y + ty).
//
// The builders (Translate, Rotate, Scale) put their own operation in front of the transform
// they are given: a point is moved by the newest operation first and by the oldest last.

#include "platform/CGGeometry.h"

namespace zerva {

struct CGAffineTransform {
  CGFloat a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
  friend bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;
};

inline constexpr CGAffineTransform CGAffineTransformIdentity{};

CGAffineTransform CGAffineTransformMakeTranslation(CGFloat tx, CGFloat ty);
CGAffineTransform CGAffineTransformMakeScale(CGFloat sx, CGFloat sy);
CGAffineTransform CGAffineTransformMakeRotation(CGFloat angle);
/// t1 then t2: a point is mapped by t1 first.
CGAffineTransform CGAffineTransformConcat(CGAffineTransform t1, CGAffineTransform t2);
CGAffineTransform CGAffineTransformTranslate(CGAffineTransform t, CGFloat tx, CGFloat ty);
CGAffineTransform CGAffineTransformScale(CGAffineTransform t, CGFloat sx, CGFloat sy);
CGAffineTransform CGAffineTransformRotate(CGAffineTransform t, CGFloat angle);
CGAffineTransform CGAffineTransformInvert(CGAffineTransform t);
bool CGAffineTransformIsIdentity(CGAffineTransform t);

CGPoint CGPointApplyAffineTransform(CGPoint p, CGAffineTransform t);
CGSize CGSizeApplyAffineTransform(CGSize s, CGAffineTransform t);
/// The bounding box of the transformed rectangle.
CGRect CGRectApplyAffineTransform(CGRect r, CGAffineTransform t);

void PrintTo(const CGAffineTransform& t, std::ostream* os);

}  // namespace zerva
