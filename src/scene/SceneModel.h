#pragma once
// A scene: a device, an app's windows and screens with their view trees, and a timeline of what
// happens in the app. Plain values, checked whole by SceneLoader before anything is built.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "handler/ZROcclusionRecords.h"
#include "platform/CGGeometry.h"
#include "platform/NSParagraphStyle.h"
#include "platform/UIColor.h"
#include "platform/UIKitTypes.h"
#include "platform/WebPage.h"
#include "services/ZROcclusionSetting.h"
#include "services/ZRSessionSettings.h"

namespace zerva {

enum class SceneViewKind { View, Label, TextField, ImageView, ScrollView, WebView, Alert };

/// An image from a PNG file, or a generated one: "checker", "stripes", "gradient" or "photo".
struct SceneImageDescription {
  std::string file;     // resolved path when from a file
  std::string pattern;  // when generated
  CGSize size{64, 64};
  std::vector<UIColor> colors;
};

struct SceneViewDescription {
  SceneViewKind kind = SceneViewKind::View;
  std::string name;  // empty: not referable
  CGRect frame = CGRectZero;
  std::optional<UIColor> background;
  double alpha = 1;
  bool hidden = false;
  bool clips = false;
  double cornerRadius = 0;
  double zPosition = 0;
  /// Content that must never show in a session video: `zerva-scene audit` draws it in its
  /// secret colour and fails when that colour reaches a frame (docs/audit.md).
  bool secret = false;
  // Labels and text fields.
  std::string text;
  double fontSize = 17;
  bool bold = false;
  std::optional<UIColor> textColor;
  NSTextAlignment alignment = NSTextAlignmentNatural;
  long lines = 1;
  std::string hint;  // grey text of an empty field
  bool secure = false;
  // Image views.
  std::optional<SceneImageDescription> image;
  // Scroll views.
  std::optional<CGSize> contentSize;
  CGPoint contentOffset = CGPointZero;
  // Web views.
  std::optional<WebPage> page;
  std::vector<SceneViewDescription> children;
};

struct SceneScreenDescription {
  std::string name;
  SceneViewDescription view;
  UIModalPresentationStyle presentation = UIModalPresentationFullScreen;
  CGSize preferredContentSize = CGSizeZero;
};

struct SceneWindowDescription {
  std::string name;
  std::optional<CGRect> frame;  // none: the screen
  bool key = false;
  bool hidden = false;
  double alpha = 1;
  bool opaque = true;
  std::optional<UIColor> background;
  std::string root;  // screen shown at the start, or none
};

struct SceneDeviceDescription {
  CGSize screen{390, 844};
  double scale = 3;
  int osMajor = 17;
  int osMinor = 0;
  UIInterfaceOrientation orientation = UIInterfaceOrientationPortrait;
};

/// The SDK's side of a scene: session settings, configuration, switches and logging, applied
/// before a recording starts (docs/scenes.md, "sdk"). Defaults are the SDK's own.
struct SceneSdkSettings {
  // Session settings.
  bool recordScreenVideo = true;
  unsigned long recordingQuality = 1;
  UIColor sensitiveViewColor = UIColor::colorWithWhite(0.2, 1.0);
  std::vector<ZRHiddenScreen> hiddenScreens;
  // Configuration.
  std::optional<ZROcclusionRules> occlusion;  // the configuration source's rules
  bool enableImprovedScreenCapture = false;
  bool enableAutomaticScreenNameTagging = true;
  long platformType = 0;
  // The two class-level schematic switches; schematic frames need both.
  bool schematicCapture = true;
  bool platformSchematicCapture = true;
  // Logging.
  bool integrationLogging = false;
  bool verboseLogging = false;
};

/// The handler operation a `call` event makes; named as the handler names it.
enum class SceneCallMethod {
  // Recording.
  StartScreenRecording,
  StopScreenRecording,
  WaitUntilScreenRecordingIsFinished,
  PauseScreenRecordingForDuration,
  ResumeScreenRecording,
  SetOrientationInProgressFlag,
  SetScreenChangeInProgressFlag,
  // Sensitive views.
  AddSensitiveView,
  RemoveSensitiveView,
  SetOccludeAllTextFields,
  SetOccludeAllTexts,
  // Visible screens and screen hiding.
  AddVisibleScreens,
  AddVisibleScreen,
  RemoveVisibleScreenForControllerId,
  RemoveVisibleScreenForName,
  RemoveAllVisibleScreens,
  OccludeScreen,
  OccludeScreenAPI,
  HideScreenGestures,
  // Occlusion rules.
  ApplyOcclusion,
  RemoveOcclusionOfType,
  RemoveOcclusion,
  SetOcclusionFromDashboardVerifyResult,
  // Gestures.
  GestureBlockedBySensitiveView,
  // Manual rectangles and hybrid-framework hooks.
  AddRectsToOcclude,
  AddRectsForManualOcclusion,
  OccludeRectsOnNextFrame,
  PauseForOcclusionNextFrame,
  // Web views.
  ScreenWebViewWillAppear,
  ScreenWebViewDidDisappear,
  // Handler flags set from outside.
  SetEnteredNewScreen,
  SetSkipCaptureOfCurrentFrame,
  SetWasPreviousScreenHidden,
  SetUserControlOfStopScrollCaptureOnStutterOS,
  SetUserControlOfScrollCaptureInterval,
  SetVerifyServerStoppedSlowPath,
  // Text recognition.
  AddImageToAITextOcclusionPipeline,
};

/// How a scripted hook answers each time the handler asks: with rectangles (the on-demand
/// source) or a paused flag (the rendering-pause hook), at once or `after` seconds on the scene's
/// clock; or never.
struct SceneHookReply {
  bool never = false;
  double after = 0;
  ZRRectQuadrupleList rects;
  bool paused = false;
};

/// One call into the handler, checked and typed by the loader. Which fields matter depends on
/// the method (docs/scenes.md lists each call's keys).
struct SceneCall {
  SceneCallMethod method = SceneCallMethod::StartScreenRecording;
  std::string name;  // the method as written
  std::string path;  // where it stands in the file, for messages
  double at = 0;     // scene time of its event

