#include "platform/UIColor.h"

#include <algorithm>
#include <ostream>

namespace zerva {

void PrintTo(const CGColor& c, std::ostream* os) {
  *os << "rgba(" << c.red << ", " << c.green << ", " << c.blue << ", " << c.alpha << ")";
}

void PrintTo(const UIColor& c, std::ostream* os) { PrintTo(c.cgColor(), os); }

UIColor UIColor::colorWithRed(double red, double green, double blue, double alpha) {
  return UIColor(CGColor{clamp01(red), clamp01(green), clamp01(blue), clamp01(alpha)});
}

UIColor UIColor::colorWithWhite(double white, double alpha) { return colorWithRed(white, white, white, alpha); }

UIColor UIColor::blackColor() { return colorWithWhite(0, 1); }
UIColor UIColor::whiteColor() { return colorWithWhite(1, 1); }
UIColor UIColor::clearColor() { return colorWithWhite(0, 0); }
UIColor UIColor::grayColor() { return colorWithWhite(0.5, 1); }
UIColor UIColor::lightGrayColor() { return colorWithWhite(2.0 / 3.0, 1); }
UIColor UIColor::darkGrayColor() { return colorWithWhite(1.0 / 3.0, 1); }
UIColor UIColor::redColor() { return colorWithRed(1, 0, 0, 1); }
UIColor UIColor::greenColor() { return colorWithRed(0, 1, 0, 1); }
UIColor UIColor::blueColor() { return colorWithRed(0, 0, 1, 1); }

UIColor UIColor::colorWithAlphaComponent(double alpha) const {
  return colorWithRed(color_.red, color_.green, color_.blue, alpha);
}

bool UIColor::getRed(double* red, double* green, double* blue, double* alpha) const {
  if (red) *red = color_.red;
  if (green) *green = color_.green;
  if (blue) *blue = color_.blue;
  if (alpha) *alpha = color_.alpha;
  return true;
}

}  // namespace zerva
