#include "platform/UIScreen.h"

#include "platform/NSProcessInfo.h"
#include "platform/SharedInstanceSlot.h"

namespace zerva {

ZR_DEFINE_CLASS(UIScreen, NSObject, [] { return std::make_shared<UIScreen>(); })

namespace {

bool hasCoordinateSpaces() { return ZRSystemVersionAtLeast(8, 0); }

// The portrait-up space of a screen.
class FixedCoordinateSpace : public UICoordinateSpace {
 public:
  explicit FixedCoordinateSpace(CGSize size) : size_(size) {}
  CGRect bounds() const override { return {CGPointZero, size_}; }
  CGPoint convertPointToFixedScreenSpace(CGPoint p) const override { return p; }
  CGPoint convertPointFromFixedScreenSpace(CGPoint p) const override { return p; }

 private:
  CGSize size_;
};

SharedInstanceSlot<UIScreen>& mainSlot() {
  static SharedInstanceSlot<UIScreen> slot;
  return slot;
}

}  // namespace

std::shared_ptr<UIScreen> UIScreen::mainScreen() { return mainSlot().get(); }

void UIScreen::setMainScreen(std::shared_ptr<UIScreen> screen) { mainSlot().replace(std::move(screen)); }

UIScreen::UIScreen(CGSize portraitSize, double scale)
    : portraitSize_(portraitSize), scale_(scale), fixedSpace_(std::make_shared<FixedCoordinateSpace>(portraitSize)) {}

CGRect UIScreen::bounds() const {
  const bool landscape =
      orientation_ == UIInterfaceOrientationLandscapeLeft || orientation_ == UIInterfaceOrientationLandscapeRight;
  return landscape ? CGRectMake(0, 0, portraitSize_.height, portraitSize_.width) : CGRect{CGPointZero, portraitSize_};
}

CGRect UIScreen::nativeBounds() const {
  return CGRectMake(0, 0, portraitSize_.width * scale_, portraitSize_.height * scale_);
}

std::shared_ptr<UICoordinateSpace> UIScreen::coordinateSpace() const {
  if (!hasCoordinateSpaces()) return nullptr;
  auto self = std::const_pointer_cast<NSObject>(shared_from_this());
  return std::shared_ptr<UICoordinateSpace>(self, const_cast<UIScreen*>(this));
}

std::shared_ptr<UICoordinateSpace> UIScreen::fixedCoordinateSpace() const {
  return hasCoordinateSpaces() ? fixedSpace_ : nullptr;
}

bool UIScreen::respondsToSelector(std::string_view selector) const {
  if (selector == "nativeBounds" || selector == "coordinateSpace" || selector == "fixedCoordinateSpace") {
    return hasCoordinateSpaces();
  }
  return NSObject::respondsToSelector(selector);
}

// The interface's top-left corner sits at a different corner of the portrait-up screen in each
// orientation: landscape right turns the device a quarter counter-clockwise (its top to the left).
CGPoint UIScreen::convertPointFromInterfaceToFixed(CGPoint p) const {
  const double w = portraitSize_.width, h = portraitSize_.height;
  switch (orientation_) {
    case UIInterfaceOrientationPortraitUpsideDown:
      return {w - p.x, h - p.y};
    case UIInterfaceOrientationLandscapeRight:
      return {w - p.y, p.x};
    case UIInterfaceOrientationLandscapeLeft:
      return {p.y, h - p.x};
    default:
      return p;
  }
}

CGPoint UIScreen::convertPointFromFixedToInterface(CGPoint p) const {
  const double w = portraitSize_.width, h = portraitSize_.height;
  switch (orientation_) {
    case UIInterfaceOrientationPortraitUpsideDown:
      return {w - p.x, h - p.y};
    case UIInterfaceOrientationLandscapeRight:
      return {p.y, w - p.x};
    case UIInterfaceOrientationLandscapeLeft:
      return {h - p.y, p.x};
    default:
      return p;
  }
}

}  // namespace zerva
