#include "scene/SceneLoader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "scene/ScenePageReader.h"
#include "scene/SceneReader.h"
#include "scene/SceneSdkReader.h"
#include "services/ZRJSONReader.h"

namespace zerva {

namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;

constexpr const char* kDomain = "ZervaSceneError";

const SceneNamed<SceneAction> kActions[] = {
    {"show", SceneAction::Show},         {"present", SceneAction::Present}, {"dismiss", SceneAction::Dismiss},
    {"scroll", SceneAction::Scroll},     {"zoom", SceneAction::Zoom},       {"type", SceneAction::Type},
    {"keyboard", SceneAction::Keyboard}, {"rotate", SceneAction::Rotate},   {"set", SceneAction::Set},
    {"add", SceneAction::Add},           {"remove", SceneAction::Remove},   {"page", SceneAction::Page},
    {"call", SceneAction::Call},
};
const SceneNamed<UIInterfaceOrientation> kOrientations[] = {
    {"portrait", UIInterfaceOrientationPortrait},
    {"portraitUpsideDown", UIInterfaceOrientationPortraitUpsideDown},
    {"landscapeRight", UIInterfaceOrientationLandscapeRight},
    {"landscapeLeft", UIInterfaceOrientationLandscapeLeft},
};
const SceneNamed<UIModalPresentationStyle> kPresentations[] = {
    {"fullScreen", UIModalPresentationFullScreen}, {"pageSheet", UIModalPresentationPageSheet},
    {"formSheet", UIModalPresentationFormSheet},   {"overFullScreen", UIModalPresentationOverFullScreen},
    {"popover", UIModalPresentationPopover},       {"custom", UIModalPresentationCustom},
};

bool readDevice(SceneReader& r, const json& value, Scene& scene) {
  auto& j = r.reader();
  if (!j.expectObject(value, "$.device", {"screen", "scale", "os", "orientation"})) return false;
  if (auto s = r.size(value, "screen", "$.device")) scene.device.screen = *s;
  if (auto s = j.readNumber(value, "scale", "$.device")) {
    if (*s != 1 && *s != 2 && *s != 3) j.fail("$.device.scale", "1, 2 or 3");
    scene.device.scale = *s;
  }
  if (auto os = j.readString(value, "os", "$.device")) {
    int major = 0, minor = 0;
    char dot = 0;
    std::istringstream in(*os);
    if (!(in >> major) || major < 1 || (in >> dot && (dot != '.' || !(in >> minor)))) {
      j.fail("$.device.os", "a version such as \"17.0\", found \"" + *os + "\"");
    }
    scene.device.osMajor = major;
    scene.device.osMinor = minor;
  }
  if (auto o = r.choice(value, "orientation", "$.device", kOrientations)) scene.device.orientation = *o;
  return r.ok();
}

bool readApp(SceneReader& r, const json& value, Scene& scene) {
  auto& j = r.reader();
  if (!j.expectObject(value, "$.app", {"windows", "screens"})) return false;
  if (auto it = value.find("screens"); it != value.end()) {
    if (!it->is_object()) {
      j.fail("$.app.screens", "an object of screens by name");
      return false;
    }
    for (const auto& [name, desc] : it->items()) {
      const std::string path = "$.app.screens." + name;
      if (!j.expectObject(desc, path, {"view", "presentation", "preferredSize"})) return false;
      SceneScreenDescription screen;
      screen.name = name;
      if (auto p = r.choice(desc, "presentation", path, kPresentations)) screen.presentation = *p;
      if (auto s = r.size(desc, "preferredSize", path)) screen.preferredContentSize = *s;
      auto v = desc.find("view");
      if (v == desc.end()) {
        j.fail(path + ".view", "the screen's view (missing)");
        return false;
      }
      if (auto view = r.view(*v, path + ".view")) screen.view = std::move(*view);
      if (!r.ok()) return false;
      scene.screens.emplace(name, std::move(screen));
    }
  }
  auto windows = value.find("windows");
  if (windows == value.end() || !windows->is_array() || windows->empty()) {
    j.fail("$.app.windows", "an array of at least one window");
    return false;
  }
  std::set<std::string> names;
  for (size_t i = 0; i < windows->size(); ++i) {
    const std::string path = ZRJSONReader::element("$.app.windows", i);
    const json& w = (*windows)[i];
    if (!j.expectObject(w, path, {"name", "frame", "key", "hidden", "alpha", "opaque", "background", "root"})) return false;
    SceneWindowDescription desc;
    desc.name = j.readString(w, "name", path).value_or("window" + std::to_string(i));
    if (!names.insert(desc.name).second) j.fail(path + ".name", "a name no other window has; \"" + desc.name + "\" is taken");
    desc.frame = r.rect(w, "frame", path);
    desc.key = j.readBool(w, "key", path).value_or(false);
    desc.hidden = j.readBool(w, "hidden", path).value_or(false);
    desc.alpha = r.ranged(w, "alpha", path, 0, 1, "an alpha from 0 to 1").value_or(1);
    desc.opaque = j.readBool(w, "opaque", path).value_or(true);
    desc.background = j.readColor(w, "background", path);
    desc.root = j.readString(w, "root", path).value_or("");
    if (!desc.root.empty() && !scene.screens.count(desc.root)) {
      j.fail(path + ".root", "the name of a screen of the scene; there is no screen \"" + desc.root + "\"");
    }
    if (!r.ok()) return false;
    scene.windows.push_back(std::move(desc));
  }
  if (std::count_if(scene.windows.begin(), scene.windows.end(), [](const auto& w) { return w.key; }) > 1) {
    j.fail("$.app.windows", "at most one key window");
  }
  return r.ok();
}

bool readEvent(SceneReader& r, const json& e, const std::string& path, const Scene& scene, SceneEvent& event) {
  auto& j = r.reader();
  if (!j.expectObject(e, path,
                      {"at", "do", "screen", "window", "view", "parent", "text", "duration", "to", "scale", "show",
                       "height", "orientation", "frame", "alpha", "hidden", "background", "page", "call"})) {
    return false;
  }
  event.path = path;
  auto at = j.readNumber(e, "at", path);
  if (!at || *at < 0) {
    if (r.ok()) j.fail(path + ".at", "a time in seconds, 0 or more");
    return false;
  }
  event.at = *at;
  if (!e.contains("do")) {
    j.fail(path + ".do", "an action (missing)");
    return false;
  }
  auto action = r.choice(e, "do", path, kActions);
  if (!action) return false;
  event.action = *action;
  if (auto d = j.readNumber(e, "duration", path)) {
    if (*d < 0) j.fail(path + ".duration", "a duration in seconds, 0 or more");
    event.duration = *d;
  }
  event.screen = j.readString(e, "screen", path).value_or("");
  event.window = j.readString(e, "window", path).value_or("");
  if (event.action != SceneAction::Add) event.view = j.readString(e, "view", path).value_or("");
  event.parent = j.readString(e, "parent", path).value_or("");
  event.text = j.readString(e, "text", path).value_or("");
  event.to = r.point(e, "to", path);
  event.scale = r.ranged(e, "scale", path, 0.01, 100, "a zoom scale from 0.01 to 100");
  event.show = j.readBool(e, "show", path);
  event.keyboardHeight = r.ranged(e, "height", path, 1, 2000, "a keyboard height in points").value_or(336);
  if (auto o = r.choice(e, "orientation", path, kOrientations)) event.orientation = *o;
  event.frame = r.rect(e, "frame", path);
  event.alpha = r.ranged(e, "alpha", path, 0, 1, "an alpha from 0 to 1");
  event.hidden = j.readBool(e, "hidden", path);
  event.background = j.readColor(e, "background", path);
  if (e.contains("text") && event.action == SceneAction::Set) event.newText = event.text;
  if (auto it = e.find("page"); it != e.end()) event.page = ScenePageReader::readPage(j, *it, path + ".page");
  if (!r.ok()) return false;

  // What each action needs.
  auto need = [&](bool present, const char* key, const char* what) {
    if (!present && r.ok()) j.fail(path + "." + key, std::string(what) + " (missing)");
  };
  auto screenExists = [&](const std::string& key, const std::string& name) {
    if (r.ok() && !scene.screens.count(name)) {
      j.fail(path + "." + key, "the name of a screen of the scene; there is no screen \"" + name + "\"");
    }
  };
  auto viewExists = [&](const std::string& key, const std::string& name) {
    if (r.ok() && !r.viewNames().count(name)) {
      j.fail(path + "." + key, "the name of a view that exists by then; there is no view \"" + name + "\"");
    }
  };
  switch (event.action) {
    case SceneAction::Show:
    case SceneAction::Present:
    case SceneAction::Dismiss:
      need(!event.screen.empty(), "screen", "a screen name");
      screenExists("screen", event.screen);
      if (!event.window.empty() &&
          std::none_of(scene.windows.begin(), scene.windows.end(), [&](const auto& w) { return w.name == event.window; })) {
        j.fail(path + ".window", "the name of a window of the scene; there is no window \"" + event.window + "\"");
      }
      break;
    case SceneAction::Scroll:
      need(!event.view.empty(), "view", "a scroll view's name");
      need(event.to.has_value(), "to", "the content offset to scroll to");
      viewExists("view", event.view);
      break;
    case SceneAction::Zoom:
      need(!event.view.empty(), "view", "a scroll view's name");
      need(event.scale.has_value(), "scale", "the zoom scale");
      viewExists("view", event.view);
      break;
    case SceneAction::Type:
      need(!event.view.empty(), "view", "a text field's name");
      viewExists("view", event.view);
      break;
    case SceneAction::Keyboard:
      need(event.show.has_value(), "show", "true to show the keyboard, false to hide it");
      break;
    case SceneAction::Rotate:
      need(e.contains("orientation"), "orientation", "the orientation to turn to");
      break;
    case SceneAction::Set:
    case SceneAction::Remove:
    case SceneAction::Page:
      need(!event.view.empty(), "view", "a view's name");
      viewExists("view", event.view);
      if (event.action == SceneAction::Page) need(event.page.has_value(), "page", "the new page");
      break;
    case SceneAction::Add: {
      need(!event.parent.empty(), "parent", "the name of the view to add to");
      viewExists("parent", event.parent);
      auto it = e.find("view");
      if (it == e.end() || !it->is_object()) {
        if (r.ok()) j.fail(path + ".view", "the view to add (an object)");
        break;
      }
      event.view.clear();
      event.addedView = r.view(*it, path + ".view");
      break;
    }
    case SceneAction::Call:
      if (auto it = e.find("call"); it != e.end()) {
        event.call = SceneReadCall(r, *it, path + ".call", event.at, scene);
      } else {
        need(false, "call", "the call to make (an object)");
      }
      break;
  }
  return r.ok();
}

}  // namespace

