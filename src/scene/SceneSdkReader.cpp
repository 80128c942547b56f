// Reading a scene's "sdk" section: the keys of the SDK configuration (docs/configuration.md) but
// for the files it names, plus the two schematic switches.

#include <cmath>

#include "scene/SceneSdkReader.h"

namespace zerva {

namespace {

std::optional<double> wholeNumber(ZRJSONReader& j, const nlohmann::json& object, const std::string& key, double maximum) {
  auto v = j.readNumber(object, key, "$.sdk");
  if (v && (*v < 0 || *v > maximum || std::floor(*v) != *v)) {
    j.fail("$.sdk." + key, "a whole number from 0 to " + std::to_string(static_cast<long>(maximum)));
    return std::nullopt;
  }
  return v;
}

}  // namespace

bool SceneReadSdk(SceneReader& r, const nlohmann::json& value, SceneSdkSettings& sdk) {
  auto& j = r.reader();
  const std::string path = "$.sdk";
  if (!j.expectObject(value, path,
                      {"recordScreenVideo", "recordingQuality", "sensitiveViewColor", "hiddenScreens",
                       "enableImprovedScreenCapture", "enableAutomaticScreenNameTagging", "platformType", "occlusion",
                       "schematicCapture", "platformSchematicCapture", "logging"})) {
    return false;
  }
  if (auto v = j.readBool(value, "recordScreenVideo", path)) sdk.recordScreenVideo = *v;
  if (auto v = wholeNumber(j, value, "recordingQuality", 3)) sdk.recordingQuality = static_cast<unsigned long>(*v);
  if (auto v = j.readColor(value, "sensitiveViewColor", path)) sdk.sensitiveViewColor = *v;
  if (auto it = value.find("hiddenScreens"); it != value.end() && j.expectArray(*it, path + ".hiddenScreens")) {
    for (size_t i = 0; i < it->size() && r.ok(); ++i) {
      const std::string at = ZRJSONReader::element(path + ".hiddenScreens", i);
      const auto& entry = (*it)[i];
      if (!j.expectObject(entry, at, {"name", "hideGestures"})) break;
      auto name = j.readString(entry, "name", at);
      if (!name) {
        if (r.ok()) j.fail(at + ".name", "a screen name (missing)");
        break;
      }
      sdk.hiddenScreens.push_back({*name, j.readBool(entry, "hideGestures", at).value_or(false)});
    }
  }
  if (auto v = j.readBool(value, "enableImprovedScreenCapture", path)) sdk.enableImprovedScreenCapture = *v;
  if (auto v = j.readBool(value, "enableAutomaticScreenNameTagging", path)) sdk.enableAutomaticScreenNameTagging = *v;
  if (auto v = wholeNumber(j, value, "platformType", 100)) sdk.platformType = static_cast<long>(*v);
  if (auto it = value.find("occlusion"); it != value.end()) sdk.occlusion = ZROcclusionRulesFromJSON(*it, j, path + ".occlusion");
  if (auto v = j.readBool(value, "schematicCapture", path)) sdk.schematicCapture = *v;
  if (auto v = j.readBool(value, "platformSchematicCapture", path)) sdk.platformSchematicCapture = *v;
  if (auto it = value.find("logging"); it != value.end() && j.expectObject(*it, path + ".logging", {"integration", "verbose"})) {
    if (auto v = j.readBool(*it, "integration", path + ".logging")) sdk.integrationLogging = *v;
    if (auto v = j.readBool(*it, "verbose", path + ".logging")) sdk.verboseLogging = *v;
  }
  return r.ok();
}

}  // namespace zerva
