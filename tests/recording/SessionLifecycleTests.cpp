// Starting and stopping recordings: refused starts, the video size and recorder settings, the
// start's resets and re-hiding, the outcome per stop reason, the big-gap rule, recorder and caller
// faults, and waiting.

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "recording/RecordingTestSupport.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ZRVideoOutput.h"

namespace zerva::testing {
namespace {

using SessionLifecycleTest = RecordingTest;

std::vector<ZRLogTag> tags(const std::string& name) { return ZRLogUtility::recordedTagsNamed(name); }

TEST_F(SessionLifecycleTest, RefusedStarts) {
  ZervaHandler::shared()->sessionSettings()->setRecordScreenVideo(false);
  handler_->startScreenRecording();
  settle();
  EXPECT_FALSE(handler_->isRecording());

  // In the background: error 300, one tag, and not even the pause is reset.
  ZervaHandler::shared()->sessionSettings()->setRecordScreenVideo(true);
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateBackground);
  handler_->pauseScreenRecordingForDuration(5);
  NSErrorOrNil error;
  int calls = 0;
  handler_->setupAssetWriterWithCompletion([&](bool ok, NSErrorOrNil e) {
    calls += ok ? 100 : 1;
    error = e;
  });
  EXPECT_EQ(calls, 1);
  ASSERT_TRUE(error);
  EXPECT_EQ(*error, NSError::errorWithDomain("ZervaRecordingError", 300,
                                             "Recording is started when app is in background mode"));
  ASSERT_EQ(tags("sessionRecord-failToStartVideo").size(), 1u);
  EXPECT_EQ(tags("sessionRecord-failToStartVideo")[0].properties["error"], error->localizedDescription());
  EXPECT_GT(handler_->timeToEndPause(), 0);
  EXPECT_EQ(fs_CurrentVideoSize, CGSizeZero);

  // While recording, a start must not reach the recorder: its refusal would clean the recording up.
  UIApplication::sharedApplication()->setApplicationState(UIApplicationStateActive);
  ASSERT_TRUE(startRecording());
  const double startedAt = handler_->startedAt();
  handler_->startScreenRecording();
  settle();
  EXPECT_EQ(handler_->startedAt(), startedAt);
  EXPECT_EQ(tags("sessionRecord-failToStartVideo").size(), 1u);
  EXPECT_EQ(ZRPlistHandler::sharedHandler()->sessionVideoCount(), 1);
}

TEST_F(SessionLifecycleTest, VideoSizeAndRecorderSettings) {
  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSize{375, 667}));
  ZervaHandler::shared()->sessionSettings()->setRecordingQuality(ZRVideoQualityMedium);
  ASSERT_TRUE(startRecording());
  EXPECT_EQ(fs_CurrentVideoSize, (CGSize{384, 667}));
  EXPECT_TRUE(fs_ClampVideoToAdjustedSize);
  const ZRSessionVideoSettings medium(ZRVideoQualityMedium, {375, 667});
  EXPECT_EQ(handler_->videoFrameRate(), 0.1f);
  EXPECT_TRUE(fs_ScaleVideoDown);
  EXPECT_EQ(fs_DownscaledVideoSize, medium.screenSize());
  stopRecording(1);

  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSize{320, 568.9}));
  ZervaHandler::shared()->sessionSettings()->setRecordingQuality(ZRVideoQualityHigh);
  ASSERT_TRUE(startRecording());
  EXPECT_EQ(fs_CurrentVideoSize, (CGSize{320, 568}));
  EXPECT_TRUE(fs_ClampVideoToAdjustedSize);  // never set back
  EXPECT_FALSE(fs_ScaleVideoDown);
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
  EXPECT_EQ(handler_->startedAt(), 0.0);
  EXPECT_FALSE(handler_->isRecording() || handler_->displayLink());
  ASSERT_EQ(tags("sessionRecord-failToStartVideo").size(), 1u);
  EXPECT_EQ(tags("sessionRecord-failToStartVideo")[0].properties["quality"], 2);
  EXPECT_EQ(log_.count("Screen Recording has failed to start with error: The recordings folder"), 1u);
}

