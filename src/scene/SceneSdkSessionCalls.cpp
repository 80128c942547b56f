// The scene's calls on the occlusion model, rectangles, hooks, web views, handler flags and text
// recognition, with the scripted hook replies. Main thread; hook replies run on the scene's clock.

#include "handler/ZRViewVideoHandler.h"
#include "platform/MutexLock.h"
#include "platform/ProcessClock.h"
#include "platform/UIImage.h"
#include "platform/UIView.h"
#include "platform/WKWebView.h"
#include "scene/SceneImages.h"
#include "scene/ScenePlayer.h"
#include "scene/SceneSdkSession.h"

namespace zerva {

void SceneSdkSession::performOcclusionCall(const SceneCall& call) {
  using M = SceneCallMethod;
  auto view = call.view.empty() ? nullptr : player_.viewNamed(call.view);
  switch (call.method) {
    case M::AddSensitiveView:
      // A view removed from the app by now is gone for the handler too.
      if (view) handler_->addSensitiveView(view, call.blockGestures);
      break;
    case M::RemoveSensitiveView:
      if (view) handler_->removeSensitiveView(view);
      break;
    case M::SetOccludeAllTextFields:
      handler_->setOccludeAllTextFields(call.value);
      break;
    case M::SetOccludeAllTexts:
      handler_->setOccludeAllTexts(call.value);
      break;
    case M::AddVisibleScreens:
      handler_->addVisibleScreens(call.screens);
      break;
    case M::AddVisibleScreen:
      handler_->addVisibleScreen(call.screen, call.controller);
      break;
    case M::RemoveVisibleScreenForControllerId:
      handler_->removeVisibleScreenForControllerId(call.controller);
      break;
    case M::RemoveVisibleScreenForName:
      handler_->removeVisibleScreenForName(call.screen.value_or(""));
      break;
    case M::RemoveAllVisibleScreens:
      handler_->removeAllVisibleScreens();
      break;
    case M::OccludeScreen:
      handler_->occludeScreen(call.value, call.hideGestures);
      break;
    case M::OccludeScreenAPI:
      handler_->occludeScreenAPI(call.value, call.hideGestures);
      break;
    case M::HideScreenGestures:
      handler_->hideScreenGestures(call.value);
      break;
    case M::ApplyOcclusion:
      if (call.rule) handler_->applyOcclusion(*call.rule, call.screens);
      break;
    case M::RemoveOcclusionOfType:
      handler_->removeOcclusionOfType(call.occlusionType);
      break;
    case M::RemoveOcclusion:
      handler_->removeOcclusion();
      break;
    case M::SetOcclusionFromDashboardVerifyResult:
      handler_->setOcclusionFromDashboardVerifyResult(call.verifyResult, call.appendExisting);
      break;
    case M::GestureBlockedBySensitiveView:
      gestureAnswers_.push_back({call.at, call.point, call.view, handler_->gestureBlockedBySensitiveView(call.point, view)});
      break;
    default:
      break;
  }
}

void SceneSdkSession::performRectsCall(const SceneCall& call) {
  using M = SceneCallMethod;
  switch (call.method) {
    case M::AddRectsToOcclude:
      if (call.identity) {
        handler_->addRectsToOcclude(call.rects, *call.identity);
      } else {
        handler_->addRectsToOcclude(call.rects);
      }
      break;
    case M::AddRectsForManualOcclusion:
      if (call.identity) {
        handler_->addRectsForManualOcclusion(call.rects, *call.identity);
      } else {
        handler_->addRectsForManualOcclusion(call.rects);
      }
      break;
    case M::ScreenWebViewWillAppear:
      if (auto web = std::dynamic_pointer_cast<WKWebView>(player_.viewNamed(call.view))) {
        handler_->screenWebViewWillAppear(web);
      }
      break;
    case M::ScreenWebViewDidDisappear:
      if (auto web = std::dynamic_pointer_cast<WKWebView>(player_.viewNamed(call.view))) {
        handler_->screenWebViewDidDisappear(web);
      }
      break;
    default:
      break;
  }
}

void SceneSdkSession::setHooks(const SceneCall& call) {
  const bool rectsSource = call.method == SceneCallMethod::OccludeRectsOnNextFrame;
  if (!call.reply) {
    if (rectsSource) {
      handler_->occludeRectsOnNextFrame(nullptr);
    } else {
      handler_->pauseForOcclusionNextFrame(nullptr);
    }
    return;
  }
  // Each time the handler asks, the script answers; the hook reaches the session only while it
  // lives, as the handler keeps the hook longer.
  std::weak_ptr<SceneSdkSession*> weak = self_;
  const SceneHookReply script = *call.reply;
  auto answer = [weak, script](auto reply, auto value) {
    auto self = weak.lock();
    if (!self) return;
    SceneSdkSession& session = **self;
    if (script.never) {
      session.heldReplies_.push_back(std::make_shared<decltype(reply)>(std::move(reply)));
    } else if (script.after > 0) {
      session.after(script.after, [reply = std::move(reply), value] { reply(value); });
    } else {
      reply(value);
    }
  };
  if (rectsSource) {
    handler_->occludeRectsOnNextFrame(
        [answer, rects = script.rects](ZRViewVideoHandler::RectsReply reply) { answer(std::move(reply), rects); });
  } else {
    handler_->pauseForOcclusionNextFrame(
        [answer, paused = script.paused](ZRViewVideoHandler::PausedReply reply) { answer(std::move(reply), paused); });
  }
}

void SceneSdkSession::performFlagCall(const SceneCall& call) {
  using M = SceneCallMethod;
  switch (call.method) {
    case M::SetEnteredNewScreen:
      handler_->setEnteredNewScreen(call.value);
      break;
    case M::SetSkipCaptureOfCurrentFrame:
      handler_->setSkipCaptureOfCurrentFrame(call.value);
      break;
    case M::SetWasPreviousScreenHidden:
      handler_->setWasPreviousScreenHidden(call.value);
      break;
    case M::SetUserControlOfStopScrollCaptureOnStutterOS:
      handler_->setUserControlOfStopScrollCaptureOnStutterOS(call.value);
      break;
    case M::SetUserControlOfScrollCaptureInterval:
      handler_->setUserControlOfScrollCaptureInterval(call.seconds);
      break;
    case M::SetVerifyServerStoppedSlowPath:
      handler_->setVerifyServerStoppedSlowPath(call.value);
      break;
    default:
      break;
  }
}

void SceneSdkSession::askTextRecognition(const SceneCall& call) {
  auto image = call.image ? SceneMakeImage(*call.image) : player_.renderScreen();
  size_t index = 0;
  {
    MutexLock lock(async_->mutex);
    index = async_->textRecognitionAnswers.size();
    async_->textRecognitionAnswers.push_back({call.at, std::nullopt});
  }
  std::weak_ptr<AsyncResults> weak = async_;
  handler_->addImageToAITextOcclusionPipeline(image, [weak, index](std::shared_ptr<UIImage>, double frameTime) {
    auto results = weak.lock();
    if (!results) return;
    MutexLock lock(results->mutex);
    results->textRecognitionAnswers[index].frameTime = frameTime;
  });
}

}  // namespace zerva
