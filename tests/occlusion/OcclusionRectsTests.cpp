// Rectangles of sensitive views in key-window points, sheets that cover them, and the per-frame
// hand-over.

#include "occlusion/OcclusionTestSupport.h"
#include "platform/UIScrollView.h"
#include "services/ZRControllerUtility.h"

namespace zerva::testing {
namespace {

class OcclusionRects : public OcclusionTest {
 protected:
  /// The rect strings of every registered view, as the frame path computes them.
  std::optional<ZRRectStringList> frameRects(CGSize windowSize) {
    auto top = ZRControllerUtility::topViewControllerWithRootViewController(root_);
    return handler_->captureOcclusionRectsForViews(handler_->listOfOccludedDictionaries(false), top, windowSize);
  }
  std::optional<ZRRectStringList> frameRects() { return frameRects(window_->frame().size); }

  /// A form sheet over the lower half of the screen, opaque unless a test changes it.
  std::shared_ptr<UIViewController> presentSheet() {
    auto sheet = std::make_shared<UIViewController>();
    sheet->setModalPresentationStyle(UIModalPresentationFormSheet);
    root_->presentViewController(sheet);
    sheet->view()->setFrame(CGRectMake(0, 400, 390, 444));
    sheet->view()->setBackgroundColor(UIColor::whiteColor());
    return sheet;
  }
};

TEST_F(OcclusionRects, ViewsAreMeasuredInTheWindowAndScaledToTheRequestedSize) {
  auto container = addView(CGRectMake(10, 200, 300, 300));
  handler_->addSensitiveView(addView(CGRectMake(10, 100, 100, 40), container), false);
  EXPECT_EQ(frameRects(), ZRRectStringList{rectString(20, 300, 100, 40)});
  EXPECT_EQ(frameRects(CGSizeMake(780, 1688)), ZRRectStringList{rectString(40, 600, 200, 80)});

  // A window without area leaves the rectangle as it is.
  window_->setBounds(CGRectMake(0, 0, 0, 844));
  EXPECT_EQ(frameRects(CGSizeMake(780, 1688)), ZRRectStringList{rectString(20, 300, 100, 40)});
}

TEST_F(OcclusionRects, AViewInAScrollingScrollViewIsHiddenWhereItIsShownNow) {
  auto scroll = addView<UIScrollView>(CGRectMake(0, 100, 390, 400));
  scroll->setContentSize(CGSizeMake(390, 2000));
  handler_->addSensitiveView(addView(CGRectMake(20, 300, 100, 40), scroll), false);

  scroll->setContentOffset(CGPointMake(0, 200), 1.0);
  clock_.advance(0.4);
  auto inFlight = scroll->layer()->presentationLayer();
  ASSERT_NE(inFlight, nullptr);
  const double offset = inFlight->bounds().origin.y;
  ASSERT_GT(offset, 0);
  ASSERT_LT(offset, 200);
  EXPECT_EQ(frameRects(), ZRRectStringList{rectString(20, 400 - offset, 100, 40)});

  clock_.advance(1.0);
  EXPECT_EQ(frameRects(), ZRRectStringList{rectString(20, 200, 100, 40)}) << "at rest: the model position";
}

TEST_F(OcclusionRects, AnOpaqueSheetHidesOnlyViewsItCoversCompletely) {
  auto behind = addView(CGRectMake(20, 500, 100, 40));
  auto halfBehind = addView(CGRectMake(20, 380, 100, 40));
  handler_->addSensitiveView(behind, false);
  handler_->addSensitiveView(halfBehind, false);
  auto sheet = presentSheet();
  handler_->addSensitiveView(addView(CGRectMake(20, 100, 100, 40), sheet->view()), false);

  EXPECT_EQ(frameRects(), (ZRRectStringList{rectString(20, 380, 100, 40), rectString(20, 500, 100, 40)}));

  // A sheet that lets what is behind it show never removes a rectangle.
  const ZRRectStringList all{rectString(20, 500, 100, 40), rectString(20, 380, 100, 40), rectString(20, 500, 100, 40)};
  sheet->view()->setAlpha(0.9);
  EXPECT_EQ(frameRects(), all) << "translucent";
  sheet->view()->setAlpha(1.0);
  sheet->view()->setBackgroundColor(std::nullopt);
  EXPECT_EQ(frameRects(), all) << "no background";
  sheet->view()->setBackgroundColor(UIColor::whiteColor());
  for (auto style : {UIModalPresentationPopover, UIModalPresentationCustom}) {
    sheet->setModalPresentationStyle(style);
    EXPECT_EQ(frameRects(), all) << "style " << style;
  }
}

TEST_F(OcclusionRects, AHiddenScreenGivesOneFullRectangleOnlyWhenItsGesturesAreHidden) {
  handler_->addSensitiveView(addView(CGRectMake(20, 500, 100, 40)), false);
  handler_->occludeScreen(true, false);
  EXPECT_EQ(frameRects(), std::nullopt);
  handler_->occludeScreen(true, true);
  EXPECT_EQ(frameRects(CGSizeMake(300, 600)), ZRRectStringList{rectString(0, 0, 300, 600)});
  EXPECT_EQ(handler_->captureOcclusionRectsForViews({}, nullptr, CGSizeMake(300, 600)),
            ZRRectStringList{rectString(0, 0, 300, 600)});
  handler_->occludeScreen(false, false);
  EXPECT_EQ(handler_->captureOcclusionRectsForViews({}, nullptr, CGSizeMake(300, 600)), std::nullopt);
}

TEST_F(OcclusionRects, TheListsAreHandedOverOnceInWebViewManualOrder) {
  handler_->setOcclusionRects(ZRRectStringList{"view"});
  handler_->setWebViewRects(ZRRectStringList{"web"});
  handler_->addRectsForManualOcclusion({{1, 2, 3, 4}}, "group");
  EXPECT_EQ(handler_->copyAndResetOcclusionRects(), (ZRRectStringList{"web", "view", rectString(1, 2, 3, 4)}));
  EXPECT_TRUE(handler_->copyAndResetOcclusionRects().empty());
  EXPECT_EQ(handler_->manualOcclusionRectsWithIdentity(), std::nullopt);
  EXPECT_EQ(handler_->occlusionRects(), std::nullopt);

  handler_->setOcclusionRects(ZRRectStringList{"v1", "v2"});
  handler_->setManualOcclusionRects(ZRRectStringList{"m"});
  EXPECT_EQ(handler_->updateAndResetOcclusionRects({"g1", "g2"}), (ZRRectStringList{"g1", "g2", "v1", "v2", "m"}));
  EXPECT_TRUE(handler_->viewOcclusionRects().empty());
}

}  // namespace
}  // namespace zerva::testing
