#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "scene/SceneLoader.h"

namespace zerva {
namespace {

namespace fs = std::filesystem;

// A small valid scene; each bad case changes one thing in it.
std::string scene(const std::string& screenView = R"({"type": "scrollView", "name": "list", "frame": [0, 0, 390, 844]})",
                  const std::string& timeline = "[]", const std::string& extra = "") {
  return R"({"device": {"screen": [390, 844], "scale": 2, "os": "16.4"},
             "app": {"windows": [{"name": "main", "root": "Home"}],
                     "screens": {"Home": {"view": )" +
         screenView + R"(}}}, "timeline": )" + timeline + extra + "}";
}

std::string errorOf(const std::string& text, const std::string& base = ".") {
  auto loaded = SceneLoader::loadText(text, "app.json", base);
  EXPECT_FALSE(loaded.ok());
  return loaded ? "(no error)" : loaded.error().localizedDescription();
}

TEST(SceneLoader, ReadsAValidSceneInTimeOrder) {
  auto s = SceneLoader::loadText(
      scene(R"({"type": "view", "name": "root", "children": [{"type": "label", "name": "title", "text": "Hi", "alignment": "center"}]})",
            R"([{"at": 2, "do": "set", "view": "title", "text": "Bye"},
                {"at": 1, "do": "add", "parent": "root", "view": {"type": "textField", "name": "pin", "secure": true}},
                {"at": 1.5, "do": "type", "view": "pin", "text": "1234", "duration": 0.5}])"),
      "app.json", ".");
  ASSERT_TRUE(s) << s.error().localizedDescription();
  EXPECT_EQ(s->device.scale, 2);
  EXPECT_EQ(s->device.osMajor, 16);
  EXPECT_EQ(s->device.osMinor, 4);
  ASSERT_EQ(s->timeline.size(), 3u);
  EXPECT_EQ(s->timeline[0].action, SceneAction::Add);  // sorted by time
  EXPECT_TRUE(s->timeline[0].addedView->secure);
  EXPECT_EQ(s->timeline[2].newText, "Bye");
  EXPECT_DOUBLE_EQ(s->duration(), 2.0);
  EXPECT_EQ(s->screens.at("Home").view.children[0].alignment, NSTextAlignmentCenter);
}

TEST(SceneLoader, ThousandsOfLevelsOfViewsAreRefusedWithTheirPathNotACrash) {
  std::string views;
  for (int i = 0; i < 3000; ++i) views += R"({"type": "view", "children": [)";
  views += R"({"type": "view"})";
  for (int i = 0; i < 3000; ++i) views += "]}";
  const std::string error = errorOf(scene(views));
  EXPECT_EQ(error.rfind("app.json: $.app.screens.Home.view.children[0].children[0]", 0), 0u) << error.substr(0, 100);
  EXPECT_NE(error.find("expected arrays and objects nested at most 512 levels deep"), std::string::npos);
}

TEST(SceneLoader, EveryKindOfBadInputNamesThePathAndWhatWasExpected) {
  const std::pair<std::string, std::string> cases[] = {
      {scene(R"({"type": "view", "colour": "#FFFFFF"})"), "app.json: $.app.screens.Home.view.colour: expected no such key"},
      {scene(R"({"type": "view", "alpha": "half"})"), "app.json: $.app.screens.Home.view.alpha: expected a number, found a string"},
      {scene(R"({"type": "slider"})"), "app.json: $.app.screens.Home.view.type: expected one of \"view\", \"label\""},
      {scene(R"({"type": "view", "frame": [0, 0, -1, 10]})"), "app.json: $.app.screens.Home.view.frame: expected a rectangle whose width"},
      {scene(R"({"type": "imageView", "image": {"file": "missing.png"}})"),
       "app.json: $.app.screens.Home.view.image.file: expected a readable PNG file; ./missing.png does not exist"},
      {scene(R"({"type": "view"})", R"([{"at": 1, "do": "scroll", "view": "nowhere", "to": [0, 10]}])"),
       "app.json: $.timeline[0].view: expected the name of a view that exists by then; there is no view \"nowhere\""},
      {scene(R"({"type": "view"})", R"([{"at": 1, "do": "present", "screen": "Settings"}])"),
       "app.json: $.timeline[0].screen: expected the name of a screen of the scene; there is no screen \"Settings\""},
      {scene(R"({"type": "view", "name": "v"})", R"([{"at": 1, "do": "scroll", "view": "v", "to": [0, 1], "duration": -0.5}])"),
       "app.json: $.timeline[0].duration: expected a duration in seconds, 0 or more"},
      {scene(R"({"type": "view"})", R"([{"at": -1, "do": "rotate", "orientation": "portrait"}])"),
       "app.json: $.timeline[0].at: expected a time in seconds, 0 or more"},
      {scene(R"({"type": "view"})", R"([{"at": 1, "do": "keyboard"}])"),
       "app.json: $.timeline[0].show: expected true to show the keyboard, false to hide it (missing)"},
      // A view used before the event that adds it.
      {scene(R"({"type": "view", "name": "root"})",
             R"([{"at": 1, "do": "remove", "view": "late"}, {"at": 2, "do": "add", "parent": "root", "view": {"name": "late"}}])"),
       "app.json: $.timeline[0].view: expected the name of a view that exists by then"},
      {scene(R"({"type": "view", "name": "a", "children": [{"name": "a"}]})"),
       "app.json: $.app.screens.Home.view.children[0].name: expected a name no other view has"},
      {scene(R"({"type": "webView", "page": {"body": [{"tag": "input", "frame": [0, 0, -5, 4]}]}})"),
       "app.json: $.app.screens.Home.view.page.body[0].frame[2]: expected a number not below 0"},
      {"{\"device\": ", "app.json: $: expected valid JSON"},
  };
  for (const auto& [text, message] : cases) {
    const std::string error = errorOf(text);
    EXPECT_EQ(error.rfind(message, 0), 0u) << "got: " << error;
  }
}

// A scene with a text field, a web view and two screens, for calls.
std::string callScene(const std::string& calls, const std::string& sdk = "") {
  return scene(R"({"type": "view", "name": "root", "children": [
                    {"type": "textField", "name": "card", "frame": [10, 10, 200, 40]},
                    {"type": "webView", "name": "web", "frame": [0, 100, 390, 400]}]})",
               "[" + calls + "]", sdk.empty() ? "" : R"(, "sdk": )" + sdk);
}

std::string callEvent(double at, const std::string& call) {
  return R"({"at": )" + std::to_string(at) + R"(, "do": "call", "call": )" + call + "}";
}

TEST(SceneLoader, CallsAndTheSdkSectionAreReadIntoTypedValues) {
  auto s = SceneLoader::loadText(
      callScene(
          callEvent(0, R"({"method": "startScreenRecording"})") + "," +
              callEvent(1, R"({"method": "addSensitiveView", "view": "card", "blockGestures": true})") + "," +
              callEvent(2, R"({"method": "removeOcclusionOfType", "type": "blurScreen"})") + "," +
              callEvent(
                  3,
                  R"({"method": "occludeRectsOnNextFrame", "reply": {"rects": [[1, 2, 3, 4], [5]], "after": 0.25}})") +
              "," + callEvent(4, R"({"method": "pauseForOcclusionNextFrame", "reply": "never"})") + "," +
              callEvent(5, R"({"method": "occludeRectsOnNextFrame", "reply": null})") + "," +
              callEvent(
                  6,
                  R"({"method": "setOcclusionFromDashboardVerifyResult", "verifyResult": {"occlusionRules": []}, "appendExisting": true})") +
              "," + callEvent(7, R"({"method": "addVisibleScreen", "controller": "Home"})") + "," +
              callEvent(8, R"({"method": "stopScreenRecording", "reason": 2})"),
          R"({"recordingQuality": 3, "sensitiveViewColor": "#FF0000", "hiddenScreens": [{"name": "Pay", "hideGestures": true}],
                    "occlusion": [{"type": "coverScreen", "screens": ["Home"]}], "platformType": 7,
                    "schematicCapture": false, "logging": {"verbose": true}})"),
      "app.json", ".");
  ASSERT_TRUE(s) << s.error().localizedDescription();
  EXPECT_EQ(s->sdk.recordingQuality, 3u);
  EXPECT_EQ(s->sdk.sensitiveViewColor, UIColor::colorWithRed(1, 0, 0, 1));
  EXPECT_EQ(s->sdk.hiddenScreens, (std::vector<ZRHiddenScreen>{{"Pay", true}}));
  ASSERT_TRUE(s->sdk.occlusion);
  EXPECT_EQ(s->sdk.occlusion->at(0).type(), ZROcclusionTypeCoverScreen);
  EXPECT_EQ(s->sdk.platformType, 7);
  EXPECT_FALSE(s->sdk.schematicCapture);
  EXPECT_TRUE(s->sdk.platformSchematicCapture);
  EXPECT_TRUE(s->sdk.verboseLogging);
  EXPECT_FALSE(s->sdk.integrationLogging);

