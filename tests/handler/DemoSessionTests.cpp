// The demo app recorded from start to end through the handler, on the manual clock, and the
// decoded video read back: frame times, what is hidden, hidden screens, pauses and stops.
//
// Everything the session must hide is given a colour nothing else in the scene uses (pure
// magenta, as backgrounds so that a leak is a large patch, not a thin anti-aliased stroke that
// H.264 could blur away), and every decoded frame is searched for it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include <nlohmann/json.hpp>

#include "platform/UIApplication.h"
#include "platform/UIView.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "services/ZRLogUtility.h"
#include "services/ZervaHandler.h"
#include "support/HandlerTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

constexpr double kStep = 1.0 / 60.0;
const UIColor kSensitiveColor = UIColor::colorWithRed(0.0, 0.5, 0.25, 1.0);

/// Magenta, also dimmed under a presented overlay: red and blue alike, green well below both.
bool nearSecret(const CGPixel& p) {
  const int low = std::min(p.red, p.blue);
  return low > 90 && p.green * 100 < low * 45 && std::abs(p.red - p.blue) < 60;
}

bool nearSensitiveColor(const CGPixel& p) {
  return colourDistance(p, CGPixel{0, 128, 64, 255}) <= 24;
}

nlohmann::json* findNamed(nlohmann::json& view, const std::string& name) {
  if (view.is_object() && view.value("name", "") == name) return &view;
  if (view.is_object() && view.contains("children")) {
    for (auto& child : view["children"])
      if (auto* found = findNamed(child, name)) return found;
  }
  return nullptr;
}

nlohmann::json* findNamedInScene(nlohmann::json& scene, const std::string& name) {
  for (auto& [screen, desc] : scene["app"]["screens"].items())
    if (auto* found = findNamed(desc["view"], name)) return found;
  return nullptr;
}