TEST_F(SessionLifecycleTest, AStartResetsItsStateAndReappliesTheHidingOfTheLastStop) {
  auto detail = ZRHeatTimeHandler::sharedHandler()->vcDetail();
  handler_->setSlowCapturePath(true);
  handler_->setStopScrollCaptureOnStutterOS(true);
  handler_->setLastScreenImageSize({10, 10});
  handler_->setEndOfSession_hideFullScreen(true);
  handler_->setEndOfSession_hideFullScreenGestures(true);
  handler_->setEndOfSession_hideFullScreen_APICall(true);
  ASSERT_TRUE(startRecording());  // no current screen: nothing re-applied
  EXPECT_EQ(handler_->startedAt(), CACurrentMediaTime());
  EXPECT_FALSE(handler_->slowCapturePath());
  EXPECT_TRUE(handler_->stopScrollCaptureOnStutterOS());
  EXPECT_EQ(handler_->lastScreenImageSize(), CGSizeZero);
  EXPECT_EQ(NSRunLoop::mainRunLoop().sourceCount(), 1u);
  EXPECT_FALSE(handler_->hideFullScreen_APICall());
  stopRecording(0);

  // The last stop's hiding wins over a screen rule that would not hide; otherwise the rule
  // decides, gestures included.
  ZRHeatTimeHandler::sharedHandler()->setCurrentScreenName("Account");
  struct Case {
    bool hiddenAtStop;
    std::vector<ZRHiddenScreen> rules;
    bool hidden;
    bool gesturesHidden;
  };
  for (const Case& c : {Case{true, {}, true, true}, Case{false, {{"Account", true}}, true, true},
                        Case{false, {{"Account", false}}, true, false}, Case{false, {}, false, false}}) {
    ZervaHandler::shared()->sessionSettings()->setHiddenScreens(c.rules);
    handler_->setEndOfSession_hideFullScreen(c.hiddenAtStop);
    handler_->setEndOfSession_hideFullScreenGestures(true);
    handler_->setEndOfSession_hideFullScreen_APICall(true);
    ASSERT_TRUE(startRecording());
    EXPECT_EQ(handler_->hideFullScreen(), c.hidden) << c.hiddenAtStop << c.rules.size();
    EXPECT_EQ(detail->hideGesturesOnThisScreen(), c.gesturesHidden) << c.hiddenAtStop << c.rules.size();
    EXPECT_TRUE(handler_->hideFullScreen_APICall());
    stopRecording(0);
  }
}

TEST_F(SessionLifecycleTest, EachStopReasonDeliversItsOutcome) {
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  ASSERT_TRUE(startRecording());
  auto link = handler_->displayLink();
  appendFrame(0.1);
  appendFrame(0.2);
  std::string path = recordingPath();
  StopOutcome outcome = stopRecording(0);
  ASSERT_TRUE(outcome.delivered && outcome.error);
  EXPECT_FALSE(outcome.path);
  EXPECT_EQ(*outcome.error, NSError::errorWithDomain("video-upload", 101, "video recording cancelled"));
  EXPECT_FALSE(std::filesystem::exists(path));
  // Finalised: counters reset, clock gone, the tag counts the confirmed frames.
  ASSERT_EQ(tags("stopScreenRecording").size(), 1u);
  EXPECT_EQ(tags("stopScreenRecording")[0].properties, (nlohmann::json{{"stopReason", 0}, {"numFramesInVideo", 2}}));
  EXPECT_EQ(handler_->numFramesInVideo() + handler_->totalSnapshots(), 0);
  EXPECT_FALSE(handler_->lastVideoFrameImage() || handler_->displayLink() || link->isValid());
  EXPECT_EQ(handler_->startedAt(), 0.0);
  EXPECT_EQ(log_.count("[Zerva: ScreenRecording] ScreenRecording completed"), 1u);

  for (const unsigned long reason : {1UL, 2UL}) {
    ASSERT_TRUE(startRecording());
    appendFrame(0.1);
    outcome = stopRecording(reason);
    ASSERT_TRUE(outcome.delivered && outcome.path) << reason;
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(probeVideo(*outcome.path).framePtsMs.size(), 1u);
  }

  // Another reason finishes the file and delivers nothing; so does a stop without a recording,
  // which only clears the pause.
  std::atomic<int> calls{0};
  ASSERT_TRUE(startRecording());
  handler_->stopScreenRecording(9, [&](auto, auto) { ++calls; });
  NSRunLoop::mainRunLoop().runUntil([&] { return !handler_->isRecording(); });
  handler_->setScreenRecordingIsPaused(true);
  handler_->stopScreenRecording(1, [&](auto, auto) { ++calls; });
  settle();
  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(handler_->screenRecordingIsPaused());
}

