#include <gtest/gtest.h>

#include "platform/NSProcessInfo.h"
#include "platform/UIApplication.h"
#include "platform/UIScreen.h"
#include "platform/UIWindow.h"

namespace zerva {
namespace {

class ScreenTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UIApplication::resetSharedApplication();
    UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSizeMake(390, 844), 3.0));
    NSProcessInfo::processInfo().setOperatingSystemVersion({17, 0, 0});
  }
  void TearDown() override { NSProcessInfo::processInfo().setOperatingSystemVersion({17, 0, 0}); }

  static CGPoint toFixed(CGPoint p) {
    auto screen = UIScreen::mainScreen();
    return screen->coordinateSpace()->convertPoint(p, *screen->fixedCoordinateSpace());
  }
};

TEST_F(ScreenTest, InterfaceCornersLandOnTheRightDeviceCornerInEveryOrientation) {
  struct Case {
    UIInterfaceOrientation orientation;
    CGSize interfaceSize;
    CGPoint topLeftInFixed;      // where the interface's (0, 0) is on the portrait-up screen
    CGPoint oneRightInFixed;     // where (1, 0) goes: the interface's x direction
  };
  const Case cases[] = {
      {UIInterfaceOrientationPortrait, {390, 844}, {0, 0}, {1, 0}},
      {UIInterfaceOrientationPortraitUpsideDown, {390, 844}, {390, 844}, {389, 844}},
      // Device turned with its top to the left: the interface runs down the device.
      {UIInterfaceOrientationLandscapeRight, {844, 390}, {390, 0}, {390, 1}},
      {UIInterfaceOrientationLandscapeLeft, {844, 390}, {0, 844}, {0, 843}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.orientation);
    UIApplication::sharedApplication()->setStatusBarOrientation(c.orientation);
    auto screen = UIScreen::mainScreen();
    EXPECT_EQ(screen->bounds().size, c.interfaceSize);
    EXPECT_EQ(screen->fixedCoordinateSpace()->bounds().size, CGSizeMake(390, 844));
    EXPECT_EQ(screen->nativeBounds(), CGRectMake(0, 0, 1170, 2532));
    EXPECT_EQ(toFixed({0, 0}), c.topLeftInFixed);
    EXPECT_EQ(toFixed({1, 0}), c.oneRightInFixed);
    // The whole interface covers the whole device, and the way back is exact.
    const CGRect all = screen->coordinateSpace()->convertRect(screen->bounds(), *screen->fixedCoordinateSpace());
    EXPECT_EQ(all, CGRectMake(0, 0, 390, 844));
    const CGRect r = CGRectMake(10, 20, 30, 40);
    const CGRect there = screen->coordinateSpace()->convertRect(r, *screen->fixedCoordinateSpace());
    EXPECT_EQ(screen->fixedCoordinateSpace()->convertRect(there, *screen->coordinateSpace()), r);
  }
}

TEST_F(ScreenTest, ViewsConvertThroughTheirWindowIntoTheScreenSpaces) {
  UIApplication::sharedApplication()->setStatusBarOrientation(UIInterfaceOrientationLandscapeRight);
  auto window = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
  auto view = std::make_shared<UIView>(CGRectMake(100, 50, 200, 40));
  window->addSubview(view);
  auto screen = UIScreen::mainScreen();
  EXPECT_EQ(view->convertRect(view->bounds(), *screen->coordinateSpace()), CGRectMake(100, 50, 200, 40));
  // Landscape right: interface x runs down the device, interface y runs to the device's left.
  EXPECT_EQ(view->convertRect(view->bounds(), *screen->fixedCoordinateSpace()), CGRectMake(300, 100, 40, 200));
}

TEST_F(ScreenTest, CoordinateSpacesAndNativeBoundsExistFromOS8) {
  auto screen = UIScreen::mainScreen();
  EXPECT_TRUE(screen->respondsToSelector("nativeBounds"));
  NSProcessInfo::processInfo().setOperatingSystemVersion({7, 1, 0});
  EXPECT_FALSE(screen->respondsToSelector("fixedCoordinateSpace"));
  EXPECT_EQ(screen->fixedCoordinateSpace(), nullptr);
  EXPECT_EQ(screen->coordinateSpace(), nullptr);
  EXPECT_FALSE(ZRSystemVersionAtLeast(13, 0));
  NSProcessInfo::processInfo().setOperatingSystemVersion({15, 0, 0});
  EXPECT_TRUE(ZRSystemVersionAtLeast(15, 0));
  EXPECT_FALSE(ZRSystemVersionAtLeast(15, 1));
}

}  // namespace
}  // namespace zerva
