// Window rendering: which windows are drawn, the rectangles fixed per frame, and which of the
// three routes a screen takes.

#include <gtest/gtest.h>

#include <memory>

#include "capture/CaptureTestSupport.h"
#include "platform/CALayer.h"
#include "platform/NSRunLoop.h"
#include "platform/WKWebView.h"
#include "scene/ScenePageReader.h"
#include "services/ZRSessionSettings.h"
#include "support/HandlerTestSupport.h"
#include "support/VideoProbe.h"

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

TEST_F(WindowRenderingTest, EachFrameFixesItsRectanglesBeforeTheImageIsTaken) {
  // On the web route the pipeline takes the rectangles only when the page answers, so what this
  // frame stored can be seen in between.
  auto window = windowWithController(kScreen, UIColor::whiteColor());
  auto root = window->rootViewController()->view();
  root->addSubview(std::make_shared<WKWebView>(CGRectMake(0, 300, 390, 500)));

  handler_->setOcclusionRects(ZRRectStringList{"{{0, 0}, {10, 10}}"});
  handler_->recordScreenVideo(kScreen, false);
  ASSERT_TRUE(handler_->occlusionRects().has_value());
  EXPECT_TRUE(handler_->occlusionRects()->empty());  // a fresh list, not the old one

  auto card = colouredView(CGRectMake(50, 100, 100, 80), UIColor::redColor());
  root->addSubview(card);
  handler_->addSensitiveView(card, false);
  handler_->recordScreenVideo(kScreen, false);
  EXPECT_EQ(handler_->occlusionRects(), (ZRRectStringList{NSStringFromCGRect(CGRectMake(50, 100, 100, 80))}));
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

// --- Real frames, end to end ------------------------------------------------------------------

constexpr CGPixel kMagentaPixel{255, 0, 255, 255};

class RealFrameTest : public WindowRenderingTest {
 protected:
  void SetUp() override {
    WindowRenderingTest::SetUp();
    ZRViewVideoHandler::setSchematicCapture(false);
    ZervaHandler::shared()->sessionSettings()->setRecordingQuality(2);  // full size, 400 x 844
    ZervaHandler::shared()->sessionSettings()->setSensitiveViewColor(UIColor::colorWithRed(1, 0, 1, 1));
  }
};

TEST_F(RealFrameTest, LayerRouteFramesReachTheVideoWithTheSensitiveViewPainted) {
  auto window = windowWithController(kScreen, UIColor::whiteColor());
  auto root = window->rootViewController()->view();
  auto card = colouredView(CGRectMake(50, 100, 100, 100), UIColor::redColor());
  root->addSubview(card);
  root->addSubview(colouredView(CGRectMake(200, 400, 100, 100), UIColor::greenColor()));
  handler_->addSensitiveView(card, false);

  ASSERT_TRUE(startRecording());
  // Each frame is converted before the clock moves on, as on a device, where conversion takes
  // milliseconds; a first frame converted late would take a later time than the next one.
  for (int step = 0; step < 10; ++step) {
    runFor(0.1);
    settle();
  }
  EXPECT_TRUE(tookLayerRoute());
  const auto outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path.has_value());

  const auto decoded = decodeFrames(*outcome.path, 400, 844);
  ASSERT_GE(decoded.frames.size(), 2u);
  const std::size_t last = decoded.frames.size() - 1;
  // The 390-point window is stretched to the 400-point capture frame.
  EXPECT_LE(colourDistance(decoded.pixelAt(last, 103, 154), kMagentaPixel), 24);
  EXPECT_LE(colourDistance(decoded.pixelAt(last, 256, 450), kGreenPixel), 24);
  EXPECT_LE(colourDistance(decoded.pixelAt(last, 20, 20), kWhitePixel), 24);
  for (int x = 55; x < 150; x += 8) {
    for (int y = 105; y < 196; y += 8) {
      EXPECT_GT(colourDistance(decoded.pixelAt(last, x, y), kRedPixel), 100) << x << "," << y;
    }
  }
}

TEST_F(RealFrameTest, WebRouteMasksThePagesElementsOnThePictureTakenBeforeThePageWasAsked) {
  auto window = windowWithController(kScreen, UIColor::whiteColor());
  auto webView = std::make_shared<WKWebView>(CGRectMake(0, 100, 390, 600));
  webView->loadPage(*ScenePageReader::pageWithJSON(R"({"body": [
    {"tag": "input", "type": "password", "value": "hunter22", "frame": [20, 100, 350, 40]}]})"));
  window->rootViewController()->view()->addSubview(webView);
  handler_->setIsWebScriptInjected(false);  // send the whole script: the page has none of its own

  ASSERT_TRUE(startRecording());
  const auto snapshotsBefore = handler_->totalSnapshots();
  handler_->recordScreenVideo(CGRectMake(0, 0, 400, 844), false);
  EXPECT_EQ(handler_->totalSnapshots(), snapshotsBefore + 1);
  EXPECT_EQ(handler_->lastVideoFrameImage(), nullptr);  // waiting for the page

  // Changed after the picture was taken: must not be what the video shows.
  window->rootViewController()->view()->setBackgroundColor(UIColor::blueColor());
  // The page answers on the main run loop; the frame then goes on through the frame queue.
  ASSERT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return handler_->lastVideoFrameImage() != nullptr; }));

  const auto frame = handler_->lastVideoFrameImage();
  ASSERT_NE(frame, nullptr);
  ASSERT_EQ(frame->size(), (CGSize{400, 844}));
  keepFrameForViewing(*frame, "web_route");
  EXPECT_EQ(frame->pixelAt(10, 20), kWhitePixel);
  for (int x = 25; x < 375; x += 10) {
    EXPECT_TRUE(nearPixel(frame->pixelAt(x, 220), kMagentaPixel, 4)) << x;
  }
}

}  // namespace
}  // namespace zerva::testing
