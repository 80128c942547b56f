#include <gtest/gtest.h>

#include "services/ZRLogUtility.h"
#include "services/ZROcclusionManager.h"

namespace zerva {
namespace {

using Screens = std::vector<std::string>;

ZROcclusionSetting rule(ZROcclusionType type, Screens screens = {}, Screens excluded = {}) {
  ZROcclusionSetting s(type);
  s.setScreens(std::move(screens));
  s.setExcludedScreens(std::move(excluded));
  return s;
}

class OcclusionManagerTest : public ::testing::Test {
 protected:
  void SetUp() override { ZRLogUtility::reset(); }
  ZROcclusionManager manager;
};

TEST_F(OcclusionManagerTest, HigherSourcesWinPerCategoryAndScreen) {
  auto cover = rule(ZROcclusionTypeCoverScreen, {"Checkout"});
  cover.setColor(UIColor::redColor());
  manager.setOcclusion(ZROcclusionRules{cover, rule(ZROcclusionTypeAllTextFields)}, ZROcclusionSourceConfiguration);
  auto blur = rule(ZROcclusionTypeBlurScreen, {"Checkout"});
  manager.setOcclusion(ZROcclusionRules{blur}, ZROcclusionSourceDashboard);

  // Whole-screen rules: the dashboard outranks the configuration for Checkout.
  EXPECT_EQ(manager.currentOcclusionSourceForScreens({"Checkout"}, ZROcclusionCategoryWholeScreen), ZROcclusionSourceDashboard);
  EXPECT_EQ(manager.occlusionForScreens({"Checkout"}, ZROcclusionCategoryWholeScreen)->type(), ZROcclusionTypeBlurScreen);
  // In-screen rules of the configuration still answer: the dashboard has none for that category.
  EXPECT_EQ(manager.currentOcclusionSourceForScreens({"Checkout"}, ZROcclusionCategoryInScreen), ZROcclusionSourceConfiguration);
  EXPECT_TRUE(manager.containsSettingOfType(ZROcclusionTypeAllTextFields, {"Home"}));
  // No rule anywhere: manual is in force, and nothing answers.
  EXPECT_EQ(manager.currentOcclusionSourceForScreens({"Home"}, ZROcclusionCategoryWholeScreen), ZROcclusionSourceManual);
  EXPECT_FALSE(manager.occlusionForScreens({"Home"}, ZROcclusionCategoryWholeScreen));

  // A manual rule outranks both; clearing the manual source brings the dashboard back.
  manager.applyOcclusionSetting(rule(ZROcclusionTypeCoverScreen), ZROcclusionSourceManual, {"Checkout"});
  EXPECT_EQ(manager.occlusionForScreens({"Checkout"}, ZROcclusionCategoryWholeScreen)->type(), ZROcclusionTypeCoverScreen);
  manager.setOcclusion(std::nullopt, ZROcclusionSourceManual);
  EXPECT_EQ(manager.occlusionForScreens({"Checkout"}, ZROcclusionCategoryWholeScreen)->type(), ZROcclusionTypeBlurScreen);
  EXPECT_EQ(manager.getOcclusionFromSource(ZROcclusionSourceConfiguration)->size(), 2u);
}

TEST_F(OcclusionManagerTest, ScreensIncludedExcludedAndAnyOfTheVisibleOnes) {
  manager.setOcclusion(ZROcclusionRules{rule(ZROcclusionTypeAllTextFields, {}, {"Home"}),
                                        rule(ZROcclusionTypeCoverScreen, {"Payment", "Checkout"})},
                       ZROcclusionSourceConfiguration);
  EXPECT_FALSE(manager.containsSettingOfType(ZROcclusionTypeAllTextFields, {"Home"}));
  EXPECT_TRUE(manager.containsSettingOfType(ZROcclusionTypeAllTextFields, {"Profile"}));
  EXPECT_TRUE(manager.containsSettingOfType(ZROcclusionTypeAllTextFields, {"Home", "Profile"}));
  EXPECT_TRUE(manager.containsSettingOfType(ZROcclusionTypeAllTextFields, {}));  // every-screen rule
  EXPECT_TRUE(manager.occlusionForScreens({"Home", "Payment"}, ZROcclusionCategoryWholeScreen));
  EXPECT_FALSE(manager.occlusionForScreens({"Home"}, ZROcclusionCategoryWholeScreen));
  EXPECT_FALSE(manager.occlusionForScreens({}, ZROcclusionCategoryWholeScreen));  // named screens need a name
}

TEST_F(OcclusionManagerTest, RemovingATypeTouchesOneSourceOnly) {
  manager.setOcclusion(ZROcclusionRules{rule(ZROcclusionTypeAllTextFields)}, ZROcclusionSourceConfiguration);
  manager.applyOcclusionSetting(rule(ZROcclusionTypeAllTextFields), ZROcclusionSourceManual, {});
  manager.applyOcclusionSetting(rule(ZROcclusionTypeAllTextFields), ZROcclusionSourceManual, {});  // no duplicate
  EXPECT_EQ(manager.getOcclusionFromSource(ZROcclusionSourceManual)->size(), 1u);
  manager.removeOcclusionOfType(ZROcclusionTypeAllTextFields, ZROcclusionSourceManual);
  EXPECT_TRUE(manager.getOcclusionFromSource(ZROcclusionSourceManual)->empty());
  EXPECT_TRUE(manager.containsSettingOfType(ZROcclusionTypeAllTextFields, {"Any"}));  // the configuration's
  manager.setOcclusion(ZROcclusionRules{}, static_cast<ZROcclusionSource>(7));  // no such source: refused and logged
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("occlusion-invalidSource").size(), 1u);
}

TEST_F(OcclusionManagerTest, VerifyResultsReplaceOrMergeAndBadOnesChangeNothing) {
  manager.setOcclusion(ZROcclusionRules{rule(ZROcclusionTypeCoverScreen, {"A"}), rule(ZROcclusionTypeBlurScreen, {"B"})},
                       ZROcclusionSourceDashboard);
  const std::string result = R"({"sessionId": "x", "occlusionRules": [
      {"type": "coverScreen", "screens": ["A"], "color": "#00FF00", "hideGestures": true},
      {"type": 4, "languages": ["eng", "deu"], "customWords": ["Secret"]}]})";

  auto replaced = manager.parseOcclusionfromVerifyRequest(result, std::nullopt);
  ASSERT_TRUE(replaced);
  ASSERT_EQ(replaced->size(), 2u);
  EXPECT_EQ((*replaced)[0].color(), UIColor::colorWithRed(0, 1, 0, 1));
  EXPECT_TRUE((*replaced)[0].hideGestures());

  auto merged = manager.parseOcclusionfromVerifyRequest(result, manager.getOcclusionFromSource(ZROcclusionSourceDashboard));
  ASSERT_TRUE(merged);
  ASSERT_EQ(merged->size(), 3u);  // B's blur kept, A's cover replaced, text recognition added
  EXPECT_EQ((*merged)[0].type(), ZROcclusionTypeBlurScreen);
  EXPECT_EQ((*merged)[1].color(), UIColor::colorWithRed(0, 1, 0, 1));
  manager.setOcclusion(merged, ZROcclusionSourceDashboard);
  auto text = manager.autoOccludeSetting({"Anything"});
  ASSERT_TRUE(text);
  EXPECT_EQ(text->recognitionLanguage(), (Screens{"eng", "deu"}));
  EXPECT_EQ(text->customWords(), Screens{"Secret"});

  const auto before = manager.getOcclusionFromSource(ZROcclusionSourceDashboard);
  for (const char* bad : {"{", "[]", R"({"rules": []})", R"({"occlusionRules": [{"type": "sparkle"}]})",
                          R"({"occlusionRules": [{"type": "coverScreen", "color": "red"}]})",
                          R"({"occlusionRules": [{"type": "coverScreen", "screen": ["A"]}]})"}) {
    ZRLogUtility::clearRecordedTags();
    auto answer = manager.parseOcclusionfromVerifyRequest(bad, std::nullopt);
    EXPECT_EQ(answer, before) << bad;  // handing the answer back leaves the rules as they were
    const auto tags = ZRLogUtility::recordedTagsNamed("occlusion-invalidVerifyResult");
    ASSERT_EQ(tags.size(), 1u) << bad;
    EXPECT_EQ(tags[0].level, ZRLogLevel::Error);
  }
  const auto unknownKey = ZRLogUtility::recordedTagsNamed("occlusion-invalidVerifyResult")[0];
  EXPECT_EQ(unknownKey.properties["error"].get<std::string>().rfind("verify result: $.occlusionRules[0].screen: expected no such key", 0), 0u)
      << unknownKey.properties.dump();
}

TEST_F(OcclusionManagerTest, RulesRoundTripThroughJSON) {
  auto blur = rule(ZROcclusionTypeBlurScreen, {"Pay"}, {"Pay.Done"});
  blur.setBlurRadius(40);
  blur.setHideGestures(true);
  const ZROcclusionRules rules{blur, rule(ZROcclusionTypeTextRecognition)};
  const auto back = manager.rulesFromJSONText(ZROcclusionRulesToJSON(rules).dump(), "rules");
  EXPECT_EQ(back, rules);
}

}  // namespace
}  // namespace zerva
