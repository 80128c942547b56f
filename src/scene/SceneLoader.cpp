#include "scene/SceneLoader.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "platform/UIImage.h"
#include "scene/ScenePageReader.h"
#include "services/ZRJSONReader.h"

namespace zerva {

namespace {

namespace fs = std::filesystem;
using json = nlohmann::json;

constexpr const char* kDomain = "ZervaSceneError";

template <class T>
struct Named {
  const char* name;
  T value;
};

const Named<SceneViewKind> kKinds[] = {
    {"view", SceneViewKind::View},           {"label", SceneViewKind::Label},
    {"textField", SceneViewKind::TextField}, {"imageView", SceneViewKind::ImageView},
    {"scrollView", SceneViewKind::ScrollView}, {"webView", SceneViewKind::WebView},
    {"alert", SceneViewKind::Alert},
};
const Named<SceneAction> kActions[] = {
    {"show", SceneAction::Show},         {"present", SceneAction::Present}, {"dismiss", SceneAction::Dismiss},
    {"scroll", SceneAction::Scroll},     {"zoom", SceneAction::Zoom},       {"type", SceneAction::Type},
    {"keyboard", SceneAction::Keyboard}, {"rotate", SceneAction::Rotate},   {"set", SceneAction::Set},
    {"add", SceneAction::Add},           {"remove", SceneAction::Remove},   {"page", SceneAction::Page},
    {"call", SceneAction::Call},
};
const Named<UIInterfaceOrientation> kOrientations[] = {
    {"portrait", UIInterfaceOrientationPortrait},
    {"portraitUpsideDown", UIInterfaceOrientationPortraitUpsideDown},
    {"landscapeRight", UIInterfaceOrientationLandscapeRight},
    {"landscapeLeft", UIInterfaceOrientationLandscapeLeft},
};
const Named<UIModalPresentationStyle> kPresentations[] = {
    {"fullScreen", UIModalPresentationFullScreen}, {"pageSheet", UIModalPresentationPageSheet},
    {"formSheet", UIModalPresentationFormSheet},   {"overFullScreen", UIModalPresentationOverFullScreen},
    {"popover", UIModalPresentationPopover},       {"custom", UIModalPresentationCustom},
};
const Named<NSTextAlignment> kAlignments[] = {
    {"left", NSTextAlignmentLeft},           {"center", NSTextAlignmentCenter},   {"right", NSTextAlignmentRight},
    {"justified", NSTextAlignmentJustified}, {"natural", NSTextAlignmentNatural},
};
const char* const kPatterns[] = {"checker", "stripes", "gradient", "photo"};

class Reader {
 public:
  Reader(std::string file, fs::path baseDirectory) : json_(std::move(file)), base_(std::move(baseDirectory)) {}

  ZRJSONReader& reader() { return json_; }
  bool ok() const { return json_.ok(); }

  template <class T, size_t N>
  std::optional<T> choice(const json& object, const std::string& key, const std::string& path, const Named<T> (&names)[N]) {
    auto text = json_.readString(object, key, path);
    if (!text) return std::nullopt;
    for (const auto& n : names) {
      if (*text == n.name) return n.value;
    }
    std::string known;
    for (const auto& n : names) known += std::string(known.empty() ? "" : ", ") + "\"" + n.name + "\"";
    json_.fail(ZRJSONReader::member(path, key), "one of " + known + ", found \"" + *text + "\"");
    return std::nullopt;
  }

  std::optional<std::vector<double>> numbers(const json& object, const std::string& key, const std::string& path,
                                             size_t count, const char* what) {
    auto it = object.find(key);
    if (it == object.end()) return std::nullopt;
    const std::string at = ZRJSONReader::member(path, key);
    if (!it->is_array() || it->size() != count ||
        !std::all_of(it->begin(), it->end(), [](const json& v) { return v.is_number() && std::isfinite(v.get<double>()); })) {
      json_.fail(at, what);
      return std::nullopt;
    }
    std::vector<double> out;
    for (const auto& v : *it) out.push_back(v.get<double>());
    return out;
  }

