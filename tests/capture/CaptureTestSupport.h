#pragma once
// Helpers of the capture tests: screens built from coloured views, a renderer that answers nil,
// a picture with four coloured quadrants, and pixel comparison.

#include <cstdlib>
#include <memory>
#include <string>

#include "platform/CGContext.h"
#include "platform/UIApplication.h"
#include "platform/UIColor.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "platform/UIView.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "services/ZRImageRenderer.h"

namespace zerva::testing {

inline constexpr CGPixel kRedPixel{255, 0, 0, 255};
inline constexpr CGPixel kGreenPixel{0, 255, 0, 255};
inline constexpr CGPixel kBluePixel{0, 0, 255, 255};
inline constexpr CGPixel kYellowPixel{255, 255, 0, 255};
inline constexpr CGPixel kWhitePixel{255, 255, 255, 255};
inline constexpr CGPixel kBlackPixel{0, 0, 0, 255};

/// Every channel within `tolerance`.
inline bool nearPixel(CGPixel a, CGPixel b, int tolerance = 2) {
  return std::abs(a.red - b.red) <= tolerance && std::abs(a.green - b.green) <= tolerance &&
         std::abs(a.blue - b.blue) <= tolerance && std::abs(a.alpha - b.alpha) <= tolerance;
}

/// The image renderer of a device that has no memory left: every drawing step is skipped.
class NilImageRenderer : public ZRImageRenderer {
 public:
  std::shared_ptr<UIGraphicsImageRenderer> rendererForSize(CGSize) const override { return nullptr; }
};

inline std::shared_ptr<UIView> colouredView(CGRect frame, const UIColor& colour) {
  auto view = std::make_shared<UIView>(frame);
  view->setBackgroundColor(colour);
  return view;
}

/// A visible window of the application with a root controller whose view fills it with `colour`;
/// the key window unless told otherwise.
inline std::shared_ptr<UIWindow> windowWithController(CGRect frame, const UIColor& colour, bool makeKey = true) {
  auto window = std::make_shared<UIWindow>(frame);
  auto controller = std::make_shared<UIViewController>();
  controller->setView(colouredView(CGRect{CGPointZero, frame.size}, colour));
  window->setRootViewController(controller);
  if (makeKey) {
    window->makeKeyAndVisible();
  } else {
    window->setHidden(false);
    UIApplication::sharedApplication()->addWindow(window);
  }
  return window;
}

/// Four quadrants, red top-left, green top-right, blue bottom-left, yellow bottom-right: where
/// each lands tells how a picture was turned.
inline std::shared_ptr<UIImage> quadrantPicture(CGSize size) {
  UIGraphicsImageRendererFormat format;
  format.setOpaque(true);
  const double w = size.width / 2;
  const double h = size.height / 2;
  return UIGraphicsImageRenderer(size, format).imageWithActions([&](UIGraphicsImageRendererContext& context) {
    CGContextRef c = context.CGContext();
    CGContextSetRGBFillColor(c, 1, 0, 0, 1);
    CGContextFillRect(c, CGRectMake(0, 0, w, h));
    CGContextSetRGBFillColor(c, 0, 1, 0, 1);
    CGContextFillRect(c, CGRectMake(w, 0, w, h));
    CGContextSetRGBFillColor(c, 0, 0, 1, 1);
    CGContextFillRect(c, CGRectMake(0, h, w, h));
    CGContextSetRGBFillColor(c, 1, 1, 0, 1);
    CGContextFillRect(c, CGRectMake(w, h, w, h));
  });
}

/// Keeps a frame for a person to look at; no test depends on it.
inline void keepFrameForViewing(const UIImage& image, const std::string& name) {
  (void)UIImageWritePNGToFile(image, "/tmp/zerva_capture_" + name + ".png");
}

}  // namespace zerva::testing
