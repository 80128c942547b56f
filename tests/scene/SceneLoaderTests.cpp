#include <gtest/gtest.h>

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
  NSErrorOrNil error;
  auto loaded = SceneLoader::loadText(text, "app.json", base, &error);
  EXPECT_FALSE(loaded.has_value());
  return error ? error->localizedDescription() : "(no error)";
}

TEST(SceneLoader, ReadsAValidSceneInTimeOrder) {
  NSErrorOrNil error;
  auto s = SceneLoader::loadText(
      scene(R"({"type": "view", "name": "root", "children": [{"type": "label", "name": "title", "text": "Hi", "alignment": "center"}]})",
            R"([{"at": 2, "do": "set", "view": "title", "text": "Bye"},
                {"at": 1, "do": "add", "parent": "root", "view": {"type": "textField", "name": "pin", "secure": true}},
                {"at": 1.5, "do": "type", "view": "pin", "text": "1234", "duration": 0.5}])"),
      "app.json", ".", &error);
  ASSERT_TRUE(s) << error->localizedDescription();
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

TEST(SceneLoader, ImagesComeFromFilesNextToTheScene) {
  const fs::path dir = fs::temp_directory_path() / ("zerva-scene-" + std::to_string(::getpid()));
  fs::create_directories(dir);
  std::ofstream(dir / "broken.png") << "not a png";
  const std::string text = scene(R"({"type": "imageView", "image": {"file": "broken.png"}})");
  EXPECT_NE(errorOf(text, dir.string()).find("is not a readable PNG"), std::string::npos);
  NSErrorOrNil error;
  EXPECT_FALSE(SceneLoader::loadFile((dir / "absent.json").string(), &error));
  EXPECT_EQ(error->localizedDescription(), "Cannot read the scene file " + (dir / "absent.json").string());
}

TEST(SceneLoader, TheBundledDemoIsValid) {
  NSErrorOrNil error;
  auto demo = SceneLoader::loadFile(std::string(ZERVA_SOURCE_DIR) + "/scenes/demo-app.json", &error);
  ASSERT_TRUE(demo) << error->localizedDescription();
  EXPECT_GE(demo->screens.size(), 5u);
}

}  // namespace
}  // namespace zerva