class DemoSession : public HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    auto settings = ZervaHandler::shared()->sessionSettings();
    settings->setRecordingQuality(2);  // full size: 400 x 844, no downscale
    settings->setSensitiveViewColor(kSensitiveColor);
    ZRLogUtility::setRecordCapacity(100000);
  }

  /// The demo app with every secret painted magenta.
  Scene loadDemo() {
    std::ifstream in(std::string(ZERVA_SOURCE_DIR) + "/scenes/demo-app.json");
    nlohmann::json scene = nlohmann::json::parse(in);
    for (const char* name : {"cardNumber", "password", "hybridPromo"}) {
      auto* view = findNamedInScene(scene, name);
      EXPECT_NE(view, nullptr) << name;
      if (view) (*view)["background"] = "#FF00FF";
    }
    // One amount in the feed, which scrolls: a sensitive view in flight.
    auto* row3 = findNamedInScene(scene, "row3");
    EXPECT_NE(row3, nullptr);
    if (row3) {
      auto& amount = (*row3)["children"][3];
      amount["name"] = "secretAmount";
      amount["background"] = "#FF00FF";
    }
    // The web form's card and password inputs.
    auto* checkout = findNamedInScene(scene, "checkout");
    EXPECT_NE(checkout, nullptr);
    if (checkout) {
      for (auto& input : (*checkout)["page"]["body"][0]["children"]) {
        const std::string id = input.value("id", "");
        if (id == "card" || id == "cvc") input["background"] = "#FF00FF";
      }
    }
    auto loaded = SceneLoader::loadText(scene.dump(), "demo-app.json", std::string(ZERVA_SOURCE_DIR) + "/scenes");
    EXPECT_TRUE(loaded.ok()) << loaded.error().localizedDescription();
    return *loaded;
  }

  /// Plays the scene up to `until` seconds of scene time, one display refresh at a time, letting
  /// the frame queue finish each frame before the clock moves on (a fast device), and runs the
  /// `at` hooks as their times pass.
  void play(ScenePlayer& player, double until, const std::map<double, std::function<void()>>& at,
            const std::function<void(double)>& everyStep = nullptr) {
    auto next = at.begin();
    const double start = player.startTime();
    for (double t = CACurrentMediaTime() - start; t <= until + 1e-9; t += kStep) {
      while (next != at.end() && next->first <= t + 1e-9) {
        next->second();
        ++next;
      }
      if (everyStep) everyStep(t);
      NSRunLoop::mainRunLoop().runUntilDate(start + t + kStep * 0.5);
      settle();
    }
  }

  void wireScreens(ScenePlayer& player) {
    player.setScreenHandler([this](const std::string& screen, bool visible) {
      if (visible) {
        handler_->addVisibleScreen(screen, screen);
      } else {
        handler_->removeVisibleScreenForControllerId(screen);
      }
    });
  }

  struct Session {
    ProbedVideo probe;
    DecodedFrames frames;
    std::vector<double> ptsSeconds;
    std::map<double, bool> gestureAnswers;
    std::shared_ptr<UIImage> unmaskedScreen;
  };

  /// Records the whole demo with the calls a host app would make.
  Session recordDemo() {
    Session session;
    ScenePlayer player(loadDemo());
    wireScreens(player);
    player.start(NSRunLoop::mainRunLoop());
    EXPECT_TRUE(startRecording());

    auto view = [&](const std::string& name) { return player.viewNamed(name); };
    bool handInHybridRects = true;
    const std::map<double, std::function<void()>> calls = {
        {0.0,
         [&] {
           handler_->addSensitiveView(view("cardNumber"), true);
           handler_->addSensitiveView(view("secretAmount"), false);
         }},
        {1.0, [&] { session.unmaskedScreen = player.renderScreen(1); }},
        {3.5, [&] { handInHybridRects = false; }},
        // The SDK's screen tracking reports the web view of the payment screen.
        {6.5, [&] { handler_->screenWebViewWillAppear(std::dynamic_pointer_cast<WKWebView>(view("checkout"))); }},
        {3.65, [&] { handler_->pauseScreenRecordingForDuration(0.3); }},
        {4.2, [&] { session.unmaskedScreen = session.unmaskedScreen ? session.unmaskedScreen : player.renderScreen(1); }},
        {5.05, [&] { handler_->occludeScreenAPI(true, true); }},
        {5.5,
         [&] {
           session.gestureAnswers[5.5] = handler_->gestureBlockedBySensitiveView(CGPointMake(200, 500), nullptr);
         }},
        {5.95, [&] { handler_->occludeScreenAPI(false, false); }},
        {7.5,
         [&] {
           session.gestureAnswers[7.51] =
               handler_->gestureBlockedBySensitiveView(CGPointMake(100, 160), nullptr);  // on the card number
           session.gestureAnswers[7.52] =
               handler_->gestureBlockedBySensitiveView(CGPointMake(100, 60), nullptr);  // on the title bar
         }},
    };
    const CGRect hybrid = CGRectMake(24, 446, 342, 56);
    play(player, 11.0, calls, [&](double) {
      // A hybrid framework hands its rectangles in again for every frame.
      if (handInHybridRects)
        handler_->addRectsForManualOcclusion({{hybrid.origin.x, hybrid.origin.y, hybrid.size.width, hybrid.size.height}});
    });
    const StopOutcome outcome = stopRecording(1);
    EXPECT_TRUE(outcome.delivered);
    EXPECT_FALSE(outcome.error.has_value());
    EXPECT_TRUE(outcome.path.has_value());
    if (!outcome.path) return session;
    session.probe = probeVideo(*outcome.path);
    session.frames = decodeFrames(*outcome.path, session.probe.width, session.probe.height);
    for (auto ms : session.probe.framePtsMs) session.ptsSeconds.push_back(ms / 1000.0);
    return session;
  }

  static size_t secretPixels(const DecodedFrames& frames, size_t frame) {
    size_t count = 0;
    for (int y = 0; y < frames.height; ++y)
      for (int x = 0; x < frames.width; ++x) count += nearSecret(frames.pixelAt(frame, x, y));
    return count;
  }

  /// The index of the frame shown at `seconds` (the last one presented at or before it).
  static size_t frameAt(const Session& s, double seconds) {
    size_t index = 0;
    for (size_t i = 0; i < s.ptsSeconds.size(); ++i)
      if (s.ptsSeconds[i] <= seconds + 1e-6) index = i;
    return index;
  }

  void expectSessionHidesEverything(const Session& s) {
    ASSERT_TRUE(s.probe.readable);
    EXPECT_EQ(s.probe.width, 400);
    EXPECT_EQ(s.probe.height, 844);
    ASSERT_EQ(s.frames.frames.size(), s.ptsSeconds.size());
    ASSERT_GT(s.frames.frames.size(), 20u);

    // The secrets are really on screen: the detector finds them in what the app shows.
    ASSERT_TRUE(s.unmaskedScreen);
    size_t shown = 0;
    for (size_t y = 0; y < s.unmaskedScreen->pixelHeight(); ++y)
      for (size_t x = 0; x < s.unmaskedScreen->pixelWidth(); ++x) shown += nearSecret(s.unmaskedScreen->pixelAt(x, y));
    EXPECT_GT(shown, 1000u);

    for (size_t i = 0; i < s.frames.frames.size(); ++i)
      EXPECT_EQ(secretPixels(s.frames, i), 0u) << "frame " << i << " at " << s.ptsSeconds[i] << " s";

    // Presentation times: the first frame is stamped 0 and appended at the time of its conversion
    // (the first admitted tick); later frames keep the time their capture started, so they lie
    // on the display's refresh grid, increasing.
    EXPECT_LE(s.ptsSeconds.front(), 0.2);
    for (size_t i = 1; i < s.ptsSeconds.size(); ++i) {
      EXPECT_GT(s.ptsSeconds[i], s.ptsSeconds[i - 1]);
      if (i < 2) continue;
      const double refreshes = (s.ptsSeconds[i] - s.ptsSeconds[1]) * 60.0;
      EXPECT_NEAR(refreshes, std::round(refreshes), 0.1) << "frame " << i;
    }

    // The hidden screen is covered entirely.
    for (size_t i = 0; i < s.ptsSeconds.size(); ++i) {
      if (s.ptsSeconds[i] < 5.15 || s.ptsSeconds[i] > 5.9) continue;
      for (int y = 5; y < 844; y += 40)
        for (int x = 5; x < 390; x += 40)
          ASSERT_TRUE(nearSensitiveColor(s.frames.pixelAt(i, x, y))) << "frame at " << s.ptsSeconds[i] << " (" << x
                                                                      << ", " << y << ")";
    }

    // A pause: one blank frame when it starts, then nothing until it ends.
    size_t blanks = 0;
    for (size_t i = 0; i < s.ptsSeconds.size(); ++i) {
      if (s.ptsSeconds[i] < 3.6 || s.ptsSeconds[i] > 4.0) continue;
      const CGPixel centre = s.frames.pixelAt(i, 200, 400);
      EXPECT_LT(std::max({centre.red, centre.green, centre.blue}), 20) << "frame at " << s.ptsSeconds[i];
      ++blanks;
    }
    EXPECT_EQ(blanks, 1u);

    // Gestures: blocked on a hidden screen whose gestures are hidden and on a gesture-blocking
    // sensitive view; not elsewhere.
    EXPECT_TRUE(s.gestureAnswers.at(5.5));
    EXPECT_TRUE(s.gestureAnswers.at(7.51));
    EXPECT_FALSE(s.gestureAnswers.at(7.52));
  }
};

