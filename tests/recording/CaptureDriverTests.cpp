// The per-frame driver: the slow path's thresholds and counters, the exception boundary, the
// frame kind, the key window and capture frame, blank frames while paused, the capture gates and
// the scroll-stutter checks.

#include <stdexcept>

#include "handler/ZRViewVideoHandlerStatics.h"
#include "recording/RecordingTestSupport.h"
#include "services/ZRHeatTimeHandler.h"

namespace zerva::testing {
namespace {

class CaptureDriverTest : public RecordingTest {
 protected:
  void SetUp() override {
    RecordingTest::SetUp();
    ZRViewVideoHandler::setSchematicCapture(false);
    window_ = makeKeyWindow();
    // The first size query of a frame takes the frame's scripted time.
    window_->onBounds = [this] {
      clock_.advance(pendingSeconds_);
      pendingSeconds_ = 0;
    };
  }

  /// Runs one frame per entry, each taking that many milliseconds.
  void framesTaking(std::initializer_list<double> milliseconds) {
    for (const double ms : milliseconds) {
      pendingSeconds_ = ms / 1000.0;
      handler_->captureScreenImageToVideo();
    }
  }

  /// One real-capture attempt in a state where a window exists and capture is allowed: true when
  /// the frame was captured, false when the scroll-stutter checks skipped it.
  bool captured() {
    fs_DidSkipLastFrameCapture = true;
    handler_->screenImage(false);
    return !fs_DidSkipLastFrameCapture;
  }

  void enterScrollStutterMode() { handler_->setStopScrollCaptureOnStutterOS(true); }

  UIKeyboard& keyboard() { return UIApplication::sharedApplication()->keyboard(); }

  std::shared_ptr<ScriptedWindow> window_;
  double pendingSeconds_ = 0;
};

TEST_F(CaptureDriverTest, TheFourthSlowFrameInARowEntersTheSlowPath) {
  ASSERT_TRUE(startRecording());
  UITraitCollection wide;
  wide.displayGamut = UIDisplayGamutP3;
  window_->setTraitCollection(wide);

  framesTaking({25, 25, 25});
  EXPECT_NEAR(gZERVA_LastFrameTime, 0.025, 1e-9);
  EXPECT_FALSE(handler_->slowCapturePath());
  framesTaking({25});
  EXPECT_TRUE(handler_->slowCapturePath());
  EXPECT_TRUE(handler_->stopScrollCaptureOnStutterOS());
  EXPECT_TRUE(handler_->trackedScrollViews());
  EXPECT_TRUE(handler_->captureWideGamut());
  EXPECT_EQ(fs_NumQuickFrames, 0);

  // A frame between the thresholds breaks the run.
  handler_->leaveSlowCapturePath();
  framesTaking({25, 25, 19, 25, 25, 25});
  EXPECT_FALSE(handler_->slowCapturePath());
  framesTaking({25});
  EXPECT_TRUE(handler_->slowCapturePath());
}

TEST_F(CaptureDriverTest, TheSeventhQuickFrameInARowLeavesIt) {
  ASSERT_TRUE(startRecording());
  framesTaking({25, 25, 25, 25});
  ASSERT_TRUE(handler_->slowCapturePath());

  framesTaking({10, 10, 10, 10, 10, 10});
  EXPECT_EQ(log_.count("Zerva: Slow path exit reset"), 0u);
  ZRLogUtility::setVerboseLoggingEnabled(true);
  framesTaking({19});
  EXPECT_EQ(fs_NumQuickFrames, 0);
  EXPECT_EQ(log_.count("Zerva: Slow path exit reset at 6 frames due to frame time of 19.00"), 1u);
  EXPECT_TRUE(handler_->slowCapturePath());

  framesTaking({10, 10, 10, 10, 10, 10});
  EXPECT_TRUE(handler_->slowCapturePath());
  framesTaking({10});
  EXPECT_FALSE(handler_->slowCapturePath());
  EXPECT_FALSE(handler_->stopScrollCaptureOnStutterOS());
  EXPECT_EQ(fs_NumSlowFrames, 0);
}

TEST_F(CaptureDriverTest, TheCountersFreezeWhenTheUserOrTheServerSwitchesTheSlowPathOff) {
  ASSERT_TRUE(startRecording());
  handler_->setUserControlOfStopScrollCaptureOnStutterOS(false);
  framesTaking({25, 25, 25, 25, 25});
  EXPECT_FALSE(handler_->slowCapturePath());
  EXPECT_EQ(fs_NumSlowFrames, 0);

  handler_->setUserControlOfStopScrollCaptureOnStutterOS(true);
  framesTaking({25, 25, 25, 25});
  ASSERT_TRUE(handler_->slowCapturePath());
  handler_->setVerifyServerStoppedSlowPath(true);
  framesTaking({10, 10, 10, 10, 10, 10, 10, 10});
  EXPECT_TRUE(handler_->slowCapturePath());
  EXPECT_EQ(fs_NumQuickFrames, 0);
}

TEST_F(CaptureDriverTest, AnExceptionDropsTheFrameAndKeepsTheMeasurements) {
  ASSERT_TRUE(startRecording());
  framesTaking({25, 25});
  const double lastFrameTime = gZERVA_LastFrameTime;
  window_->onBounds = [] { throw std::runtime_error("window went away"); };
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(log_.count("Zerva: VVH: Frame capture exception - stage 0: window went away"), 1u);
  EXPECT_EQ(gZERVA_LastFrameTime, lastFrameTime);
  EXPECT_EQ(fs_NumSlowFrames, 2);

  window_->onBounds = [] { throw 7; };
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(log_.count("Zerva: VVH: Frame capture exception - stage 0: "), 2u);

  window_->onBounds = nullptr;
  fs_FrameCaptureType.clear();
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(fs_FrameCaptureType, "Native ");
}

TEST_F(CaptureDriverTest, TheFrameKindFollowsBothSwitchesAndTheHiddenScreen) {
  ASSERT_TRUE(startRecording());
  ZRViewVideoHandler::setSchematicCapture(true);
  handler_->setOcclusionRects(ZRRectStringList{"{{1, 2}, {3, 4}}"});
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(fs_FrameCaptureType, "Schematic ");
  EXPECT_EQ(handler_->occlusionRects(), ZRRectStringList{});
  handler_->setOcclusionRects(std::nullopt);
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(handler_->occlusionRects(), std::nullopt);

  handler_->setHideFullScreen(true);
  handler_->setOcclusionRects(ZRRectStringList{"{{1, 2}, {3, 4}}"});
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(fs_FrameCaptureType, "Native ");
  EXPECT_EQ(handler_->occlusionRects()->size(), 1u);

  handler_->setHideFullScreen(false);
  ZRViewVideoHandler::setPlatformSchematicCapture(false);
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(fs_FrameCaptureType, "Native ");

  // Nothing at all once a stop began.
  fs_FrameCaptureType.clear();
  handler_->setWantToStopVideoRecording(true);
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(fs_FrameCaptureType, "");
}

TEST_F(CaptureDriverTest, TheScreenTrackerStartsAfreshOnTheFirstFrameOnly) {
  ASSERT_TRUE(startRecording());
  auto tracker = ZRHeatTimeHandler::sharedHandler();
  const long resets = tracker->resetCount();
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(tracker->resetCount(), resets + 1);
  handler_->setTotalSnapshots(1);
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(tracker->resetCount(), resets + 1);
}

TEST_F(CaptureDriverTest, TheCaptureFrameIsTheFirstWindowsSizeClampedInPortrait) {
  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSize{375, 667}));
  ASSERT_TRUE(startRecording());
  auto key = std::make_shared<ScriptedWindow>(CGRect{0, 0, 375, 667});