  std::optional<CGRect> rect(const json& o, const std::string& key, const std::string& path) {
    auto v = numbers(o, key, path, 4, "a rectangle [x, y, width, height]");
    if (!v) return std::nullopt;
    if ((*v)[2] < 0 || (*v)[3] < 0) {
      json_.fail(ZRJSONReader::member(path, key), "a rectangle whose width and height are not negative");
      return std::nullopt;
    }
    return CGRectMake((*v)[0], (*v)[1], (*v)[2], (*v)[3]);
  }

  std::optional<CGSize> size(const json& o, const std::string& key, const std::string& path) {
    auto v = numbers(o, key, path, 2, "a size [width, height]");
    if (!v) return std::nullopt;
    if (!((*v)[0] > 0) || !((*v)[1] > 0)) {
      json_.fail(ZRJSONReader::member(path, key), "a size with both sides above 0");
      return std::nullopt;
    }
    return CGSize{(*v)[0], (*v)[1]};
  }

  std::optional<CGPoint> point(const json& o, const std::string& key, const std::string& path) {
    auto v = numbers(o, key, path, 2, "a point [x, y]");
    if (!v) return std::nullopt;
    return CGPoint{(*v)[0], (*v)[1]};
  }

  std::optional<double> ranged(const json& o, const std::string& key, const std::string& path, double lo, double hi,
                               const char* what) {
    auto v = json_.readNumber(o, key, path);
    if (v && !(*v >= lo && *v <= hi)) {
      json_.fail(ZRJSONReader::member(path, key), what);
      return std::nullopt;
    }
    return v;
  }

  std::optional<SceneImageSpec> image(const json& value, const std::string& path) {
    if (!json_.expectObject(value, path, {"file", "pattern", "size", "colors"})) return std::nullopt;
    SceneImageSpec desc;
    auto file = json_.readString(value, "file", path);
    auto pattern = json_.readString(value, "pattern", path);
    if (!ok()) return std::nullopt;
    if (file.has_value() == pattern.has_value()) {
      json_.fail(path, "either \"file\" or \"pattern\"");
      return std::nullopt;
    }
    if (file) {
      const fs::path resolved = fs::path(*file).is_absolute() ? fs::path(*file) : base_ / *file;
      if (auto image = UIImage::imageWithContentsOfFile(resolved.string()); !image) {
        json_.fail(path + ".file", "a readable PNG file; " + resolved.string() + " " +
                                       (image.error().code() == 260 ? "does not exist" : "is not a readable PNG"));
        return std::nullopt;
      }
      desc.file = resolved.string();
    } else {
      if (std::find(std::begin(kPatterns), std::end(kPatterns), *pattern) == std::end(kPatterns)) {
        json_.fail(path + ".pattern", "one of \"checker\", \"stripes\", \"gradient\", \"photo\", found \"" + *pattern + "\"");
        return std::nullopt;
      }
      desc.pattern = *pattern;
    }
    if (auto s = size(value, "size", path)) desc.size = *s;
    if (auto it = value.find("colors"); it != value.end() && json_.expectArray(*it, path + ".colors")) {
      for (size_t i = 0; i < it->size(); ++i) {
        const auto& c = (*it)[i];
        auto color = c.is_string() ? ZRColorFromHexString(c.get<std::string>()) : std::nullopt;
        if (!color) {
          json_.fail(ZRJSONReader::element(path + ".colors", i), "a colour as \"#RRGGBB\" or \"#RRGGBBAA\"");
          return std::nullopt;
        }
        desc.colors.push_back(*color);
      }
    }
    return ok() ? std::optional(desc) : std::nullopt;
  }

