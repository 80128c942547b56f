// Starting and stopping recordings: when a start is refused, the video size and recorder settings
// it fixes, re-hiding at start, the outcome per stop reason, the big-gap rule, faults of the
// recorder and of the caller's completion, and waiting.

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <future>
#include <stdexcept>

#include "handler/ZRViewVideoHandlerStatics.h"
#include "recording/RecordingTestSupport.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ZRVideoOutput.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

namespace fs = std::filesystem;

using SessionLifecycleTest = RecordingTest;

TEST_F(SessionLifecycleTest, StartIsRefusedWhenRecordingIsOffOrAlreadyRunning) {
  ZervaHandler::shared()->sessionSettings()->setRecordScreenVideo(false);
  handler_->startScreenRecording();
  settle();
  EXPECT_FALSE(handler_->isRecording());
  EXPECT_FALSE(handler_->displayLink());
  EXPECT_EQ(ZRPlistHandler::sharedHandler()->sessionVideoCount(), 0);

  ZervaHandler::shared()->sessionSettings()->setRecordScreenVideo(true);
  ASSERT_TRUE(startRecording());
  const double startedAt = handler_->startedAt();
  const auto file = handler_->videoRecorder()->recordingFile();
  clock_.advance(1.0);
  // A second start must not reach the recorder: its refusal would clean the running recording up.
  handler_->startScreenRecording();
  settle();
  EXPECT_EQ(handler_->startedAt(), startedAt);
  EXPECT_EQ(handler_->videoRecorder()->recordingFile(), file);
  EXPECT_TRUE(ZRLogUtility::recordedTagsNamed("sessionRecord-failToStartVideo").empty());
  EXPECT_EQ(ZRPlistHandler::sharedHandler()->sessionVideoCount(), 1);
}

TEST_F(SessionLifecycleTest, SetUpInTheBackgroundFailsWithError300AndChangesNothing) {
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  handler_->pauseScreenRecordingForDuration(5);
  handler_->setScreenRecordingIsPaused(true);
  const double pauseEnd = handler_->timeToEndPause();

  int calls = 0;
  NSErrorOrNil error;
  bool success = true;
  handler_->setupAssetWriterWithCompletion([&](bool ok, NSErrorOrNil e) {
    ++calls;
    success = ok;
    error = e;
  });
  settle();
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(success);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), "ZervaRecordingError");
  EXPECT_EQ(error->code(), 300);
  EXPECT_EQ(error->localizedDescription(), "Recording is started when app is in background mode");
  const auto tags = ZRLogUtility::recordedTagsNamed("sessionRecord-failToStartVideo");
  ASSERT_EQ(tags.size(), 1u);
  EXPECT_EQ(tags[0].level, ZRLogLevel::Warning);
  EXPECT_EQ(tags[0].properties["error"], "Recording is started when app is in background mode");
  // No pause reset and no size computed.
  EXPECT_EQ(handler_->timeToEndPause(), pauseEnd);
  EXPECT_TRUE(handler_->screenRecordingIsPaused());
  EXPECT_EQ(fs_CurrentVideoSize, CGSizeZero);
  EXPECT_FALSE(handler_->isRecording());
}

TEST_F(SessionLifecycleTest, VideoSizeIsRoundedUpToSixteenAndTheClampFlagOnlyEverTurnsOn) {
  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSize{375, 667}));
  ASSERT_TRUE(startRecording());
  EXPECT_EQ(fs_DeviceNativeSize, (CGSize{375, 667}));
  EXPECT_EQ(fs_CurrentVideoSize, (CGSize{384, 667}));
  EXPECT_TRUE(fs_ClampVideoToAdjustedSize);
  stopRecording(1);

  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSize{320, 568.9}));
  ASSERT_TRUE(startRecording());
  EXPECT_EQ(fs_CurrentVideoSize, (CGSize{320, 568}));
  EXPECT_TRUE(fs_ClampVideoToAdjustedSize);  // left as it was
}