  bool value = false;           // one-flag setters, occludeScreen(API)'s occlude, hideScreenGestures
  double seconds = 0;           // pause duration, wait timeout, scroll capture interval
  unsigned long stopReason = 1;
  std::string view;             // sensitive views, web views, the touched view of a gesture (may be empty)
  bool blockGestures = false;   // addSensitiveView
  bool hideGestures = false;    // occludeScreen, occludeScreenAPI
  std::vector<std::string> screens;  // addVisibleScreens, applyOcclusion
  std::optional<std::string> screen;  // addVisibleScreen (none: the controller shows no named screen), removeVisibleScreenForName
  std::string controller;       // addVisibleScreen, removeVisibleScreenForControllerId: a scene screen, its id
  std::optional<ZROcclusionSetting> rule;  // applyOcclusion
  long occlusionType = 0;       // removeOcclusionOfType
  std::string verifyResult;     // setOcclusionFromDashboardVerifyResult, as JSON text
  bool appendExisting = false;
  CGPoint point = CGPointZero;  // gestureBlockedBySensitiveView, screen points
  ZRRectQuadrupleList rects;    // addRectsToOcclude, addRectsForManualOcclusion
  std::optional<std::string> identity;
  std::optional<SceneHookReply> reply;      // the hooks; none removes the hook
  std::optional<SceneImageDescription> image;      // text recognition; none: the screen as shown then
};

enum class SceneAction { Show, Present, Dismiss, Scroll, Zoom, Type, Keyboard, Rotate, Set, Add, Remove, Page, Call };

/// One step of the timeline; which fields matter depends on the action (docs/scenes.md).
struct SceneEvent {
  double at = 0;
  SceneAction action = SceneAction::Show;
  std::string path;  // where it stands in the file, for messages
  std::string screen;
  std::string window;
  std::string view;
  std::string parent;
  std::string text;
  double duration = 0;
  std::optional<CGPoint> to;
  std::optional<double> scale;
  std::optional<bool> show;
  double keyboardHeight = 336;
  UIInterfaceOrientation orientation = UIInterfaceOrientationPortrait;
  std::optional<CGRect> frame;
  std::optional<double> alpha;
  std::optional<bool> hidden;
  std::optional<UIColor> background;
  std::optional<std::string> newText;
  std::optional<SceneViewDescription> addedView;
  std::optional<WebPage> page;
  std::optional<SceneCall> call;
};

struct Scene {
  std::string file;
  SceneDeviceDescription device;
  SceneSdkSettings sdk;
  std::vector<SceneWindowDescription> windows;
  std::map<std::string, SceneScreenDescription> screens;
  std::vector<SceneEvent> timeline;  // in time order (stable for equal times)

  /// Time of the last event plus its duration.
  double duration() const;
};

}  // namespace zerva