  // The key window is returned; the first window gives the size.
  key->makeKeyAndVisible();
  CGRect frame = CGRectZero;
  EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), key);
  EXPECT_EQ(frame, (CGRect{0, 0, 384, 667}));
  EXPECT_TRUE(fs_WindowFrameSizeAdjustedOnLastFrame);

  UIApplication::sharedApplication()->setStatusBarOrientation(UIInterfaceOrientationUnknown);
  EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), key);
  EXPECT_EQ(frame.size, (CGSize{384, 667}));

  UIApplication::sharedApplication()->setStatusBarOrientation(UIInterfaceOrientationLandscapeLeft);
  EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), key);
  EXPECT_EQ(frame, window_->UIWindow::bounds());
  EXPECT_FALSE(fs_WindowFrameSizeAdjustedOnLastFrame);
  EXPECT_EQ(handler_->keyWindowForFrameCapture(nullptr), key);

  window_->setBounds(CGRect{0, 0, 375, 0.5});
  frame = CGRectZero;
  EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), nullptr);
  EXPECT_EQ(frame, CGRectZero);

  UIApplication::sharedApplication()->setKeyWindow(nullptr);
  handler_->setScreenRecordingIsPaused(true);
  EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), nullptr);
  EXPECT_TRUE(renderer_->blanks().empty());  // no window: no blank frame either
}

TEST_F(CaptureDriverTest, WhilePausedABlankFrameOfTheVideoSizeTakesThePicturesPlace) {
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  ASSERT_TRUE(startRecording());
  handler_->setScreenRecordingIsPaused(true);
  CGRect frame = CGRectZero;
  EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), nullptr);
  EXPECT_EQ(frame, CGRectZero);
  EXPECT_EQ(handler_->lastScreenImageSize(), kScreen);
  ASSERT_EQ(renderer_->blanks().size(), 1u);
  EXPECT_EQ(renderer_->blanks()[0].size, kScreen);
  EXPECT_EQ(renderer_->blanks()[0].color, UIColor::blackColor());
  EXPECT_EQ(handler_->totalSnapshots(), 1);
  EXPECT_EQ(log_.count("[Zerva ScreenRecording] Video recording is paused"), 1u);

  // A size already known is kept.
  handler_->setLastScreenImageSize({100, 50});
  handler_->keyWindowForFrameCapture(&frame);
  EXPECT_EQ(renderer_->blanks()[1].size, (CGSize{100, 50}));
  stopRecording(0);

  // A downscaled video gets downscaled blank frames.
  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSize{390, 844}));
  ZervaHandler::shared()->sessionSettings()->setRecordingQuality(ZRVideoQualityLow);
  ASSERT_TRUE(startRecording());
  ASSERT_TRUE(fs_ScaleVideoDown);
  handler_->setScreenRecordingIsPaused(true);
  handler_->keyWindowForFrameCapture(&frame);
  EXPECT_EQ(renderer_->blanks().back().size, fs_DownscaledVideoSize);
  EXPECT_NE(fs_DownscaledVideoSize, fs_CurrentVideoSize);
}