  std::optional<SceneViewSpec> view(const json& value, const std::string& path) {
    if (!json_.expectObject(value, path,
                            {"type", "name", "frame", "background", "alpha", "hidden", "clips", "cornerRadius", "zPosition",
                             "text", "font", "textColor", "alignment", "lines", "placeholder", "secure", "image",
                             "contentSize", "contentOffset", "page", "children"})) {
      return std::nullopt;
    }
    SceneViewSpec v;
    if (auto k = choice(value, "type", path, kKinds)) v.kind = *k;
    if (auto n = json_.readString(value, "name", path)) {
      v.name = *n;
      if (!n->empty() && !viewNames_.insert(*n).second) json_.fail(path + ".name", "a name no other view has; \"" + *n + "\" is taken");
    }
    if (auto r = rect(value, "frame", path)) v.frame = *r;
    if (auto c = json_.readColor(value, "background", path)) v.background = c;
    if (auto a = ranged(value, "alpha", path, 0, 1, "an alpha from 0 to 1")) v.alpha = *a;
    if (auto b = json_.readBool(value, "hidden", path)) v.hidden = *b;
    if (auto b = json_.readBool(value, "clips", path)) v.clips = *b;
    if (auto r = ranged(value, "cornerRadius", path, 0, 1e6, "a radius of 0 or more")) v.cornerRadius = *r;
    if (auto z = json_.readNumber(value, "zPosition", path)) v.zPosition = *z;
    if (auto t = json_.readString(value, "text", path)) v.text = *t;
    if (auto it = value.find("font"); it != value.end()) {
      const std::string at = path + ".font";
      if (json_.expectObject(*it, at, {"size", "bold"})) {
        if (auto s = ranged(*it, "size", at, 1, 500, "a font size from 1 to 500")) v.fontSize = *s;
        if (auto b = json_.readBool(*it, "bold", at)) v.bold = *b;
      }
    }
    if (auto c = json_.readColor(value, "textColor", path)) v.textColor = c;
    if (auto a = choice(value, "alignment", path, kAlignments)) v.alignment = *a;
    if (auto l = ranged(value, "lines", path, 0, 1000, "a line count from 0 (no limit) to 1000")) v.lines = static_cast<long>(*l);
    if (auto p = json_.readString(value, "placeholder", path)) v.placeholder = *p;
    if (auto s = json_.readBool(value, "secure", path)) v.secure = *s;
    if (auto it = value.find("image"); it != value.end()) v.image = image(*it, path + ".image");
    if (auto s = size(value, "contentSize", path)) v.contentSize = s;
    if (auto p = point(value, "contentOffset", path)) v.contentOffset = *p;
    if (auto it = value.find("page"); it != value.end()) {
      if (v.kind != SceneViewKind::WebView) {
        json_.fail(path + ".page", "no page on a view that is not a web view");
      } else {
        v.page = ScenePageReader::readPage(json_, *it, path + ".page");
      }
    }
    if (auto it = value.find("children"); it != value.end() && json_.expectArray(*it, path + ".children")) {
      for (size_t i = 0; i < it->size() && ok(); ++i) {
        if (auto child = view((*it)[i], ZRJSONReader::element(path + ".children", i))) v.children.push_back(std::move(*child));
      }
    }
    return ok() ? std::optional(std::move(v)) : std::nullopt;
  }

  std::set<std::string>& viewNames() { return viewNames_; }

 private:
  ZRJSONReader json_;
  fs::path base_;
  std::set<std::string> viewNames_;
};

bool readDevice(Reader& r, const json& value, Scene& scene) {
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

bool readApp(Reader& r, const json& value, Scene& scene) {
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
      SceneScreenSpec screen;
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
    SceneWindowSpec desc;
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

bool readEvent(Reader& r, const json& e, const std::string& path, const Scene& scene, SceneEvent& event) {
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
  if (auto it = e.find("call"); it != e.end()) event.call = *it;
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
      need(event.call.is_object(), "call", "the call to make (an object)");
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

std::optional<Scene> SceneLoader::loadFile(const std::string& path, NSErrorOrNil* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    if (error) *error = NSError::errorWithDomain(kDomain, 1, "Cannot read the scene file " + path).withUserInfo("path", path);
    return std::nullopt;
  }
  std::ostringstream text;
  text << in.rdbuf();
  return loadText(text.str(), path, fs::path(path).parent_path().string(), error);
}

std::optional<Scene> SceneLoader::loadText(const std::string& text, const std::string& name,
                                           const std::string& baseDirectory, NSErrorOrNil* error) {
  Reader r(name, baseDirectory.empty() ? fs::path(".") : fs::path(baseDirectory));
  auto& j = r.reader();
  Scene scene;
  scene.file = name;
  const json doc = j.parse(text);
  if (r.ok() && j.expectObject(doc, "$", {"device", "app", "timeline"})) {
    if (auto it = doc.find("device"); it != doc.end()) readDevice(r, *it, scene);
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
  if (!r.ok()) {
    if (error) *error = j.error(kDomain, 2);
    return std::nullopt;
  }
  if (error) *error = std::nullopt;
  return scene;
}

}  // namespace zerva
