// Which touches are dropped: on gesture-blocking views and their subviews, inside their
// rectangles, and anywhere on a screen whose gestures are hidden.

#include "occlusion/OcclusionTestSupport.h"

namespace zerva::testing {
namespace {

using GestureBlocking = OcclusionTest;

TEST_F(GestureBlocking, TouchesOnOrInsideABlockingViewAreDropped) {
  auto card = addView(CGRectMake(20, 300, 100, 40));
  auto badge = addView(CGRectMake(200, 200, 10, 10), card);  // a subview drawn outside its parent
  auto overlay = addView(CGRectMake(0, 0, 390, 844));
  handler_->addSensitiveView(card, true);

  EXPECT_TRUE(handler_->gestureBlockedBySensitiveView(CGPointMake(0, 0), badge)) << "the view's own subview";
  EXPECT_TRUE(handler_->gestureBlockedBySensitiveView(CGPointMake(25, 305), overlay)) << "inside the rectangle";
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(CGPointMake(120, 305), overlay)) << "the right edge is out";
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(CGPointMake(25, 340), nullptr)) << "the bottom edge is out";

  // Registered without blocking, or not showing: nothing is blocked.
  handler_->removeSensitiveView(card);
  handler_->addSensitiveView(card, false);
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(CGPointMake(25, 305), card));
  handler_->addSensitiveView(card, true);
  card->setAlpha(0);
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(CGPointMake(25, 305), badge));
  card->setAlpha(1);
  card->removeFromSuperview();
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(CGPointMake(25, 305), badge));
}

TEST_F(GestureBlocking, TheTouchIsComparedInTheScreensFixedSpace) {
  UIApplication::sharedApplication()->setStatusBarOrientation(UIInterfaceOrientationLandscapeRight);
  window_->setFrame(UIScreen::mainScreen()->bounds());
  root_->view()->setFrame(window_->bounds());
  auto card = addView(CGRectMake(100, 50, 100, 40));
  handler_->addSensitiveView(card, true);

  const CGPoint inInterface = CGPointMake(150, 70);
  const CGPoint inFixed = UIScreen::mainScreen()->convertPointFromInterfaceToFixed(inInterface);
  ASSERT_FALSE(CGRectContainsPoint(CGRectMake(100, 50, 100, 40), inFixed));
  EXPECT_TRUE(handler_->gestureBlockedBySensitiveView(inFixed, nullptr));
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(inInterface, nullptr));
}

TEST_F(GestureBlocking, AHiddenScreenBlocksTouchesOnlyWhenItsGesturesAreHidden) {
  handler_->occludeScreen(true, false);
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(CGPointMake(10, 10), nullptr));
  auto card = addView(CGRectMake(20, 300, 100, 40));
  handler_->addSensitiveView(card, true);
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(CGPointMake(25, 305), nullptr)) << "no view rectangles";
  EXPECT_TRUE(handler_->gestureBlockedBySensitiveView(CGPointMake(25, 305), card)) << "a direct hit still counts";

  handler_->occludeScreen(true, true);
  EXPECT_TRUE(handler_->gestureBlockedBySensitiveView(CGPointMake(0, 0), nullptr));
  EXPECT_TRUE(handler_->gestureBlockedBySensitiveView(CGPointMake(389.5, 843.5), nullptr));
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(CGPointMake(390, 10), nullptr));
  EXPECT_FALSE(handler_->gestureBlockedBySensitiveView(CGPointMake(10, 844), nullptr));
}

TEST_F(GestureBlocking, OnlyTheRegisteredViewItselfIsOccluded) {
  auto field = addView(CGRectMake(20, 300, 100, 40));
  auto inner = addView(CGRectMake(0, 0, 10, 10), field);
  EXPECT_FALSE(handler_->isViewOccluded(field));
  handler_->addSensitiveView(field, false);
  EXPECT_TRUE(handler_->isViewOccluded(field));
  EXPECT_FALSE(handler_->isViewOccluded(inner));
  field->setHidden(true);
  EXPECT_FALSE(handler_->isViewOccluded(field));
}

}  // namespace
}  // namespace zerva::testing
