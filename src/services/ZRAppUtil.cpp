#include "services/ZRAppUtil.h"

#include <algorithm>

#include "platform/UIApplication.h"
#include "platform/UIScreen.h"
#include "platform/UIWindow.h"

namespace zerva {

namespace {
constexpr double kSmallestTabletSide = 744;
constexpr double kWidestPhone = 430;
}  // namespace

bool ZRAppUtil::iPadInPhoneMode() {
  const CGSize screen = UIScreen::mainScreen()->portraitSize();
  if (std::min(screen.width, screen.height) < kSmallestTabletSide) return false;
  const auto& windows = UIApplication::sharedApplication()->windows();
  if (windows.empty()) return false;
  const CGSize window = windows.front()->bounds().size;
  return std::min(window.width, window.height) <= kWidestPhone;
}

}  // namespace zerva
