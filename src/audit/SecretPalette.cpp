// The secret colour and its distances.

#include "audit/SecretPalette.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zerva {

UIColor SecretPalette::secretColor() { return UIColor::colorWithRed(kRed / 255.0, kGreen / 255.0, kBlue / 255.0, 1); }

UIColor SecretPalette::standInColor() { return UIColor::colorWithWhite(0.5, 1); }

double SecretPalette::distance(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
  const double dr = static_cast<double>(red) - kRed;
  const double dg = static_cast<double>(green) - kGreen;
  const double db = static_cast<double>(blue) - kBlue;
  return std::sqrt(dr * dr + dg * dg + db * db);
}

double SecretPalette::distance(std::uint32_t argb) {
  return distance(static_cast<std::uint8_t>(argb >> 16), static_cast<std::uint8_t>(argb >> 8),
                  static_cast<std::uint8_t>(argb));
}

double SecretPalette::distance(const UIColor& color) {
  double red = 0, green = 0, blue = 0, alpha = 0;
  if (!color.getRed(&red, &green, &blue, &alpha)) return std::numeric_limits<double>::infinity();
  const auto byte = [](double c) { return static_cast<std::uint8_t>(std::lround(std::clamp(c, 0.0, 1.0) * 255)); };
  return distance(byte(red), byte(green), byte(blue));
}

}  // namespace zerva
