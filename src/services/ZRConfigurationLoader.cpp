#include "services/ZRConfigurationLoader.h"

#include <cmath>
#include <fstream>
#include <sstream>

#include "services/InternalZRConfiguration.h"
#include "services/ZRJSONReader.h"
#include "services/ZRLogUtility.h"
#include "services/ZROcclusionSetting.h"
#include "services/ZRPlistHandler.h"
#include "services/ZervaHandler.h"

namespace zerva {

namespace {

constexpr const char* kDomain = "ZervaConfigurationError";

// Everything the document can set; absent members keep the defaults.
struct Configuration {
  ZRSessionSettings session;
  std::optional<ZROcclusionRules> occlusion;
  bool improvedScreenCapture = false;
  bool automaticScreenNameTagging = true;
  long platformType = 0;
  bool integrationLogging = false;
  bool verboseLogging = false;
  std::optional<std::string> logFile;
  std::optional<std::string> stateFile;
};

std::optional<unsigned long> readWholeNumber(ZRJSONReader& reader, const nlohmann::json& object, const std::string& key,
                                             double maximum) {
  auto v = reader.readNumber(object, key, "$");
  if (!v) return std::nullopt;
  if (*v < 0 || *v > maximum || std::floor(*v) != *v) {
    reader.fail("$." + key, "a whole number from 0 to " + std::to_string(static_cast<long>(maximum)));
    return std::nullopt;
  }
  return static_cast<unsigned long>(*v);
}

bool read(ZRJSONReader& reader, const nlohmann::json& doc, Configuration& c) {
  if (!reader.expectObject(doc, "$",
                           {"recordScreenVideo", "recordingQuality", "sensitiveViewColor", "hiddenScreens",
                            "enableImprovedScreenCapture", "enableAutomaticScreenNameTagging", "platformType",
                            "occlusion", "logging", "stateFile"})) {
    return false;
  }
  if (auto v = reader.readBool(doc, "recordScreenVideo", "$")) c.session.setRecordScreenVideo(*v);
  if (auto v = readWholeNumber(reader, doc, "recordingQuality", 3)) c.session.setRecordingQuality(*v);
  if (auto v = reader.readColor(doc, "sensitiveViewColor", "$")) c.session.setSensitiveViewColor(*v);
  if (auto it = doc.find("hiddenScreens"); it != doc.end() && reader.expectArray(*it, "$.hiddenScreens")) {
    std::vector<ZRHiddenScreen> screens;
    for (size_t i = 0; i < it->size(); ++i) {
      const std::string path = ZRJSONReader::element("$.hiddenScreens", i);
      const auto& entry = (*it)[i];
      if (!reader.expectObject(entry, path, {"name", "hideGestures"})) return false;
      auto name = reader.readString(entry, "name", path);
      if (!name && reader.ok()) reader.fail(path + ".name", "a screen name (missing)");
      if (!reader.ok()) return false;
      screens.push_back({*name, reader.readBool(entry, "hideGestures", path).value_or(false)});
    }
    c.session.setHiddenScreens(std::move(screens));
  }
  if (auto v = reader.readBool(doc, "enableImprovedScreenCapture", "$")) c.improvedScreenCapture = *v;
  if (auto v = reader.readBool(doc, "enableAutomaticScreenNameTagging", "$")) c.automaticScreenNameTagging = *v;
  if (auto v = readWholeNumber(reader, doc, "platformType", 100)) c.platformType = static_cast<long>(*v);
  if (auto it = doc.find("occlusion"); it != doc.end()) c.occlusion = ZROcclusionRulesFromJSON(*it, reader, "$.occlusion");
  if (auto it = doc.find("logging"); it != doc.end() && reader.expectObject(*it, "$.logging", {"integration", "verbose", "file"})) {
    if (auto v = reader.readBool(*it, "integration", "$.logging")) c.integrationLogging = *v;
    if (auto v = reader.readBool(*it, "verbose", "$.logging")) c.verboseLogging = *v;
    c.logFile = reader.readString(*it, "file", "$.logging");
  }
  c.stateFile = reader.readString(doc, "stateFile", "$");
  return reader.ok();
}

}  // namespace

NSErrorOrNil ZRConfigurationLoader::loadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    return NSError::errorWithDomain(kDomain, 1, "Cannot read the configuration file " + path).withUserInfo("path", path);
  }
  std::ostringstream text;
  text << in.rdbuf();
  return loadText(text.str(), path);
}

NSErrorOrNil ZRConfigurationLoader::loadText(const std::string& text, const std::string& documentName) {
  ZRJSONReader reader(documentName);
  Configuration c;
  const auto doc = reader.parse(text);
  if (!reader.ok() || !read(reader, doc, c)) {
    ZRLogUtility::addInternalErrorTag("configuration-invalid", {{"error", reader.errorMessage()}});
    return reader.error(kDomain, 2);
  }
  if (c.logFile) {
    // The file is the document's own mistake: it is refused like any other bad value.
    if (auto error = ZRLogUtility::setOutputFile(*c.logFile)) {
      reader.fail("$.logging.file", "a file that can be opened for appending (" + error->localizedDescription() + ")");
      ZRLogUtility::addInternalErrorTag("configuration-invalid", {{"error", reader.errorMessage()}});
      return reader.error(kDomain, 2);
    }
  }

  auto settings = std::make_shared<ZRSessionSettings>();
  settings->setRecordScreenVideo(c.session.recordScreenVideo());
  settings->setRecordingQuality(c.session.recordingQuality());
  settings->setSensitiveViewColor(c.session.sensitiveViewColor());
  settings->setHiddenScreens(c.session.hiddenScreens());
  ZervaHandler::shared()->setSessionSettings(settings);

  auto configuration = InternalZRConfiguration::sharedConfiguration();
  configuration->setOcclusion(c.occlusion);
  configuration->setEnableImprovedScreenCapture(c.improvedScreenCapture);
  configuration->setEnableAutomaticScreenNameTagging(c.automaticScreenNameTagging);
  configuration->setPlatformType(c.platformType);
  ZRLogUtility::setIntegrationLoggingEnabled(c.integrationLogging);
  ZRLogUtility::setVerboseLoggingEnabled(c.verboseLogging);
  if (c.stateFile) ZRPlistHandler::sharedHandler()->setStorePath(*c.stateFile);
  return std::nullopt;
}

}  // namespace zerva
