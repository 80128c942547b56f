#pragma once
// An immutable colour. Where the platform allows "no colour", code holds std::optional<UIColor>.

#include <iosfwd>

#include "platform/CGColor.h"

namespace zerva {

class UIColor {
 public:
  /// Components are clamped to 0...1.
  static UIColor colorWithRed(double red, double green, double blue, double alpha);
  static UIColor colorWithWhite(double white, double alpha);
  static UIColor blackColor();
  static UIColor whiteColor();
  static UIColor clearColor();
  static UIColor grayColor();
  static UIColor lightGrayColor();
  static UIColor darkGrayColor();
  static UIColor redColor();
  static UIColor greenColor();
  static UIColor blueColor();

  UIColor colorWithAlphaComponent(double alpha) const;
  /// Writes the components; always succeeds for these sRGB colours.
  bool getRed(double* red, double* green, double* blue, double* alpha) const;
  CGColor cgColor() const { return color_; }
  double alpha() const { return color_.alpha; }

  friend bool operator==(const UIColor&, const UIColor&) = default;

 private:
  explicit UIColor(CGColor c) : color_(c) {}
  CGColor color_;
};

void PrintTo(const UIColor& c, std::ostream* os);

}  // namespace zerva
