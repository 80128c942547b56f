#pragma once
// Binds a scene to the recording component: applies the scene's sdk section (session settings,
// configuration, schematic switches, logging), performs its calls on the handler, scripts the
// hybrid-framework hooks' replies on the scene's clock, and keeps what the calls answered for
// the report. Main thread, but for the stop completion (frame queue), whose outcome is guarded.
//
// Make it before the player starts: with automatic screen name tagging on, it reports the
// screens the player shows and hides as visible screens (controller id: the screen's name).

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/Mutex.h"
#include "platform/NSError.h"
#include "scene/SceneModel.h"

namespace zerva {

class NSTimer;
class ScenePlayer;
class ZRViewVideoHandler;

class SceneSdkSession {
 public:
  /// A gesture test and what the handler answered (true: the touch is dropped).
  struct GestureAnswer {
    double at = 0;  // scene time
    CGPoint point = CGPointZero;
    std::string view;  // the touched view, empty for none
    bool blocked = false;
  };
  /// How a recording ended, from its stop completion.
  struct RecordingOutcome {
    unsigned long stopReason = 1;
    std::optional<std::string> path;
    NSErrorOrNil error;
  };
  /// A wait for the end of the recording and the seconds it took.
  struct WaitResult {
    double at = 0;
    double waited = 0;
  };
  /// A text-recognition request and, once answered, the frame time it came back with.
  struct TextRecognitionAnswer {
    double at = 0;
    std::optional<double> frameTime;
  };

  /// `player` must outlive the session; it is not started here.
  SceneSdkSession(const Scene& scene, ScenePlayer& player, std::shared_ptr<ZRViewVideoHandler> handler);
  ~SceneSdkSession();
  SceneSdkSession(const SceneSdkSession&) = delete;
  SceneSdkSession& operator=(const SceneSdkSession&) = delete;

  /// Applies the sdk section before a recording starts: session settings, configuration (with
  /// the occlusion rules handed to the handler's occlusion manager), platform type and the web
  /// view parameters it decides, the schematic switches, logging.
  void applySdkSettings();

  /// Performs one call on the handler. Main thread. Wire it to the player's call handler.
  void perform(const SceneCall& call);

  /// The timeline has a startScreenRecording call.
  bool sceneStartsRecording() const;
  /// Starts a recording (a scene without a start call is recorded from its beginning).
  void startRecording();
  /// Stops with `reason`; the outcome is kept when the stop completion runs. For reasons other
  /// than 0, 1 and 2 the handler delivers nothing, and stopCompletionDelivered() stays false.
  void stopRecording(unsigned long reason);

  const std::vector<GestureAnswer>& gestureAnswers() const { return gestureAnswers_; }
  const std::vector<WaitResult>& waits() const { return waits_; }
  std::vector<TextRecognitionAnswer> textRecognitionAnswers() const;
  /// True once a stop completion has been delivered (any thread may ask).
  bool stopCompletionDelivered() const { return async_->stopDelivered.load(); }
  /// The outcome of the last stop, once its completion has run.
  std::optional<RecordingOutcome> recordingOutcome() const;

 private:
  void releaseHandlerState();
  void performRecordingCall(const SceneCall& call);
  void performOcclusionCall(const SceneCall& call);
  void performRectsCall(const SceneCall& call);
  void performFlagCall(const SceneCall& call);
  void setHooks(const SceneCall& call);
  void askTextRecognition(const SceneCall& call);
  /// Runs `action` `seconds` from now on the main run loop (the scene's clock).
  void after(double seconds, std::function<void()> action);

  /// What completions on the frame queue write; shared with them, so that a completion that
  /// comes after the session is gone writes into nothing that was freed.
  struct AsyncResults {
    Mutex mutex;
    std::vector<TextRecognitionAnswer> textRecognitionAnswers GUARDED_BY(mutex);
    std::optional<RecordingOutcome> outcome GUARDED_BY(mutex);
    std::atomic<bool> stopDelivered{false};
  };

  SceneSdkSettings sdk_;
  bool startsRecording_ = false;
  ScenePlayer& player_;
  std::shared_ptr<ZRViewVideoHandler> handler_;
  std::vector<std::shared_ptr<NSTimer>> timers_;
  // Hook replies a "never" script holds on to, unanswered.
  std::vector<std::shared_ptr<void>> heldReplies_;
  // Hooks the handler keeps reach the session only while it lives.
  std::shared_ptr<SceneSdkSession*> self_;

  std::vector<GestureAnswer> gestureAnswers_;
  std::vector<WaitResult> waits_;
  std::shared_ptr<AsyncResults> async_ = std::make_shared<AsyncResults>();
};

}  // namespace zerva
