#pragma once
// A colour as drawing code takes it: straight (not premultiplied) sRGB components in 0...1.

#include <iosfwd>

namespace zerva {

struct CGColor {
  double red = 0, green = 0, blue = 0, alpha = 1;
  friend bool operator==(const CGColor&, const CGColor&) = default;
};

inline double CGColorGetAlpha(const CGColor& c) { return c.alpha; }

void PrintTo(const CGColor& c, std::ostream* os);

}  // namespace zerva
