#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "platform/ProcessClock.h"
#include "platform/UIApplication.h"
#include "platform/UINavigationController.h"
#include "platform/UIScreen.h"
#include "platform/UITextField.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"
#include "services/InternalZRConfiguration.h"
#include "services/ZRAppUtil.h"
#include "services/ZRConfigurationLoader.h"
#include "services/ZRControllerUtility.h"
#include "services/ZRElementUtility.h"
#include "services/ZRHeatTimeHandler.h"
#include "services/ZRKeyboardUtility.h"
#include "services/ZRLogUtility.h"
#include "services/ZRPlistHandler.h"
#include "services/ZervaHandler.h"

namespace zerva {
namespace {

namespace fs = std::filesystem;

fs::path freshDir(const std::string& name) {
  const fs::path dir = fs::temp_directory_path() / ("zerva-" + name + "-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

class ServicesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UIApplication::resetSharedApplication();
    InternalZRConfiguration::resetSharedConfiguration();
    ZervaHandler::shared()->setSessionSettings(nullptr);
    ZRLogUtility::reset();
  }
};

TEST_F(ServicesTest, KeyboardFrameLandsInAWindowAwayFromTheScreenOrigin) {
  ScopedManualClock clock;
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 100, 390, 744));  // below a 100-point banner
  ZRKeyboardUtility keyboard;
  EXPECT_EQ(keyboard.keyboardFrameInWindow(window), CGRectZero);
  UIApplication::sharedApplication()->keyboard().show(CGRectMake(0, 508, 390, 336), 0.25);
  EXPECT_TRUE(keyboard.isKeyboardVisible());
  EXPECT_TRUE(keyboard.isKeyboardFrameChanging());
  clock.advance(0.3);
  EXPECT_FALSE(keyboard.isKeyboardFrameChanging());
  EXPECT_EQ(keyboard.keyboardFrameInWindow(window), CGRectMake(0, 408, 390, 336));
  EXPECT_EQ(keyboard.keyboardFrameInWindow(nullptr), CGRectZero);
}

TEST_F(ServicesTest, TopControllerFollowsPresentedNavigationAndChildControllers) {
  auto window = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
  window->makeKeyAndVisible();
  auto container = std::make_shared<UIViewController>();
  window->setRootViewController(container);
  auto hiddenChild = std::make_shared<UIViewController>();
  auto nav = std::make_shared<UINavigationController>();
  container->addChildViewController(nav);
  container->view()->addSubview(nav->view());
  container->addChildViewController(hiddenChild);  // later, but its view is not on screen
  auto list = std::make_shared<UIViewController>();
  auto detail = std::make_shared<UIViewController>();
  nav->pushViewController(list);
  nav->pushViewController(detail);
  EXPECT_EQ(ZRControllerUtility::topViewControllerWithRootViewController(container), detail);

  auto sheet = std::make_shared<UIViewController>();
  sheet->setModalPresentationStyle(UIModalPresentationFormSheet);
  detail->presentViewController(sheet);
  EXPECT_EQ(ZRControllerUtility::topViewControllerWithRootViewController(container), sheet);
  EXPECT_TRUE(ZRControllerUtility::isControllerPresentedInNonFullScreenMode(sheet));
  EXPECT_FALSE(ZRControllerUtility::isControllerPresentedInNonFullScreenMode(detail));  // not presented
  sheet->setModalPresentationStyle(UIModalPresentationFullScreen);
  EXPECT_FALSE(ZRControllerUtility::isControllerPresentedInNonFullScreenMode(sheet));
  EXPECT_EQ(ZRControllerUtility::topViewControllerWithRootViewController(nullptr), nullptr);
}

TEST_F(ServicesTest, WebViewSearchStopsAtItsDepthBound) {
  auto root = std::make_shared<UIView>();
  auto parent = root;
  for (int depth = 1; depth <= 3; ++depth) {
    auto next = std::make_shared<UIView>();
    parent->addSubview(next);
    parent = next;
  }
  auto web = std::make_shared<WKWebView>();
  parent->addSubview(web);  // at depth 4
  EXPECT_EQ(ZRControllerUtility::webViewinView(root, 4), web);
  EXPECT_EQ(ZRControllerUtility::webViewinView(root, 3), nullptr);
  EXPECT_EQ(ZRControllerUtility::webViewinView(root, 15), web);
  EXPECT_EQ(ZRControllerUtility::webViewinView(nullptr, 15), nullptr);
}