TEST_F(SessionLifecycleTest, RecorderSettingsGiveTheFrameIntervalAndTheDownscale) {
  struct Case {
    unsigned long quality;
    CGSize screen;
  };
  for (const Case c : {Case{ZRVideoQualityLow, {390, 844}}, Case{ZRVideoQualityMedium, {390, 844}},
                       Case{ZRVideoQualityHigh, {160, 288}}}) {
    SCOPED_TRACE(c.quality);
    UIScreen::setMainScreen(std::make_shared<UIScreen>(c.screen));
    ZervaHandler::shared()->sessionSettings()->setRecordingQuality(c.quality);
    const ZRSessionVideoSettings expected(c.quality, c.screen);
    ASSERT_TRUE(startRecording());
    EXPECT_EQ(handler_->videoFrameRate(), 1.0f / expected.frameRate());
    EXPECT_EQ(fs_ScaleVideoDown, expected.scaleFactor() < 1.0f);
    EXPECT_EQ(fs_DownscaledVideoSize, expected.screenSize());
    stopRecording(0);
  }
  EXPECT_EQ(ZRSessionVideoSettings(ZRVideoQualityMedium, {390, 844}).frameRate(), 10.0f);
}

TEST_F(SessionLifecycleTest, ARecorderThatFailsToStartLeavesNoRecordingAndNoClock) {
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  handler_->setStartedAt(7.0);
  handler_->videoRecorder()->setOutputFactory([](const std::string&, int* err) -> std::unique_ptr<ZRVideoOutput> {
    *err = EACCES;
    return nullptr;
  });
  handler_->startScreenRecording();
  NSRunLoop::mainRunLoop().runUntil([&] { return handler_->startedAt() == 0.0; });
  settle();
  EXPECT_FALSE(handler_->isRecording());
  EXPECT_FALSE(handler_->displayLink());
  EXPECT_EQ(handler_->startedAt(), 0.0);
  const auto tags = ZRLogUtility::recordedTagsNamed("sessionRecord-failToStartVideo");
  ASSERT_EQ(tags.size(), 1u);
  EXPECT_EQ(tags[0].properties["quality"], 2);
  EXPECT_FALSE(tags[0].properties["error"].get<std::string>().empty());
  EXPECT_EQ(log_.count("[Zerva: Screen Recording] Screen Recording has failed to start with error: The recordings "
                       "folder"),
            1u);
  EXPECT_EQ(ZRPlistHandler::sharedHandler()->sessionVideoCount(), 0);
}

TEST_F(SessionLifecycleTest, ASuccessfulStartResetsThePerRecordingState) {
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  handler_->setSlowCapturePath(true);
  handler_->setStopScrollCaptureOnStutterOS(true);
  handler_->setWantToStopVideoRecording(true);
  handler_->setLastScreenImageSize({10, 10});
  fs_NumSlowFrames = 2;
  const double before = CACurrentMediaTime();
  ASSERT_TRUE(startRecording());
  EXPECT_EQ(handler_->startedAt(), before);
  EXPECT_FALSE(handler_->wantToStopVideoRecording());
  EXPECT_FALSE(handler_->slowCapturePath());
  EXPECT_TRUE(handler_->stopScrollCaptureOnStutterOS());  // not touched by a start
  EXPECT_EQ(fs_NumSlowFrames, 2);
  EXPECT_EQ(handler_->lastScreenImageSize(), CGSizeZero);
  EXPECT_EQ(ZRPlistHandler::sharedHandler()->sessionVideoCount(), 1);
  EXPECT_EQ(log_.count("[Zerva: Screen Recording] Screen Recording has started at "), 1u);
  EXPECT_EQ(NSRunLoop::mainRunLoop().sourceCount(), 1u);
}

TEST_F(SessionLifecycleTest, TheHidingInForceAtTheLastStopIsReappliedAtTheNextStart) {
  auto detail = ZRHeatTimeHandler::sharedHandler()->vcDetail();

  // No current screen: nothing is re-applied.
  handler_->setEndOfSession_hideFullScreen(true);
  handler_->setEndOfSession_hideFullScreenGestures(true);
  handler_->setEndOfSession_hideFullScreen_APICall(true);
  ASSERT_TRUE(startRecording());
  EXPECT_FALSE(handler_->hideFullScreen_APICall());
  EXPECT_FALSE(detail->hideGesturesOnThisScreen());
  stopRecording(0);

  // The stopped recording's hiding wins over a screen rule that would not hide.
  ZRHeatTimeHandler::sharedHandler()->setCurrentScreenName("Account");
  handler_->setEndOfSession_hideFullScreen(true);
  handler_->setEndOfSession_hideFullScreenGestures(true);
  handler_->setEndOfSession_hideFullScreen_APICall(true);
  handler_->setEndOfSession_hideFullScreenGestures_APICall(false);
  ASSERT_TRUE(startRecording());
  EXPECT_TRUE(handler_->hideFullScreen_APICall());
  EXPECT_FALSE(handler_->hideFullScreenGestures_APICall());
  EXPECT_TRUE(detail->hideGesturesOnThisScreen());
  stopRecording(0);

  // Otherwise the screen rule decides, gestures included.
  for (const bool ruleHidesGestures : {true, false}) {
    ZervaHandler::shared()->sessionSettings()->setHiddenScreens({{"Account", ruleHidesGestures}});
    handler_->setEndOfSession_hideFullScreen(false);
    handler_->setEndOfSession_hideFullScreenGestures(true);
    ASSERT_TRUE(startRecording());
    EXPECT_EQ(detail->hideGesturesOnThisScreen(), ruleHidesGestures);
    stopRecording(0);
  }
  ZervaHandler::shared()->sessionSettings()->setHiddenScreens({});
  handler_->setEndOfSession_hideFullScreen(false);
  handler_->setEndOfSession_hideFullScreenGestures(true);
  ASSERT_TRUE(startRecording());
  EXPECT_FALSE(detail->hideGesturesOnThisScreen());  // not hidden, so gestures are not either
}

