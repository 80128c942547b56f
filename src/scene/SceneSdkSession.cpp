// The scene's session with the SDK: its settings applied, calls dispatched by topic, the recording
// started and stopped, and the results kept. Main thread; the stop completion on the frame queue.

#include "scene/SceneSdkSession.h"

#include <algorithm>

#include "handler/ZRViewVideoHandler.h"
#include "platform/MutexLock.h"
#include "platform/NSRunLoop.h"
#include "platform/NSTimer.h"
#include "scene/ScenePlayer.h"
#include "services/InternalZRConfiguration.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ZRImageRenderer.h"
#include "services/ZRLogUtility.h"
#include "services/ZROcclusionManager.h"
#include "services/ZRSessionSettings.h"
#include "services/ZervaHandler.h"

namespace zerva {

SceneSdkSession::SceneSdkSession(const Scene& scene, ScenePlayer& player, std::shared_ptr<ZRViewVideoHandler> handler)
    : sdk_(scene.sdk),
      startsRecording_(std::any_of(scene.timeline.begin(), scene.timeline.end(),
                                   [](const SceneEvent& e) {
                                     return e.call && e.call->method == SceneCallMethod::StartScreenRecording;
                                   })),
      player_(player),
      handler_(std::move(handler)),
      self_(std::make_shared<SceneSdkSession*>(this)) {
  // The SDK's screen tracker follows what the app shows: the screen shown last is the current
  // one, which the hidden screens of the session settings are checked against when a recording
  // starts. With automatic screen name tagging on, the screens are also the visible screens.
  std::weak_ptr<ZRViewVideoHandler> weak = handler_;
  const bool tagging = sdk_.enableAutomaticScreenNameTagging;
  auto shown = std::make_shared<std::vector<std::string>>();
  player_.setScreenHandler([weak, tagging, shown](const std::string& screen, bool visible) {
    std::erase(*shown, screen);
    if (visible) shown->push_back(screen);
    ZRHeatTimeHandler::sharedHandler()->setCurrentScreenName(shown->empty() ? std::nullopt
                                                                            : std::optional(shown->back()));
    auto handler = weak.lock();
    if (!tagging || !handler) return;
    if (visible) {
      handler->addVisibleScreen(screen, screen);
    } else {
      handler->removeVisibleScreenForControllerId(screen);
    }
  });
}

SceneSdkSession::~SceneSdkSession() {
  self_.reset();
  for (auto& timer : timers_) timer->invalidate();
  releaseHandlerState();
}

void SceneSdkSession::releaseHandlerState() {
  // The handler outlives the scene as it outlives an app's screens. What the calls registered on
  // it goes with the scene: hooks whose script is gone would never reply, so a next scene in the
  // same process would make no frame, and screens hidden by call would stay hidden.
  handler_->occludeRectsOnNextFrame(nullptr);
  handler_->pauseForOcclusionNextFrame(nullptr);
  handler_->occludeScreen(false, false);
  handler_->occludeScreenAPI(false, false);
  // A screen hidden when a recording stopped stays hidden in the app's next one, not another app's.
  handler_->setEndOfSession_hideFullScreen(false);
  handler_->setEndOfSession_hideFullScreenGestures(false);
  handler_->setEndOfSession_hideFullScreen_APICall(false);
  handler_->setEndOfSession_hideFullScreenGestures_APICall(false);
  handler_->setOccludeAllTextFields(false);
  handler_->setOccludeAllTexts(false);
  handler_->removeAllVisibleScreens();
  ZRHeatTimeHandler::sharedHandler()->setCurrentScreenName(std::nullopt);
  if (auto manager = handler_->occlusionManager()) {
    manager->setOcclusion(std::nullopt, ZROcclusionSourceDashboard);
    manager->setOcclusion(std::nullopt, ZROcclusionSourceManual);
  }
}

void SceneSdkSession::applySdkSettings() {
  auto settings = std::make_shared<ZRSessionSettings>();
  settings->setRecordScreenVideo(sdk_.recordScreenVideo);
  settings->setRecordingQuality(sdk_.recordingQuality);
  settings->setSensitiveViewColor(sdk_.sensitiveViewColor);
  settings->setHiddenScreens(sdk_.hiddenScreens);
  ZervaHandler::shared()->setSessionSettings(settings);

  auto configuration = InternalZRConfiguration::sharedConfiguration();
  configuration->setOcclusion(sdk_.occlusion);
  configuration->setEnableImprovedScreenCapture(sdk_.enableImprovedScreenCapture);
  configuration->setEnableAutomaticScreenNameTagging(sdk_.enableAutomaticScreenNameTagging);
  configuration->setPlatformType(sdk_.platformType);
  // The handler took these from the configuration when it was made; a scene's come later.
  if (auto manager = handler_->occlusionManager()) manager->setOcclusion(sdk_.occlusion, ZROcclusionSourceConfiguration);
  if (auto renderer = handler_->imageRenderer()) renderer->setUseImageRenderer(sdk_.enableImprovedScreenCapture);
  handler_->setupWebViewParameters();

  ZRViewVideoHandler::setSchematicCapture(sdk_.schematicCapture);
  ZRViewVideoHandler::setPlatformSchematicCapture(sdk_.platformSchematicCapture);
  ZRLogUtility::setIntegrationLoggingEnabled(sdk_.integrationLogging);
  ZRLogUtility::setVerboseLoggingEnabled(sdk_.verboseLogging);
}

bool SceneSdkSession::sceneStartsRecording() const { return startsRecording_; }

void SceneSdkSession::startRecording() { handler_->startScreenRecording(); }

void SceneSdkSession::stopRecording(unsigned long reason) {
  std::weak_ptr<AsyncResults> weak = async_;
  handler_->stopScreenRecording(reason, [weak, reason](std::optional<std::string> path, NSErrorOrNil error) {
    auto results = weak.lock();
    if (!results) return;
    {
      MutexLock lock(results->mutex);
      results->outcome = RecordingOutcome{reason, std::move(path), std::move(error)};
    }
    results->stopDelivered = true;
  });
}

std::vector<SceneSdkSession::TextRecognitionAnswer> SceneSdkSession::textRecognitionAnswers() const {
  MutexLock lock(async_->mutex);
  return async_->textRecognitionAnswers;
}

std::optional<SceneSdkSession::RecordingOutcome> SceneSdkSession::recordingOutcome() const {
  MutexLock lock(async_->mutex);
  return async_->outcome;
}

void SceneSdkSession::after(double seconds, std::function<void()> action) {
  // A one-shot timer is done once it fired; hooks that answer late make one for every frame.
  std::erase_if(timers_, [](const auto& timer) { return !timer->isValid(); });
  auto timer = NSTimer::timerWithTimeInterval(std::max(0.0, seconds), false,
                                              [action = std::move(action)](NSTimer&) { action(); });
  NSRunLoop::mainRunLoop().addSource(timer, NSRunLoopCommonModes);
  timers_.push_back(timer);
}

void SceneSdkSession::perform(const SceneCall& call) {
  using M = SceneCallMethod;
  switch (call.method) {
    case M::StartScreenRecording:
    case M::StopScreenRecording:
    case M::WaitUntilScreenRecordingIsFinished:
    case M::PauseScreenRecordingForDuration:
    case M::ResumeScreenRecording:
    case M::SetOrientationInProgressFlag:
    case M::SetScreenChangeInProgressFlag:
      performRecordingCall(call);
      break;
    case M::AddSensitiveView:
    case M::RemoveSensitiveView:
    case M::SetOccludeAllTextFields:
    case M::SetOccludeAllTexts:
    case M::AddVisibleScreens:
    case M::AddVisibleScreen:
    case M::RemoveVisibleScreenForControllerId:
    case M::RemoveVisibleScreenForName:
    case M::RemoveAllVisibleScreens:
    case M::OccludeScreen:
    case M::OccludeScreenAPI:
    case M::HideScreenGestures:
    case M::ApplyOcclusion:
    case M::RemoveOcclusionOfType:
    case M::RemoveOcclusion:
    case M::SetOcclusionFromDashboardVerifyResult:
    case M::GestureBlockedBySensitiveView:
      performOcclusionCall(call);
      break;
    case M::AddRectsToOcclude:
    case M::AddRectsForManualOcclusion:
    case M::ScreenWebViewWillAppear:
    case M::ScreenWebViewDidDisappear:
      performRectsCall(call);
      break;
    case M::OccludeRectsOnNextFrame:
    case M::PauseForOcclusionNextFrame:
      setHooks(call);
      break;
    case M::SetEnteredNewScreen:
    case M::SetSkipCaptureOfCurrentFrame:
    case M::SetWasPreviousScreenHidden:
    case M::SetUserControlOfStopScrollCaptureOnStutterOS:
    case M::SetUserControlOfScrollCaptureInterval:
    case M::SetVerifyServerStoppedSlowPath:
      performFlagCall(call);
      break;
    case M::AddImageToAITextOcclusionPipeline:
      askTextRecognition(call);
      break;
  }
}

void SceneSdkSession::performRecordingCall(const SceneCall& call) {
  using M = SceneCallMethod;
  switch (call.method) {
    case M::StartScreenRecording:
      startRecording();
      break;
    case M::StopScreenRecording:
      stopRecording(call.stopReason);
      break;
    case M::WaitUntilScreenRecordingIsFinished:
      // Blocks the main thread as it would block the SDK's; the stop finishes on the frame queue.
      waits_.push_back({call.at, handler_->waitUntilScreenRecordingIsFinished(call.seconds)});
      break;
    case M::PauseScreenRecordingForDuration:
      handler_->pauseScreenRecordingForDuration(call.seconds);
      break;
    case M::ResumeScreenRecording:
      handler_->resumeScreenRecording();
      break;
    case M::SetOrientationInProgressFlag:
      handler_->setOrientationInProgressFlag(call.value);
      break;
    case M::SetScreenChangeInProgressFlag:
      handler_->setScreenChangeInProgressFlag(call.value);
      break;
    default:
      break;
  }
}

}  // namespace zerva
