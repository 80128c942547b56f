#pragma once
// The SDK's internal configuration, as far as the screen-video component reads it. Thread-safe.

#include <memory>
#include <optional>

#include "services/ZRLockedValue.h"
#include "services/ZROcclusionSetting.h"

namespace zerva {

class ZRViewVideoHandler;

class InternalZRConfiguration {
 public:
  static std::shared_ptr<InternalZRConfiguration> sharedConfiguration();
  /// The stand-in's own: a fresh configuration with every default (for tests).
  static void resetSharedConfiguration();

  void setVideoHandler(const std::shared_ptr<ZRViewVideoHandler>& handler) { handler_.set(handler); }
  std::shared_ptr<ZRViewVideoHandler> videoHandler() const { return handler_.get().lock(); }

  /// The configuration's occlusion rules (they become the rules of source 0).
  std::optional<ZROcclusionRules> occlusion() const { return occlusion_.get(); }
  void setOcclusion(std::optional<ZROcclusionRules> rules) { occlusion_.set(std::move(rules)); }
  /// YES: renderers use the improved capture mode, and the layer snapshot method is not used.
  bool enableImprovedScreenCapture() const { return enableImprovedScreenCapture_.get(); }
  void setEnableImprovedScreenCapture(bool enable) { enableImprovedScreenCapture_.set(enable); }
  /// YES: visible screens come from automatic screen tagging.
  bool enableAutomaticScreenNameTagging() const { return enableAutomaticScreenNameTagging_.get(); }
  void setEnableAutomaticScreenNameTagging(bool enable) { enableAutomaticScreenNameTagging_.set(enable); }
  /// The kind of app the SDK runs in (0 native; 1 and 7 are hybrid frameworks whose web views
  /// need the occlusion script injected).
  long platformType() const { return platformType_.get(); }
  void setPlatformType(long type) { platformType_.set(type); }

 private:
  ZRLockedValue<std::weak_ptr<ZRViewVideoHandler>> handler_;
  ZRLockedValue<std::optional<ZROcclusionRules>> occlusion_;
  ZRLockedValue<bool> enableImprovedScreenCapture_{false};
  ZRLockedValue<bool> enableAutomaticScreenNameTagging_{true};
  ZRLockedValue<long> platformType_{0};
};

}  // namespace zerva
