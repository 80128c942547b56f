#include <gtest/gtest.h>

#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "platform/UIApplication.h"
#include "platform/UIImage.h"
#include "platform/UIScreen.h"
#include "platform/UIScrollView.h"
#include "platform/UITextField.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"

namespace zerva {
namespace {

Scene load(const std::string& timeline) {
  const std::string text = R"({"device": {"screen": [390, 844], "scale": 2},
    "app": {"windows": [{"name": "main", "root": "Home"}],
            "screens": {
              "Home": {"view": {"name": "home", "frame": [0, 0, 390, 844], "children": [
                {"type": "scrollView", "name": "list", "frame": [0, 100, 390, 744], "contentSize": [390, 2000],
                 "children": [{"name": "row", "frame": [0, 300, 390, 44], "background": "#00FF00"}]},
                {"type": "textField", "name": "search", "frame": [10, 50, 370, 40]}]}},
              "Sheet": {"presentation": "formSheet", "preferredSize": [300, 400], "view": {"background": "#FFFFFF"}}}},
    "timeline": )" + timeline + "}";
  auto scene = SceneLoader::loadText(text, "test.json", ".");
  EXPECT_TRUE(scene) << scene.error().localizedDescription();
  return (scene ? std::move(*scene) : Scene{});
}

class ScenePlayerTest : public ::testing::Test {
 protected:
  ScopedManualClock clock;
  NSRunLoop& loop = NSRunLoop::currentRunLoop();
  void runTo(const ScenePlayer& player, double t) { loop.runUntilDate(player.startTime() + t); }
};

TEST_F(ScenePlayerTest, AScrollTravelsThroughItsPresentationLayer) {
  ScenePlayer player(load(R"([{"at": 1, "do": "scroll", "view": "list", "to": [0, 200], "duration": 0.5}])"));
  player.start(loop);
  auto list = std::dynamic_pointer_cast<UIScrollView>(player.viewNamed("list"));
  auto row = player.viewNamed("row");
  ASSERT_TRUE(list && row);
  auto window = UIApplication::sharedApplication()->keyWindow();
  auto onScreen = [&] {
    auto layer = row->layer()->presentationLayer();
    if (!layer) layer = row->layer();
    return layer->convertRect(row->bounds(), window->layer()).origin.y;
  };
  runTo(player, 0.9);
  EXPECT_EQ(list->contentOffset().y, 0);
  EXPECT_EQ(onScreen(), 400);
  runTo(player, 1.25);
  EXPECT_EQ(list->contentOffset().y, 200);  // the model is there already...
  EXPECT_NEAR(onScreen(), 300, 1e-9);       // ...the screen is half way
  runTo(player, 1.5);
  EXPECT_EQ(row->layer()->presentationLayer(), nullptr);
  EXPECT_EQ(onScreen(), 200);
}

TEST_F(ScenePlayerTest, KeyboardTypingPresentationAndRotation) {
  ScenePlayer player(load(R"([
    {"at": 0.5, "do": "keyboard", "show": true, "height": 300, "duration": 0.25},
    {"at": 1, "do": "type", "view": "search", "text": "café", "duration": 0.4},
    {"at": 2, "do": "present", "screen": "Sheet"},
    {"at": 3, "do": "rotate", "orientation": "landscapeLeft"},
    {"at": 4, "do": "dismiss", "screen": "Sheet"}])"));
  std::vector<std::string> shown;
  player.setScreenHandler([&](const std::string& screen, bool visible) { shown.push_back((visible ? "+" : "-") + screen); });
  player.start(loop);
  const UIKeyboard& keyboard = UIApplication::sharedApplication()->keyboard();
  runTo(player, 0.625);
  EXPECT_TRUE(keyboard.isAnimating());
  EXPECT_NEAR(keyboard.frame().origin.y, 844 - 150, 1e-9);
  runTo(player, 0.8);
  EXPECT_EQ(keyboard.frame(), CGRectMake(0, 544, 390, 300));

  auto search = std::dynamic_pointer_cast<UITextField>(player.viewNamed("search"));
  runTo(player, 1.15);
  EXPECT_EQ(search->text(), "ca");  // two of four characters after 0.15 of 0.4 s
  runTo(player, 1.5);
  EXPECT_EQ(search->text(), "café");

  runTo(player, 2);
  auto sheet = player.screenNamed("Sheet");
  EXPECT_EQ(player.screenNamed("Home")->presentedViewController(), sheet);
  EXPECT_EQ(sheet->view()->frame(), CGRectMake(45, 444, 300, 400));  // centred at the bottom

  runTo(player, 3);
  auto screen = UIScreen::mainScreen();
  EXPECT_EQ(UIApplication::sharedApplication()->statusBarOrientation(), UIInterfaceOrientationLandscapeLeft);
  EXPECT_EQ(screen->bounds().size, CGSizeMake(844, 390));
  EXPECT_EQ(player.windowNamed("main")->bounds().size, CGSizeMake(844, 390));
  // The interface's origin now lies at the device's bottom-left corner.
  EXPECT_EQ(screen->coordinateSpace()->convertPoint({0, 0}, *screen->fixedCoordinateSpace()), CGPointMake(0, 844));

  runTo(player, 4);
  EXPECT_EQ(player.screenNamed("Home")->presentedViewController(), nullptr);
  EXPECT_EQ(shown, (std::vector<std::string>{"+Home", "+Sheet", "-Sheet"}));
}

TEST_F(ScenePlayerTest, TheSameSceneGivesTheSamePictures) {
  std::vector<std::shared_ptr<UIImage>> pictures;
  for (int run = 0; run < 2; ++run) {
    ScenePlayer player(load(R"([{"at": 0.2, "do": "scroll", "view": "list", "to": [0, 250], "duration": 0.4}])"));
    player.start(loop);
    runTo(player, 0.35);
    pictures.push_back(player.renderScreen(1));
  }
  ASSERT_TRUE(pictures[0] && pictures[1]);
  ASSERT_EQ(pictures[0]->pixelHeight(), 844u);
  for (size_t y = 0; y < 844; y += 3) {
    for (size_t x = 0; x < 390; x += 3) ASSERT_EQ(pictures[0]->pixelAt(x, y), pictures[1]->pixelAt(x, y));
  }
  // The row is in flight: 100 + 300 - 250 * (0.15 / 0.4) = 306.25 from the top.
  EXPECT_EQ(pictures[0]->pixelAt(200, 320), (CGPixel{0, 255, 0, 255}));
  EXPECT_NE(pictures[0]->pixelAt(200, 300), (CGPixel{0, 255, 0, 255}));
}

}  // namespace
}  // namespace zerva
