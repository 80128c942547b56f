// Snapshots: what the view and layer snapshots draw, how they are counted and stamped, the cached
// layer renderer, and which screens the layer method is allowed on.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "capture/CaptureTestSupport.h"
#include "platform/AVCaptureVideoPreviewLayer.h"
#include "platform/AVPlayerLayer.h"
#include "platform/CABasicAnimation.h"
#include "platform/CALayer.h"
#include "platform/CAMetalLayer.h"
#include "platform/ObjCClass.h"
#include "platform/UIApplication.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "services/ZRKeyboardUtility.h"
#include "support/HandlerTestSupport.h"

namespace zerva::testing {
namespace {

class SnapshotTest : public HandlerTest {};

TEST_F(SnapshotTest, ViewSnapshotDrawsTheKeyWindowAtItsSizeAndIsStampedAndCounted) {
  auto window = windowWithController(CGRectMake(0, 0, 390, 844), UIColor::whiteColor());
  window->rootViewController()->view()->addSubview(colouredView(CGRectMake(10, 20, 50, 50), UIColor::redColor()));

  handler_->setStartedAt(CACurrentMediaTime() - 1.0);  // even a second in, the first frame is at 0
  auto image = handler_->generateSnapShotForView(window, window->frame(), CGRectZero);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->size(), (CGSize{390, 844}));
  EXPECT_EQ(image->pixelAt(30, 40), kRedPixel);
  EXPECT_EQ(image->pixelAt(9, 19), kWhitePixel);
  EXPECT_EQ(image->pixelAt(60, 70), kWhitePixel);
  EXPECT_EQ(handler_->totalSnapshots(), 1);
  EXPECT_EQ(handler_->onCaptureVideoFrameTime(), 0.0);

  clock_.advance(1.5);  // 2.5 s after the start
  ASSERT_NE(handler_->generateSnapShotForLayers(handler_->availableWindowLayers(), {390, 844}, CGRectZero), nullptr);
  EXPECT_EQ(handler_->totalSnapshots(), 2);
  EXPECT_DOUBLE_EQ(handler_->onCaptureVideoFrameTime(), 2.5);
}

TEST_F(SnapshotTest, WithoutARendererTheViewSnapshotIsNotCountedButTheLayerSnapshotIs) {
  windowWithController(CGRectMake(0, 0, 390, 844), UIColor::whiteColor());
  handler_->setImageRenderer(std::make_shared<NilImageRenderer>());
  handler_->setOnCaptureVideoFrameTime(7.0);

  auto window = UIApplication::sharedApplication()->keyWindow();
  EXPECT_EQ(handler_->generateSnapShotForView(window, window->frame(), CGRectZero), nullptr);
  EXPECT_EQ(handler_->totalSnapshots(), 0);
  EXPECT_EQ(handler_->onCaptureVideoFrameTime(), 7.0);

  EXPECT_EQ(handler_->generateSnapShotForLayers(handler_->availableWindowLayers(), {390, 844}, CGRectZero), nullptr);
  EXPECT_EQ(handler_->totalSnapshots(), 1);
  EXPECT_EQ(handler_->onCaptureVideoFrameTime(), 0.0);
}

TEST_F(SnapshotTest, LayerSnapshotPaintsWindowsInOrderFromTheOriginWithoutOffsets) {
  windowWithController(CGRectMake(0, 0, 390, 844), UIColor::redColor());
  // An alert-like window lower on the screen: drawn from the image's origin all the same.
  windowWithController(CGRectMake(0, 400, 390, 100), UIColor::blueColor(), /*makeKey=*/false);

  auto image = handler_->generateSnapShotForLayers(handler_->availableWindowLayers(), {390, 844}, CGRectZero);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->pixelAt(200, 50), kBluePixel);
  EXPECT_EQ(image->pixelAt(200, 100), kRedPixel);
  EXPECT_EQ(image->pixelAt(200, 450), kRedPixel);

  // Reversed, the full-size window covers the small one.
  auto layers = handler_->availableWindowLayers();
  std::reverse(layers.begin(), layers.end());
  image = handler_->generateSnapShotForLayers(layers, {390, 844}, CGRectZero);
  EXPECT_EQ(image->pixelAt(200, 50), kRedPixel);

  // No layers: nothing but the renderer's opaque black start.
  image = handler_->generateSnapShotForLayers({}, {390, 844}, CGRectZero);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->pixelAt(200, 50), kBlackPixel);
}

TEST_F(SnapshotTest, LayerRendererIsKeptWhileTheWindowSizeStaysAndRemadeWhenItTurns) {
  windowWithController(CGRectMake(0, 0, 390, 844), UIColor::redColor());
  const auto layers = handler_->availableWindowLayers();

  handler_->generateSnapShotForLayers(layers, {390, 844}, CGRectZero);
  const auto portrait = handler_->currentScreenRenderer();
  ASSERT_NE(portrait, nullptr);
  handler_->generateSnapShotForLayers(layers, {390, 844}, CGRectZero);
  EXPECT_EQ(handler_->currentScreenRenderer(), portrait);

  auto image = handler_->generateSnapShotForLayers(layers, {844, 390}, CGRectZero);
  const auto landscape = handler_->currentScreenRenderer();
  ASSERT_NE(landscape, nullptr);
  EXPECT_NE(landscape, portrait);
  EXPECT_EQ(landscape->size(), (CGSize{844, 390}));
  EXPECT_EQ(handler_->currentWindowSize(), (CGSize{844, 390}));
  EXPECT_EQ(image->size(), (CGSize{844, 390}));

  // Back to portrait: a new one again, never the landscape one.
  handler_->generateSnapShotForLayers(layers, {390, 844}, CGRectZero);
  EXPECT_EQ(handler_->currentScreenRenderer()->size(), (CGSize{390, 844}));
  EXPECT_EQ(handler_->totalSnapshots(), 4);
}

