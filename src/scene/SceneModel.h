#pragma once
// A scene: a device, an app's windows and screens with their view trees, and a timeline of what
// happens in the app. Plain values, checked whole by SceneLoader before anything is built.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/CGGeometry.h"
#include "platform/NSParagraphStyle.h"
#include "platform/UIColor.h"
#include "platform/UIKitTypes.h"
#include "platform/WebPage.h"

namespace zerva {

enum class SceneViewKind { View, Label, TextField, ImageView, ScrollView, WebView, Alert };

/// An image from a PNG file, or a generated one: "checker", "stripes", "gradient" or "photo".
struct SceneImageSpec {
  std::string file;     // resolved path when from a file
  std::string pattern;  // when generated
  CGSize size{64, 64};
  std::vector<UIColor> colors;
};

struct SceneViewSpec {
  SceneViewKind kind = SceneViewKind::View;
  std::string name;  // empty: not referable
  CGRect frame = CGRectZero;
  std::optional<UIColor> background;
  double alpha = 1;
  bool hidden = false;
  bool clips = false;
  double cornerRadius = 0;
  double zPosition = 0;
  // Labels and text fields.
  std::string text;
  double fontSize = 17;
  bool bold = false;
  std::optional<UIColor> textColor;
  NSTextAlignment alignment = NSTextAlignmentNatural;
  long lines = 1;
  std::string placeholder;
  bool secure = false;
  // Image views.
  std::optional<SceneImageSpec> image;
  // Scroll views.
  std::optional<CGSize> contentSize;
  CGPoint contentOffset = CGPointZero;
  // Web views.
  std::optional<WebPage> page;
  std::vector<SceneViewSpec> children;
};

struct SceneScreenSpec {
  std::string name;
  SceneViewSpec view;
  UIModalPresentationStyle presentation = UIModalPresentationFullScreen;
  CGSize preferredContentSize = CGSizeZero;
};

struct SceneWindowSpec {
  std::string name;
  std::optional<CGRect> frame;  // none: the screen
  bool key = false;
  bool hidden = false;
  double alpha = 1;
  bool opaque = true;
  std::optional<UIColor> background;
  std::string root;  // screen shown at the start, or none
};

struct SceneDeviceSpec {
  CGSize screen{390, 844};
  double scale = 3;
  int osMajor = 17;
  int osMinor = 0;
  UIInterfaceOrientation orientation = UIInterfaceOrientationPortrait;
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
  std::optional<SceneViewSpec> addedView;
  std::optional<WebPage> page;
  nlohmann::json call;
};

struct Scene {
  std::string file;
  SceneDeviceSpec device;
  std::vector<SceneWindowSpec> windows;
  std::map<std::string, SceneScreenSpec> screens;
  std::vector<SceneEvent> timeline;  // in time order (stable for equal times)

  /// Time of the last event plus its duration.
  double duration() const;
};

}  // namespace zerva