double Scene::duration() const {
  double end = 0;
  for (const auto& e : timeline) end = std::max(end, e.at + e.duration);
  return end;
}

NSResult<Scene> SceneLoader::loadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    return NSError::errorWithDomain(kDomain, 1, "Cannot read the scene file " + path).withUserInfo("path", path);
  }
  std::ostringstream text;
  text << in.rdbuf();
  return loadText(text.str(), path, fs::path(path).parent_path().string());
}

NSResult<Scene> SceneLoader::loadText(const std::string& text, const std::string& name,
                                      const std::string& baseDirectory) {
  SceneReader r(name, baseDirectory.empty() ? fs::path(".") : fs::path(baseDirectory));
  auto& j = r.reader();
  Scene scene;
  scene.file = name;
  const json doc = j.parse(text);
  if (r.ok() && j.expectObject(doc, "$", {"device", "app", "sdk", "timeline"})) {
    if (auto it = doc.find("device"); it != doc.end()) readDevice(r, *it, scene);
    if (auto it = doc.find("sdk"); r.ok() && it != doc.end()) SceneReadSdk(r, *it, scene.sdk);
    if (r.ok()) {
      if (auto it = doc.find("app"); it != doc.end()) {
        readApp(r, *it, scene);
      } else {
        j.fail("$.app", "the app's windows and screens (missing)");
      }
    }
    if (auto it = doc.find("timeline"); r.ok() && it != doc.end() && j.expectArray(*it, "$.timeline")) {
      // Events are checked in time order, so that a view must be added before it is used.
      std::vector<std::pair<double, size_t>> order;
      for (size_t i = 0; i < it->size(); ++i) {
        const json& e = (*it)[i];
        order.emplace_back(e.is_object() && e.contains("at") && e["at"].is_number() ? e["at"].get<double>() : 0.0, i);
      }
      std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
      for (const auto& [time, i] : order) {
        SceneEvent event;
        if (!readEvent(r, (*it)[i], ZRJSONReader::element("$.timeline", i), scene, event)) break;
        scene.timeline.push_back(std::move(event));
      }
    }
  }
  if (!r.ok()) return j.error(kDomain, 2);
  return scene;
}

}  // namespace zerva