TEST_F(SnapshotTest, BothSnapshotsPaintTheKeyboardBoxOverTheScreen) {
  auto window = windowWithController(CGRectMake(0, 0, 390, 844), UIColor::redColor());
  UIApplication::sharedApplication()->keyboard().show(CGRectMake(0, 544, 390, 300), 0);
  const CGRect keyboardFrame = handler_->keyboardUtility()->keyboardFrameInWindow(window);
  ASSERT_EQ(keyboardFrame, CGRectMake(0, 544, 390, 300));

  const auto byView = handler_->generateSnapShotForView(window, window->frame(), keyboardFrame);
  const auto byLayers = handler_->generateSnapShotForLayers(handler_->availableWindowLayers(), {390, 844}, keyboardFrame);
  for (const auto& image : {byView, byLayers}) {
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->pixelAt(20, 530), kRedPixel);
    EXPECT_EQ(image->pixelAt(20, 560), kWhitePixel);
  }
}

// --- The layer-method test ----------------------------------------------------------------------

struct LayerMethodCase {
  std::string name;
  bool allowed;
  std::function<void(UIViewController&, UIView&)> change;
  Class layerClass = nullptr;
};

void PrintTo(const LayerMethodCase& screen, std::ostream* os) { *os << screen.name; }

class LayerMethodTest : public HandlerTest, public ::testing::WithParamInterface<LayerMethodCase> {};

TEST_P(LayerMethodTest, AllowedOnlyOnAPlainStaticScaleOneScreen) {
  const auto& param = GetParam();
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 0, 390, 844));
  auto controller = std::make_shared<UIViewController>();
  auto view = std::make_shared<UIView>(CGRectMake(0, 0, 390, 844), param.layerClass);
  view->setBackgroundColor(UIColor::whiteColor());
  controller->setView(view);
  window->setRootViewController(controller);
  window->makeKeyAndVisible();
  view->layer()->layoutIfNeeded();
  if (param.change) param.change(*controller, *view);

  EXPECT_EQ(handler_->canUseOldLayerMethodToTakeSnapshotInController(controller, window), param.allowed);
}

Class playerLayerSubclass() { return ObjCClass::registerClass("ZRTestPlayerLayer", AVPlayerLayer::class_()); }

void runAnimation(UIView& view) {
  auto animation = CABasicAnimation::animationWithKeyPath("opacity");
  animation.setFromValue(0.0);
  animation.setToValue(1.0);
  animation.setDuration(1.0);
  view.layer()->addAnimation(animation, "fade");
}

INSTANTIATE_TEST_SUITE_P(
    Screens, LayerMethodTest,
    ::testing::Values(
        LayerMethodCase{"PlainScreen", true, nullptr},
        LayerMethodCase{"ImprovedCaptureConfigured", false,
                        [](UIViewController&, UIView&) {
                          InternalZRConfiguration::sharedConfiguration()->setEnableImprovedScreenCapture(true);
                        }},
        LayerMethodCase{"RetinaLayer", false, [](UIViewController&, UIView& v) { v.layer()->setContentsScale(2.0); }},
        LayerMethodCase{"PendingLayout", false, [](UIViewController&, UIView& v) { v.layer()->setNeedsLayout(); }},
        LayerMethodCase{"RunningAnimation", false, [](UIViewController&, UIView& v) { runAnimation(v); }},
        LayerMethodCase{"PlayerLayerSubclass", false, nullptr, playerLayerSubclass()},
        LayerMethodCase{"CameraPreview", false, nullptr, AVCaptureVideoPreviewLayer::class_()},
        LayerMethodCase{"NoBackground", false, [](UIViewController&, UIView& v) { v.setBackgroundColor(std::nullopt); }},
        LayerMethodCase{"PreferredContentSize", false,
                        [](UIViewController& c, UIView&) { c.setPreferredContentSize({0, 300}); }},
        LayerMethodCase{"CustomPresentation", false,
                        [](UIViewController& c, UIView&) { c.setModalPresentationStyle(UIModalPresentationCustom); }},
        LayerMethodCase{"OverFullScreenPresentation", true,
                        [](UIViewController& c, UIView&) {
                          c.setModalPresentationStyle(UIModalPresentationOverFullScreen);
                        }},
        LayerMethodCase{"MetalOnThirteen", false,
                        [](UIViewController&, UIView&) {
                          NSProcessInfo::processInfo().setOperatingSystemVersion({13, 0, 0});
                        },
                        CAMetalLayer::class_()},
        LayerMethodCase{"MetalOnTwelve", true,
                        [](UIViewController&, UIView&) {
                          NSProcessInfo::processInfo().setOperatingSystemVersion({12, 4, 0});
                        },
                        CAMetalLayer::class_()},
        // Only the controller's own layer is looked at.
        LayerMethodCase{"PlayerInASubview", true,
                        [](UIViewController&, UIView& v) {
                          v.addSubview(std::make_shared<UIView>(CGRectMake(0, 0, 100, 100), AVPlayerLayer::class_()));
                        }}),
    [](const ::testing::TestParamInfo<LayerMethodCase>& info) { return info.param.name; });

}  // namespace
}  // namespace zerva::testing
