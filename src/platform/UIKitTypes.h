#pragma once
// Small value types and constants of the UI toolkit.

namespace zerva {

struct UIEdgeInsets {
  double top = 0, left = 0, bottom = 0, right = 0;
  friend bool operator==(const UIEdgeInsets&, const UIEdgeInsets&) = default;
};

inline constexpr UIEdgeInsets UIEdgeInsetsZero{};

inline UIEdgeInsets UIEdgeInsetsMake(double top, double left, double bottom, double right) {
  return {top, left, bottom, right};
}

enum UIInterfaceOrientation : long {
  UIInterfaceOrientationUnknown = 0,
  UIInterfaceOrientationPortrait = 1,
  UIInterfaceOrientationPortraitUpsideDown = 2,
  UIInterfaceOrientationLandscapeRight = 3,
  UIInterfaceOrientationLandscapeLeft = 4,
};

enum UIApplicationState : long {
  UIApplicationStateActive = 0,
  UIApplicationStateInactive = 1,
  UIApplicationStateBackground = 2,
};

enum UIDisplayGamut : long {
  UIDisplayGamutUnspecified = -1,
  UIDisplayGamutSRGB = 0,
  UIDisplayGamutP3 = 1,
};

enum UIModalPresentationStyle : long {
  UIModalPresentationAutomatic = -2,
  UIModalPresentationNone = -1,
  UIModalPresentationFullScreen = 0,
  UIModalPresentationPageSheet = 1,
  UIModalPresentationFormSheet = 2,
  UIModalPresentationCurrentContext = 3,
  UIModalPresentationCustom = 4,
  UIModalPresentationOverFullScreen = 5,
  UIModalPresentationOverCurrentContext = 6,
  UIModalPresentationPopover = 7,
};

/// What a window's screen can show.
struct UITraitCollection {
  UIDisplayGamut displayGamut = UIDisplayGamutSRGB;
};

}  // namespace zerva
