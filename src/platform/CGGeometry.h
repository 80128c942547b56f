#pragma once
// Points, sizes and rectangles in points: origin top-left, y grows downwards.
//
// A rectangle contains the points on its minimum edges and not those on its maximum edges.
// Rectangles with negative sizes are standardised by the helpers that combine rectangles.
// The null rectangle (CGRectNull) means "no rectangle at all", unlike an empty one at a place.

#include <iosfwd>
#include <string>
#include <string_view>

namespace zerva {

using CGFloat = double;

struct CGPoint {
  CGFloat x = 0;
  CGFloat y = 0;
  friend bool operator==(const CGPoint&, const CGPoint&) = default;
};

struct CGSize {
  CGFloat width = 0;
  CGFloat height = 0;
  friend bool operator==(const CGSize&, const CGSize&) = default;
};

struct CGRect {
  CGPoint origin;
  CGSize size;
  friend bool operator==(const CGRect&, const CGRect&) = default;
};

inline constexpr CGPoint CGPointZero{};
inline constexpr CGSize CGSizeZero{};
inline constexpr CGRect CGRectZero{};
extern const CGRect CGRectNull;

constexpr CGPoint CGPointMake(CGFloat x, CGFloat y) { return {x, y}; }
constexpr CGSize CGSizeMake(CGFloat w, CGFloat h) { return {w, h}; }
constexpr CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat w, CGFloat h) { return {{x, y}, {w, h}}; }

CGFloat CGRectGetMinX(CGRect r);
CGFloat CGRectGetMinY(CGRect r);
CGFloat CGRectGetMaxX(CGRect r);
CGFloat CGRectGetMaxY(CGRect r);
CGFloat CGRectGetMidX(CGRect r);
CGFloat CGRectGetMidY(CGRect r);
CGFloat CGRectGetWidth(CGRect r);
CGFloat CGRectGetHeight(CGRect r);

/// The same rectangle with non-negative width and height.
CGRect CGRectStandardize(CGRect r);
bool CGRectIsNull(CGRect r);
/// Null, or zero or negative width or height.
bool CGRectIsEmpty(CGRect r);
bool CGRectIsInfinite(CGRect r);
/// Equal after standardising; two null rectangles are equal.
bool CGRectEqualToRect(CGRect a, CGRect b);
bool CGSizeEqualToSize(CGSize a, CGSize b);
bool CGPointEqualToPoint(CGPoint a, CGPoint b);
/// Smallest rectangle holding both; a null side is ignored.
CGRect CGRectUnion(CGRect a, CGRect b);
/// The overlap, or CGRectNull when the rectangles do not overlap.
CGRect CGRectIntersection(CGRect a, CGRect b);
bool CGRectIntersectsRect(CGRect a, CGRect b);
bool CGRectContainsPoint(CGRect r, CGPoint p);
bool CGRectContainsRect(CGRect outer, CGRect inner);
CGRect CGRectOffset(CGRect r, CGFloat dx, CGFloat dy);
CGRect CGRectInset(CGRect r, CGFloat dx, CGFloat dy);

/// "{{x, y}, {w, h}}" with the shortest digits that read back to the same doubles.
std::string NSStringFromCGRect(CGRect r);
std::string NSStringFromCGPoint(CGPoint p);
std::string NSStringFromCGSize(CGSize s);
/// Reads NSStringFromCGRect's form back; any other text gives CGRectZero: numbers are finite
/// decimals within a double's range, with at most one sign (no "nan", "inf" or "+-1").
CGRect CGRectFromString(std::string_view text);
/// Reads "{x, y}" with the numbers above; any other text gives CGPointZero.
CGPoint CGPointFromString(std::string_view text);
/// Reads "{w, h}"; text that does not parse gives CGSizeZero.
CGSize CGSizeFromString(std::string_view text);

// Readable values in test failures.
void PrintTo(const CGPoint& p, std::ostream* os);
void PrintTo(const CGSize& s, std::ostream* os);
void PrintTo(const CGRect& r, std::ostream* os);

}  // namespace zerva
