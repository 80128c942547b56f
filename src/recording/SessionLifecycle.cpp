// Starting and stopping a recording: set-up of the recorder, the start completion, the stop
// sequence with the big-gap rule, delivery of the outcome (an exception boundary), wait, cleanup.
// Start and set-up on the SDK's thread, the start completion on the main thread, the stop sequence
// and the delivery on the frame queue.

#include <cxxabi.h>

#include <cmath>
#include <cstdlib>
#include <exception>
#include <memory>
#include <typeinfo>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/NSDate.h"
#include "platform/NSLog.h"
#include "platform/NSThread.h"
#include "platform/ProcessClock.h"
#include "platform/StringWithFormat.h"
#include "platform/UIApplication.h"
#include "platform/UIScreen.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ZRLogUtility.h"
#include "services/ZRPlistHandler.h"
#include "services/ZRRecordingFile.h"
#include "services/ZRSessionVideoRecorder.h"
#include "services/ZRSessionVideoSettings.h"
#include "services/ZervaHandler.h"

namespace zerva {

namespace {

constexpr unsigned long kStopReasonCancel = 0;
constexpr unsigned long kStopReasonDeliver = 1;
constexpr unsigned long kStopReasonDeliverAfterBlankFrame = 2;

// Beyond this the video would end on a frozen picture for too long: repeat the last frame.
constexpr double kBigGapSeconds = 0.75;
constexpr double kWaitPollSeconds = 0.1;

std::shared_ptr<ZRViewVideoHandler> selfOf(ZRViewVideoHandler* handler) {
  return std::static_pointer_cast<ZRViewVideoHandler>(handler->shared_from_this());
}

// Truncation toward zero, as the screen's point size becomes the video's integer size. A side
// that is not a finite positive number, or larger than any screen, gives 0 (no video).
unsigned long truncatedSide(double side) {
  if (!std::isfinite(side) || side <= 0 || side >= 1e9) return 0;
  return static_cast<unsigned long>(side);
}

std::string demangledTypeName(const std::type_info& type) {
  int status = 0;
  char* name = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
  std::string result = status == 0 && name ? name : type.name();
  std::free(name);
  return result;
}

}  // namespace

bool ZRViewVideoHandler::isRecording() const {
  auto recorder = videoRecorder();
  return recorder && recorder->hasRecordingStarted();
}

void ZRViewVideoHandler::startScreenRecording() {
  auto settings = ZervaHandler::shared()->sessionSettings();
  if (!settings || !settings->recordScreenVideo() || isRecording()) return;
  auto self = selfOf(this);
  setupAssetWriterWithCompletion(
      [self](bool success, NSErrorOrNil error) { self->handleRecordingStarted(success, std::move(error)); });
}

void ZRViewVideoHandler::setupAssetWriterWithCompletion(SetupCompletion completion) {
  auto recorder = videoRecorder();
  if (recorder->hasRecordingStarted()) {
    if (completion) completion(true, std::nullopt);
    return;
  }

  if (UIApplication::sharedApplication()->applicationState() == UIApplicationStateBackground) {
    NSError error =
        NSError::errorWithDomain("ZervaRecordingError", 300, "Recording is started when app is in background mode");
    ZRLogUtility::addInternalWarningTag("sessionRecord-failToStartVideo", {{"error", error.localizedDescription()}});
    if (completion) completion(false, error);
    return;
  }

  resumeScreenRecording();
  setScreenRecordingIsPaused(false);

  CGSize nativeSize = CGSizeZero;
  if (auto space = UIScreen::mainScreen()->fixedCoordinateSpace()) nativeSize = space->bounds().size;
  fs_DeviceNativeSize = nativeSize;

  unsigned long width = truncatedSide(nativeSize.width);
  const unsigned long height = truncatedSide(nativeSize.height);
  if (width % 16 != 0) {
    // The encoder wants widths in whole macroblocks; once clamped, frames stay clamped.
    width = width - width % 16 + 16;
    fs_ClampVideoToAdjustedSize = true;
  }
  fs_CurrentVideoSize = CGSizeMake(static_cast<double>(width), static_cast<double>(height));

  auto sessionSettings = ZervaHandler::shared()->sessionSettings();
  const unsigned long quality = sessionSettings ? sessionSettings->recordingQuality() : ZRVideoQualityMedium;
  const ZRSessionVideoSettings videoSettings = ZRSessionVideoSettings::initForQuality(quality, nativeSize);

  auto self = selfOf(this);
  recorder->startRecordingWithSettings(
      videoSettings, [self, videoSettings, quality, completion = std::move(completion)](bool success,
                                                                                          NSErrorOrNil error) {
        if (error) {
          const std::string description =
              error->localizedDescription().empty() ? "--unknown--" : error->localizedDescription();
          ZRLogUtility::addInternalWarningTag("sessionRecord-failToStartVideo",
                                              {{"error", description}, {"quality", quality}});
          if (completion) completion(false, std::move(error));
          return;
        }
        self->setVideoFrameRate(1.0f / videoSettings.frameRate());
        fs_ScaleVideoDown = videoSettings.scaleFactor() < 1.0f;
        fs_DownscaledVideoSize = videoSettings.screenSize();
        if (completion) completion(success, std::nullopt);
      });
}

void ZRViewVideoHandler::handleRecordingStarted(bool success, NSErrorOrNil error) {
  // The frame clock is scheduled on this thread's run loop; the recorder posts here to the main one.
  ZR_ASSERT_MAIN_THREAD();
  if (!success) {
    if (ZRLogUtility::isIntegrationLoggingEnabled()) {
      NSLog(stringWithFormat("[Zerva: Screen Recording] Screen Recording has failed to start with error: %@",
                             error ? error->localizedDescription() : std::string("Unknown error")));
    }
    cleanupRecording();
    return;
  }

  if (ZRLogUtility::isIntegrationLoggingEnabled()) {
    NSLog(stringWithFormat("[Zerva: Screen Recording] Screen Recording has started at %@", NSDate::date()));
  }
  setStartedAt(CACurrentMediaTime());
  setWantToStopVideoRecording(false);
  setSlowCapturePath(false);
  setLastScreenImageSize(CGSizeZero);

  ZRPlistHandler::sharedHandler()->increaseSessionVideoCount();

  auto heatTime = ZRHeatTimeHandler::sharedHandler();
  if (const std::optional<std::string> screenName = heatTime->currentScreenName()) {
    // The screen hidden when the last recording stopped stays hidden in this one.
    bool hideGestures = endOfSession_hideFullScreenGestures();
    setHideFullScreen_APICall(hideFullScreen_APICall() || endOfSession_hideFullScreen_APICall());
    setHideFullScreenGestures_APICall(hideFullScreenGestures_APICall() ||
                                      endOfSession_hideFullScreenGestures_APICall());
    bool hide = true;
    if (!endOfSession_hideFullScreen()) {
      auto settings = ZervaHandler::shared()->sessionSettings();
      hide = settings && settings->occludeScreenNamed(*screenName, &hideGestures);
    }
    occludeScreen(hide, hideGestures);
    if (auto detail = heatTime->vcDetail()) detail->setHideGesturesOnThisScreen(hide && hideGestures);
  }

  startScreenRecordingTimer();
}

void ZRViewVideoHandler::stopScreenRecording(unsigned long stopReason, StopCompletion completionHandler) {
  setScreenRecordingIsPaused(false);
  if (!isRecording()) return;
  if (ZRLogUtility::isVerboseLoggingEnabled()) NSLog("Zerva: VVH: stopScreenRecording called");
  setEndOfSessionProperties();
  auto self = selfOf(this);
  dispatch_async(GetMakeVideoFrameQueue(), [self, stopReason, completionHandler = std::move(completionHandler)] {
    self->finalizeSessionRecording(stopReason, completionHandler);
  });
}

void ZRViewVideoHandler::setEndOfSessionProperties() {
  setEndOfSession_hideFullScreen(screenIsHidden());
  setEndOfSession_hideFullScreenGestures(screenGestureRecordingIsHidden());
  setEndOfSession_hideFullScreen_APICall(hideFullScreen_APICall());
  setEndOfSession_hideFullScreenGestures_APICall(hideFullScreenGestures_APICall());
}

void ZRViewVideoHandler::finalizeSessionRecording(unsigned long stopReason, StopCompletion completionHandler) {
  ZR_ASSERT_FRAME_QUEUE();
  if (!screenRecordingIsPaused()) handleEndOfScreenRecordingForNonPausedState();
  // Its conversion continues on this queue after the stop flag is up, so the recorder never
  // gets it; kept because the stop reason asks for it.
  if (stopReason == kStopReasonDeliverAfterBlankFrame) addBlankImageToVideo();
  setLastVideoFrameImage(nullptr);
  ZRLogUtility::addInternalInfoTag("stopScreenRecording",
                                   {{"stopReason", stopReason}, {"numFramesInVideo", numFramesInVideo()}});
  completeRecordingSession(stopReason, std::move(completionHandler));
  setNumFramesInVideo(0);
  setTotalSnapshots(0);
  if (ZRLogUtility::isIntegrationLoggingEnabled()) NSLog("[Zerva: ScreenRecording] ScreenRecording completed");
}

void ZRViewVideoHandler::handleEndOfScreenRecordingForNonPausedState() {
  ZR_ASSERT_FRAME_QUEUE();
  const double gap = videoTimeElapsed() - lastVideoFrameTime();
  if (!(gap > kBigGapSeconds)) return;
  ZRLogUtility::addInternalInfoTag("stopScreenRecording-bigGap", {{"timeSinceLastFrame", gap}});
  if (auto image = lastVideoFrameImage()) {
    preserveLastVideoFrameTime();
    processScreenImageIntoVideo(image, lastVideoFrameTime());
  } else {
    addBlankImageToVideo();
  }
}

void ZRViewVideoHandler::completeRecordingSession(unsigned long stopReason, StopCompletion completionHandler) {
  ZR_ASSERT_FRAME_QUEUE();
  setWantToStopVideoRecording(true);
  stopScreenRecordingTimer();
  auto self = selfOf(this);
  videoRecorder()->stopRecordingWithCompletionHandler(
      [self, stopReason, completionHandler = std::move(completionHandler)](std::shared_ptr<ZRRecordingFile>,
                                                                           NSErrorOrNil error) {
        dispatch_async(GetMakeVideoFrameQueue(), [self, stopReason, error = std::move(error), completionHandler] {
          self->handleVideoCompletionStateForStopReason(stopReason, error, completionHandler);
        });
      });
}

void ZRViewVideoHandler::handleVideoCompletionStateForStopReason(unsigned long stopReason, NSErrorOrNil error,
                                                                 StopCompletion completionHandler) {
  ZR_ASSERT_FRAME_QUEUE();
  auto deliver = [&](std::optional<std::string> path, NSErrorOrNil outcome) {
    if (completionHandler) completionHandler(std::move(path), std::move(outcome));
  };
  auto recoverFrom = [&](const std::string& name, const std::string& reason, const std::string& tagDescription) {
    NSLog(stringWithFormat("Zerva: Problem during finishWritingWithCompletionHandler: %@ - %@ Extra data: %@", name,
                           reason, "<none>"));
    ZRLogUtility::addInternalErrorTag("completeRecordingSession-InnerException", {{"exception", tagDescription}});
    cleanupRecording();
    // A caller whose completion throws again must not take the frame queue's thread down.
    try {
      deliver(std::nullopt, std::nullopt);
    } catch (...) {
    }
  };

  try {
    cleanupRecording();
    auto file = videoRecorder()->recordingFile();
    if (error) {
      if (file) file->deleteFile(0);
      deliver(std::nullopt, error);
    } else if (stopReason == kStopReasonDeliver || stopReason == kStopReasonDeliverAfterBlankFrame) {
      deliver(file ? std::optional<std::string>(file->url().path()) : std::nullopt, std::nullopt);
    } else if (stopReason == kStopReasonCancel) {
      if (file) file->deleteFile(0);
      deliver(std::nullopt, NSError::errorWithDomain("video-upload", 101, "video recording cancelled"));
    }
  } catch (const std::exception& exception) {
    const std::string reason = exception.what();
    recoverFrom(demangledTypeName(typeid(exception)), reason, reason.empty() ? "-unknown-" : reason);
  } catch (...) {
    const std::type_info* type = abi::__cxa_current_exception_type();
    recoverFrom(type ? demangledTypeName(*type) : "unknown exception", "(no reason)", "-unknown-");
  }
}

double ZRViewVideoHandler::waitUntilScreenRecordingIsFinished(double timeout) {
  if (!isRecording() || !(timeout > 0)) return 0.0;
  double waited = 0.0;
  while (true) {
    NSThread::sleepForTimeInterval(kWaitPollSeconds);
    waited += kWaitPollSeconds;
    if (!isRecording()) return waited;
    if (!(waited < timeout)) return waited;
  }
}

void ZRViewVideoHandler::cleanupRecording() { setStartedAt(0.0); }

}  // namespace zerva
