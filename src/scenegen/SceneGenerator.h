#pragma once
// Seeded random scenes for the leak audit: short sessions that mix what makes masking hard (fast and
// nested scrolling, zooming, rotation, sheets of every kind, the keyboard, web pages, manual
// rectangles and hybrid-framework hooks that answer at once, late or never, hidden screens,
// pauses, schematic frames, text recognition, views removed mid-frame). The same seed and options
// give the same bytes. Views whose content must never show carry "secret": true, and each of
// them is hidden by a route the handler is bound to honour (docs/scene-generator.md).

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/CGGeometry.h"
#include "scenegen/SceneRandom.h"

namespace zerva {

/// The generator's knobs; the defaults keep a scene to about a second of audit time.
struct SceneGeneratorOptions {
  double seconds = 3;                  // scene time from the recording's start to its stop
  int contentScreens = 4;              // full screens besides sheets, 2 to 8
  double schematicShare = 0.25;        // scenes recorded as schematic frames
  double improvedCaptureShare = 0.5;   // scenes with enableImprovedScreenCapture (the hooks' route)
  double textRecognitionShare = 0.1;   // scenes with a text-recognition rule and custom words
  double webShare = 0.6;               // scenes with a web page screen
  bool markSecrets = true;             // "secret": true on the views that must stay hidden
};

class SceneGenerator {
 public:
  using json = nlohmann::ordered_json;

  SceneGenerator(std::uint64_t seed, SceneGeneratorOptions options = {});

  /// The whole scene, keys in a fixed order. Call once per generator.
  json generate();
  /// The scene's text, as `zerva-scene generate` writes it.
  static std::string generateText(std::uint64_t seed, const SceneGeneratorOptions& options = {});

 private:
  enum class ScreenKind { Form, Feed, Web, Zoom, Hybrid };
  struct ScrollPlan {
    std::string view;
    CGPoint farthest;  // the largest content offset inside the content
  };
  struct ScreenPlan {
    std::string name;
    ScreenKind kind = ScreenKind::Form;
    bool sheet = false;
    std::vector<std::string> textFields;
    std::vector<ScrollPlan> scrollViews;   // scrolled by the timeline, nested ones and web pages too
    std::string zoomView;
    std::string webView;
    std::string rootView;                     // where the timeline adds views
    std::vector<std::string> movable;         // sensitive views the timeline moves or removes
    std::optional<CGRect> hybridWidget;       // in window points; what the on-demand source answers
  };
  struct TimedEvent {
    long ms = 0;
    json event;
  };

  // Device, windows and the sdk section: SceneGenerator.cpp.
  json device();
  json sdk();
  json windows() const;
  // Screens and their views: Screens.cpp.
  void planScreens();
  json formScreen(ScreenPlan& plan);
  json hybridScreen(ScreenPlan& plan);
  json header(const std::string& title) const;
  json sensitiveCard(const std::string& name, const CGRect& frame);
  json textField(ScreenPlan& plan, const std::string& name, const CGRect& frame, bool secure);
  json label(const CGRect& frame, const std::string& text, double size) const;
  // Scroll and zoom views: Scrolling.cpp.
  json feedScreen(ScreenPlan& plan);
  json zoomScreen(ScreenPlan& plan);
  json feedRow(ScreenPlan& plan, double y, bool sensitive);
  void scrollSomething(long at);
  // Sheets: Sheets.cpp.
  json sheetScreen(ScreenPlan& plan);
  void presentOrDismiss(long at);
  // Web pages: WebPages.cpp.
  json webScreen(ScreenPlan& plan);
  json page(bool definesFunction);
  void reloadPage(long at);
  // The timeline: Timeline.cpp.
  void playTimeline();
  void showScreen(long at, std::size_t screen);
  void keyboardAndTyping(long at);
  void rotate(long at);
  void moveOrRemoveSensitiveView(long at);
  void addSensitiveView(long at);
  // Calls into the handler: SdkCalls.cpp.
  void call(long at, json call);
  void registerSensitiveViews();
  void pauseRecording(long at);
  void hideScreenByAPI(long at);
  void manualRectangles(long at);
  void hybridHooks(long at);
  void occlusionRule(long at);
  void textRecognition(long at);
  void gesture(long at);

  void add(long at, json event);
  std::string name(const std::string& prefix);
  std::string color();
  ScreenPlan& current() { return screens_[current_]; }
  const ScreenPlan* top() const;

  SceneRandom random_;
  SceneGeneratorOptions options_;
  CGSize screen_{390, 844};
  bool schematic_ = false;
  bool improvedCapture_ = false;
  bool textRecognition_ = false;
  bool allTextFields_ = false;
  bool animatedScrolls_ = false;
  bool hasHybrid_ = false;       // a hybrid screen with the hooks: no manual rectangles then
  bool manualIdentity_ = false;  // manual rectangles in identity groups, else plain  // scrolls that take time: never with layer rendering
  long platformType_ = 0;
  bool pagesDefineFunction_ = false;
  std::string hiddenScreen_;   // hidden by a rule for the whole scene; its private views are secret
  bool hiddenBySettings_ = false;  // by the session settings, which the SDK applies with occludeScreen
  std::string blurredScreen_;  // blurred by a rule: no secret there but sensitive views
  std::string customWord_;
  long end_ = 3000;            // ms

  std::vector<ScreenPlan> screens_;  // full screens, then sheets
  std::size_t contentScreens_ = 0;
  std::vector<std::string> sensitive_;  // registered at the start
  json screenViews_ = json::object();
  std::vector<TimedEvent> events_;
  int names_ = 0;

  // What the app shows as the timeline is written.
  std::size_t current_ = 0;
  std::optional<std::size_t> presented_;
  bool keyboardUp_ = false;
  bool hooksOn_ = false;  // the hybrid screen shows, with its hooks, to the end
  bool landscape_ = false;
  std::vector<std::string> gone_;  // views removed from the app
};

}  // namespace zerva