TEST_F(DemoSession, SchematicFramesHideEverySecretAndKeepTheTimeLine) {
  const Session s = recordDemo();
  expectSessionHidesEverything(s);
}

TEST_F(DemoSession, RealPixelFramesHideEverySecretInTheSensitiveColour) {
  ZRViewVideoHandler::setSchematicCapture(false);
  const Session s = recordDemo();
  expectSessionHidesEverything(s);
  // The card number, in a real frame of the payment screen, is a box of the sensitive colour.
  const size_t payment = frameAt(s, 8.9);
  EXPECT_TRUE(nearSensitiveColor(s.frames.pixelAt(payment, 195, 164)));
  // After the turn to landscape the frame is the landscape picture turned upright into the
  // portrait video: the payment title bar runs down the right-hand columns.
  const size_t landscape = frameAt(s, 10.3);
  EXPECT_GT(s.ptsSeconds[landscape], 9.5);
}

TEST_F(DemoSession, CancellingDeletesTheFileAndReportsTheCancellation) {
  ScenePlayer player(loadDemo());
  wireScreens(player);
  player.start(NSRunLoop::mainRunLoop());
  ASSERT_TRUE(startRecording());
  play(player, 1.0, {});
  const StopOutcome outcome = stopRecording(0);
  ASSERT_TRUE(outcome.delivered);
  EXPECT_FALSE(outcome.path.has_value());
  ASSERT_TRUE(outcome.error.has_value());
  EXPECT_EQ(outcome.error->domain(), "video-upload");
  EXPECT_EQ(outcome.error->code(), 101);
  EXPECT_EQ(outcome.error->localizedDescription(), "video recording cancelled");
  EXPECT_TRUE(std::filesystem::is_empty(folder_ / "") || !std::filesystem::exists(handler_->videoRecorder()->recordingFile()->url().path()));
}

TEST_F(DemoSession, AStopLongAfterTheLastFrameRepeatsIt) {
  ZRViewVideoHandler::setSchematicCapture(false);
  ScenePlayer player(loadDemo());
  wireScreens(player);
  player.start(NSRunLoop::mainRunLoop());
  ASSERT_TRUE(startRecording());
  play(player, 1.0, {});
  // No frame for 1.5 s (a screen transition holds real-pixel capture back), then the stop.
  handler_->setScreenChangeInProgressFlag(true);
  play(player, 2.5, {});
  const StopOutcome outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path.has_value());
  const ProbedVideo probe = probeVideo(*outcome.path);
  ASSERT_GE(probe.framePtsMs.size(), 3u);
  const auto n = probe.framePtsMs.size();
  EXPECT_GT(probe.framePtsMs[n - 1] - probe.framePtsMs[n - 2], 750);
  const DecodedFrames frames = decodeFrames(*outcome.path, probe.width, probe.height);
  ASSERT_EQ(frames.frames.size(), n);
  EXPECT_EQ(colourDistance(frames.pixelAt(n - 1, 200, 300), frames.pixelAt(n - 2, 200, 300)) <= 8, true);
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("stopScreenRecording-bigGap").size(), 1u);
}

}  // namespace
}  // namespace zerva::testing
