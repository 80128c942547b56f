// The per-frame driver (an exception boundary): frame kind, key window and capture frame, blank
// frames while paused, the capture gates, scroll-stutter checks and the slow capture path.
// Main thread: the frame timer's tick calls it.

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/NSDate.h"
#include "platform/NSLog.h"
#include "platform/ProcessClock.h"
#include "platform/StringWithFormat.h"
#include "platform/UIApplication.h"
#include "platform/UIColor.h"
#include "platform/UIWindow.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ZRKeyboardUtility.h"
#include "services/ZRLogUtility.h"
#include "services/ZROcclusionManager.h"
#include "services/ZROcclusionSetting.h"

namespace zerva {

namespace {

// Slow-path thresholds, in milliseconds of synchronous capture.
constexpr double kSlowFrameMs = 20.0;
constexpr double kQuickFrameMs = 18.0;
// The counter's value before the frame that switches: the 4th slow frame enters, the 7th quick
// one leaves.
constexpr std::int64_t kSlowFramesBeforeEntering = 3;
constexpr std::int64_t kQuickFramesBeforeLeaving = 6;

const char* const kNativeFrame = "Native ";
const char* const kSchematicFrame = "Schematic ";

void logFrameException(const std::string& description) {
  NSLog(stringWithFormat("Zerva: VVH: Frame capture exception - stage 0: %@", description));
}

}  // namespace

void ZRViewVideoHandler::captureScreenImageToVideo() {
  ZR_ASSERT_MAIN_THREAD();
  if (!isRecording() || wantToStopVideoRecording()) return;
  try {
    const double start = CACurrentMediaTime();
    // An inspector is told the same span on the real clock: a manual process clock stands still.
    using RealClock = std::chrono::steady_clock;
    const auto realStart = frameInspector() ? std::optional(RealClock::now()) : std::nullopt;
    const std::int64_t snapshotsBefore = totalSnapshots();

    const std::vector<std::string> screens = currentVisibleScreens();
    if (!screens.empty()) {
      const bool occludeFields = occlusionManager()->containsSettingOfType(ZROcclusionTypeAllTextFields, {screens.back()});
      if (occludeFields != occludeAllTextFields()) setOccludeAllTextFields(occludeFields);
    }
    const bool hidden = screenIsHidden();

    if (totalSnapshots() == 0) ZRHeatTimeHandler::sharedHandler()->reset();

    // A hidden screen is always a real capture, covered entirely.
    const bool schematic = fs_PlatformCaptureSchematicView && fs_CaptureSchematicView && !hideFullScreen();
    if (schematic) {
      // Its rectangles belong to real captures.
      std::lock_guard lock(monitor());
      if (occlusionRects()) setOcclusionRects(ZRRectStringList{});
    }
    fs_FrameCaptureType = schematic ? kSchematicFrame : kNativeFrame;

    if (schematic) {
      schematicFrameScreenImage(hidden);
    } else {
      screenImage(hidden);
    }

    gZERVA_LastFrameTime = CACurrentMediaTime() - start;
    const auto realEnd = realStart ? std::optional(RealClock::now()) : std::nullopt;

    if (userControlOfStopScrollCaptureOnStutterOS() && !verifyServerStoppedSlowPath()) {
      const double ms = gZERVA_LastFrameTime * 1000.0;
      if (slowCapturePath()) {
        if (ms < kQuickFrameMs) {
          if (fs_NumQuickFrames++ >= kQuickFramesBeforeLeaving) leaveSlowCapturePath();
        } else if (fs_NumQuickFrames > 0) {
          if (ZRLogUtility::isVerboseLoggingEnabled()) {
            NSLog(stringWithFormat("Zerva: Slow path exit reset at %d frames due to frame time of %.2f",
                                   static_cast<std::int32_t>(fs_NumQuickFrames), ms));
          }
          fs_NumQuickFrames = 0;
        }
      } else {
        if (ms > kSlowFrameMs) {
          if (fs_NumSlowFrames++ >= kSlowFramesBeforeEntering) enterSlowCapturePath();
        } else if (fs_NumSlowFrames > 0) {
          fs_NumSlowFrames = 0;
        }
      }
    }
    if (realStart) {
      inspectFrameCapture(schematic, std::chrono::duration<double>(*realEnd - *realStart).count(), snapshotsBefore);
    }
  } catch (const std::exception& exception) {
    // The frame is lost; nothing else is undone.
    logFrameException(exception.what());
  } catch (...) {
    logFrameException("unknown exception");
  }
}

void ZRViewVideoHandler::enterSlowCapturePath() {
  ZR_ASSERT_MAIN_THREAD();
  fs_NumQuickFrames = 0;
  setSlowCapturePath(true);
  setStopScrollCaptureOnStutterOS(true);
  if (!trackedScrollViews()) {
    setTrackedScrollViews(std::make_shared<std::vector<std::shared_ptr<ZRTrackedScrollViewDetailsHolder>>>());
  }
  auto keyWindow = UIApplication::sharedApplication()->keyWindow();
  setCaptureWideGamut(keyWindow && keyWindow->traitCollection().displayGamut == UIDisplayGamutP3);
}

void ZRViewVideoHandler::leaveSlowCapturePath() {
  ZR_ASSERT_MAIN_THREAD();
  fs_NumSlowFrames = 0;
  setSlowCapturePath(false);
  setStopScrollCaptureOnStutterOS(false);
}

std::shared_ptr<UIWindow> ZRViewVideoHandler::keyWindowForFrameCapture(CGRect* frame) {
  ZR_ASSERT_MAIN_THREAD();
  auto application = UIApplication::sharedApplication();
  const UIInterfaceOrientation orientation = application->statusBarOrientation();
  auto window = application->keyWindow();
  if (!window || !window->isKindOfClass(UIWindow::class_())) return nullptr;

  // The key window is captured; the first window only supplies the size.
  const auto& windows = application->windows();
  CGRect captureFrame = windows.empty() ? CGRectZero : windows.front()->bounds();

  // An unknown orientation counts as portrait.
  const bool portrait =
      orientation == UIInterfaceOrientationPortrait || orientation == UIInterfaceOrientationUnknown;
  fs_WindowFrameSizeAdjustedOnLastFrame = portrait && fs_ClampVideoToAdjustedSize;
  if (fs_WindowFrameSizeAdjustedOnLastFrame) captureFrame.size = fs_CurrentVideoSize;

  if (captureFrame.size.height < 1.0) return nullptr;

  if (screenRecordingIsPaused()) {
    const CGSize size = lastScreenImageSize();
    if (size.width == 0 || size.height == 0) {
      setLastScreenImageSize(fs_ScaleVideoDown ? fs_DownscaledVideoSize : fs_CurrentVideoSize);
    }
    addBlankScreenToVideo(UIColor::blackColor());
    if (ZRLogUtility::isIntegrationLoggingEnabled()) NSLog("[Zerva ScreenRecording] Video recording is paused");
    return nullptr;
  }

  if (frame) *frame = captureFrame;
  return window;
}

bool ZRViewVideoHandler::canRecordVideo() const {
  if (orientationChangeInProgress() || screenChangeInProgress()) return false;
  auto keyboard = keyboardUtility();
  return !(keyboard && keyboard->isKeyboardFrameChanging());
}

void ZRViewVideoHandler::screenImage(bool hideFullScreen) {
  ZR_ASSERT_MAIN_THREAD();
  CGRect captureFrame = CGRectZero;
  auto window = keyWindowForFrameCapture(&captureFrame);
  if (!window) return;  // a pause has been handled there
  if (!canRecordVideo()) return;

  // A new screen is always captured; otherwise scroll-stutter mode may skip the frame.
  const bool stutterMode = stopScrollCaptureOnStutterOS() && userControlOfStopScrollCaptureOnStutterOS() &&
                           !verifyServerStoppedSlowPath();
  if (!enteredNewScreen() && stutterMode) {
    auto skip = [] { fs_DidSkipLastFrameCapture = true; };

    const double interval = userControlOfScrollCaptureInterval();
    const bool intervalRanOut =
        fs_LastCaptureTime && interval != 0 && -fs_LastCaptureTime->timeIntervalSinceNow() > interval;
    if (intervalRanOut) {
      // Captured without the checks below; the frame interval stays lowered for the recording.
      const double quotient = 1.0 / interval;
      if (static_cast<double>(videoFrameRate()) > quotient) setVideoFrameRate(static_cast<float>(quotient));
    } else {
      auto keyboard = keyboardUtility();
      if (keyboard && keyboard->isKeyboardVisible()) return skip();
      cleanupTrackedScrollviews();
      if (anyViewScrollingInHierarchy(window)) return skip();
      if (skipCaptureOfCurrentFrame()) {
        setSkipCaptureOfCurrentFrame(false);
        return skip();
      }
      fs_DidSkipLastFrameCapture = false;
    }
    fs_LastCaptureTime = NSDate::date();
  }

  fs_DidSkipLastFrameCapture = false;
  setEnteredNewScreen(false);
  refreshAutoOccludedViews();
  recordScreenVideo(captureFrame, hideFullScreen);
}

}  // namespace zerva
