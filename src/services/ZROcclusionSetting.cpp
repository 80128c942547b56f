#include "services/ZROcclusionSetting.h"

#include <algorithm>
#include <cmath>

#include "services/ZRJSONReader.h"

namespace zerva {

namespace {

struct TypeName {
  ZROcclusionType type;
  const char* name;
};

constexpr TypeName kTypeNames[] = {
    {ZROcclusionTypeAllTextFields, "allTextFields"},
    {ZROcclusionTypeCoverScreen, "coverScreen"},
    {ZROcclusionTypeBlurScreen, "blurScreen"},
    {ZROcclusionTypeTextRecognition, "textRecognition"},
};

bool contains(const std::vector<std::string>& list, const std::string& s) {
  return std::find(list.begin(), list.end(), s) != list.end();
}

}  // namespace

bool ZROcclusionSetting::isKnownType(long type) {
  return std::any_of(std::begin(kTypeNames), std::end(kTypeNames), [&](const TypeName& t) { return t.type == type; });
}

ZROcclusionCategory ZROcclusionSetting::categoryForType(long type) {
  return type == ZROcclusionTypeCoverScreen || type == ZROcclusionTypeBlurScreen ? ZROcclusionCategoryWholeScreen
                                                                                : ZROcclusionCategoryInScreen;
}

bool ZROcclusionSetting::appliesToScreen(const std::string& screen) const {
  if (contains(excludedScreens_, screen)) return false;
  return screens_.empty() || contains(screens_, screen);
}

bool ZROcclusionSetting::appliesToScreens(const std::vector<std::string>& screens) const {
  if (screens.empty()) return screens_.empty();
  return std::any_of(screens.begin(), screens.end(), [this](const std::string& s) { return appliesToScreen(s); });
}

nlohmann::json ZROcclusionSetting::toJSON() const {
  nlohmann::json j;
  for (const TypeName& t : kTypeNames) {
    if (t.type == type_) j["type"] = t.name;
  }
  if (!j.contains("type")) j["type"] = static_cast<long>(type_);
  if (!screens_.empty()) j["screens"] = screens_;
  if (!excludedScreens_.empty()) j["excludedScreens"] = excludedScreens_;
  if (hideGestures_) j["hideGestures"] = true;
  if (type_ == ZROcclusionTypeCoverScreen) j["color"] = ZRHexStringFromColor(color_);
  if (type_ == ZROcclusionTypeBlurScreen) j["blurRadius"] = blurRadius_;
  if (type_ == ZROcclusionTypeTextRecognition) {
    j["languages"] = recognitionLanguage_;
    j["customWords"] = customWords_;
  }
  return j;
}

std::optional<ZROcclusionSetting> ZROcclusionSetting::fromJSON(const nlohmann::json& value, ZRJSONReader& reader,
                                                                const std::string& path) {
  if (!reader.expectObject(value, path,
                           {"type", "screens", "excludedScreens", "hideGestures", "color", "blurRadius", "languages",
                            "customWords"})) {
    return std::nullopt;
  }
  const auto typeValue = value.find("type");
  std::optional<ZROcclusionType> type;
  if (typeValue == value.end()) {
    reader.fail(ZRJSONReader::member(path, "type"), "a rule type (missing)");
    return std::nullopt;
  }
  if (typeValue->is_string()) {
    for (const TypeName& t : kTypeNames) {
      if (typeValue->get<std::string>() == t.name) type = t.type;
    }
  } else if (typeValue->is_number_integer() && isKnownType(typeValue->get<long>())) {
    type = static_cast<ZROcclusionType>(typeValue->get<long>());
  }
  if (!type) {
    reader.fail(ZRJSONReader::member(path, "type"),
                "one of \"allTextFields\", \"coverScreen\", \"blurScreen\", \"textRecognition\" (or 1 to 4), found " +
                    typeValue->dump());
    return std::nullopt;
  }

  ZROcclusionSetting setting(*type);
  if (auto v = reader.readStrings(value, "screens", path)) setting.setScreens(*v);
  if (auto v = reader.readStrings(value, "excludedScreens", path)) setting.setExcludedScreens(*v);
  if (auto v = reader.readBool(value, "hideGestures", path)) setting.setHideGestures(*v);
  if (auto v = reader.readColor(value, "color", path)) setting.setColor(*v);
  if (auto v = reader.readNumber(value, "blurRadius", path)) {
    if (!(*v > 0 && *v <= 500)) {
      reader.fail(ZRJSONReader::member(path, "blurRadius"), "a radius in points above 0 and at most 500");
    }
    setting.setBlurRadius(*v);
  }
  if (auto v = reader.readStrings(value, "languages", path)) setting.setRecognitionLanguage(*v);
  if (auto v = reader.readStrings(value, "customWords", path)) setting.setCustomWords(*v);
  if (!reader.ok()) return std::nullopt;
  return setting;
}

std::optional<ZROcclusionRules> ZROcclusionRulesFromJSON(const nlohmann::json& value, ZRJSONReader& reader,
                                                         const std::string& path) {
  if (!reader.expectArray(value, path)) return std::nullopt;
  ZROcclusionRules rules;
  for (size_t i = 0; i < value.size(); ++i) {
    auto rule = ZROcclusionSetting::fromJSON(value[i], reader, ZRJSONReader::element(path, i));
    if (!rule) return std::nullopt;
    rules.push_back(std::move(*rule));
  }
  return rules;
}

nlohmann::json ZROcclusionRulesToJSON(const ZROcclusionRules& rules) {
  nlohmann::json out = nlohmann::json::array();
  for (const auto& r : rules) out.push_back(r.toJSON());
  return out;
}

}  // namespace zerva
