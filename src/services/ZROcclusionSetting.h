#pragma once
// One occlusion rule: what it hides, on which screens, and with what parameters.
//
// Types and their categories:
//   1 hide all text fields        category 0 (rules inside a screen)
//   2 cover the screen in colour  category 1 (whole-screen rules)
//   3 blur the whole screen       category 1
//   4 hide text found by text recognition, with languages and custom words   category 0
// A rule with no named screens applies to every screen except its excluded ones.

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/UIColor.h"

namespace zerva {

class ZRJSONReader;

enum ZROcclusionType : long {
  ZROcclusionTypeAllTextFields = 1,
  ZROcclusionTypeCoverScreen = 2,
  ZROcclusionTypeBlurScreen = 3,
  ZROcclusionTypeTextRecognition = 4,
};

enum ZROcclusionCategory : long {
  ZROcclusionCategoryInScreen = 0,
  ZROcclusionCategoryWholeScreen = 1,
};

enum ZROcclusionSource : long {
  ZROcclusionSourceConfiguration = 0,
  ZROcclusionSourceDashboard = 1,
  ZROcclusionSourceManual = 2,
};

class ZROcclusionSetting {
 public:
  static constexpr double kDefaultBlurRadius = 24.0;

  explicit ZROcclusionSetting(ZROcclusionType type = ZROcclusionTypeAllTextFields) : type_(type) {}

  /// The category of a type; unknown types count as in-screen rules.
  static ZROcclusionCategory categoryForType(long type);
  static bool isKnownType(long type);

  ZROcclusionType type() const { return type_; }
  ZROcclusionCategory category() const { return categoryForType(type_); }

  const std::vector<std::string>& screens() const { return screens_; }
  void setScreens(std::vector<std::string> screens) { screens_ = std::move(screens); }
  const std::vector<std::string>& excludedScreens() const { return excludedScreens_; }
  void setExcludedScreens(std::vector<std::string> screens) { excludedScreens_ = std::move(screens); }
  bool hideGestures() const { return hideGestures_; }
  void setHideGestures(bool hide) { hideGestures_ = hide; }

  /// Cover colour (type 2); always painted opaque.
  const UIColor& color() const { return color_; }
  void setColor(UIColor color) { color_ = color; }
  /// Blur radius in points (type 3).
  double blurRadius() const { return blurRadius_; }
  void setBlurRadius(double radius) { blurRadius_ = radius; }
  /// Text-recognition languages as the recogniser names them ("eng"), type 4.
  const std::vector<std::string>& recognitionLanguage() const { return recognitionLanguage_; }
  void setRecognitionLanguage(std::vector<std::string> languages) { recognitionLanguage_ = std::move(languages); }
  const std::vector<std::string>& customWords() const { return customWords_; }
  void setCustomWords(std::vector<std::string> words) { customWords_ = std::move(words); }

  bool appliesToScreen(const std::string& screen) const;
  /// Applies when it applies to any of the screens; a rule for every screen also applies to none.
  bool appliesToScreens(const std::vector<std::string>& screens) const;

  nlohmann::json toJSON() const;
  /// Reads one rule; nullopt with the reader's error on bad input.
  static std::optional<ZROcclusionSetting> fromJSON(const nlohmann::json& value, ZRJSONReader& reader,
                                                    const std::string& path);

  friend bool operator==(const ZROcclusionSetting&, const ZROcclusionSetting&) = default;

 private:
  ZROcclusionType type_;
  std::vector<std::string> screens_;
  std::vector<std::string> excludedScreens_;
  bool hideGestures_ = false;
  UIColor color_ = UIColor::blackColor();
  double blurRadius_ = kDefaultBlurRadius;
  std::vector<std::string> recognitionLanguage_{"eng"};
  std::vector<std::string> customWords_;
};

/// The rules of one source.
using ZROcclusionRules = std::vector<ZROcclusionSetting>;

/// Reads an array of rules; nullopt with the reader's error on bad input.
std::optional<ZROcclusionRules> ZROcclusionRulesFromJSON(const nlohmann::json& value, ZRJSONReader& reader,
                                                         const std::string& path);
nlohmann::json ZROcclusionRulesToJSON(const ZROcclusionRules& rules);

}  // namespace zerva
