// Reading the values a scene is made of: rectangles, sizes, points, ranges, images and views.

#include "scene/SceneReader.h"

#include <algorithm>
#include <cmath>

#include "platform/UIImage.h"
#include "scene/ScenePageReader.h"

namespace zerva {

namespace {

using json = nlohmann::json;
namespace fs = std::filesystem;

const SceneNamed<SceneViewKind> kKinds[] = {
    {"view", SceneViewKind::View},           {"label", SceneViewKind::Label},
    {"textField", SceneViewKind::TextField}, {"imageView", SceneViewKind::ImageView},
    {"scrollView", SceneViewKind::ScrollView}, {"webView", SceneViewKind::WebView},
    {"alert", SceneViewKind::Alert},
};
const SceneNamed<NSTextAlignment> kAlignments[] = {
    {"left", NSTextAlignmentLeft},           {"center", NSTextAlignmentCenter},   {"right", NSTextAlignmentRight},
    {"justified", NSTextAlignmentJustified}, {"natural", NSTextAlignmentNatural},
};
const char* const kPatterns[] = {"checker", "stripes", "gradient", "photo"};


}  // namespace

std::optional<std::vector<double>> SceneReader::numbers(const json& object, const std::string& key, const std::string& path,
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

std::optional<CGRect> SceneReader::rect(const json& o, const std::string& key, const std::string& path) {
  auto v = numbers(o, key, path, 4, "a rectangle [x, y, width, height]");
  if (!v) return std::nullopt;
  if ((*v)[2] < 0 || (*v)[3] < 0) {
    json_.fail(ZRJSONReader::member(path, key), "a rectangle whose width and height are not negative");
    return std::nullopt;
  }
  return CGRectMake((*v)[0], (*v)[1], (*v)[2], (*v)[3]);
}

std::optional<CGSize> SceneReader::size(const json& o, const std::string& key, const std::string& path) {
  auto v = numbers(o, key, path, 2, "a size [width, height]");
  if (!v) return std::nullopt;
  if (!((*v)[0] > 0) || !((*v)[1] > 0)) {
    json_.fail(ZRJSONReader::member(path, key), "a size with both sides above 0");
    return std::nullopt;
  }
  return CGSize{(*v)[0], (*v)[1]};
}

std::optional<CGPoint> SceneReader::point(const json& o, const std::string& key, const std::string& path) {
  auto v = numbers(o, key, path, 2, "a point [x, y]");
  if (!v) return std::nullopt;
  return CGPoint{(*v)[0], (*v)[1]};
}

std::optional<double> SceneReader::ranged(const json& o, const std::string& key, const std::string& path, double lo, double hi,
                                          const char* what) {
  auto v = json_.readNumber(o, key, path);
  if (v && !(*v >= lo && *v <= hi)) {
    json_.fail(ZRJSONReader::member(path, key), what);
    return std::nullopt;
  }
  return v;
}

std::optional<SceneImageDescription> SceneReader::image(const json& value, const std::string& path) {
  if (!json_.expectObject(value, path, {"file", "pattern", "size", "colors"})) return std::nullopt;
  SceneImageDescription desc;
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

std::optional<SceneViewDescription> SceneReader::view(const json& value, const std::string& path) {
  if (!json_.expectObject(value, path,
                          {"type", "name", "frame", "background", "alpha", "hidden", "clips", "cornerRadius", "zPosition",
                           "secret", "text", "font", "textColor", "alignment", "lines", "hint", "secure", "image",
                           "contentSize", "contentOffset", "page", "children"})) {
    return std::nullopt;
  }
  SceneViewDescription v;
  if (auto k = choice(value, "type", path, kKinds)) v.kind = *k;
  if (auto n = json_.readString(value, "name", path)) {
    v.name = *n;
    if (!n->empty()) viewKinds_[*n] = v.kind;
    if (!n->empty() && !viewNames_.insert(*n).second) json_.fail(path + ".name", "a name no other view has; \"" + *n + "\" is taken");
  }
  if (auto r = rect(value, "frame", path)) v.frame = *r;
  if (auto c = json_.readColor(value, "background", path)) v.background = c;
  if (auto a = ranged(value, "alpha", path, 0, 1, "an alpha from 0 to 1")) v.alpha = *a;
  if (auto b = json_.readBool(value, "hidden", path)) v.hidden = *b;
  if (auto b = json_.readBool(value, "clips", path)) v.clips = *b;
  if (auto r = ranged(value, "cornerRadius", path, 0, 1e6, "a radius of 0 or more")) v.cornerRadius = *r;
  if (auto z = json_.readNumber(value, "zPosition", path)) v.zPosition = *z;
  if (auto s = json_.readBool(value, "secret", path)) v.secret = *s;
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
  if (auto p = json_.readString(value, "hint", path)) v.hint = *p;
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

std::optional<SceneViewKind> SceneReader::viewKind(const std::string& name) const {
  auto it = viewKinds_.find(name);
  if (it == viewKinds_.end()) return std::nullopt;
  return it->second;
}

}  // namespace zerva
