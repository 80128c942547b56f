// The frame clock: the interval test and its retries, the pause state machine, the rate asked of
// the display, and the capture rate that results on the display's refresh grid.

#include <cmath>
#include <iostream>
#include <iterator>
#include <limits>
#include <set>

#include "platform/CADisplayLink.h"
#include "platform/NSProcessInfo.h"
#include "recording/RecordingTestSupport.h"

namespace zerva::testing {
namespace {

class FrameTimerTest : public RecordingTest {
 protected:
  /// Replaces the scheduled link by one the test fires at chosen timestamps.
  void takeOverTheClock() {
    handler_->stopScreenRecordingTimer();
    link_ = CADisplayLink::displayLinkWithAction([h = handler_.get()](CADisplayLink&) { h->captureFrameTimerCallback(); });
    handler_->setDisplayLink(link_);
  }

  /// One tick `seconds` later; true when it reached the capture driver.
  bool tickAfter(double seconds) {
    clock_.advance(seconds);
    fs_FrameCaptureType.clear();
    link_->fire(CACurrentMediaTime());
    return !fs_FrameCaptureType.empty();
  }

  std::shared_ptr<CADisplayLink> link_;
};

TEST_F(FrameTimerTest, OnlyTicksMoreThanOneIntervalApartPass) {
  takeOverTheClock();
  handler_->setVideoFrameRate(0.5f);
  std::vector<double> passed;
  for (const double tick : {1024.0, 1024.25, 1024.5, 1024.625, 1025.0, 1025.125, 1025.25}) {
    link_->fire(tick);
    if (handler_->timeOfLastScreenCapture() == tick) passed.push_back(tick);
  }
  EXPECT_EQ(passed, (std::vector<double>{1024.0, 1024.625, 1025.25}));  // strictly more than 0.5
  fs_DidSkipLastFrameCapture = true;  // after a skipped capture every tick retries
  link_->fire(1025.8);
  EXPECT_EQ(handler_->timeOfLastScreenCapture(), 1025.8);

  // Ticks count, but reach the driver only while a recording runs and no stop began.
  EXPECT_FALSE(tickAfter(1.0));
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
  handler_->pauseScreenRecordingForDuration(5);  // resumed before any tick: no trace
  handler_->resumeScreenRecording();
  EXPECT_TRUE(tickAfter(0.25));

  handler_->pauseScreenRecordingForDuration(2.0);
  EXPECT_FALSE(handler_->screenRecordingIsPaused());  // the next tick sets it
  EXPECT_TRUE(tickAfter(0.25));
  EXPECT_TRUE(handler_->screenRecordingIsPaused() && handler_->screenRecordingIsPausedOrHidden());
  ASSERT_EQ(renderer_->blanks.size(), 1u);
  EXPECT_EQ(renderer_->blanks[0], std::make_pair(kScreen, UIColor::blackColor()));
  for (int i = 0; i < 7; ++i) EXPECT_FALSE(tickAfter(0.25)) << i;  // up to the end, 2 s on
  EXPECT_TRUE(handler_->screenRecordingIsPaused());
  EXPECT_FALSE(tickAfter(0.25));  // past it: unpauses, captures nothing
  EXPECT_FALSE(handler_->screenRecordingIsPaused());
  EXPECT_TRUE(tickAfter(0.25));
  EXPECT_EQ(renderer_->blanks.size(), 1u);

  // Without a duration: until resumed.
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  for (const double duration : {0.0, -3.0, std::numeric_limits<double>::quiet_NaN()}) {
    handler_->pauseScreenRecordingForDuration(duration);
    EXPECT_EQ(handler_->timeToEndPause(), 3.4028234663852886e+38);
  }
  EXPECT_TRUE(tickAfter(0.2));
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(tickAfter(1e6));
  handler_->resumeScreenRecording();
  EXPECT_FALSE(tickAfter(0.2));
  EXPECT_TRUE(tickAfter(0.2));
  EXPECT_EQ(log_.count("[Zerva: Screen Recording] Screen Recording has been paused for -3.0 seconds"), 1u);
  EXPECT_EQ(log_.count("[Zerva: Screen Recording] Screen Recording has been resumed."), 1u);
  const auto paused = ZRLogUtility::recordedTagsNamed("screenRecordingPaused");
  ASSERT_EQ(paused.size(), 5u);
  EXPECT_EQ(paused[3].level, ZRLogLevel::Verbose);
  EXPECT_EQ(paused[3].properties["pauseDuration"], -3.0);
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("screenRecordingResume").size(), 3u);  // set-up included
}

TEST_F(FrameTimerTest, TheTimeLine) {
  ASSERT_TRUE(startRecording());
  clock_.advance(1.5);
  EXPECT_DOUBLE_EQ(handler_->videoTimeElapsed(), 1.5);
  EXPECT_EQ(handler_->processVideoFrameTime(), 0.0);  // nothing confirmed yet
  appendFrame(0.5);
  EXPECT_DOUBLE_EQ(handler_->processVideoFrameTime(), 1.5);
}

TEST_F(FrameTimerTest, TheRateAskedOfTheDisplayAndOneLinkAtATime) {
  struct Case {
    float interval;
    int os;
    CAFrameRateRange range;
    int framesPerSecond;
  };
  std::shared_ptr<CADisplayLink> previous;
  for (const Case& c : {Case{0.2f, 17, CAFrameRateRangeMake(2, 10, 5), 0},
                        Case{std::nextafter(0.2f, 1.0f), 15, CAFrameRateRangeMake(2, 10, 4), 0},  // truncated
                        Case{0.5f, 14, CAFrameRateRangeDefault, 2}, Case{0.0f, 17, CAFrameRateRangeDefault, 0}}) {
    NSProcessInfo::processInfo().setOperatingSystemVersion({c.os, 0, 0});
    handler_->setVideoFrameRate(c.interval);
    handler_->setTimeOfLastScreenCapture(5.0);
    handler_->startScreenRecordingTimer();
    auto link = handler_->displayLink();
    EXPECT_EQ(link->preferredFrameRateRange(), c.range) << c.interval;
    EXPECT_EQ(link->preferredFramesPerSecond(), c.framesPerSecond) << c.interval;
    EXPECT_EQ(handler_->timeOfLastScreenCapture(), 0.0);
    EXPECT_EQ(NSRunLoop::mainRunLoop().sourceCount(), 1u);
    EXPECT_TRUE(!previous || !previous->isValid());
    previous = link;
  }
  handler_->stopScreenRecordingTimer();
  EXPECT_EQ(NSRunLoop::mainRunLoop().sourceCount(), 0u);
}

// The display ticks on a 60 Hz grid at the recorder's rate, so two ticks are one interval apart
// up to the rounding of their timestamps, never more than the interval held in single precision:
// the strict interval test lets every other tick through.
TEST_F(FrameTimerTest, CapturesComeEveryOtherTickOnTheDisplayGrid) {
  for (const float recorderFrameRate : {2.0f, 5.0f, 10.0f}) {
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
  }
}

}  // namespace
}  // namespace zerva::testing
