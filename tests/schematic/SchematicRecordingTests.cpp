// Schematic frames taken by the handler: when a frame is skipped, and a recording whose video,
// read back, shows the sensitive view as a box, the keyboard as a white box, and the rectangles
// text recognition adds.

#include <gtest/gtest.h>

#include "capture/CaptureTestSupport.h"
#include "platform/UILabel.h"
#include "platform/UIScreen.h"
#include "services/ZRSessionVideoSettings.h"
#include "support/HandlerTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

constexpr CGSize kScreen{160, 288};
const UIColor kSensitiveColour = UIColor::colorWithRed(0.0, 0.5, 0.25, 1.0);
constexpr CGPixel kSensitivePixel{0, 128, 64, 255};

bool isMagenta(CGPixel p) { return p.red > 170 && p.green < 110 && p.blue > 170; }

/// Answers every record at once with one fixed rectangle, as if text were found there.
class FindsOneRect : public ScreenImageProcessor {
 public:
  void processImage(AITextOcclusionData, Completion completion) override { completion({"{{120, 50}, {30, 30}}"}); }
};

class SchematicRecordingTest : public HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    UIScreen::setMainScreen(std::make_shared<UIScreen>(kScreen, 2.0));
    auto settings = ZervaHandler::shared()->sessionSettings();
    settings->setRecordingQuality(ZRVideoQualityHigh);
    settings->setSensitiveViewColor(kSensitiveColour);

    window_ = windowWithController(CGRect{CGPointZero, kScreen}, UIColor::colorWithRed(0.9, 0.9, 0.6, 1));
    auto root = window_->rootViewController()->view();
    root->addSubview(colouredView(CGRectMake(0, 0, 160, 40), UIColor::blueColor()));
    secret_ = colouredView(CGRectMake(20, 100, 120, 40), UIColor::colorWithRed(1, 0, 1, 1));
    auto digits = std::make_shared<UILabel>(CGRectMake(0, 0, 120, 40));
    digits->setText("4111 1111");
    secret_->addSubview(digits);
    root->addSubview(secret_);
    handler_->addSensitiveView(secret_, false);
  }

  /// Plays the run loop one display refresh at a time and lets every frame reach the video
  /// before the clock moves on, as on a device whose frame work keeps up.
  void playFor(double seconds) {
    for (double t = 0; t < seconds; t += 1.0 / 60) {
      runFor(1.0 / 60);
      settle();
    }
  }

  static void showKeyboard() { UIApplication::sharedApplication()->keyboard().show(CGRectMake(0, 188, 160, 100), 0); }

  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<UIView> secret_;
};

TEST_F(SchematicRecordingTest, ScrollStutterModeSkipsForTheKeyboardAndOneShotRequests) {
  // A drawn frame takes the stored rectangles.
  handler_->setOcclusionRects(ZRRectStringList{"{{0, 0}, {10, 10}}"});
  handler_->schematicFrameScreenImage(false);
  EXPECT_FALSE(handler_->occlusionRects().has_value());
  EXPECT_EQ(handler_->totalSnapshots(), 1);

  handler_->setStopScrollCaptureOnStutterOS(true);
  showKeyboard();
  handler_->schematicFrameScreenImage(false);
  EXPECT_TRUE(fs_DidSkipLastFrameCapture);
  EXPECT_EQ(handler_->totalSnapshots(), 1);

  // The server switched the checks off: drawn despite the keyboard.
  handler_->setVerifyServerStoppedSlowPath(true);
  handler_->schematicFrameScreenImage(false);
  EXPECT_FALSE(fs_DidSkipLastFrameCapture);
  EXPECT_EQ(handler_->totalSnapshots(), 2);

  handler_->setVerifyServerStoppedSlowPath(false);
  UIApplication::sharedApplication()->keyboard().hide(0);
  handler_->setSkipCaptureOfCurrentFrame(true);
  handler_->schematicFrameScreenImage(false);
  EXPECT_TRUE(fs_DidSkipLastFrameCapture);
  EXPECT_FALSE(handler_->skipCaptureOfCurrentFrame());  // used up by the skip
  handler_->schematicFrameScreenImage(false);
  EXPECT_FALSE(fs_DidSkipLastFrameCapture);
  EXPECT_EQ(handler_->totalSnapshots(), 3);

  // Outside scroll-stutter mode a one-shot request is left for the driver.
  handler_->setStopScrollCaptureOnStutterOS(false);
  handler_->setSkipCaptureOfCurrentFrame(true);
  handler_->schematicFrameScreenImage(false);
  EXPECT_EQ(handler_->totalSnapshots(), 4);
  EXPECT_TRUE(handler_->skipCaptureOfCurrentFrame());

  // No key window: nothing to draw, try again on the next tick.
  UIApplication::resetSharedApplication();
  handler_->schematicFrameScreenImage(false);
  EXPECT_TRUE(fs_DidSkipLastFrameCapture);
  EXPECT_EQ(handler_->totalSnapshots(), 4);
  settle();
}

TEST_F(SchematicRecordingTest, RecordedVideoShowsBoxesNotContent) {
  handler_->setImageProcessor(std::make_shared<FindsOneRect>());
  ASSERT_TRUE(startRecording());
  playFor(1.0);
  showKeyboard();
  playFor(1.0);
  const auto outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path);

  const auto probe = probeVideo(*outcome.path);
  ASSERT_TRUE(probe.readable);
  ASSERT_GE(probe.framePtsMs.size(), 4u);
  const auto video = decodeFrames(*outcome.path, probe.width, probe.height);
  ASSERT_EQ(video.frames.size(), probe.framePtsMs.size());
  // Frame pixels per point of the screen.
  const double s = probe.width / kScreen.width;
  auto at = [&](size_t frame, double x, double y) {
    return video.pixelAt(frame, static_cast<int>(x * s), static_cast<int>(y * s));
  };

  const size_t last = video.frames.size() - 1;
  for (size_t f = 0; f < video.frames.size(); ++f) {
    EXPECT_LE(colourDistance(at(f, 30, 120), kSensitivePixel), 24) << "sensitive box, frame " << f;
    EXPECT_LE(colourDistance(at(f, 135, 65), kSensitivePixel), 24) << "recognised text, frame " << f;
    EXPECT_LE(colourDistance(at(f, 80, 20), CGPixel{0, 0, 255, 255}), 24) << "header, frame " << f;
    for (int y = 0; y < video.height; ++y) {
      for (int x = 0; x < video.width; ++x) ASSERT_FALSE(isMagenta(video.pixelAt(f, x, y))) << f << " " << x << "," << y;
    }
  }
  EXPECT_GT(colourDistance(at(0, 80, 270), CGPixel{255, 255, 255, 255}), 24);
  EXPECT_LE(colourDistance(at(last, 80, 270), CGPixel{255, 255, 255, 255}), 24);  // the keyboard box
}

}  // namespace
}  // namespace zerva::testing
