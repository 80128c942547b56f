#include "scene/ScenePageReader.h"

#include <algorithm>
#include <cctype>
#include <cmath>

#include "platform/ASCIICase.h"
#include "services/ZRJSONReader.h"
#include "services/ZRWebViewTracker.h"

namespace zerva {

namespace {

// Deeper documents are refused rather than risking the reader's stack.
constexpr int kMaxDepth = 128;

bool isToken(const std::string& text) {
  return !text.empty() && std::none_of(text.begin(), text.end(), [](unsigned char c) {
    return std::isspace(c) || c == '"' || c == '\'' || c == '=' || c == '<' || c == '>' || c == '/';
  });
}

/// `count` finite numbers, the sizes among them (from `firstSize` on) not negative.
std::optional<std::vector<double>> readNumbers(ZRJSONReader& reader, const nlohmann::json& object,
                                               const std::string& key, const std::string& path, size_t count,
                                               size_t firstSize, const std::string& what) {
  auto it = object.find(key);
  if (it == object.end()) return std::nullopt;
  const std::string at = ZRJSONReader::member(path, key);
  if (!it->is_array() || it->size() != count) {
    reader.fail(at, what);
    return std::nullopt;
  }
  std::vector<double> numbers;
  for (size_t i = 0; i < count; ++i) {
    const auto& v = (*it)[i];
    if (!v.is_number() || !std::isfinite(v.get<double>()) || (i >= firstSize && v.get<double>() < 0)) {
      reader.fail(ZRJSONReader::element(at, i), i >= firstSize ? "a number not below 0" : "a finite number");
      return std::nullopt;
    }
    numbers.push_back(v.get<double>());
  }
  return numbers;
}

std::optional<WebElement> readElement(ZRJSONReader& reader, const nlohmann::json& value, const std::string& path,
                                      int depth) {
  if (depth > kMaxDepth) {
    reader.fail(path, "elements nested at most " + std::to_string(kMaxDepth) + " deep");
    return std::nullopt;
  }
  if (!reader.expectObject(value, path,
                           {"tag", "frame", "type", "id", "classes", "attributes", "text", "value", "color", "background", "display",
                            "visibility", "hidden", "children"})) {
    return std::nullopt;
  }
  WebElement element;

  auto tag = reader.readString(value, "tag", path);
  if (!reader.ok()) return std::nullopt;
  if (!tag || tag->empty() || !std::isalpha(static_cast<unsigned char>((*tag)[0])) ||
      !std::all_of(tag->begin(), tag->end(), [](unsigned char c) { return std::isalnum(c) || c == '-'; })) {
    reader.fail(ZRJSONReader::member(path, "tag"), "a tag name such as \"input\"");
    return std::nullopt;
  }
  element.tagName = lowercase(*tag);

  if (auto frame = readNumbers(reader, value, "frame", path, 4, 2, "[x, y, width, height] in CSS pixels")) {
    element.frame = CGRectMake((*frame)[0], (*frame)[1], (*frame)[2], (*frame)[3]);
  }

  if (auto attributes = value.find("attributes"); attributes != value.end()) {
    const std::string at = ZRJSONReader::member(path, "attributes");
    if (!attributes->is_object()) {
      reader.fail(at, "an object of attribute names to string values");
      return std::nullopt;
    }
    for (const auto& [name, attributeValue] : attributes->items()) {
      if (!isToken(name)) {
        reader.fail(at, "attribute names without spaces, quotes, '=', '<', '>' or '/', found \"" + name + "\"");
        return std::nullopt;
      }
      if (!attributeValue.is_string()) {
        reader.fail(ZRJSONReader::member(at, name), "a string");
        return std::nullopt;
      }
      element.attributes[lowercase(name)] = attributeValue.get<std::string>();
    }
  }
  // The shorthands must not contradict the attributes they stand for.
  auto setShorthand = [&](const std::string& key, const std::string& attribute, std::string text) {
    if (element.attributes.contains(attribute)) {
      reader.fail(ZRJSONReader::member(path, key), "no \"" + attribute + "\" in attributes as well");
      return false;
    }
    element.attributes[attribute] = std::move(text);
    return true;
  };
  if (auto type = reader.readString(value, "type", path); type && !setShorthand("type", "type", *type)) return std::nullopt;
  if (auto id = reader.readString(value, "id", path); id && !setShorthand("id", "id", *id)) return std::nullopt;
  if (auto classes = reader.readStrings(value, "classes", path)) {
    std::string joined;
    for (size_t i = 0; i < classes->size(); ++i) {
      if (!isToken((*classes)[i])) {
        reader.fail(ZRJSONReader::element(ZRJSONReader::member(path, "classes"), i), "a class name without spaces");
        return std::nullopt;
      }
      joined += (i ? " " : "") + (*classes)[i];
    }
    if (!setShorthand("classes", "class", joined)) return std::nullopt;
  }
  if (auto hidden = reader.readBool(value, "hidden", path); hidden && *hidden && !setShorthand("hidden", "hidden", "")) {
    return std::nullopt;
  }

  element.text = reader.readString(value, "text", path).value_or("");
  element.value = reader.readString(value, "value", path).value_or("");
  element.color = reader.readColor(value, "color", path);
  element.background = reader.readColor(value, "background", path);
  if (auto display = reader.readString(value, "display", path)) {
    if (!isToken(*display)) {
      reader.fail(ZRJSONReader::member(path, "display"), "a display value such as \"none\" or \"block\"");
      return std::nullopt;
    }
    element.display = lowercase(*display);
  }
  if (auto visibility = reader.readString(value, "visibility", path)) {
    if (*visibility != "visible" && *visibility != "hidden" && *visibility != "collapse") {
      reader.fail(ZRJSONReader::member(path, "visibility"), "\"visible\", \"hidden\" or \"collapse\"");
      return std::nullopt;
    }
    element.visibility = *visibility;
  }

  if (auto children = value.find("children"); children != value.end()) {
    const std::string at = ZRJSONReader::member(path, "children");
    if (!reader.expectArray(*children, at)) return std::nullopt;
    for (size_t i = 0; i < children->size(); ++i) {
      auto child = readElement(reader, (*children)[i], ZRJSONReader::element(at, i), depth + 1);
      if (!child) return std::nullopt;
      element.children.push_back(std::move(*child));
    }
  }
  if (!reader.ok()) return std::nullopt;
  return element;
}

}  // namespace

std::optional<WebPage> ScenePageReader::readPage(ZRJSONReader& reader, const nlohmann::json& value, const std::string& path) {
  if (!reader.expectObject(value, path, {"body", "scripts", "definesOcclusionFunction", "contentSize"})) {
    return std::nullopt;
  }
  WebPage page;
  // A page that includes the SDK's web snippet runs it first, as its own script.
  if (reader.readBool(value, "definesOcclusionFunction", path).value_or(false)) {
    page.scripts.push_back(ZRWebViewTracker::pageScript());
  }
  for (std::string& script : reader.readStrings(value, "scripts", path).value_or(std::vector<std::string>{})) {
    page.scripts.push_back(std::move(script));
  }
  if (auto size = readNumbers(reader, value, "contentSize", path, 2, 0, "[width, height] in CSS pixels")) {
    page.contentSize = CGSizeMake((*size)[0], (*size)[1]);
  }
  if (auto body = value.find("body"); body != value.end()) {
    const std::string at = ZRJSONReader::member(path, "body");
    if (!reader.expectArray(*body, at)) return std::nullopt;
    for (size_t i = 0; i < body->size(); ++i) {
      auto element = readElement(reader, (*body)[i], ZRJSONReader::element(at, i), 1);
      if (!element) return std::nullopt;
      page.body.push_back(std::move(*element));
    }
  }
  if (!reader.ok()) return std::nullopt;
  return page;
}

NSResult<WebPage> ScenePageReader::pageWithJSON(std::string_view text, const std::string& documentName) {
  ZRJSONReader reader(documentName);
  nlohmann::json value = reader.parse(text);
  std::optional<WebPage> page;
  if (reader.ok()) page = readPage(reader, value, "$");
  if (!page) return reader.error(WebPageErrorDomain, 1);
  return std::move(*page);
}

}  // namespace zerva