  ASSERT_EQ(s->timeline.size(), 9u);
  auto call = [&](size_t i) -> const SceneCall& { return *s->timeline[i].call; };
  EXPECT_EQ(call(0).method, SceneCallMethod::StartScreenRecording);
  EXPECT_EQ(call(1).view, "card");
  EXPECT_TRUE(call(1).blockGestures);
  EXPECT_EQ(call(1).path, "$.timeline[1].call");
  EXPECT_EQ(call(2).occlusionType, ZROcclusionTypeBlurScreen);
  ASSERT_TRUE(call(3).reply);
  EXPECT_EQ(call(3).reply->rects, (ZRRectQuadrupleList{{1, 2, 3, 4}, {5}}));  // the handler drops the short one
  EXPECT_DOUBLE_EQ(call(3).reply->after, 0.25);
  EXPECT_TRUE(call(4).reply->never);
  EXPECT_FALSE(call(5).reply);  // removes the hook
  EXPECT_EQ(nlohmann::json::parse(call(6).verifyResult), nlohmann::json::parse(R"({"occlusionRules": []})"));
  EXPECT_TRUE(call(6).appendExisting);
  EXPECT_EQ(call(7).controller, "Home");
  EXPECT_FALSE(call(7).screen);
  EXPECT_EQ(call(8).stopReason, 2u);
}

TEST(SceneLoader, BadCallsAndSdkSettingsAreRefusedWithTheirPaths) {
  const std::pair<std::string, std::string> cases[] = {
      {callScene(callEvent(1, R"({"method": "startRecording"})")),
       "app.json: $.timeline[0].call.method: expected a handler operation that scenes can call (docs/scenes.md), found \"startRecording\""},
      {callScene(callEvent(1, R"({"view": "card"})")), "app.json: $.timeline[0].call.method: expected the handler operation to call (missing)"},
      {callScene(callEvent(1, R"("startScreenRecording")")), "app.json: $.timeline[0].call: expected the call to make (an object)"},
      {callScene(callEvent(1, R"({"method": "addSensitiveView"})")), "app.json: $.timeline[0].call.view: expected a view's name (missing)"},
      {callScene(callEvent(1, R"({"method": "addSensitiveView", "view": "card", "blockGestures": "yes"})")),
       "app.json: $.timeline[0].call.blockGestures: expected true or false, found a string"},
      {callScene(callEvent(1, R"({"method": "removeSensitiveView", "view": "ghost"})")),
       "app.json: $.timeline[0].call.view: expected the name of a view that exists by then; there is no view \"ghost\""},
      // Added later than the call.
      {callScene(callEvent(1, R"({"method": "addSensitiveView", "view": "late"})") + R"(,
                 {"at": 2, "do": "add", "parent": "root", "view": {"name": "late"}})"),
       "app.json: $.timeline[0].call.view: expected the name of a view that exists by then"},
      {callScene(callEvent(1, R"({"method": "screenWebViewWillAppear", "view": "card"})")),
       "app.json: $.timeline[0].call.view: expected the name of a web view; \"card\" is not one"},
      {callScene(callEvent(1, R"({"method": "addVisibleScreens", "screens": ["Home", "Nowhere"]})")),
       "app.json: $.timeline[0].call.screens[1]: expected the name of a screen of the scene; there is no screen \"Nowhere\""},
      {callScene(callEvent(1, R"({"method": "addVisibleScreen", "screen": "Home"})")),
       "app.json: $.timeline[0].call.controller: expected the screen whose controller shows it (missing)"},
      {callScene(callEvent(1, R"({"method": "stopScreenRecording", "reason": 1.5})")),
       "app.json: $.timeline[0].call.reason: expected a stop reason, a whole number 0 or more"},
      {callScene(callEvent(1, R"({"method": "stopScreenRecording", "reason": 1, "completion": true})")),
       "app.json: $.timeline[0].call.completion: expected no such key for stopScreenRecording (known keys: method, reason)"},
      {callScene(callEvent(1, R"({"method": "pauseScreenRecordingForDuration"})")),
       "app.json: $.timeline[0].call.duration: expected the pause in seconds (0 or less: until resumed) (missing)"},
      {callScene(callEvent(1, R"({"method": "setEnteredNewScreen", "value": 1})")),
       "app.json: $.timeline[0].call.value: expected true or false, found a number"},
      {callScene(callEvent(1, R"({"method": "applyOcclusion", "rule": {"type": "paint"}})")),
       "app.json: $.timeline[0].call.rule.type: expected"},
      {callScene(callEvent(1, R"({"method": "removeOcclusionOfType", "type": 9})")), "app.json: $.timeline[0].call.type: expected"},
      {callScene(callEvent(1, R"({"method": "setOcclusionFromDashboardVerifyResult", "verifyResult": 3})")),
       "app.json: $.timeline[0].call.verifyResult: expected the dashboard's verify result (an object, or its JSON text)"},
      {callScene(callEvent(1, R"({"method": "gestureBlockedBySensitiveView", "point": [1]})")),
       "app.json: $.timeline[0].call.point: expected a point [x, y]"},
      {callScene(callEvent(1, R"({"method": "addRectsToOcclude", "rects": [[0, 0, "a", 4]]})")),
       "app.json: $.timeline[0].call.rects[0]: expected a rectangle [x, y, width, height]"},
      {callScene(callEvent(1, R"({"method": "occludeRectsOnNextFrame"})")),
       "app.json: $.timeline[0].call.reply: expected the hook's reply: null, \"never\" or an object (missing)"},
      {callScene(callEvent(1, R"({"method": "occludeRectsOnNextFrame", "reply": {"paused": true}})")),
       "app.json: $.timeline[0].call.reply.paused: expected no such key"},
      {callScene(callEvent(1, R"({"method": "pauseForOcclusionNextFrame", "reply": {"paused": true, "after": -1}})")),
       "app.json: $.timeline[0].call.reply.after: expected a delay in seconds, 0 or more"},
      {callScene(callEvent(1, R"({"method": "setUserControlOfScrollCaptureInterval", "value": -0.5})")),
       "app.json: $.timeline[0].call.value: expected an interval in seconds, 0 or more"},
      {callScene(callEvent(1, R"({"method": "addImageToAITextOcclusionPipeline", "image": {"pattern": "dots"}})")),
       "app.json: $.timeline[0].call.image.pattern: expected one of"},
      {callScene("", R"({"recordingQuality": 4})"), "app.json: $.sdk.recordingQuality: expected a whole number from 0 to 3"},
      {callScene("", R"({"stateFile": "/tmp/x"})"), "app.json: $.sdk.stateFile: expected no such key"},
      {callScene("", R"({"hiddenScreens": [{"hideGestures": true}]})"), "app.json: $.sdk.hiddenScreens[0].name: expected a screen name (missing)"},
      {callScene("", R"({"occlusion": [{"type": "blurScreen", "blurRadius": 0}]})"), "app.json: $.sdk.occlusion[0].blurRadius: expected"},
      {callScene("", R"({"logging": {"file": "/tmp/log"}})"), "app.json: $.sdk.logging.file: expected no such key"},
  };
  for (const auto& [text, message] : cases) {
    const std::string error = errorOf(text);
    EXPECT_EQ(error.rfind(message, 0), 0u) << "got: " << error;
  }
}

TEST(SceneLoader, ImagesComeFromFilesNextToTheScene) {
  const fs::path dir = fs::temp_directory_path() / ("zerva-scene-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  std::ofstream(dir / "broken.png") << "not a png";
  const std::string text = scene(R"({"type": "imageView", "image": {"file": "broken.png"}})");
  EXPECT_NE(errorOf(text, dir.string()).find("is not a readable PNG"), std::string::npos);
  const auto absent = SceneLoader::loadFile((dir / "absent.json").string());
  ASSERT_FALSE(absent);
  EXPECT_EQ(absent.error().localizedDescription(), "Cannot read the scene file " + (dir / "absent.json").string());
}

TEST(SceneLoader, TheBundledDemoIsValid) {
  auto demo = SceneLoader::loadFile(std::string(ZERVA_SOURCE_DIR) + "/scenes/demo-app.json");
  ASSERT_TRUE(demo) << demo.error().localizedDescription();
  EXPECT_GE(demo->screens.size(), 5u);
  EXPECT_GE(std::count_if(demo->timeline.begin(), demo->timeline.end(), [](const SceneEvent& e) { return e.call.has_value(); }),
            10);
}

}  // namespace
}  // namespace zerva
