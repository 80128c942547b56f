#pragma once
// The occlusion rules of a session, from three sources: 0 the SDK configuration, 1 the
// dashboard (from a verify result), 2 manual calls.
//
// Precedence: for a category and a list of visible screens, the source in force is the highest
// of manual (2), dashboard (1), configuration (0) that has a rule of that category applying to
// any of the screens; only that source's rules answer. With no such rule anywhere, manual is in
// force (so manual calls then add to the manual rules).
//
// Thread-safe: rules and the handler back-reference are changed by SDK calls on any thread and
// read per frame on the main thread and the frame queue, all under one lock. The handler owns
// its occlusion manager, which refers back to it weakly.

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Mutex.h"
#include "platform/ThreadAnnotations.h"
#include "services/ZROcclusionSetting.h"

namespace zerva {

class ZRViewVideoHandler;
class UIImage;

class ZROcclusionManager {
 public:
  ZROcclusionManager() = default;

  void setVideoHandler(const std::shared_ptr<ZRViewVideoHandler>& handler) EXCLUDES(mutex_);
  std::shared_ptr<ZRViewVideoHandler> videoHandler() const EXCLUDES(mutex_);

  /// Replaces all rules of a source; nullopt clears them. A source out of range is refused and
  /// logged as the error tag "occlusion-invalidSource", as by every operation that takes one.
  void setOcclusion(std::optional<ZROcclusionRules> rules, ZROcclusionSource source) EXCLUDES(mutex_);
  /// Adds one rule to a source, for `screens` (the setting's own screens when none are given).
  /// An identical rule is not added twice.
  void applyOcclusionSetting(const ZROcclusionSetting& setting, ZROcclusionSource source,
                             const std::vector<std::string>& screens) EXCLUDES(mutex_);
  void removeOcclusionOfType(ZROcclusionType type, ZROcclusionSource source) EXCLUDES(mutex_);
  ZROcclusionCategory categoryForOcclusionType(ZROcclusionType type) const {
    return ZROcclusionSetting::categoryForType(type);
  }
  ZROcclusionSource currentOcclusionSourceForScreens(const std::vector<std::string>& screens,
                                                     ZROcclusionCategory category) const EXCLUDES(mutex_);
  /// The rules of a source, or nullopt when it has none set.
  std::optional<ZROcclusionRules> getOcclusionFromSource(ZROcclusionSource source) const EXCLUDES(mutex_);

  /// Reads a dashboard verify result ({"occlusionRules": [...]}, other keys ignored). With
  /// `existing`, the new rules are merged into them: a new rule replaces the existing rules of the
  /// same type for the same screens. A malformed result is logged as the error tag
  /// "occlusion-invalidVerifyResult" and answers the dashboard rules in force now, unchanged.
  std::optional<ZROcclusionRules> parseOcclusionfromVerifyRequest(const std::string& verifyResult,
                                                                  const std::optional<ZROcclusionRules>& existing);
  /// Reads rules from configuration JSON text (an array of rules); nullopt and the error tag
  /// "occlusion-invalidRules" on bad input.
  std::optional<ZROcclusionRules> rulesFromJSONText(const std::string& text, const std::string& documentName);

  /// The first rule of the category that applies to the screens, from the source in force.
  std::optional<ZROcclusionSetting> occlusionForScreens(const std::vector<std::string>& screens,
                                                        ZROcclusionCategory category) const EXCLUDES(mutex_);
  bool containsSettingOfType(ZROcclusionType type, const std::vector<std::string>& screens) const EXCLUDES(mutex_);
  /// The text-recognition rule in force for the screens.
  std::optional<ZROcclusionSetting> autoOccludeSetting(const std::vector<std::string>& screens) const
      EXCLUDES(mutex_);

  /// The image with the whole-screen rule in force for the screens painted in: an opaque cover
  /// or a blur that leaves no text readable. The image itself when no rule applies.
  std::shared_ptr<UIImage> occludeImage(const std::shared_ptr<UIImage>& image, const std::vector<std::string>& screens) const;
  /// The image as it is, for screens without a whole-screen rule.
  std::shared_ptr<UIImage> unOccludeImage(const std::shared_ptr<UIImage>& image,
                                          const std::vector<std::string>& screens) const;

 private:
  static bool isValidSource(ZROcclusionSource source);
  ZROcclusionSource sourceInForceLocked(const std::vector<std::string>& screens, ZROcclusionCategory category) const
      REQUIRES(mutex_);
  /// The first rule of the category (and of `type`, when given) from the source in force.
  std::optional<ZROcclusionSetting> firstRuleLocked(const std::vector<std::string>& screens,
                                                    ZROcclusionCategory category,
                                                    std::optional<ZROcclusionType> type) const REQUIRES(mutex_);

  mutable Mutex mutex_;
  std::array<std::optional<ZROcclusionRules>, 3> sources_ GUARDED_BY(mutex_);
  std::weak_ptr<ZRViewVideoHandler> handler_ GUARDED_BY(mutex_);
};

}  // namespace zerva
