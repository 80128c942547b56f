#include <gtest/gtest.h>

#include "services/InternalZRConfiguration.h"
#include "services/ZRConfigurationLoader.h"
#include "services/ZervaHandler.h"
#include "services/ServicesTestSupport.h"

namespace zerva {
namespace {

using testing::ServicesTest;

TEST_F(ServicesTest, ConfigurationLoadsWholeOrNotAtAll) {
  const std::string good = R"({
    "recordScreenVideo": false, "recordingQuality": 2, "sensitiveViewColor": "#FF000080",
    "hiddenScreens": [{"name": "Checkout", "hideGestures": true}, {"name": "Promo"}],
    "enableAutomaticScreenNameTagging": false, "platformType": 7,
    "occlusion": [{"type": "allTextFields", "screens": ["Login"]}],
    "logging": {"verbose": true}
  })";
  ASSERT_FALSE(ZRConfigurationLoader::loadText(good, "app.json"));
  auto settings = ZervaHandler::shared()->sessionSettings();
  EXPECT_FALSE(settings->recordScreenVideo());
  EXPECT_EQ(settings->recordingQuality(), 2u);
  EXPECT_EQ(settings->sensitiveViewColor(), UIColor::colorWithRed(1, 0, 0, 128 / 255.0));
  bool gestures = false;
  EXPECT_TRUE(settings->occludeScreenNamed("Checkout", &gestures));
  EXPECT_TRUE(gestures);
  EXPECT_TRUE(settings->occludeScreenNamed("Promo", &gestures));
  EXPECT_FALSE(gestures);
  EXPECT_FALSE(settings->occludeScreenNamed("Home", &gestures));
  auto configuration = InternalZRConfiguration::sharedConfiguration();
  EXPECT_FALSE(configuration->enableAutomaticScreenNameTagging());
  EXPECT_EQ(configuration->platformType(), 7);
  EXPECT_EQ(configuration->occlusion()->size(), 1u);
  EXPECT_TRUE(ZRLogUtility::isVerboseLoggingEnabled());

  struct Bad {
    const char* text;
    const char* message;
  };
  const Bad bads[] = {
      {R"({"recordingQuality": 9})", "app.json: $.recordingQuality: expected a whole number from 0 to 3"},
      {R"({"hiddenScreens": [{"hideGestures": true}]})", "app.json: $.hiddenScreens[0].name: expected a screen name (missing)"},
      {R"({"occlusion": [{"type": "blurScreen", "blurRadius": -1}]})", "app.json: $.occlusion[0].blurRadius: expected a radius"},
      {R"({"recordScreenVideo": "yes"})", "app.json: $.recordScreenVideo: expected true or false, found a string"},
      {R"({"colour": "#000000"})", "app.json: $.colour: expected no such key"},
      {R"({"recordScreenVideo": true,})", "app.json: $: expected valid JSON"},
  };
  for (const Bad& bad : bads) {
    auto error = ZRConfigurationLoader::loadText(bad.text, "app.json");
    ASSERT_TRUE(error) << bad.text;
    EXPECT_EQ(error->localizedDescription().rfind(bad.message, 0), 0u) << error->localizedDescription();
  }
  // Nothing of the bad documents was applied.
  EXPECT_EQ(ZervaHandler::shared()->sessionSettings()->recordingQuality(), 2u);
  EXPECT_EQ(InternalZRConfiguration::sharedConfiguration()->occlusion()->size(), 1u);
  auto missing = ZRConfigurationLoader::loadFile("/nonexistent/app.json");
  ASSERT_TRUE(missing);
  EXPECT_EQ(missing->localizedDescription(), "Cannot read the configuration file /nonexistent/app.json");
}

}  // namespace
}  // namespace zerva
