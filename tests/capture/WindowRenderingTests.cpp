// Window rendering: which windows are drawn, the rectangles fixed per frame, and which of the
// three routes a screen takes.

#include <gtest/gtest.h>

#include <memory>

#include "capture/CaptureTestSupport.h"
#include "platform/CALayer.h"
#include "platform/WKWebView.h"
#include "support/HandlerTestSupport.h"

namespace zerva::testing {
namespace {

class WindowRenderingTest : public HandlerTest {
 protected:
  static constexpr CGRect kScreen = CGRectMake(0, 0, 390, 844);

  /// The layer route is the only one that makes the cached layer renderer.
  bool tookLayerRoute() const { return handler_->currentScreenRenderer() != nullptr; }
};

TEST_F(WindowRenderingTest, WindowLayersAreTheVisibleNonEmptyWindowsInApplicationOrder) {
  auto main = windowWithController(kScreen, UIColor::whiteColor());
  auto hidden = windowWithController(kScreen, UIColor::redColor(), /*makeKey=*/false);
  hidden->setHidden(true);
  auto alert = windowWithController(CGRectMake(20, 300, 350, 200), UIColor::blueColor(), /*makeKey=*/false);
  auto empty = windowWithController(CGRectMake(0, 0, 390, 0), UIColor::greenColor(), /*makeKey=*/false);

  const auto layers = handler_->availableWindowLayers();
  ASSERT_EQ(layers.size(), 2u);
  EXPECT_EQ(layers[0], main->layer());
  EXPECT_EQ(layers[1], alert->layer());  // the key window is not moved to the end
}

TEST_F(WindowRenderingTest, EveryFrameStartsWithAFreshEmptyRectangleListWhenNothingIsSensitive) {
  windowWithController(kScreen, UIColor::whiteColor());
  handler_->setOcclusionRects(ZRRectStringList{"{{0, 0}, {10, 10}}"});
  handler_->recordScreenVideo(kScreen, false);
  ASSERT_TRUE(handler_->occlusionRects().has_value());
  EXPECT_TRUE(handler_->occlusionRects()->empty());
}

TEST_F(WindowRenderingTest, WithoutATopControllerTheLayersAreDrawnWithoutAskingTheLayerTest) {
  auto window = std::make_shared<UIWindow>(kScreen);
  window->setBackgroundColor(UIColor::whiteColor());
  window->makeKeyAndVisible();
  // Would refuse the layer method, were it asked.
  InternalZRConfiguration::sharedConfiguration()->setEnableImprovedScreenCapture(true);

  handler_->recordScreenVideo(kScreen, false);
  EXPECT_TRUE(tookLayerRoute());
  EXPECT_EQ(handler_->totalSnapshots(), 1);
}

TEST_F(WindowRenderingTest, APlainScreenTakesTheLayerRouteAndARefusedOneLeavesTheImageToTheManualRoute) {
  windowWithController(kScreen, UIColor::whiteColor());
  handler_->recordScreenVideo(kScreen, false);
  EXPECT_TRUE(tookLayerRoute());

  handler_->setCurrentScreenRenderer(nullptr);
  InternalZRConfiguration::sharedConfiguration()->setEnableImprovedScreenCapture(true);
  handler_->recordScreenVideo(kScreen, false);
  EXPECT_FALSE(tookLayerRoute());
}

TEST_F(WindowRenderingTest, AWebViewIsSnapshottedAsAViewUnlessItIsZooming) {
  auto window = windowWithController(kScreen, UIColor::whiteColor());
  auto webView = std::make_shared<WKWebView>(CGRectMake(0, 100, 390, 600));
  window->rootViewController()->view()->addSubview(webView);

  webView->scrollView()->setZoomBouncing(true);
  handler_->recordScreenVideo(kScreen, false);
  EXPECT_EQ(handler_->totalSnapshots(), 0);
  EXPECT_FALSE(tookLayerRoute());

  webView->scrollView()->setZoomBouncing(false);
  handler_->recordScreenVideo(kScreen, false);
  EXPECT_EQ(handler_->totalSnapshots(), 1);
  EXPECT_FALSE(tookLayerRoute());
}

}  // namespace
}  // namespace zerva::testing
