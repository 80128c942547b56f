// The per-frame driver: the slow path, the exception boundary, the frame kind, the capture frame,
// blank frames while paused, the capture gates and the scroll-stutter checks.

#include <stdexcept>

#include "recording/RecordingTestSupport.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ZROcclusionManager.h"

namespace zerva::testing {
namespace {

class CaptureDriverTest : public RecordingTest {
 protected:
  void SetUp() override {
    RecordingTest::SetUp();
    ZRViewVideoHandler::setSchematicCapture(false);
    window_ = makeKeyWindow();
    window_->onBounds = [this] { clock_.advance(std::exchange(pendingSeconds_, 0.0)); };
  }

  /// One frame per entry, each taking that many milliseconds.
  void framesTaking(std::initializer_list<double> milliseconds) {
    for (const double ms : milliseconds) {
      pendingSeconds_ = ms / 1000.0;
      handler_->captureScreenImageToVideo();
    }
  }

  /// One attempt where a window exists and capture is allowed: false when scroll-stutter mode
  /// skipped it.
  bool captured() {
    fs_DidSkipLastFrameCapture = true;
    handler_->screenImage(false);
    return !fs_DidSkipLastFrameCapture;
  }

  UIKeyboard& keyboard() { return UIApplication::sharedApplication()->keyboard(); }

  std::shared_ptr<ScriptedWindow> window_;
  double pendingSeconds_ = 0;
};

TEST_F(CaptureDriverTest, FourSlowFramesInARowEnterTheSlowPathAndSevenQuickOnesLeaveIt) {
  ASSERT_TRUE(startRecording());
  window_->setTraitCollection({UIDisplayGamutP3});
  framesTaking({25, 25, 19, 25, 25, 25});  // 19 ms breaks the run
  EXPECT_NEAR(gZERVA_LastFrameTime, 0.025, 1e-9);
  EXPECT_FALSE(handler_->slowCapturePath());
  framesTaking({25});
  EXPECT_TRUE(handler_->slowCapturePath() && handler_->stopScrollCaptureOnStutterOS() &&
              handler_->trackedScrollViews() && handler_->captureWideGamut());

  ZRLogUtility::setVerboseLoggingEnabled(true);
  framesTaking({10, 10, 10, 10, 10, 10, 19});
  EXPECT_EQ(log_.count("Zerva: Slow path exit reset at 6 frames due to frame time of 19.00"), 1u);
  framesTaking({10, 10, 10, 10, 10, 10});
  EXPECT_TRUE(handler_->slowCapturePath());
  framesTaking({10});
  EXPECT_FALSE(handler_->slowCapturePath() || handler_->stopScrollCaptureOnStutterOS());

  // The user's or the server's switch freezes the counters and the state.
  handler_->setUserControlOfStopScrollCaptureOnStutterOS(false);
  framesTaking({25, 25, 25, 25, 25});
  EXPECT_FALSE(handler_->slowCapturePath());
  handler_->setUserControlOfStopScrollCaptureOnStutterOS(true);
  framesTaking({25, 25, 25, 25});
  handler_->setVerifyServerStoppedSlowPath(true);
  framesTaking({10, 10, 10, 10, 10, 10, 10, 10});
  EXPECT_TRUE(handler_->slowCapturePath());
}

TEST_F(CaptureDriverTest, AnExceptionDropsTheFrameAndKeepsTheMeasurements) {
  ASSERT_TRUE(startRecording());
  framesTaking({25, 25});
  const double lastFrameTime = gZERVA_LastFrameTime;
  window_->onBounds = [] { throw std::runtime_error("window went away"); };
  handler_->captureScreenImageToVideo();
  window_->onBounds = [] { throw 7; };
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(log_.count("Zerva: VVH: Frame capture exception - stage 0: window went away"), 1u);
  EXPECT_EQ(log_.count("Zerva: VVH: Frame capture exception - stage 0: "), 2u);
  EXPECT_EQ(gZERVA_LastFrameTime, lastFrameTime);
  EXPECT_EQ(fs_NumSlowFrames, 2);
}

TEST_F(CaptureDriverTest, TheFrameKindTheTextFieldRuleAndTheFirstFrame) {
  ASSERT_TRUE(startRecording());
  auto tracker = ZRHeatTimeHandler::sharedHandler();
  const long resets = tracker->resetCount();
  handler_->occlusionManager()->applyOcclusionSetting(ZROcclusionSetting(ZROcclusionTypeAllTextFields),
                                                      ZROcclusionSourceManual, {"Login"});
  handler_->addVisibleScreens({"Home", "Login"});
  ZRViewVideoHandler::setSchematicCapture(true);
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(fs_FrameCaptureType, "Schematic ");
  EXPECT_TRUE(handler_->occludeAllTextFields());  // the rule of the top screen
  EXPECT_EQ(tracker->resetCount(), resets + 1);   // the recording's first frame

  handler_->removeVisibleScreenForName("Login");
  handler_->setHideFullScreen(true);
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(fs_FrameCaptureType, "Native ");
  EXPECT_FALSE(handler_->occludeAllTextFields());
  EXPECT_EQ(tracker->resetCount(), resets + 1);

  fs_FrameCaptureType.clear();
  handler_->setWantToStopVideoRecording(true);
  handler_->captureScreenImageToVideo();
  EXPECT_EQ(fs_FrameCaptureType, "");
}

TEST_F(CaptureDriverTest, TheCaptureFrameIsTheFirstWindowsSizeClampedInPortrait) {
  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSize{375, 667}));
  ASSERT_TRUE(startRecording());
  auto key = makeKeyWindow({375, 667});  // the second window: key, but the first gives the size
  CGRect frame;
  for (const auto orientation : {UIInterfaceOrientationPortrait, UIInterfaceOrientationUnknown}) {
    UIApplication::sharedApplication()->setStatusBarOrientation(orientation);
    EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), key);
    EXPECT_EQ(frame, (CGRect{0, 0, 384, 667}));
  }
  UIApplication::sharedApplication()->setStatusBarOrientation(UIInterfaceOrientationLandscapeLeft);
  EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), key);
  EXPECT_EQ(frame, (CGRect{CGPointZero, kScreen}));
  EXPECT_FALSE(fs_WindowFrameSizeAdjustedOnLastFrame);

  window_->setBounds(CGRect{0, 0, 375, 0.5});
  EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), nullptr);
  UIApplication::sharedApplication()->setKeyWindow(nullptr);
  handler_->setScreenRecordingIsPaused(true);
  EXPECT_EQ(handler_->keyWindowForFrameCapture(nullptr), nullptr);
  EXPECT_TRUE(renderer_->blanks.empty());  // no window: no blank frame either
}

