#pragma once
// A colour as drawing code takes it: straight (not premultiplied) sRGB components in 0...1.

#include <algorithm>
#include <cmath>
#include <iosfwd>

namespace zerva {

struct CGColor {
  double red = 0, green = 0, blue = 0, alpha = 1;
  friend bool operator==(const CGColor&, const CGColor&) = default;
};

/// A colour component or alpha brought into 0...1; NaN becomes 0.
inline double clamp01(double v) { return std::isnan(v) ? 0.0 : std::clamp(v, 0.0, 1.0); }

inline double CGColorGetAlpha(const CGColor& c) { return c.alpha; }

void PrintTo(const CGColor& c, std::ostream* os);

}  // namespace zerva
