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
#include "services/ZRControllerUtility.h"
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
  return scene ? std::move(*scene) : Scene{};
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

// --- A richer app: screens of every presentation, a second window that does not fill the screen --

Scene loadApp(const std::string& timeline) {
  const std::string text = R"({"device": {"screen": [390, 844], "scale": 2},
    "app": {"windows": [{"name": "main", "root": "Home", "key": true},
                        {"name": "badge", "frame": [10, 10, 100, 50], "background": "#FFFF00"}],
            "screens": {
              "Home": {"view": {"frame": [0, 0, 390, 844], "background": "#FF0000"}},
              "Detail": {"view": {"background": "#00FF00"}},
              "Full": {"presentation": "fullScreen", "view": {"background": "#0000FF"}},
              "Page": {"presentation": "pageSheet", "view": {"background": "#FFFFFF"}},
              "Form": {"presentation": "formSheet", "preferredSize": [300, 400], "view": {"background": "#FFFFFF"}},
              "Pop": {"presentation": "popover", "preferredSize": [200, 100], "view": {"background": "#00FFFF"}}}},
    "timeline": )" + timeline + "}";
  auto scene = SceneLoader::loadText(text, "app.json", ".");
  EXPECT_TRUE(scene) << scene.error().localizedDescription();
  return scene ? std::move(*scene) : Scene{};
}

const CGPixel kRedPixel{255, 0, 0, 255};
const CGPixel kBluePixel{0, 0, 255, 255};
const CGPixel kWhitePixel{255, 255, 255, 255};

TEST_F(ScenePlayerTest, EventsRunAtTheirTimesAndThoseAtOneTimeInFileOrder) {
  // Listed out of time order; the three at 1 s must run as listed.
  ScenePlayer player(loadApp(R"([
    {"at": 2, "do": "show", "screen": "Detail"},
    {"at": 1, "do": "present", "screen": "Form"},
    {"at": 1, "do": "dismiss", "screen": "Form"},
    {"at": 1, "do": "present", "screen": "Pop"}])"));
  std::vector<std::pair<std::string, double>> changes;  // at process-clock times
  player.setScreenHandler([&](const std::string& screen, bool visible) {
    changes.emplace_back((visible ? "+" : "-") + screen, CACurrentMediaTime());
  });
  auto since = [&](std::size_t from) {
    std::vector<std::string> seen;
    for (std::size_t i = from; i < changes.size(); ++i) {
      seen.push_back(changes[i].first + "@" + std::to_string(std::lround((changes[i].second - player.startTime()) * 1000)));
    }
    return seen;
  };
  player.start(loop);
  runTo(player, 0.999);
  EXPECT_EQ(since(0), (std::vector<std::string>{"+Home@0"}));
  runTo(player, 1);
  EXPECT_EQ(since(1), (std::vector<std::string>{"+Form@1000", "-Form@1000", "+Pop@1000"}));
  EXPECT_EQ(player.screenNamed("Home")->presentedViewController(), player.screenNamed("Pop"));
  runTo(player, 2);
  EXPECT_EQ(since(4), (std::vector<std::string>{"-Pop@2000", "-Home@2000", "+Detail@2000"}));
  // The new root takes the window; what the old one presented goes with it.
  EXPECT_EQ(player.windowNamed("main")->rootViewController(), player.screenNamed("Detail"));
  EXPECT_EQ(player.screenNamed("Home")->presentedViewController(), nullptr);
  EXPECT_EQ(player.screenNamed("Pop")->view()->window(), nullptr);
}

TEST_F(ScenePlayerTest, AScreenThatGoesTakesWhatItPresentedAndEachIsReportedGone) {
  ScenePlayer player(loadApp(R"([
    {"at": 1, "do": "present", "screen": "Page"},
    {"at": 1, "do": "present", "screen": "Form"},
    {"at": 2, "do": "dismiss", "screen": "Page"},
    {"at": 3, "do": "present", "screen": "Page"},
    {"at": 3, "do": "present", "screen": "Form"},
    {"at": 4, "do": "show", "screen": "Detail"}])"));
  std::vector<std::string> changes;
  player.setScreenHandler(
      [&](const std::string& screen, bool visible) { changes.push_back((visible ? "+" : "-") + screen); });
  player.start(loop);
  runTo(player, 1);
  changes.clear();
  runTo(player, 2);  // not only what Page presented: Page itself
  EXPECT_EQ(changes, (std::vector<std::string>{"-Form", "-Page"}));
  EXPECT_EQ(player.screenNamed("Home")->presentedViewController(), nullptr);
  EXPECT_EQ(player.screenNamed("Page")->view()->window(), nullptr);
  runTo(player, 3);
  changes.clear();
  runTo(player, 4);
  EXPECT_EQ(changes, (std::vector<std::string>{"-Form", "-Page", "-Home", "+Detail"}));
  EXPECT_EQ(player.screenNamed("Form")->view()->window(), nullptr);
}