TEST_F(ServicesTest, SessionVideoCountSurvivesARestartOfTheProcess) {
  const fs::path store = freshDir("plist") / "nested" / "state.json";
  {
    ZRPlistHandler handler(store.string());
    handler.increaseSessionVideoCount();
    EXPECT_FALSE(handler.lastError());
  }
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ZRPlistHandler handler(store.string());
    handler.increaseSessionVideoCount();
    _exit(handler.lastError() ? 1 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(ZRPlistHandler(store.string()).sessionVideoCount(), 2);

  // An unreadable file is set aside, not overwritten.
  std::ofstream(store) << "{not json";
  ZRPlistHandler damaged(store.string());
  EXPECT_EQ(damaged.sessionVideoCount(), 0);
  damaged.increaseSessionVideoCount();
  EXPECT_TRUE(fs::exists(store.string() + ".unreadable"));
  EXPECT_EQ(ZRPlistHandler(store.string()).sessionVideoCount(), 1);

  // A store that cannot be written says so and keeps counting in memory.
  const fs::path blocked = freshDir("plist-blocked") / "file";
  std::ofstream(blocked) << "x";
  ZRPlistHandler unwritable((blocked / "state.json").string());
  unwritable.increaseSessionVideoCount();
  EXPECT_EQ(unwritable.sessionVideoCount(), 1);
  ASSERT_TRUE(unwritable.lastError());
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("plist-saveFailed").size(), 1u);
}

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

TEST_F(ServicesTest, LogRecordIsBoundedAndCanGoToAFile) {
  ZRLogUtility::setRecordCapacity(3);
  for (int i = 0; i < 5; ++i) ZRLogUtility::addInternalInfoTag("tag" + std::to_string(i), {{"i", i}});
  const auto tags = ZRLogUtility::recordedTags();
  ASSERT_EQ(tags.size(), 3u);
  EXPECT_EQ(tags.front().tag, "tag2");
  EXPECT_EQ(tags.back().properties["i"], 4);

  const fs::path file = freshDir("log") / "tags.jsonl";
  ASSERT_FALSE(ZRLogUtility::setOutputFile(file.string()));
  ZRLogUtility::addInternalWarningTag("sessionRecord-failToStartVideo", {{"error", "disk full"}, {"quality", 2}});
  ZRLogUtility::addInternalVerboseTag("screenRecordingResume");
  ASSERT_FALSE(ZRLogUtility::setOutputFile(std::nullopt));
  std::ifstream in(file);
  std::string first, second;
  std::getline(in, first);
  std::getline(in, second);
  const auto line = nlohmann::json::parse(first);
  EXPECT_EQ(line["level"], "warning");
  EXPECT_EQ(line["properties"]["quality"], 2);
  EXPECT_EQ(nlohmann::json::parse(second).contains("properties"), false);
  EXPECT_TRUE(ZRLogUtility::setOutputFile("/nonexistent/dir/tags.jsonl"));
}

TEST_F(ServicesTest, ScreenTrackerCountsHeatTimeAndManualTags) {
  ScopedManualClock clock;
  auto tracker = std::make_shared<ZRHeatTimeHandler>();
  tracker->setCurrentScreenName("Home");
  clock.advance(2);
  tracker->setCurrentScreenName("Detail");
  clock.advance(1);
  EXPECT_DOUBLE_EQ(tracker->heatTimeForScreen("Home"), 2);
  EXPECT_DOUBLE_EQ(tracker->heatTimeForScreen("Detail"), 1);
  tracker->reset();
  EXPECT_DOUBLE_EQ(tracker->heatTimeForScreen("Home"), 0);
  EXPECT_EQ(tracker->currentScreenName(), "Detail");

  auto detail = tracker->vcDetail();
  detail->tagScreenManually("Cart");
  detail->tagScreenManually("Pay");
  EXPECT_EQ(detail->manualTaggedScreenName(), "Pay");
  EXPECT_EQ(detail->manualTaggedPreviousScreen(), "Cart");
}

TEST_F(ServicesTest, SmallUtilities) {
  auto field = std::make_shared<UITextField>();
  EXPECT_FALSE(ZRElementUtility::isTextInputSecure(field));
  field->setSecureTextEntry(true);
  EXPECT_TRUE(ZRElementUtility::isTextInputSecure(field));
  EXPECT_FALSE(ZRElementUtility::isTextInputSecure(nullptr));

  EXPECT_FALSE(ZRAppUtil::iPadInPhoneMode());  // a phone
  UIScreen::setMainScreen(std::make_shared<UIScreen>(CGSizeMake(820, 1180), 2.0));
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 0, 390, 844));
  window->makeKeyAndVisible();
  EXPECT_TRUE(ZRAppUtil::iPadInPhoneMode());
  window->setFrame(CGRectMake(0, 0, 820, 1180));
  EXPECT_FALSE(ZRAppUtil::iPadInPhoneMode());
}

}  // namespace
}  // namespace zerva
