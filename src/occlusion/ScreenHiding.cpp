// Screen-level hiding: the visible screens, the hide flags, and the occlusion rules handed to the
// occlusion manager. Any thread (occludeUsingNewAPI on the frame queue); no lock but the list's.

#include <algorithm>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/MutexLock.h"
#include "services/InternalZRConfiguration.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ZROcclusionManager.h"

namespace zerva {

namespace {

// Only the first equal name goes: two controllers may contribute the same screen.
void removeFirstScreenNamed(std::vector<std::string>& screens, const std::string& name) {
  auto it = std::find(screens.begin(), screens.end(), name);
  if (it != screens.end()) screens.erase(it);
}

}  // namespace

// --- Visible screens ----------------------------------------------------------------------------

void ZRViewVideoHandler::addVisibleScreens(const std::vector<std::string>& names) {
  MutexLock lock(visibleScreensMutex_);
  visibleScreens_.insert(visibleScreens_.end(), names.begin(), names.end());
}

void ZRViewVideoHandler::addVisibleScreen(const std::optional<std::string>& name, const std::string& controllerId) {
  MutexLock lock(visibleScreensMutex_);
  if (auto previous = screenNamesByControllerId_.find(controllerId); previous != screenNamesByControllerId_.end()) {
    removeFirstScreenNamed(visibleScreens_, previous->second);
  }
  if (name) visibleScreens_.push_back(*name);
  // Without an identifier nothing can be recorded; the name still counts as visible, so that its
  // screen rules apply (it then goes only by name or with all screens).
  if (controllerId.empty()) return;
  if (name) {
    screenNamesByControllerId_[controllerId] = *name;
  } else {
    screenNamesByControllerId_.erase(controllerId);
  }
}

void ZRViewVideoHandler::removeVisibleScreenForControllerId(const std::string& controllerId) {
  addVisibleScreen(std::nullopt, controllerId);
}

void ZRViewVideoHandler::removeVisibleScreenForName(const std::string& name) {
  MutexLock lock(visibleScreensMutex_);
  removeFirstScreenNamed(visibleScreens_, name);
}

void ZRViewVideoHandler::removeAllVisibleScreens() {
  MutexLock lock(visibleScreensMutex_);
  visibleScreens_.clear();
}

std::vector<std::string> ZRViewVideoHandler::visibleScreenNames() const {
  MutexLock lock(visibleScreensMutex_);
  return visibleScreens_;
}

std::vector<std::string> ZRViewVideoHandler::currentVisibleScreens() const {
  auto detail = ZRHeatTimeHandler::sharedHandler()->vcDetail();
  const std::optional<std::string> manualName = detail ? detail->manualTaggedScreenName() : std::nullopt;

  std::vector<std::string> screens;
  if (InternalZRConfiguration::sharedConfiguration()->enableAutomaticScreenNameTagging()) {
    screens = visibleScreenNames();
    // A screen tagged by hand stands for the last one the tagging found.
    if (manualName && (screens.empty() || screens.back() != *manualName)) {
      if (!screens.empty()) screens.pop_back();
      screens.push_back(*manualName);
    }
  } else {
    if (auto previous = detail ? detail->manualTaggedPreviousScreen() : std::nullopt) screens.push_back(*previous);
    if (manualName) screens.push_back(*manualName);
  }
  return screens;
}

// --- Screen hiding ------------------------------------------------------------------------------

void ZRViewVideoHandler::occludeScreen(bool occlude, bool hideGestures) {
  const bool gestures = hideGestures && occlude;
  setHideFullScreen(occlude);
  setHideFullScreenGestures(gestures);
  ZRHeatTimeHandler::sharedHandler()->setHideOcclusionGestures(gestures);
}

void ZRViewVideoHandler::occludeScreenAPI(bool occlude, bool hideGestures) {
  setHideFullScreen_APICall(occlude);
  setHideFullScreenGestures_APICall(hideGestures && occlude);
}

void ZRViewVideoHandler::hideScreenGestures(bool hide) {
  setHideFullScreenGestures_APICall(hide);
  ZRHeatTimeHandler::sharedHandler()->setHideOcclusionGestures(hide);
}

bool ZRViewVideoHandler::screenIsHidden() const {
  return hideFullScreen_APICall() || hideFullScreen() || wasPreviousScreenHidden();
}

bool ZRViewVideoHandler::screenGestureRecordingIsHidden() const {
  return hideFullScreenGestures() || hideFullScreenGestures_APICall();
}

bool ZRViewVideoHandler::isCurrentScreenOccluded() const {
  auto manager = occlusionManager();
  return manager && manager->occlusionForScreens(currentVisibleScreens(), ZROcclusionCategoryWholeScreen).has_value();
}

// --- Occlusion rules ----------------------------------------------------------------------------

void ZRViewVideoHandler::applyOcclusion(const ZROcclusionSetting& setting, const std::vector<std::string>& screens) {
  auto manager = occlusionManager();
  if (!manager) return;
  const auto source = static_cast<ZROcclusionSource>(getManualOcclusionSourceForCategory(setting.category()));
  manager->applyOcclusionSetting(setting, source, screens);
}

void ZRViewVideoHandler::removeOcclusionOfType(long type) {
  auto manager = occlusionManager();
  if (!manager) return;
  // The SDK hands in a raw number; one that names no type matches no rule.
  const auto occlusionType = static_cast<ZROcclusionType>(type);
  const long source = getManualOcclusionSourceForCategory(manager->categoryForOcclusionType(occlusionType));
  manager->removeOcclusionOfType(occlusionType, static_cast<ZROcclusionSource>(source));
}

void ZRViewVideoHandler::removeOcclusion() {
  if (auto manager = occlusionManager()) manager->setOcclusion(std::nullopt, ZROcclusionSourceManual);
}

long ZRViewVideoHandler::getManualOcclusionSourceForCategory(long category) const {
  if (category != ZROcclusionCategoryInScreen) return ZROcclusionSourceManual;
  // In-screen rules act on whichever source is in force for the screen shown now.
  auto manager = occlusionManager();
  if (!manager) return ZROcclusionSourceManual;
  return manager->currentOcclusionSourceForScreens(currentVisibleScreens(), ZROcclusionCategoryInScreen);
}

void ZRViewVideoHandler::setOcclusionFromDashboardVerifyResult(const std::string& verifyResult, bool appendExisting) {
  auto manager = occlusionManager();
  if (!manager) return;
  auto existing = manager->getOcclusionFromSource(ZROcclusionSourceDashboard);
  auto rules = manager->parseOcclusionfromVerifyRequest(verifyResult, appendExisting ? existing : std::nullopt);
  manager->setOcclusion(std::move(rules), ZROcclusionSourceDashboard);
}

std::shared_ptr<UIImage> ZRViewVideoHandler::occludeUsingNewAPI(const std::shared_ptr<UIImage>& image,
                                                                const std::vector<std::string>& screens) {
  ZR_ASSERT_FRAME_QUEUE();
  auto manager = occlusionManager();
  if (!manager) return image;
  if (!manager->occlusionForScreens(screens, ZROcclusionCategoryWholeScreen)) {
    // A screen without a screen rule also stops hiding its gestures.
    hideScreenGestures(false);
    return manager->unOccludeImage(image, screens);
  }
  return manager->occludeImage(image, screens);
}

}  // namespace zerva