TEST_F(CaptureDriverTest, NoCaptureDuringRotationScreenChangeOrKeyboardAnimation) {
  EXPECT_TRUE(handler_->canRecordVideo());
  handler_->setOrientationInProgressFlag(true);
  EXPECT_FALSE(handler_->canRecordVideo());
  handler_->setOrientationInProgressFlag(false);
  handler_->setScreenChangeInProgressFlag(true);
  EXPECT_FALSE(handler_->canRecordVideo());
  handler_->setScreenChangeInProgressFlag(false);
  keyboard().show(CGRect{0, 200, 160, 88}, 0.25);
  EXPECT_FALSE(handler_->canRecordVideo());
  // Refused before any scroll-stutter check: a new screen stays pending.
  handler_->setEnteredNewScreen(true);
  handler_->screenImage(false);
  EXPECT_TRUE(handler_->enteredNewScreen());
  clock_.advance(0.3);
  EXPECT_TRUE(handler_->canRecordVideo());
  handler_->screenImage(false);
  EXPECT_FALSE(handler_->enteredNewScreen());
}

TEST_F(CaptureDriverTest, InScrollStutterModeTheKeyboardHoldsFramesBackButNotANewScreen) {
  enterScrollStutterMode();
  keyboard().show(CGRect{0, 200, 160, 88}, 0);
  EXPECT_FALSE(captured());
  EXPECT_FALSE(captured());
  handler_->setEnteredNewScreen(true);
  EXPECT_TRUE(captured());
  EXPECT_FALSE(handler_->enteredNewScreen());
  EXPECT_FALSE(fs_LastCaptureTime);  // a new screen skips the checks and their time
  EXPECT_FALSE(captured());
  keyboard().hide(0);
  EXPECT_TRUE(captured());
  EXPECT_TRUE(fs_LastCaptureTime);

  // Outside the mode, or with the user's or the server's switch off, the keyboard holds nothing.
  keyboard().show(CGRect{0, 200, 160, 88}, 0);
  handler_->setUserControlOfStopScrollCaptureOnStutterOS(false);
  EXPECT_TRUE(captured());
  handler_->setUserControlOfStopScrollCaptureOnStutterOS(true);
  handler_->setVerifyServerStoppedSlowPath(true);
  EXPECT_TRUE(captured());
  handler_->setVerifyServerStoppedSlowPath(false);
  handler_->setStopScrollCaptureOnStutterOS(false);
  EXPECT_TRUE(captured());
}

TEST_F(CaptureDriverTest, TheScrollCaptureIntervalLetsAFrameThroughAndLowersTheRate) {
  enterScrollStutterMode();
  handler_->setVideoFrameRate(0.5f);
  handler_->setUserControlOfScrollCaptureInterval(4.0);
  EXPECT_TRUE(captured());  // sets the time of the last stutter-mode capture
  keyboard().show(CGRect{0, 200, 160, 88}, 0);
  clock_.advance(3.9);
  EXPECT_FALSE(captured());
  clock_.advance(0.2);
  EXPECT_TRUE(captured());
  EXPECT_EQ(handler_->videoFrameRate(), 0.25f);
  EXPECT_FALSE(captured());  // counted from the frame just taken

  // A rate already below the reciprocal stays.
  handler_->setVideoFrameRate(0.1f);
  clock_.advance(4.1);
  EXPECT_TRUE(captured());
  EXPECT_EQ(handler_->videoFrameRate(), 0.1f);

  // 0 switches the rule off.
  handler_->setUserControlOfScrollCaptureInterval(0);
  clock_.advance(1000);
  EXPECT_FALSE(captured());
}

TEST_F(CaptureDriverTest, SkipCaptureOfCurrentFrameSkipsExactlyOneAndOnlyInScrollStutterMode) {
  handler_->setSkipCaptureOfCurrentFrame(true);
  EXPECT_TRUE(captured());
  EXPECT_TRUE(handler_->skipCaptureOfCurrentFrame());  // not consumed outside the mode

  enterScrollStutterMode();
  EXPECT_FALSE(captured());
  EXPECT_FALSE(handler_->skipCaptureOfCurrentFrame());
  EXPECT_TRUE(captured());
}

}  // namespace
}  // namespace zerva::testing