TEST_F(SessionLifecycleTest, ABigGapAtTheEndRepeatsTheLastFrame) {
  ASSERT_TRUE(startRecording());
  clock_.advance(0.2);
  appendFrame(0.2);
  clock_.advance(0.5);
  StopOutcome outcome = stopRecording(1);
  EXPECT_EQ(probeVideo(*outcome.path).framePtsMs, (std::vector<std::int64_t>{200}));
  EXPECT_TRUE(tags("stopScreenRecording-bigGap").empty());

  ASSERT_TRUE(startRecording());
  clock_.advance(0.2);
  appendFrame(0.2, UIColor::blueColor());
  clock_.advance(1.0);
  outcome = stopRecording(1);
  EXPECT_EQ(probeVideo(*outcome.path).framePtsMs, (std::vector<std::int64_t>{200, 1200}));
  const DecodedFrames frames = decodeFrames(*outcome.path, 160, 288);
  ASSERT_EQ(frames.frames.size(), 2u);
  EXPECT_LT(colourDistance(frames.pixelAt(1, 80, 144), frames.pixelAt(0, 80, 144)), 8);
  ASSERT_EQ(tags("stopScreenRecording-bigGap").size(), 1u);
  EXPECT_NEAR(tags("stopScreenRecording-bigGap")[0].properties["timeSinceLastFrame"].get<double>(), 1.0, 1e-9);

  // Without a frame a blank one is asked for (and one more for reason 2); the stop flag is up
  // before their conversion reaches the append.
  ASSERT_TRUE(startRecording());
  handler_->setLastScreenImageSize(kScreen);
  clock_.advance(2.0);
  outcome = stopRecording(2);
  EXPECT_EQ(renderer_->blanks.size(), 2u);
  EXPECT_TRUE(probeVideo(*outcome.path).framePtsMs.empty());
}

// The file is written whole, then closing it fails.
class FailingCloseOutput final : public ZRVideoOutput {
 public:
  explicit FailingCloseOutput(std::unique_ptr<ZRVideoOutput> file) : file_(std::move(file)) {}
  int write(const std::uint8_t* data, std::size_t size) override { return file_->write(data, size); }
  std::int64_t seek(std::int64_t offset, int whence) override { return file_->seek(offset, whence); }
  int close() override { return file_->close(), EIO; }
  const std::string& path() const override { return file_->path(); }

 private:
  std::unique_ptr<ZRVideoOutput> file_;
};

TEST_F(SessionLifecycleTest, RecorderAndCallerFaultsAtTheEnd) {
  handler_->videoRecorder()->setOutputFactory([](const std::string& path, int* err) -> std::unique_ptr<ZRVideoOutput> {
    auto file = ZRVideoOutputCreateFile(path, err);
    return file ? std::make_unique<FailingCloseOutput>(std::move(file)) : nullptr;
  });
  ASSERT_TRUE(startRecording());
  const std::string path = recordingPath();
  const StopOutcome failed = stopRecording(1);
  ASSERT_TRUE(failed.error);
  EXPECT_EQ(failed.error->domain(), ZRSessionVideoRecorderErrorDomain);
  EXPECT_FALSE(failed.path || std::filesystem::exists(path));

  // A completion that throws is called again with nothing; one that throws twice leaves the
  // frame queue running.
  handler_->videoRecorder()->setOutputFactory(nullptr);
  std::vector<bool> pathGiven;
  std::atomic<int> calls{0};
  for (const bool throwAgain : {false, true}) {
    ASSERT_TRUE(startRecording());
    handler_->stopScreenRecording(1, [&, throwAgain](std::optional<std::string> p, NSErrorOrNil e) {
      pathGiven.push_back(p.has_value() || e.has_value());
      if (++calls % 2 == 1) throw std::runtime_error("caller broke");
      if (throwAgain) throw 42;
    });
    NSRunLoop::mainRunLoop().runUntil([&] { return calls % 2 == 0 && !handler_->isRecording(); });
    settle();
  }
  EXPECT_EQ(pathGiven, (std::vector<bool>{true, false, true, false}));
  EXPECT_EQ(log_.count("Zerva: Problem during finishWritingWithCompletionHandler: std::runtime_error - caller broke "
                       "Extra data: <none>"),
            2u);
  ASSERT_EQ(tags("completeRecordingSession-InnerException").size(), 2u);
  EXPECT_EQ(tags("completeRecordingSession-InnerException")[0].properties["exception"], "caller broke");
  EXPECT_EQ(handler_->startedAt(), 0.0);
  bool ran = false;
  onFrameQueue([&] { ran = true; });
  EXPECT_TRUE(ran);
}

TEST_F(SessionLifecycleTest, WaitingPollsEveryTenthOfASecond) {
  EXPECT_EQ(handler_->waitUntilScreenRecordingIsFinished(5), 0.0);  // not recording
  ASSERT_TRUE(startRecording());
  EXPECT_EQ(handler_->waitUntilScreenRecordingIsFinished(0), 0.0);
  const double before = CACurrentMediaTime();
  EXPECT_NEAR(handler_->waitUntilScreenRecordingIsFinished(0.35), 0.4, 1e-9);
  EXPECT_NEAR(CACurrentMediaTime() - before, 0.4, 1e-9);  // four sleeps
}

}  // namespace
}  // namespace zerva::testing
