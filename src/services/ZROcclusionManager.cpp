#include "services/ZROcclusionManager.h"

#include <algorithm>

#include "platform/MutexLock.h"
#include "services/ZRJSONReader.h"
#include "services/ZRLogUtility.h"

namespace zerva {

void ZROcclusionManager::setVideoHandler(const std::shared_ptr<ZRViewVideoHandler>& handler) {
  MutexLock lock(mutex_);
  handler_ = handler;
}

std::shared_ptr<ZRViewVideoHandler> ZROcclusionManager::videoHandler() const {
  MutexLock lock(mutex_);
  return handler_.lock();
}

bool ZROcclusionManager::isValidSource(ZROcclusionSource source) {
  if (source >= ZROcclusionSourceConfiguration && source <= ZROcclusionSourceManual) return true;
  ZRLogUtility::addInternalErrorTag("occlusion-invalidSource", {{"source", static_cast<long>(source)}});
  return false;
}

void ZROcclusionManager::setOcclusion(std::optional<ZROcclusionRules> rules, ZROcclusionSource source) {
  if (!isValidSource(source)) return;
  MutexLock lock(mutex_);
  sources_[static_cast<size_t>(source)] = std::move(rules);
}

void ZROcclusionManager::applyOcclusionSetting(const ZROcclusionSetting& setting, ZROcclusionSource source,
                                               const std::vector<std::string>& screens) {
  if (!isValidSource(source)) return;
  ZROcclusionSetting rule = setting;
  if (!screens.empty()) rule.setScreens(screens);
  MutexLock lock(mutex_);
  auto& rules = sources_[static_cast<size_t>(source)];
  if (!rules) rules.emplace();
  if (std::find(rules->begin(), rules->end(), rule) == rules->end()) rules->push_back(std::move(rule));
}

void ZROcclusionManager::removeOcclusionOfType(ZROcclusionType type, ZROcclusionSource source) {
  if (!isValidSource(source)) return;
  MutexLock lock(mutex_);
  auto& rules = sources_[static_cast<size_t>(source)];
  if (rules) std::erase_if(*rules, [type](const ZROcclusionSetting& r) { return r.type() == type; });
}

std::optional<ZROcclusionRules> ZROcclusionManager::getOcclusionFromSource(ZROcclusionSource source) const {
  if (!isValidSource(source)) return std::nullopt;
  MutexLock lock(mutex_);
  return sources_[static_cast<size_t>(source)];
}

ZROcclusionSource ZROcclusionManager::sourceInForceLocked(const std::vector<std::string>& screens,
                                                          ZROcclusionCategory category) const {
  for (ZROcclusionSource source : {ZROcclusionSourceManual, ZROcclusionSourceDashboard, ZROcclusionSourceConfiguration}) {
    const auto& rules = sources_[static_cast<size_t>(source)];
    if (!rules) continue;
    const bool applies = std::any_of(rules->begin(), rules->end(), [&](const ZROcclusionSetting& r) {
      return r.category() == category && r.appliesToScreens(screens);
    });
    if (applies) return source;
  }
  return ZROcclusionSourceManual;
}

ZROcclusionSource ZROcclusionManager::currentOcclusionSourceForScreens(const std::vector<std::string>& screens,
                                                                       ZROcclusionCategory category) const {
  MutexLock lock(mutex_);
  return sourceInForceLocked(screens, category);
}

std::optional<ZROcclusionSetting> ZROcclusionManager::firstRuleLocked(const std::vector<std::string>& screens,
                                                                      ZROcclusionCategory category,
                                                                      std::optional<ZROcclusionType> type) const {
  const auto& rules = sources_[static_cast<size_t>(sourceInForceLocked(screens, category))];
  if (!rules) return std::nullopt;
  for (const auto& r : *rules) {
    if (r.category() == category && (!type || r.type() == *type) && r.appliesToScreens(screens)) return r;
  }
  return std::nullopt;
}

std::optional<ZROcclusionSetting> ZROcclusionManager::occlusionForScreens(const std::vector<std::string>& screens,
                                                                          ZROcclusionCategory category) const {
  MutexLock lock(mutex_);
  return firstRuleLocked(screens, category, std::nullopt);
}

bool ZROcclusionManager::containsSettingOfType(ZROcclusionType type, const std::vector<std::string>& screens) const {
  MutexLock lock(mutex_);
  return firstRuleLocked(screens, categoryForOcclusionType(type), type).has_value();
}

std::optional<ZROcclusionSetting> ZROcclusionManager::autoOccludeSetting(const std::vector<std::string>& screens) const {
  MutexLock lock(mutex_);
  return firstRuleLocked(screens, ZROcclusionCategoryInScreen, ZROcclusionTypeTextRecognition);
}

std::optional<ZROcclusionRules> ZROcclusionManager::rulesFromJSONText(const std::string& text,
                                                                      const std::string& documentName) {
  ZRJSONReader reader(documentName);
  const auto json = reader.parse(text);
  std::optional<ZROcclusionRules> rules;
  if (reader.ok()) rules = ZROcclusionRulesFromJSON(json, reader, "$");
  if (!reader.ok()) {
    ZRLogUtility::addInternalErrorTag("occlusion-invalidRules", {{"error", reader.errorMessage()}});
    return std::nullopt;
  }
  return rules;
}

std::optional<ZROcclusionRules> ZROcclusionManager::parseOcclusionfromVerifyRequest(
    const std::string& verifyResult, const std::optional<ZROcclusionRules>& existing) {
  ZRJSONReader reader("verify result");
  const auto json = reader.parse(verifyResult);
  std::optional<ZROcclusionRules> incoming;
  if (reader.ok()) {
    if (!json.is_object()) {
      reader.fail("$", "an object");
    } else if (auto it = json.find("occlusionRules"); it == json.end()) {
      reader.fail("$.occlusionRules", "an array of occlusion rules (missing)");
    } else {
      incoming = ZROcclusionRulesFromJSON(*it, reader, "$.occlusionRules");
    }
  }
  if (!reader.ok()) {
    ZRLogUtility::addInternalErrorTag("occlusion-invalidVerifyResult", {{"error", reader.errorMessage()}});
    return getOcclusionFromSource(ZROcclusionSourceDashboard);
  }
  if (!existing) return incoming;

  ZROcclusionRules merged = *existing;
  for (const auto& rule : *incoming) {
    std::erase_if(merged, [&](const ZROcclusionSetting& old) {
      return old.type() == rule.type() && old.screens() == rule.screens();
    });
  }
  merged.insert(merged.end(), incoming->begin(), incoming->end());
  return merged;
}

}  // namespace zerva