TEST_F(ScenePlayerTest, SheetsTakeTheirFramesAndTheTopControllerFollowsThem) {
  ScenePlayer player(loadApp(R"([
    {"at": 1, "do": "present", "screen": "Page"},
    {"at": 2, "do": "present", "screen": "Form"},
    {"at": 3, "do": "present", "screen": "Pop"},
    {"at": 3, "do": "present", "screen": "Pop"},
    {"at": 4, "do": "dismiss", "screen": "Pop"},
    {"at": 5, "do": "dismiss", "screen": "Form"},
    {"at": 5.5, "do": "dismiss", "screen": "Page"},
    {"at": 6, "do": "present", "screen": "Full"}])"));
  player.start(loop);
  auto root = player.windowNamed("main")->rootViewController();
  auto top = [&] { return ZRControllerUtility::topViewControllerWithRootViewController(root); };
  auto screen = [&](const char* name) { return player.screenNamed(name); };
  EXPECT_EQ(top(), screen("Home"));

  runTo(player, 1);  // a page sheet without a size leaves the status bar's strip uncovered
  EXPECT_EQ(top(), screen("Page"));
  EXPECT_EQ(screen("Page")->view()->frame(), CGRectMake(0, 54, 390, 790));
  EXPECT_TRUE(ZRControllerUtility::isControllerPresentedInNonFullScreenMode(screen("Page")));
  auto picture = player.renderScreen(1);
  EXPECT_EQ(picture->pixelAt(200, 40), kRedPixel);
  EXPECT_EQ(picture->pixelAt(200, 60), kWhitePixel);

  runTo(player, 2);  // presented over the top controller, not over the root
  EXPECT_EQ(top(), screen("Form"));
  EXPECT_EQ(screen("Form")->presentingViewController(), screen("Page"));
  EXPECT_EQ(screen("Form")->view()->frame(), CGRectMake(45, 444, 300, 400));

  runTo(player, 3);  // centred; presenting it again while it is up changes nothing
  EXPECT_EQ(top(), screen("Pop"));
  EXPECT_EQ(screen("Pop")->view()->frame(), CGRectMake(95, 372, 200, 100));
  EXPECT_EQ(screen("Pop")->presentingViewController(), screen("Form"));
  EXPECT_EQ(screen("Pop")->presentedViewController(), nullptr);
  picture = player.renderScreen(1);
  EXPECT_EQ(picture->pixelAt(195, 422), (CGPixel{0, 255, 255, 255}));
  EXPECT_EQ(picture->pixelAt(195, 480), kWhitePixel);

  runTo(player, 4);
  EXPECT_EQ(top(), screen("Form"));
  EXPECT_EQ(screen("Pop")->view()->window(), nullptr);

  runTo(player, 5);
  EXPECT_EQ(top(), screen("Page"));
  EXPECT_EQ(screen("Form")->presentingViewController(), nullptr);
  EXPECT_EQ(screen("Form")->view()->window(), nullptr);
  EXPECT_EQ(player.renderScreen(1)->pixelAt(195, 600), kWhitePixel);

  runTo(player, 5.5);
  EXPECT_EQ(top(), screen("Home"));
  EXPECT_EQ(player.renderScreen(1)->pixelAt(195, 600), kRedPixel);

  runTo(player, 6);
  EXPECT_EQ(top(), screen("Full"));
  EXPECT_EQ(screen("Full")->view()->frame(), CGRectMake(0, 0, 390, 844));
  EXPECT_FALSE(ZRControllerUtility::isControllerPresentedInNonFullScreenMode(screen("Full")));
}