TEST_F(SessionLifecycleTest, EachStopReasonDeliversItsOutcome) {
  ASSERT_TRUE(startRecording());
  appendFrame(0.1);
  std::string path = recordingPath();
  StopOutcome cancelled = stopRecording(0);
  ASSERT_TRUE(cancelled.delivered);
  EXPECT_FALSE(cancelled.path);
  ASSERT_TRUE(cancelled.error);
  EXPECT_EQ(cancelled.error->domain(), "video-upload");
  EXPECT_EQ(cancelled.error->code(), 101);
  EXPECT_EQ(cancelled.error->localizedDescription(), "video recording cancelled");
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(handler_->startedAt(), 0.0);

  for (const unsigned long reason : {1UL, 2UL}) {
    SCOPED_TRACE(reason);
    ASSERT_TRUE(startRecording());
    appendFrame(0.1);
    const StopOutcome delivered = stopRecording(reason);
    ASSERT_TRUE(delivered.delivered);
    EXPECT_FALSE(delivered.error);
    ASSERT_TRUE(delivered.path);
    EXPECT_EQ(*delivered.path, recordingPath());
    EXPECT_EQ(probeVideo(*delivered.path).framePtsMs.size(), 1u);
  }

  // Another reason finishes the file but delivers nothing.
  ASSERT_TRUE(startRecording());
  path = recordingPath();
  std::atomic<bool> called{false};
  handler_->stopScreenRecording(9, [&](std::optional<std::string>, NSErrorOrNil) { called = true; });
  NSRunLoop::mainRunLoop().runUntil([&] { return !handler_->isRecording(); });
  settle();
  EXPECT_FALSE(called);
  EXPECT_FALSE(handler_->isRecording());
  EXPECT_TRUE(fs::exists(path));
}

TEST_F(SessionLifecycleTest, StopWithoutARecordingOnlyClearsThePause) {
  handler_->setScreenRecordingIsPaused(true);
  std::atomic<bool> called{false};
  handler_->stopScreenRecording(1, [&](std::optional<std::string>, NSErrorOrNil) { called = true; });
  settle();
  EXPECT_FALSE(called);
  EXPECT_FALSE(handler_->screenRecordingIsPaused());
  EXPECT_TRUE(ZRLogUtility::recordedTagsNamed("stopScreenRecording").empty());
}

TEST_F(SessionLifecycleTest, FinalisationResetsTheCountersAndStopsTheClock) {
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  ZRLogUtility::setVerboseLoggingEnabled(true);
  ASSERT_TRUE(startRecording());
  auto link = handler_->displayLink();
  appendFrame(0.1);
  appendFrame(0.2);
  handler_->setTotalSnapshots(5);
  handler_->setHideFullScreen_APICall(true);
  clock_.advance(0.3);
  const StopOutcome outcome = stopRecording(1);
  EXPECT_TRUE(outcome.delivered);

  const auto tags = ZRLogUtility::recordedTagsNamed("stopScreenRecording");
  ASSERT_EQ(tags.size(), 1u);
  EXPECT_EQ(tags[0].properties["stopReason"], 1);
  EXPECT_EQ(tags[0].properties["numFramesInVideo"], 2);
  EXPECT_EQ(handler_->numFramesInVideo(), 0);
  EXPECT_EQ(handler_->totalSnapshots(), 0);
  EXPECT_FALSE(handler_->lastVideoFrameImage());
  EXPECT_TRUE(handler_->wantToStopVideoRecording());
  EXPECT_FALSE(handler_->displayLink());
  EXPECT_FALSE(link->isValid());
  EXPECT_EQ(NSRunLoop::mainRunLoop().sourceCount(), 0u);
  EXPECT_TRUE(handler_->endOfSession_hideFullScreen_APICall());
  EXPECT_EQ(log_.count("Zerva: VVH: stopScreenRecording called"), 1u);
  EXPECT_EQ(log_.count("[Zerva: ScreenRecording] ScreenRecording completed"), 1u);
}

