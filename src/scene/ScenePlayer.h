#pragma once
// Builds a scene's app on the platform stand-in and plays its timeline on a run loop: the same
// scene gives the same app and the same pictures on every machine under a manual clock, and runs
// in real time under the real clock. Main thread.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "scene/SceneModel.h"

namespace zerva {

class NSRunLoop;
class NSTimer;
class UIImage;
class UIView;
class UIViewController;
class UIWindow;

class ScenePlayer {
 public:
  using CallHandler = std::function<void(const SceneCall& call)>;
  using ScreenHandler = std::function<void(const std::string& screen, bool visible)>;

  explicit ScenePlayer(Scene scene);
  ~ScenePlayer();
  ScenePlayer(const ScenePlayer&) = delete;
  ScenePlayer& operator=(const ScenePlayer&) = delete;

  /// Sets the device up (a fresh application, screen, orientation and OS version), builds the
  /// windows and screens, and schedules the timeline on `runLoop` from now on.
  void start(NSRunLoop& runLoop);
  /// Stops events that have not happened yet.
  void stop();
  /// Process-clock time at which the timeline started.
  double startTime() const { return startTime_; }
  const Scene& scene() const { return scene_; }

  std::shared_ptr<UIView> viewNamed(const std::string& name) const;
  std::shared_ptr<UIViewController> screenNamed(const std::string& name) const;
  std::shared_ptr<UIWindow> windowNamed(const std::string& name) const;

  /// Receives the timeline's "call" events: calls into the recording component
  /// (SceneSdkSession::perform).
  void setCallHandler(CallHandler handler) { callHandler_ = std::move(handler); }
  /// Told when a screen is shown or presented (true) and when it goes (false).
  void setScreenHandler(ScreenHandler handler) { screenHandler_ = std::move(handler); }

  /// What the device's screen shows now: every visible window and the keyboard, at `scale`
  /// pixels per point (the device's own when 0).
  std::shared_ptr<UIImage> renderScreen(double scale = 0) const;

 private:
  std::shared_ptr<UIView> build(const SceneViewDescription& desc);
  void apply(const SceneEvent& event);
  void show(const SceneEvent& event);
  void present(const SceneEvent& event);
  /// The screens `controller` presented, and they in turn, the topmost first.
  static std::vector<std::shared_ptr<UIViewController>> presentedAbove(
      const std::shared_ptr<UIViewController>& controller);
  void reportGone(const std::vector<std::shared_ptr<UIViewController>>& controllers);
  void rotate(UIInterfaceOrientation orientation);
  void typeText(const std::shared_ptr<UIView>& view, const std::string& text, double duration);
  std::shared_ptr<UIWindow> targetWindow(const std::string& name) const;
  void after(double seconds, std::function<void()> action);

  Scene scene_;
  NSRunLoop* runLoop_ = nullptr;
  double startTime_ = 0;
  std::map<std::string, std::weak_ptr<UIView>> views_;
  std::map<std::string, std::shared_ptr<UIViewController>> screens_;
  std::map<std::string, std::shared_ptr<UIWindow>> windows_;
  std::vector<std::shared_ptr<NSTimer>> timers_;
  CallHandler callHandler_;
  ScreenHandler screenHandler_;
};

}  // namespace zerva
