// The frame clock: the interval test, retries after a skipped capture, the pause state machine,
// the rate asked of the display, and the capture rate that results on the display's refresh grid.

#include <cmath>
#include <iterator>
#include <iostream>
#include <limits>
#include <set>

#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/CADisplayLink.h"
#include "platform/NSProcessInfo.h"
#include "recording/RecordingTestSupport.h"

namespace zerva::testing {
namespace {

constexpr double kPauseWithoutEnd = 3.4028234663852886e+38;

class FrameTimerTest : public RecordingTest {
 protected:
  /// Takes the clock's ticks into the test's hands: a link that is never scheduled, fired at
  /// chosen timestamps.
  void takeOverTheClock() {
    handler_->stopScreenRecordingTimer();
    link_ = CADisplayLink::displayLinkWithAction([h = handler_.get()](CADisplayLink&) { h->captureFrameTimerCallback(); });
    handler_->setDisplayLink(link_);
  }

  /// One tick at `timestamp`; true when it reached the capture driver.
  bool tickAt(double timestamp) {
    fs_FrameCaptureType.clear();
    link_->fire(timestamp);
    return !fs_FrameCaptureType.empty();
  }

  /// Moves the clock on and ticks at the new time.
  bool tickAfter(double seconds) {
    clock_.advance(seconds);
    return tickAt(CACurrentMediaTime());
  }