TEST_F(CaptureDriverTest, WhilePausedABlankFrameOfTheVideoSizeTakesThePicturesPlace) {
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  ASSERT_TRUE(startRecording());
  handler_->setScreenRecordingIsPaused(true);
  CGRect frame = CGRectZero;
  EXPECT_EQ(handler_->keyWindowForFrameCapture(&frame), nullptr);
  EXPECT_EQ(frame, CGRectZero);
  EXPECT_EQ(renderer_->blanks.at(0), std::make_pair(kScreen, UIColor::blackColor()));
  EXPECT_EQ(handler_->totalSnapshots(), 1);
  EXPECT_EQ(log_.count("[Zerva ScreenRecording] Video recording is paused"), 1u);
  handler_->setLastScreenImageSize({100, 50});  // a known size is kept
  handler_->keyWindowForFrameCapture(&frame);
  EXPECT_EQ(renderer_->blanks.at(1).first, (CGSize{100, 50}));
  stopRecording(0);

  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSize{390, 844}));
  ZervaHandler::shared()->sessionSettings()->setRecordingQuality(ZRVideoQualityLow);
  ASSERT_TRUE(startRecording());
  handler_->setScreenRecordingIsPaused(true);
  handler_->keyWindowForFrameCapture(&frame);
  EXPECT_EQ(renderer_->blanks.at(2).first, fs_DownscaledVideoSize);
  EXPECT_NE(fs_DownscaledVideoSize, fs_CurrentVideoSize);
}

TEST_F(CaptureDriverTest, NoCaptureDuringRotationScreenChangeOrKeyboardAnimation) {
  handler_->setOrientationInProgressFlag(true);
  EXPECT_FALSE(handler_->canRecordVideo());
  handler_->setOrientationInProgressFlag(false);
  handler_->setScreenChangeInProgressFlag(true);
  EXPECT_FALSE(handler_->canRecordVideo());
  handler_->setScreenChangeInProgressFlag(false);
  keyboard().show(CGRect{0, 200, 160, 88}, 0.25);
  handler_->setEnteredNewScreen(true);
  handler_->screenImage(false);
  EXPECT_TRUE(handler_->enteredNewScreen());  // refused before the new screen is taken
  clock_.advance(0.3);
  handler_->screenImage(false);
  EXPECT_FALSE(handler_->enteredNewScreen());
}

TEST_F(CaptureDriverTest, ScrollStutterModeHoldsFramesBackWhileTheKeyboardIsUp) {
  handler_->setSkipCaptureOfCurrentFrame(true);
  EXPECT_TRUE(captured());  // outside the mode the request waits
  handler_->setStopScrollCaptureOnStutterOS(true);
  EXPECT_FALSE(captured());  // one frame skipped, then the request is gone
  EXPECT_TRUE(captured());

  keyboard().show(CGRect{0, 200, 160, 88}, 0);
  EXPECT_FALSE(captured());
  handler_->setEnteredNewScreen(true);
  EXPECT_TRUE(captured());
  EXPECT_FALSE(captured());
  for (const bool userAllows : {false, true}) {
    handler_->setUserControlOfStopScrollCaptureOnStutterOS(userAllows);
    handler_->setVerifyServerStoppedSlowPath(userAllows);
    EXPECT_TRUE(captured());
  }
  handler_->setVerifyServerStoppedSlowPath(false);
  keyboard().hide(0);
  EXPECT_TRUE(captured());
}

TEST_F(CaptureDriverTest, TheScrollCaptureIntervalLetsAFrameThroughAndLowersTheRate) {
  handler_->setStopScrollCaptureOnStutterOS(true);
  handler_->setVideoFrameRate(0.5f);
  handler_->setUserControlOfScrollCaptureInterval(4.0);
  EXPECT_TRUE(captured());  // the clock of the rule starts here
  keyboard().show(CGRect{0, 200, 160, 88}, 0);
  clock_.advance(3.9);
  EXPECT_FALSE(captured());
  clock_.advance(0.2);
  EXPECT_TRUE(captured());
  EXPECT_EQ(handler_->videoFrameRate(), 0.25f);
  EXPECT_FALSE(captured());

  handler_->setVideoFrameRate(0.1f);  // already below the reciprocal: kept
  clock_.advance(4.1);
  EXPECT_TRUE(captured());
  EXPECT_EQ(handler_->videoFrameRate(), 0.1f);
  handler_->setUserControlOfScrollCaptureInterval(0);  // off
  clock_.advance(1000);
  EXPECT_FALSE(captured());
}

}  // namespace
}  // namespace zerva::testing
