#include "platform/UIFont.h"

#include <algorithm>

namespace zerva {

namespace {
// DejaVu Sans vertical metrics (hhea), in font units.
constexpr double kUnitsPerEm = 2048;
constexpr double kAscender = 1901;
constexpr double kDescender = 483;
}  // namespace

UIFont UIFont::systemFontOfSize(double pointSize) { return UIFont(std::max(0.0, pointSize), false); }
UIFont UIFont::boldSystemFontOfSize(double pointSize) { return UIFont(std::max(0.0, pointSize), true); }

double UIFont::ascender() const { return pointSize_ * kAscender / kUnitsPerEm; }
double UIFont::descender() const { return -pointSize_ * kDescender / kUnitsPerEm; }
double UIFont::lineHeight() const { return pointSize_ * (kAscender + kDescender) / kUnitsPerEm; }

}  // namespace zerva