  std::shared_ptr<CADisplayLink> link_;
};

TEST_F(FrameTimerTest, OnlyTicksMoreThanOneIntervalApartPass) {
  takeOverTheClock();
  handler_->setVideoFrameRate(0.5f);
  const double t = 1024.0;
  std::vector<double> passed;
  for (const double tick : {t, t + 0.3, t + 0.6, t + 0.9, t + 1.2}) {
    tickAt(tick);
    if (handler_->timeOfLastScreenCapture() == tick) passed.push_back(tick);
  }
  EXPECT_EQ(passed, (std::vector<double>{t, t + 0.6, t + 1.2}));

  // Strictly more than the interval.
  tickAt(2048.0);
  tickAt(2048.5);
  EXPECT_EQ(handler_->timeOfLastScreenCapture(), 2048.0);
  tickAt(2048.5001);
  EXPECT_EQ(handler_->timeOfLastScreenCapture(), 2048.5001);

  // After a skipped capture every tick retries, whatever the interval.
  fs_DidSkipLastFrameCapture = true;
  tickAt(2048.6);
  tickAt(2048.7);
  EXPECT_EQ(handler_->timeOfLastScreenCapture(), 2048.7);
}

TEST_F(FrameTimerTest, NoCaptureWithoutARunningRecordingThoughTheTickCounts) {
  takeOverTheClock();
  handler_->setVideoFrameRate(0.1f);
  EXPECT_FALSE(tickAfter(1.0));  // not recording
  EXPECT_EQ(handler_->timeOfLastScreenCapture(), CACurrentMediaTime());

  ASSERT_TRUE(startRecording());
  takeOverTheClock();
  EXPECT_TRUE(tickAfter(1.0));
  handler_->setWantToStopVideoRecording(true);
  EXPECT_FALSE(tickAfter(1.0));
  EXPECT_EQ(handler_->timeOfLastScreenCapture(), CACurrentMediaTime());
}

TEST_F(FrameTimerTest, APauseGivesOneBlankFrameThenNothingUntilItEnds) {
  ZRViewVideoHandler::setSchematicCapture(false);
  makeKeyWindow();
  ASSERT_TRUE(startRecording());
  takeOverTheClock();
  handler_->setVideoFrameRate(0.1f);
  ASSERT_TRUE(tickAfter(0.2));

  handler_->pauseScreenRecordingForDuration(2.0);
  EXPECT_FALSE(handler_->screenRecordingIsPaused());  // set by the next tick, not by the call
  EXPECT_TRUE(tickAfter(0.2));                        // the tick that starts the pause
  EXPECT_TRUE(handler_->screenRecordingIsPaused());
  ASSERT_EQ(renderer_->blanks().size(), 1u);
  EXPECT_EQ(renderer_->blanks()[0].size, kScreen);
  EXPECT_EQ(renderer_->blanks()[0].color, UIColor::blackColor());

  for (int i = 0; i < 8; ++i) EXPECT_FALSE(tickAfter(0.2)) << i;  // up to the pause's end
  EXPECT_TRUE(handler_->screenRecordingIsPaused());
  EXPECT_FALSE(tickAfter(0.2));  // past the end: unpauses, captures nothing
  EXPECT_FALSE(handler_->screenRecordingIsPaused());
  EXPECT_TRUE(tickAfter(0.2));
  EXPECT_EQ(renderer_->blanks().size(), 1u);
}

TEST_F(FrameTimerTest, APauseWithoutADurationLastsUntilResumed) {
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  for (const double duration : {0.0, -3.0, std::numeric_limits<double>::quiet_NaN()}) {
    handler_->pauseScreenRecordingForDuration(duration);
    EXPECT_EQ(handler_->timeToEndPause(), kPauseWithoutEnd) << duration;
  }
  EXPECT_EQ(log_.count("[Zerva: Screen Recording] Screen Recording has been paused for 0.0 seconds"), 1u);
  EXPECT_EQ(log_.count("[Zerva: Screen Recording] Screen Recording has been paused for -3.0 seconds"), 1u);
  const auto paused = ZRLogUtility::recordedTagsNamed("screenRecordingPaused");
  ASSERT_EQ(paused.size(), 3u);
  EXPECT_EQ(paused[1].level, ZRLogLevel::Verbose);
  EXPECT_EQ(paused[1].properties["pauseDuration"], -3.0);

  ASSERT_TRUE(startRecording());
  EXPECT_EQ(handler_->timeToEndPause(), 0.0);  // the set-up resumes
  takeOverTheClock();
  handler_->setVideoFrameRate(0.1f);
  handler_->pauseScreenRecordingForDuration(0);
  EXPECT_TRUE(tickAfter(0.2));
  for (int i = 0; i < 5; ++i) EXPECT_FALSE(tickAfter(1000.0));
  handler_->resumeScreenRecording();
  EXPECT_EQ(handler_->timeToEndPause(), 0.0);
  EXPECT_FALSE(tickAfter(0.2));
  EXPECT_TRUE(tickAfter(0.2));
  EXPECT_EQ(log_.count("[Zerva: Screen Recording] Screen Recording has been resumed."), 2u);
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("screenRecordingResume").size(), 2u);
}

TEST_F(FrameTimerTest, APauseResumedBeforeAnyTickLeavesNoTrace) {
  ZRViewVideoHandler::setSchematicCapture(false);
  makeKeyWindow();
  ASSERT_TRUE(startRecording());
  takeOverTheClock();
  handler_->pauseScreenRecordingForDuration(5);
  handler_->resumeScreenRecording();
  EXPECT_TRUE(tickAfter(0.2));
  EXPECT_FALSE(handler_->screenRecordingIsPaused());
  EXPECT_TRUE(renderer_->blanks().empty());
}

TEST_F(FrameTimerTest, TheTimeLineAndTheQueries) {
  ASSERT_TRUE(startRecording());
  clock_.advance(1.5);
  EXPECT_DOUBLE_EQ(handler_->videoTimeElapsed(), 1.5);
  EXPECT_EQ(handler_->processVideoFrameTime(), 0.0);  // nothing confirmed yet
  appendFrame(0.5);
  EXPECT_DOUBLE_EQ(handler_->processVideoFrameTime(), 1.5);

  EXPECT_FALSE(handler_->screenRecordingIsPausedOrHidden());
  EXPECT_FALSE(handler_->fullScreenGestureCapturePausedOrHidden());
  handler_->setScreenRecordingIsPaused(true);
  EXPECT_TRUE(handler_->screenRecordingIsPausedOrHidden());
  EXPECT_TRUE(handler_->fullScreenGestureCapturePausedOrHidden());

  handler_->setOrientationInProgressFlag(true);
  handler_->setScreenChangeInProgressFlag(true);
  EXPECT_TRUE(handler_->orientationChangeInProgress());
  EXPECT_TRUE(handler_->screenChangeInProgress());
}

TEST_F(FrameTimerTest, TheRateAskedOfTheDisplayFollowsTheInterval) {
  struct Case {
    float interval;
    int os;
    CAFrameRateRange range;
    int framesPerSecond;
  };
  const float aboveAFifth = std::nextafter(0.2f, 1.0f);
  for (const Case& c : {Case{0.2f, 17, CAFrameRateRangeMake(2, 10, 5), 0},
                        Case{aboveAFifth, 15, CAFrameRateRangeMake(2, 10, 4), 0},  // truncated, not rounded
                        Case{0.5f, 14, CAFrameRateRangeDefault, 2},
                        Case{0.0f, 17, CAFrameRateRangeDefault, 0}}) {
    SCOPED_TRACE(::testing::Message() << c.interval << " on " << c.os);
    NSProcessInfo::processInfo().setOperatingSystemVersion({c.os, 0, 0});
    handler_->setVideoFrameRate(c.interval);
    handler_->startScreenRecordingTimer();
    auto link = handler_->displayLink();
    ASSERT_TRUE(link);
    EXPECT_EQ(link->preferredFrameRateRange(), c.range);
    EXPECT_EQ(link->preferredFramesPerSecond(), c.framesPerSecond);
    if (c.interval == 0.0f) {
      EXPECT_EQ(link->refreshesPerTick(), 1);  // the display's own rate
    }
  }
  handler_->stopScreenRecordingTimer();
}

TEST_F(FrameTimerTest, RestartingTheTimerLeavesOneLinkScheduled) {
  handler_->startScreenRecordingTimer();
  auto first = handler_->displayLink();
  handler_->setTimeOfLastScreenCapture(5.0);
  handler_->startScreenRecordingTimer();
  EXPECT_FALSE(first->isValid());
  EXPECT_NE(handler_->displayLink(), first);
  EXPECT_EQ(handler_->timeOfLastScreenCapture(), 0.0);
  EXPECT_EQ(NSRunLoop::mainRunLoop().sourceCount(), 1u);
  handler_->stopScreenRecordingTimer();
  EXPECT_EQ(NSRunLoop::mainRunLoop().sourceCount(), 0u);
  EXPECT_FALSE(handler_->displayLink());
}

// The display ticks on a 60 Hz grid at the recorder's rate, so two ticks are one interval apart
// up to the rounding of their timestamps, never more than the interval held in single precision:
// the strict interval test lets every other tick through.
TEST_F(FrameTimerTest, CapturesComeEveryOtherTickOnTheDisplayGrid) {
  for (const float recorderFrameRate : {2.0f, 5.0f, 10.0f}) {
    SCOPED_TRACE(recorderFrameRate);
    handler_->setVideoFrameRate(1.0f / recorderFrameRate);
    handler_->startScreenRecordingTimer();
    std::set<double> captures;
    auto observer = CADisplayLink::displayLinkWithAction(
        [&](CADisplayLink&) { captures.insert(handler_->timeOfLastScreenCapture()); });
    observer->addToRunLoop(NSRunLoop::mainRunLoop(), NSRunLoopCommonModes);
    runFor(60.0);
    observer->invalidate();
    handler_->stopScreenRecordingTimer();

    captures.erase(0.0);
    ASSERT_GT(captures.size(), 2u);
    for (auto previous = captures.begin(), it = std::next(previous); it != captures.end(); previous = it++) {
      EXPECT_NEAR(*it - *previous, 2.0 / recorderFrameRate, 1e-9);
    }
    const double perSecond = (captures.size() - 1) / (*captures.rbegin() - *captures.begin());
    std::cout << "recorder at " << recorderFrameRate << " fps: " << perSecond << " captures per second\n";
    EXPECT_NEAR(perSecond, recorderFrameRate / 2, 1e-6);
  }
}

}  // namespace
}  // namespace zerva::testing
