#pragma once
// The occlusion rules of a session, from three sources: 0 the SDK configuration, 1 the
// dashboard (from a verify result), 2 manual calls.
//
// Precedence: for a category and a list of visible screens, the source in force is the highest
// of manual (2), dashboard (1), configuration (0) that has a rule of that category applying to
// any of the screens; only that source's rules answer. With no such rule anywhere, manual is in
// force (so manual calls then add to the manual rules).
//
// Thread-safe: rules are changed by SDK calls on any thread and read per frame on the main thread
// and the frame queue.

#include <array>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "services/ZROcclusionSetting.h"

namespace zerva {

class ZRViewVideoHandler;
class UIImage;

class ZROcclusionManager {
 public:
  ZROcclusionManager() = default;

  void setVideoHandler(const std::shared_ptr<ZRViewVideoHandler>& handler) { handler_ = handler; }
  std::shared_ptr<ZRViewVideoHandler> videoHandler() const { return handler_.lock(); }

  /// Replaces all rules of a source; nullopt clears them.
  void setOcclusion(std::optional<ZROcclusionRules> rules, long source);
  /// Adds one rule to a source, for `screens` (the setting's own screens when none are given).
  /// An identical rule is not added twice.
  void applyOcclusionSetting(const ZROcclusionSetting& setting, long source, const std::vector<std::string>& screens);
  void removeOcclusionOfType(long type, long source);
  long categoryForOcclusionType(long type) const { return ZROcclusionSetting::categoryForType(type); }
  long currentOcclusionSourceForScreens(const std::vector<std::string>& screens, long category) const;
  /// The rules of a source, or nullopt when it has none set.
  std::optional<ZROcclusionRules> getOcclusionFromSource(long source) const;

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
  std::optional<ZROcclusionSetting> occlusionForScreens(const std::vector<std::string>& screens, long category) const;
  bool containsSettingOfType(long type, const std::vector<std::string>& screens) const;
  /// The text-recognition rule in force for the screens.
  std::optional<ZROcclusionSetting> autoOccludeSetting(const std::vector<std::string>& screens) const;

  /// The image with the whole-screen rule in force for the screens painted in: an opaque cover
  /// or a blur that leaves no text readable. The image itself when no rule applies.
  std::shared_ptr<UIImage> occludeImage(const std::shared_ptr<UIImage>& image, const std::vector<std::string>& screens) const;
  /// The image as it is, for screens without a whole-screen rule.
  std::shared_ptr<UIImage> unOccludeImage(const std::shared_ptr<UIImage>& image,
                                          const std::vector<std::string>& screens) const;

 private:
  static bool isValidSource(long source);
  long sourceInForceLocked(const std::vector<std::string>& screens, long category) const;
  std::optional<ZROcclusionSetting> firstRuleLocked(const std::vector<std::string>& screens, long category,
                                                    long type) const;

  mutable std::mutex mutex_;
  std::array<std::optional<ZROcclusionRules>, 3> sources_;
  std::weak_ptr<ZRViewVideoHandler> handler_;
};

}  // namespace zerva
