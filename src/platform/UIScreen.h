#pragma once
// The device's screen: its size and scale, the interface orientation, and two coordinate spaces:
// `coordinateSpace` follows the interface (its bounds turn with the device), and
// `fixedCoordinateSpace` stays portrait-up. Both exist from OS 8.0 on.
//
// Threads: main thread only, as every UI object (mainScreen() itself may be fetched from any
// thread). Ownership: the process owns the main screen; a screen owns its fixed coordinate space.

#include <memory>

#include "platform/CADisplayLink.h"
#include "platform/CGGeometry.h"
#include "platform/NSObject.h"
#include "platform/UICoordinateSpace.h"
#include "platform/UIKitTypes.h"

namespace zerva {

class UIScreen : public NSObject, public UICoordinateSpace {
  ZR_DECLARE_CLASS(UIScreen)
 public:
  static constexpr CGSize kDefaultPortraitSize{390, 844};
  static constexpr double kDefaultScale = 3.0;

  static std::shared_ptr<UIScreen> mainScreen();
  /// The stand-in's own: replaces the main screen (nullptr restores a default one).
  static void setMainScreen(std::shared_ptr<UIScreen> screen);

  explicit UIScreen(CGSize portraitSize = kDefaultPortraitSize, double scale = kDefaultScale);

  /// In points, in the interface orientation: a landscape interface swaps width and height.
  CGRect bounds() const override;
  /// In pixels, portrait-up.
  CGRect nativeBounds() const;
  double scale() const { return scale_; }
  int maximumFramesPerSecond() const { return CADisplayLink::kDisplayRefreshRate; }
  CGSize portraitSize() const { return portraitSize_; }

  UIInterfaceOrientation interfaceOrientation() const { return orientation_; }
  /// The stand-in's own: the interface turns with the device.
  void setInterfaceOrientation(UIInterfaceOrientation orientation) { orientation_ = orientation; }

  /// nullptr before OS 8.0.
  std::shared_ptr<UICoordinateSpace> coordinateSpace() const;
  std::shared_ptr<UICoordinateSpace> fixedCoordinateSpace() const;
  /// "nativeBounds", "coordinateSpace" and "fixedCoordinateSpace" exist from OS 8.0 on.
  bool respondsToSelector(std::string_view selector) const override;

  CGPoint convertPointFromInterfaceToFixed(CGPoint point) const;
  CGPoint convertPointFromFixedToInterface(CGPoint point) const;
  CGPoint convertPointToFixedScreenSpace(CGPoint point) const override { return convertPointFromInterfaceToFixed(point); }
  CGPoint convertPointFromFixedScreenSpace(CGPoint point) const override { return convertPointFromFixedToInterface(point); }

  /// A display link of this screen calling the target's selector on every tick.
  template <class T>
  std::shared_ptr<CADisplayLink> displayLinkWithTarget(std::shared_ptr<T> target, void (T::*selector)()) const {
    return CADisplayLink::displayLinkWithTarget(std::move(target), selector);
  }

 private:
  CGSize portraitSize_;
  double scale_;
  UIInterfaceOrientation orientation_ = UIInterfaceOrientationPortrait;
  std::shared_ptr<UICoordinateSpace> fixedSpace_;
};

}  // namespace zerva
