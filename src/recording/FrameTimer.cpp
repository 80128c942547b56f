// The clock of a recording: the display-link timer and its interval test, pause and resume, the
// recording's time line and the two in-progress flags.
// The timer and its tick on the main thread; pause, resume, the time line and the queries on any.

#include <cmath>
#include <limits>
#include <memory>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/CADisplayLink.h"
#include "platform/NSLog.h"
#include "platform/NSProcessInfo.h"
#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "platform/StringWithFormat.h"
#include "platform/UIScreen.h"
#include "services/ZRLogUtility.h"

namespace zerva {

namespace {

// A pause without end: the largest finite float, widened. No clock value reaches it.
constexpr double kPauseWithoutEnd = static_cast<double>(std::numeric_limits<float>::max());

// The system's rate range for the frame clock: never under 2 or over 10 ticks a second.
constexpr float kMinimumTicksPerSecond = 2.0f;
constexpr float kMaximumTicksPerSecond = 10.0f;

// 1 / interval in single precision, truncated toward zero (an interval a hair above 0.2 gives 4).
int ticksPerSecondForInterval(float interval) {
  const float rate = 1.0f / interval;
  if (!std::isfinite(rate)) return rate > 0 ? std::numeric_limits<int>::max() : 0;
  if (rate >= static_cast<float>(std::numeric_limits<int>::max())) return std::numeric_limits<int>::max();
  if (rate <= static_cast<float>(std::numeric_limits<int>::min())) return std::numeric_limits<int>::min();
  return static_cast<int>(rate);
}

}  // namespace

void ZRViewVideoHandler::startScreenRecordingTimer() {
  ZR_ASSERT_MAIN_THREAD();
  if (displayLink()) stopScreenRecordingTimer();
  // The first tick always passes the interval test.
  setTimeOfLastScreenCapture(0.0);

  auto self = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
  auto link = UIScreen::mainScreen()->displayLinkWithTarget(self, &ZRViewVideoHandler::captureFrameTimerCallback);
  setDisplayLink(link);

  const float interval = videoFrameRate();
  if (interval != 0.0f) {
    const int fps = ticksPerSecondForInterval(interval);
    if (ZRSystemVersionAtLeast(15, 0)) {
      link->setPreferredFrameRateRange(
          CAFrameRateRangeMake(kMinimumTicksPerSecond, kMaximumTicksPerSecond, static_cast<float>(fps)));
    } else {
      link->setPreferredFramesPerSecond(fps);
    }
  }
  // Common modes: the clock keeps ticking while the user scrolls or touches.
  link->addToRunLoop(NSRunLoop::currentRunLoop(), NSRunLoopCommonModes);
}

void ZRViewVideoHandler::stopScreenRecordingTimer() {
  // Also called by the stop sequence on the frame queue; invalidating is safe from any thread.
  if (auto link = displayLink()) link->invalidate();
  setDisplayLink(nullptr);
}

void ZRViewVideoHandler::captureFrameTimerCallback() {
  ZR_ASSERT_MAIN_THREAD();
  auto link = displayLink();
  if (!link) return;  // stopped by the frame queue since this tick was due
  const double timestamp = link->timestamp();
  const double elapsed = timestamp - timeOfLastScreenCapture();
  // A skipped capture makes every following tick retry until one goes through.
  if (!(elapsed > static_cast<double>(videoFrameRate()) || fs_DidSkipLastFrameCapture)) return;
  setTimeOfLastScreenCapture(timestamp);

  if (!isRecording() || wantToStopVideoRecording()) return;

  if (screenRecordingIsPaused()) {
    // The tick that ends a pause captures nothing.
    if (CACurrentMediaTime() > timeToEndPause()) setScreenRecordingIsPaused(false);
    return;
  }
  // On the tick that starts a pause the driver appends one blank frame in place of a picture.
  if (timeToEndPause() > CACurrentMediaTime()) setScreenRecordingIsPaused(true);
  captureScreenImageToVideo();
}

void ZRViewVideoHandler::pauseScreenRecordingForDuration(double duration) {
  // The pause flag itself is set by the next tick that passes the interval test.
  setTimeToEndPause(duration > 0 ? CACurrentMediaTime() + duration : kPauseWithoutEnd);
  if (ZRLogUtility::isIntegrationLoggingEnabled()) {
    NSLog(stringWithFormat("[Zerva: Screen Recording] Screen Recording has been paused for %.1f seconds", duration));
  }
  ZRLogUtility::addInternalVerboseTag("screenRecordingPaused", {{"pauseDuration", duration}});
}

void ZRViewVideoHandler::resumeScreenRecording() {
  ZRLogUtility::addInternalVerboseTag("screenRecordingResume");
  setTimeToEndPause(0.0);
  if (ZRLogUtility::isIntegrationLoggingEnabled()) {
    NSLog("[Zerva: Screen Recording] Screen Recording has been resumed.");
  }
}

double ZRViewVideoHandler::videoTimeElapsed() const { return CACurrentMediaTime() - startedAt(); }

double ZRViewVideoHandler::processVideoFrameTime() const {
  return numFramesInVideo() == 0 ? 0.0 : videoTimeElapsed();
}

bool ZRViewVideoHandler::screenRecordingIsPausedOrHidden() const {
  return screenRecordingIsPaused() || screenIsHidden();
}

bool ZRViewVideoHandler::fullScreenGestureCapturePausedOrHidden() const {
  return screenRecordingIsPaused() || screenGestureRecordingIsHidden();
}

void ZRViewVideoHandler::setOrientationInProgressFlag(bool inProgress) { orientationChangeInProgress_ = inProgress; }

void ZRViewVideoHandler::setScreenChangeInProgressFlag(bool inProgress) { screenChangeInProgress_ = inProgress; }

}  // namespace zerva
