#pragma once
// Small helpers for pixel tests of the drawing stand-in.

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "platform/CGContext.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"

namespace zerva::testing {

inline constexpr CGPixel kClear{0, 0, 0, 0};
inline constexpr CGPixel kRed{255, 0, 0, 255};
inline constexpr CGPixel kGreen{0, 255, 0, 255};
inline constexpr CGPixel kBlue{0, 0, 255, 255};
inline constexpr CGPixel kBlack{0, 0, 0, 255};
inline constexpr CGPixel kWhite{255, 255, 255, 255};

/// Renders a picture of the given size in points at the given scale.
inline std::shared_ptr<UIImage> render(CGSize size, const std::function<void(CGContextRef)>& draw, double scale = 1) {
  UIGraphicsImageRendererFormat format;
  format.setScale(scale);
  UIGraphicsImageRenderer renderer(size, format);
  return renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) { draw(ctx.CGContext()); });
}

/// Channels within `tolerance` of each other.
inline bool near(CGPixel a, CGPixel b, int tolerance = 2) {
  return std::abs(a.red - b.red) <= tolerance && std::abs(a.green - b.green) <= tolerance &&
         std::abs(a.blue - b.blue) <= tolerance && std::abs(a.alpha - b.alpha) <= tolerance;
}

/// A picture with top half red and bottom half blue: tells orientation at a glance.
inline std::shared_ptr<UIImage> redOverBlue(double w = 4, double h = 4) {
  return render({w, h}, [&](CGContextRef c) {
    CGContextSetRGBFillColor(c, 1, 0, 0, 1);
    CGContextFillRect(c, CGRectMake(0, 0, w, h / 2));
    CGContextSetRGBFillColor(c, 0, 0, 1, 1);
    CGContextFillRect(c, CGRectMake(0, h / 2, w, h / 2));
  });
}

/// Writes the picture to /tmp for a person to look at; the test does not depend on it.
inline void keepForViewing(const UIImage& image, const std::string& name) {
  (void)UIImageWritePNGToFile(image, "/tmp/zerva_drawing_" + name + ".png");
}

}  // namespace zerva::testing