TEST_F(SessionLifecycleTest, ABigGapAtTheEndRepeatsTheLastFrame) {
  // 0.5 s after the last frame: nothing extra.
  ASSERT_TRUE(startRecording());
  clock_.advance(0.2);
  appendFrame(0.2);
  clock_.advance(0.5);
  StopOutcome outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path);
  EXPECT_EQ(probeVideo(*outcome.path).framePtsMs, (std::vector<std::int64_t>{200}));
  EXPECT_TRUE(ZRLogUtility::recordedTagsNamed("stopScreenRecording-bigGap").empty());

  // 1 s after it: the last picture again, at the stop's time on the video's time line.
  ASSERT_TRUE(startRecording());
  clock_.advance(0.2);
  appendFrame(0.2, UIColor::blueColor());
  clock_.advance(1.0);
  outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path);
  EXPECT_EQ(probeVideo(*outcome.path).framePtsMs, (std::vector<std::int64_t>{200, 1200}));
  const DecodedFrames frames = decodeFrames(*outcome.path, 160, 288);
  ASSERT_EQ(frames.frames.size(), 2u);
  EXPECT_LT(colourDistance(frames.pixelAt(1, 80, 144), frames.pixelAt(0, 80, 144)), 8);
  const auto tags = ZRLogUtility::recordedTagsNamed("stopScreenRecording-bigGap");
  ASSERT_EQ(tags.size(), 1u);
  EXPECT_NEAR(tags[0].properties["timeSinceLastFrame"].get<double>(), 1.0, 1e-9);
  EXPECT_TRUE(renderer_->blanks().empty());
}

TEST_F(SessionLifecycleTest, ABigGapWithoutAFrameAsksForABlankFrameThatArrivesTooLate) {
  ASSERT_TRUE(startRecording());
  handler_->setLastScreenImageSize(kScreen);
  clock_.advance(2.0);
  const StopOutcome outcome = stopRecording(2);
  ASSERT_TRUE(outcome.path);
  // One blank for the gap, one for stop reason 2; the stop flag is up before either is appended.
  ASSERT_EQ(renderer_->blanks().size(), 2u);
  EXPECT_EQ(renderer_->blanks()[0].size, kScreen);
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("stopScreenRecording-bigGap").size(), 1u);
  EXPECT_TRUE(probeVideo(*outcome.path).framePtsMs.empty());
}

TEST_F(SessionLifecycleTest, WhilePausedTheGapRuleIsLeftOut) {
  ASSERT_TRUE(startRecording());
  appendFrame(0.1);
  clock_.advance(3.0);
  handler_->pauseScreenRecordingForDuration(0);
  // The stop clears the pause on the caller's thread; a tick before the queued finalisation runs
  // pauses again.
  std::promise<void> release;
  ZRViewVideoHandler::GetMakeVideoFrameQueue()->async([released = release.get_future().share()] { released.wait(); });
  std::atomic<bool> delivered{false};
  handler_->stopScreenRecording(1, [&](std::optional<std::string>, NSErrorOrNil) { delivered = true; });
  EXPECT_FALSE(handler_->screenRecordingIsPaused());
  runFor(0.2);
  EXPECT_TRUE(handler_->screenRecordingIsPaused());
  release.set_value();
  NSRunLoop::mainRunLoop().runUntil([&] { return delivered.load(); });
  EXPECT_TRUE(delivered);
  EXPECT_TRUE(ZRLogUtility::recordedTagsNamed("stopScreenRecording-bigGap").empty());
}