TEST_F(ScenePlayerTest, RotationTurnsFullScreenWindowsAndViewsBothWays) {
  ScenePlayer player(loadApp(R"([
    {"at": 0.5, "do": "present", "screen": "Full"},
    {"at": 0.5, "do": "present", "screen": "Form"},
    {"at": 1, "do": "rotate", "orientation": "landscapeLeft"},
    {"at": 2, "do": "rotate", "orientation": "portrait"},
    {"at": 3, "do": "rotate", "orientation": "landscapeRight"},
    {"at": 3.5, "do": "keyboard", "show": true, "height": 200, "duration": 0}])"));
  player.start(loop);
  auto screen = UIScreen::mainScreen();
  auto main = player.windowNamed("main");
  auto badge = player.windowNamed("badge");
  auto full = player.screenNamed("Full");
  auto form = player.screenNamed("Form");
  auto home = player.screenNamed("Home");
  auto origin = [&] { return screen->coordinateSpace()->convertPoint({0, 0}, *screen->fixedCoordinateSpace()); };
  const CGRect portrait = CGRectMake(0, 0, 390, 844), landscape = CGRectMake(0, 0, 844, 390);
  const CGRect formFrame = CGRectMake(45, 444, 300, 400), badgeFrame = CGRectMake(10, 10, 100, 50);

  runTo(player, 0.5);
  ASSERT_EQ(form->presentingViewController(), full);

  for (const auto& [at, orientation, bounds, deviceOrigin] :
       {std::tuple{1.0, UIInterfaceOrientationLandscapeLeft, landscape, CGPointMake(0, 844)},
        std::tuple{2.0, UIInterfaceOrientationPortrait, portrait, CGPointMake(0, 0)},
        std::tuple{3.0, UIInterfaceOrientationLandscapeRight, landscape, CGPointMake(390, 0)}}) {
    SCOPED_TRACE("at " + std::to_string(at));
    runTo(player, at);
    EXPECT_EQ(UIApplication::sharedApplication()->statusBarOrientation(), orientation);
    EXPECT_EQ(screen->bounds(), bounds);
    EXPECT_EQ(origin(), deviceOrigin);
    EXPECT_EQ(main->frame(), bounds);
    EXPECT_EQ(home->view()->frame(), bounds);
    EXPECT_EQ(full->view()->frame(), bounds);
    // Only what filled the screen turns: the sheet and the small window keep their frames.
    EXPECT_EQ(form->view()->frame(), formFrame);
    EXPECT_EQ(badge->frame(), badgeFrame);
    // A frame taken as the turn happens shows the whole new layout, never a half-turned one.
    auto picture = player.renderScreen(1);
    ASSERT_EQ(picture->pixelWidth(), static_cast<size_t>(bounds.size.width));
    ASSERT_EQ(picture->pixelHeight(), static_cast<size_t>(bounds.size.height));
    const auto right = static_cast<size_t>(bounds.size.width) - 1, bottom = static_cast<size_t>(bounds.size.height) - 1;
    EXPECT_EQ(picture->pixelAt(right, bottom), kBluePixel);
    EXPECT_EQ(picture->pixelAt(right, 0), kBluePixel);
    EXPECT_EQ(picture->pixelAt(50, 30), (CGPixel{255, 255, 0, 255}));  // the small window
  }

  runTo(player, 3.5);  // the keyboard comes up along the turned screen's bottom
  EXPECT_EQ(UIApplication::sharedApplication()->keyboard().frame(), CGRectMake(0, 190, 844, 200));
}

TEST_F(ScenePlayerTest, KeyboardGoesDownAlongTheSamePathAndLeavesThePicture) {
  ScenePlayer player(loadApp(R"([
    {"at": 0, "do": "keyboard", "show": true, "height": 300, "duration": 0},
    {"at": 1, "do": "keyboard", "show": false, "duration": 0.5}])"));
  player.start(loop);
  const UIKeyboard& keyboard = UIApplication::sharedApplication()->keyboard();
  runTo(player, 0.5);
  EXPECT_TRUE(keyboard.isVisible());
  EXPECT_FALSE(keyboard.isAnimating());
  EXPECT_EQ(keyboard.frame(), CGRectMake(0, 544, 390, 300));
  EXPECT_NE(player.renderScreen(1)->pixelAt(1, 560), kRedPixel);

  runTo(player, 1.25);  // half way down
  EXPECT_TRUE(keyboard.isAnimating());
  EXPECT_NEAR(keyboard.frame().origin.y, 544 + 150, 1e-9);
  auto picture = player.renderScreen(1);
  EXPECT_EQ(picture->pixelAt(1, 680), kRedPixel);
  EXPECT_NE(picture->pixelAt(1, 700), kRedPixel);

  runTo(player, 1.5);
  EXPECT_FALSE(keyboard.isVisible());
  EXPECT_FALSE(keyboard.isAnimating());
  EXPECT_EQ(player.renderScreen(1)->pixelAt(1, 843), kRedPixel);
}

}  // namespace
}  // namespace zerva
