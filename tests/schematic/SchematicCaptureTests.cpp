// Schematic frame images: when one is made and counted, the keyboard box, and a real screen
// drawn from its description.

#include <gtest/gtest.h>

#include "platform/NSRunLoop.h"
#include "platform/UIApplication.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "schematic/SchematicTestSupport.h"
#include "services/HVHierarchyScanner.h"
#include "services/ZRImageRenderer.h"
#include "services/ZRKeyboardUtility.h"
#include "support/HandlerTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

constexpr CGPixel kWhite{255, 255, 255, 255}, kBlue{0, 0, 255, 255};

class NoRenderer : public ZRImageRenderer {
 public:
  std::shared_ptr<UIGraphicsImageRenderer> rendererForSize(CGSize) const override { return nullptr; }
};

class SchematicCaptureTest : public HandlerTest {
 protected:
  std::shared_ptr<UIImage> frameWithKeyboard(CGRect keyboardFrame) {
    return handler_->renderSchematicFrame({viewAt(CGRectMake(0, 0, 400, 800), UIColor::blueColor())}, keyboardFrame);
  }
  static void showKeyboard(CGRect frame) { UIApplication::sharedApplication()->keyboard().show(frame, 0); }
};

TEST_F(SchematicCaptureTest, FrameIsSizedByTheFirstRootAndCountedOnlyWhenDrawn) {
  EXPECT_EQ(handler_->renderSchematicFrame({}, CGRectZero), nullptr);
  auto first = viewAt(CGRectMake(0, 0, 120, 90), UIColor::redColor());
  auto second = viewAt(CGRectMake(60, 0, 200, 200), UIColor::greenColor());  // paints over the first
  handler_->setImageRenderer(std::make_shared<NoRenderer>());
  EXPECT_EQ(handler_->renderSchematicFrame({first, second}, CGRectZero), nullptr);
  EXPECT_EQ(handler_->totalSnapshots(), 0);

  handler_->setImageRenderer(std::make_shared<ZRImageRenderer>());
  NSMutableParagraphStyle right;
  right.setAlignment(NSTextAlignmentRight);
  fs_OutlineLabelParagraphStyle = right;
  handler_->setOnCaptureVideoFrameTime(7.0);
  auto image = handler_->renderSchematicFrame({first, second}, CGRectZero);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->size().width, 120);
  EXPECT_EQ(image->size().height, 90);
  EXPECT_EQ(image->pixelAt(10, 10), (CGPixel{255, 0, 0, 255}));
  EXPECT_EQ(image->pixelAt(100, 10), (CGPixel{0, 255, 0, 255}));
  EXPECT_EQ(handler_->totalSnapshots(), 1);
  EXPECT_EQ(handler_->onCaptureVideoFrameTime(), 0.0);  // the first frame of a recording
  EXPECT_EQ(fs_OutlineLabelParagraphStyle->alignment(), NSTextAlignmentCenter);
}

TEST_F(SchematicCaptureTest, KeyboardIsAWhiteBoxWithItsLabelOnTopScaledWithTheVideo) {
  const CGRect keyboard = CGRectMake(0, 500, 400, 300);
  EXPECT_EQ(frameWithKeyboard(keyboard)->pixelAt(200, 700), kBlue);  // hidden: no box

  showKeyboard(keyboard);
  auto image = frameWithKeyboard(keyboard);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixelAt(200, 700), kWhite);
  EXPECT_EQ(image->pixelAt(200, 498), kBlue);
  EXPECT_EQ(image->pixelAt(200, 499), (CGPixel{0, 0, 127, 255}));  // a black outline centred on the edge
  // "Keyboard" centred across the box, its baseline at 500 + 0.4 x 300.
  auto ink = inkBox(*image, CGRectMake(1, 502, 398, 296), isDark);
  ASSERT_TRUE(ink);
  EXPECT_NEAR(CGRectGetMidX(*ink), 200, 2);
  EXPECT_GT(ink->origin.y, 600);
  EXPECT_LT(ink->origin.y, 620);
  EXPECT_LE(CGRectGetMaxY(*ink), 626);

  // Video at (300, 600) of (600, 1200): drawn at (0, 250, 200, 150).
  fs_WindowFrameSizeAdjustedOnLastFrame = true;
  fs_CurrentVideoSize = CGSizeMake(300, 600);
  fs_DeviceNativeSize = CGSizeMake(600, 1200);
  auto scaled = frameWithKeyboard(keyboard);
  for (auto [x, y] : {std::pair{100, 260}, {190, 390}}) EXPECT_EQ(scaled->pixelAt(x, y), kWhite) << x << "," << y;
  for (auto [x, y] : {std::pair{100, 245}, {210, 300}, {100, 405}}) EXPECT_EQ(scaled->pixelAt(x, y), kBlue) << x << "," << y;
  // Each side by its own ratio: height 600 of 800 puts it at (0, 375, 200, 225).
  fs_DeviceNativeSize = CGSizeMake(600, 800);
  auto taller = frameWithKeyboard(keyboard);
  EXPECT_EQ(taller->pixelAt(100, 370), kBlue);
  EXPECT_EQ(taller->pixelAt(190, 595), kWhite);
}

// The demo app's sign-in screen while the user types: the e-mail field is marked sensitive, the
// password field is secure, the keyboard is up. Written to /tmp for a person to look at.
TEST_F(SchematicCaptureTest, SignInScreenWhileTyping) {
  auto scene = SceneLoader::loadFile(std::string(ZERVA_SOURCE_DIR) + "/scenes/demo-app.json");
  ASSERT_TRUE(scene) << scene.error().localizedDescription();
  ScenePlayer player(*scene);
  player.start(NSRunLoop::mainRunLoop());
  NSRunLoop::mainRunLoop().runUntilDate(player.startTime() + 2.6);
  auto window = UIApplication::sharedApplication()->keyWindow();
  ASSERT_TRUE(window && player.viewNamed("email"));
  ZervaHandler::shared()->sessionSettings()->setSensitiveViewColor(UIColor::colorWithRed(0.9, 0.3, 0.3, 1));
  auto snapshot = HVHierarchyScanner(false).hierarchySnapshotFromWindow(nullptr, {player.viewNamed("email")});
  const CGRect keyboard = handler_->keyboardUtility()->keyboardFrameInWindow(window);
  auto image = handler_->renderSchematicFrame(snapshot, keyboard);
  player.stop();
  ASSERT_TRUE(image);
  (void)UIImageWritePNGToFile(*image, "/tmp/zerva_schematic_sign_in.png");

  EXPECT_EQ(image->size().width, 390);
  for (int y : {200, 264}) {  // both fields covered, showing their label, not the typed text
    EXPECT_LE(colourDistance(image->pixelAt(40, y + 8), CGPixel{230, 77, 77, 255}), 2) << y;
    auto ink = inkBox(*image, CGRectMake(24, y, 342, 48), isDark);
    ASSERT_TRUE(ink) << y;
    EXPECT_NEAR(CGRectGetMidX(*ink), 24 + 171, 3) << y;
  }
  EXPECT_GT(keyboard.size.height, 0);
  EXPECT_EQ(image->pixelAt(20, static_cast<int>(CGRectGetMaxY(keyboard)) - 20), kWhite);
}

}  // namespace
}  // namespace zerva::testing