// The file is written whole, then closing it fails.
class FailingCloseOutput final : public ZRVideoOutput {
 public:
  explicit FailingCloseOutput(std::unique_ptr<ZRVideoOutput> file) : file_(std::move(file)) {}
  int write(const std::uint8_t* data, std::size_t size) override { return file_->write(data, size); }
  std::int64_t seek(std::int64_t offset, int whence) override { return file_->seek(offset, whence); }
  int close() override {
    file_->close();
    return EIO;
  }
  const std::string& path() const override { return file_->path(); }

 private:
  std::unique_ptr<ZRVideoOutput> file_;
};

TEST_F(SessionLifecycleTest, ARecorderThatFailsToFinishDeletesTheFileAndPassesItsErrorOn) {
  handler_->videoRecorder()->setOutputFactory([](const std::string& path, int* err) -> std::unique_ptr<ZRVideoOutput> {
    auto file = ZRVideoOutputCreateFile(path, err);
    if (!file) return nullptr;
    return std::make_unique<FailingCloseOutput>(std::move(file));
  });
  ASSERT_TRUE(startRecording());
  appendFrame(0.1);
  const std::string path = recordingPath();
  const StopOutcome outcome = stopRecording(1);
  ASSERT_TRUE(outcome.delivered);
  EXPECT_FALSE(outcome.path);
  ASSERT_TRUE(outcome.error);
  EXPECT_EQ(outcome.error->domain(), ZRSessionVideoRecorderErrorDomain);
  EXPECT_FALSE(fs::exists(path));
}

TEST_F(SessionLifecycleTest, AnExceptionWhileDeliveringIsCaughtAndTheCallerGetsNothing) {
  ASSERT_TRUE(startRecording());
  appendFrame(0.1);
  std::vector<std::pair<std::optional<std::string>, NSErrorOrNil>> calls;
  std::atomic<bool> secondDone{false};
  handler_->stopScreenRecording(1, [&](std::optional<std::string> path, NSErrorOrNil error) {
    calls.emplace_back(path, error);
    if (calls.size() == 1) throw std::runtime_error("caller broke");
    secondDone = true;
  });
  NSRunLoop::mainRunLoop().runUntil([&] { return secondDone.load(); });
  settle();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_TRUE(calls[0].first);
  EXPECT_FALSE(calls[1].first);
  EXPECT_FALSE(calls[1].second);
  // Written whatever the logging switches say.
  EXPECT_EQ(log_.count("Zerva: Problem during finishWritingWithCompletionHandler: std::runtime_error - caller broke "
                       "Extra data: <none>"),
            1u);
  const auto tags = ZRLogUtility::recordedTagsNamed("completeRecordingSession-InnerException");
  ASSERT_EQ(tags.size(), 1u);
  EXPECT_EQ(tags[0].level, ZRLogLevel::Error);
  EXPECT_EQ(tags[0].properties["exception"], "caller broke");
  EXPECT_EQ(handler_->startedAt(), 0.0);

  // Something that is not a std::exception, thrown twice: caught, and the queue lives on.
  ASSERT_TRUE(startRecording());
  std::atomic<int> thrown{0};
  handler_->stopScreenRecording(1, [&](std::optional<std::string>, NSErrorOrNil) {
    ++thrown;
    throw 42;
  });
  NSRunLoop::mainRunLoop().runUntil([&] { return thrown == 2; });
  settle();
  EXPECT_EQ(thrown, 2);
  const auto unknown = ZRLogUtility::recordedTagsNamed("completeRecordingSession-InnerException");
  ASSERT_EQ(unknown.size(), 2u);
  EXPECT_EQ(unknown[1].properties["exception"], "-unknown-");
  bool ran = false;
  onFrameQueue([&] { ran = true; });
  EXPECT_TRUE(ran);
}

TEST_F(SessionLifecycleTest, WaitingPollsEveryTenthOfASecondUntilTheTimeOut) {
  EXPECT_EQ(handler_->waitUntilScreenRecordingIsFinished(5), 0.0);  // not recording
  ASSERT_TRUE(startRecording());
  EXPECT_EQ(handler_->waitUntilScreenRecordingIsFinished(0), 0.0);
  EXPECT_EQ(handler_->waitUntilScreenRecordingIsFinished(-1), 0.0);
  const double before = CACurrentMediaTime();
  const double waited = handler_->waitUntilScreenRecordingIsFinished(0.35);
  EXPECT_NEAR(waited, 0.4, 1e-9);
  EXPECT_NEAR(CACurrentMediaTime() - before, 0.4, 1e-9);  // four sleeps
}

}  // namespace
}  // namespace zerva::testing
