#pragma once
// Facts about the running app.

namespace zerva {

class ZRAppUtil {
 public:
  /// A phone app running on a tablet: the screen's short side is a tablet's (744 points or
  /// more) while the app's first window is no wider than a phone (430 points).
  static bool iPadInPhoneMode();
};

}  // namespace zerva
