// Visible screens, the hide flags, and the rules handed to the occlusion manager.

#include "services/ZROcclusionManager.h"
#include "support/HandlerTestSupport.h"
#include "support/RecorderTestSupport.h"

namespace zerva::testing {
namespace {

using ScreenHiding = HandlerTest;
using Screens = std::vector<std::string>;

TEST_F(ScreenHiding, ControllersContributeOneNameEachAndRemovalTakesOneOccurrence) {
  handler_->addVisibleScreen("A", "c1");
  handler_->addVisibleScreen("B", "c1");
  EXPECT_EQ(handler_->visibleScreenNames(), Screens{"B"});
  handler_->addVisibleScreen(std::nullopt, "c1");
  EXPECT_EQ(handler_->visibleScreenNames(), Screens{});

  handler_->addVisibleScreen("A", "c1");
  handler_->addVisibleScreens({"Home"});
  handler_->addVisibleScreen("A", "c2");
  const Screens before = handler_->visibleScreenNames();
  EXPECT_EQ(before, (Screens{"A", "Home", "A"}));
  handler_->removeVisibleScreenForControllerId("c2");
  EXPECT_EQ(handler_->visibleScreenNames(), (Screens{"Home", "A"}));
  EXPECT_EQ(before.size(), 3u) << "an answer is a snapshot";
  handler_->addVisibleScreens({"A"});
  handler_->removeVisibleScreenForName("A");
  handler_->removeVisibleScreenForName("Nowhere");
  EXPECT_EQ(handler_->visibleScreenNames(), (Screens{"Home", "A"}));
  handler_->removeAllVisibleScreens();
  EXPECT_TRUE(handler_->visibleScreenNames().empty());
}

TEST_F(ScreenHiding, TheCurrentScreenIsTheManualTagWhereThereIsOne) {
  auto detail = ZRHeatTimeHandler::sharedHandler()->vcDetail();
  handler_->addVisibleScreens({"Home", "Detail"});
  EXPECT_EQ(handler_->currentVisibleScreens(), (Screens{"Home", "Detail"}));
  detail->tagScreenManually("Checkout");
  EXPECT_EQ(handler_->currentVisibleScreens(), (Screens{"Home", "Checkout"}));
  detail->tagScreenManually("Detail");
  EXPECT_EQ(handler_->currentVisibleScreens(), (Screens{"Home", "Detail"}));
  handler_->removeAllVisibleScreens();
  detail->tagScreenManually("Cart");
  EXPECT_EQ(handler_->currentVisibleScreens(), Screens{"Cart"});

  // Without automatic tagging only the manual tags count: the previous one, then the current.
  InternalZRConfiguration::sharedConfiguration()->setEnableAutomaticScreenNameTagging(false);
  handler_->addVisibleScreens({"Ignored"});
  EXPECT_EQ(handler_->currentVisibleScreens(), (Screens{"Detail", "Cart"}));
}

TEST_F(ScreenHiding, GesturesAreHiddenOnlyWithTheScreenAndEachFlagFamilyCounts) {
  handler_->occludeScreen(false, true);
  EXPECT_FALSE(handler_->screenIsHidden() || handler_->screenGestureRecordingIsHidden());
  handler_->occludeScreen(true, true);
  EXPECT_TRUE(handler_->screenGestureRecordingIsHidden());
  EXPECT_TRUE(ZRHeatTimeHandler::sharedHandler()->hideOcclusionGestures());
  handler_->occludeScreen(false, false);

  handler_->occludeScreenAPI(true, false);
  EXPECT_FALSE(handler_->screenGestureRecordingIsHidden()) << "screen hiding does not hide gestures";
  handler_->occludeScreenAPI(false, false);
  handler_->hideScreenGestures(true);
  EXPECT_FALSE(handler_->screenIsHidden()) << "gesture hiding does not hide the screen";
  EXPECT_TRUE(handler_->screenGestureRecordingIsHidden());
  handler_->setWasPreviousScreenHidden(true);
  EXPECT_TRUE(handler_->screenIsHidden());
}

ZROcclusionSetting coverRule(const std::string& screen) {
  ZROcclusionSetting rule(ZROcclusionTypeCoverScreen);
  rule.setScreens({screen});
  return rule;
}

TEST_F(ScreenHiding, ManualRulesGoToTheManualSourceAndDashboardRulesToTheirOwn) {
  auto manager = handler_->occlusionManager();
  handler_->addVisibleScreens({"Checkout"});
  EXPECT_FALSE(handler_->isCurrentScreenOccluded());

  handler_->applyOcclusion(coverRule("Checkout"), {"Checkout"});
  EXPECT_TRUE(manager->getOcclusionFromSource(ZROcclusionSourceManual).has_value());
  EXPECT_TRUE(handler_->isCurrentScreenOccluded());

  handler_->setOcclusionFromDashboardVerifyResult(
      R"({"occlusionRules": [{"type": "coverScreen", "screens": ["Statement"]}]})", false);
  handler_->setOcclusionFromDashboardVerifyResult(
      R"({"occlusionRules": [{"type": "blurScreen", "screens": ["Checkout"]}]})", true);
  ASSERT_TRUE(manager->getOcclusionFromSource(ZROcclusionSourceDashboard).has_value());
  EXPECT_EQ(manager->getOcclusionFromSource(ZROcclusionSourceDashboard)->size(), 2u) << "appended";

  handler_->removeOcclusion();
  EXPECT_FALSE(manager->getOcclusionFromSource(ZROcclusionSourceManual).has_value());
  EXPECT_TRUE(handler_->isCurrentScreenOccluded()) << "the dashboard rule still hides it";

  handler_->setOcclusionFromDashboardVerifyResult(R"({"occlusionRules": []})", false);
  EXPECT_FALSE(handler_->isCurrentScreenOccluded()) << "replaced by an empty list";
}

TEST_F(ScreenHiding, AFrameOfAScreenWithoutARuleClearsTheGestureHiding) {
  auto image = solidImage(CGSizeMake(8, 8), UIColor::whiteColor());
  handler_->applyOcclusion(coverRule("Checkout"), {"Checkout"});
  handler_->hideScreenGestures(true);
  const auto& queue = ZRViewVideoHandler::GetMakeVideoFrameQueue();

  dispatch_sync(queue, [&] { handler_->occludeUsingNewAPI(image, {"Checkout"}); });
  EXPECT_TRUE(handler_->hideFullScreenGestures_APICall());
  dispatch_sync(queue, [&] { EXPECT_EQ(handler_->occludeUsingNewAPI(image, {"Home"}), image); });
  EXPECT_FALSE(handler_->hideFullScreenGestures_APICall());
  EXPECT_FALSE(ZRHeatTimeHandler::sharedHandler()->hideOcclusionGestures());
}

}  // namespace
}  // namespace zerva::testing
