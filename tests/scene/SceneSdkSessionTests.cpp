// A scene's sdk section and calls reach the handler: tiny scenes played on the manual clock,
// checked by the frames the handler appends (pixels of the secret view) and by what the calls
// answered.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <functional>
#include <memory>

#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/UIImage.h"
#include "platform/WKWebView.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "scene/SceneSdkSession.h"
#include "services/InternalZRConfiguration.h"
#include "services/ZRJSONReader.h"
#include "services/ZRLogUtility.h"
#include "services/ZROcclusionManager.h"
#include "services/ZervaHandler.h"
#include "support/HandlerTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

constexpr double kStep = 1.0 / 60.0;
// Where the secret view is, in points (frames at quality 2 are one pixel a point).
constexpr int kSecretX = 140, kSecretY = 250;
// Real captures in full size, boxes in a colour nothing else has.
constexpr const char* kRealFrames =
    R"("recordingQuality": 2, "sensitiveViewColor": "#008040", "schematicCapture": false)";

/// Home holds a magenta view and a magenta text field; Web holds a web view.
std::string sceneText(const std::string& sdk, const std::string& timeline) {
  return R"({"device": {"screen": [390, 844], "scale": 1},
    "app": {"windows": [{"name": "main", "root": "Home"}],
            "screens": {
              "Home": {"view": {"name": "home", "frame": [0, 0, 390, 844], "background": "#FFFFFF", "children": [
                {"name": "secret", "frame": [40, 200, 200, 100], "background": "#FF00FF"},
                {"type": "textField", "name": "field", "frame": [40, 400, 200, 50], "background": "#FF00FF"}]}},
              "Web": {"view": {"frame": [0, 0, 390, 844], "background": "#FFFFFF", "children": [
                {"type": "webView", "name": "web", "frame": [0, 100, 390, 400]}]}},
              "Cover": {"view": {"background": "#FFFFFF"}}}},
    "sdk": {)" + sdk + R"(},
    "timeline": [)" + timeline + "]}";
}

std::string call(double at, const std::string& body) {
  return R"({"at": )" + std::to_string(at) + R"(, "do": "call", "call": )" + body + "}";
}

bool isMagenta(const CGPixel& p) { return p.red > 200 && p.green < 60 && p.blue > 200; }
bool isBox(const CGPixel& p) { return colourDistance(p, CGPixel{0, 128, 64, 255}) <= 24; }

class SceneSdkSessionTest : public HandlerTest {
 protected:
  struct Frame {
    double at;  // scene time it was appended by
    std::shared_ptr<UIImage> image;
    CGPixel secret() const { return image->pixelAt(kSecretX, kSecretY); }
  };

  void TearDown() override {
    session_.reset();
    player_.reset();
    HandlerTest::TearDown();
  }

  void play(const std::string& text) {
    auto scene = SceneLoader::loadText(text, "test.json", ".");
    ASSERT_TRUE(scene) << scene.error().localizedDescription();
    player_ = std::make_unique<ScenePlayer>(std::move(*scene));
    session_ = std::make_unique<SceneSdkSession>(player_->scene(), *player_, handler_);
    player_->setCallHandler([session = session_.get()](const SceneCall& c) { session->perform(c); });
    session_->applySdkSettings();
    player_->start(NSRunLoop::mainRunLoop());
  }

  /// Plays on to scene time `t`, a display refresh at a time, keeping every frame appended.
  void playTo(double t) {
    const double start = player_->startTime();
    while (CACurrentMediaTime() - start < t - 1e-9) {
      NSRunLoop::mainRunLoop().runUntilDate(std::min(CACurrentMediaTime() + kStep, start + t));
      settle();
      auto image = handler_->lastVideoFrameImage();
      if (image && (frames_.empty() || frames_.back().image != image)) {
        frames_.push_back({CACurrentMediaTime() - start, image});
      }
    }
  }

  std::vector<Frame> framesBetween(double from, double to) const {
    std::vector<Frame> out;
    for (const auto& f : frames_)
      if (f.at > from && f.at <= to) out.push_back(f);
    return out;
  }

  /// Every frame appended in (from, to] shows the secret as `expected` says; there is one at least.
  void expectSecret(double from, double to, const std::function<bool(const CGPixel&)>& expected, const char* what) {
    const auto frames = framesBetween(from, to);
    ASSERT_FALSE(frames.empty()) << "no frame between " << from << " and " << to;
    for (const auto& f : frames) {
      const CGPixel p = f.secret();
      EXPECT_TRUE(expected(p)) << what << " at " << f.at << ": " << int(p.red) << "," << int(p.green) << ","
                               << int(p.blue);
    }
  }

  std::unique_ptr<ScenePlayer> player_;
  std::unique_ptr<SceneSdkSession> session_;
  std::vector<Frame> frames_;
};

TEST_F(SceneSdkSessionTest, TheSdkSectionReachesSettingsConfigurationSwitchesAndLogging) {
  play(sceneText(R"("recordScreenVideo": false, "recordingQuality": 3, "sensitiveViewColor": "#112233",
                    "hiddenScreens": [{"name": "Cover", "hideGestures": true}], "enableImprovedScreenCapture": true,
                    "enableAutomaticScreenNameTagging": false, "platformType": 7,
                    "occlusion": [{"type": "allTextFields", "screens": ["Home"]}],
                    "schematicCapture": false, "platformSchematicCapture": true,
                    "logging": {"integration": true, "verbose": true})",
                 ""));
  auto settings = ZervaHandler::shared()->sessionSettings();
  EXPECT_FALSE(settings->recordScreenVideo());
  EXPECT_EQ(settings->recordingQuality(), 3u);
  EXPECT_EQ(settings->sensitiveViewColor(), *ZRColorFromHexString("#112233"));
  bool hideGestures = false;
  EXPECT_TRUE(settings->occludeScreenNamed("Cover", &hideGestures));
  EXPECT_TRUE(hideGestures);

  auto configuration = InternalZRConfiguration::sharedConfiguration();
  EXPECT_TRUE(configuration->enableImprovedScreenCapture());
  EXPECT_FALSE(configuration->enableAutomaticScreenNameTagging());
  EXPECT_EQ(configuration->platformType(), 7);
  // The rules reach the handler's own manager, made before the scene was read.
  EXPECT_TRUE(handler_->occlusionManager()->containsSettingOfType(ZROcclusionTypeAllTextFields, {"Home"}));
  EXPECT_FALSE(handler_->isWebScriptInjected());  // platform 7 pages get the script injected

  EXPECT_FALSE(fs_CaptureSchematicView);
  EXPECT_TRUE(fs_PlatformCaptureSchematicView);
  EXPECT_TRUE(ZRLogUtility::isIntegrationLoggingEnabled());
  EXPECT_TRUE(ZRLogUtility::isVerboseLoggingEnabled());

  // Without automatic tagging, showing a screen reports nothing.
  EXPECT_TRUE(handler_->visibleScreenNames().empty());
  // Recording is off: a start call makes nothing.
  EXPECT_FALSE(session_->sceneStartsRecording());
  session_->startRecording();
  playTo(0.5);
  EXPECT_FALSE(handler_->isRecording());
}

TEST_F(SceneSdkSessionTest, RecordingCallsStartPauseResumeAndStopAndTheOutcomeIsKept) {
  play(sceneText(kRealFrames, call(0, R"({"method": "startScreenRecording"})") + "," +
                                  call(0.5, R"({"method": "pauseScreenRecordingForDuration", "duration": 0})") + "," +
                                  call(0.8, R"({"method": "setOrientationInProgressFlag", "value": true})") + "," +
                                  call(1.0, R"({"method": "resumeScreenRecording"})") + "," +
                                  call(1.0, R"({"method": "setOrientationInProgressFlag", "value": false})") + "," +
                                  call(1.5, R"({"method": "stopScreenRecording", "reason": 1})") + "," +
                                  call(1.5, R"({"method": "waitUntilScreenRecordingIsFinished", "timeout": 2})")));
  EXPECT_TRUE(session_->sceneStartsRecording());
  playTo(0.4);
  EXPECT_TRUE(handler_->isRecording());
  playTo(0.9);
  EXPECT_TRUE(handler_->screenRecordingIsPaused());
  EXPECT_TRUE(handler_->orientationChangeInProgress());
  const size_t framesWhilePaused = framesBetween(0.6, 0.9).size();
  EXPECT_LE(framesWhilePaused, 1u);  // the blank frame of the pause at most
  playTo(1.4);
  EXPECT_FALSE(handler_->screenRecordingIsPaused());
  EXPECT_FALSE(framesBetween(1.0, 1.4).empty());
  playTo(1.6);
  NSRunLoop::mainRunLoop().runUntil([&] { return session_->stopCompletionDelivered(); });
  ASSERT_TRUE(session_->stopCompletionDelivered());
  const auto outcome = session_->recordingOutcome();
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->stopReason, 1u);
  EXPECT_FALSE(outcome->error);
  ASSERT_TRUE(outcome->path);
  EXPECT_TRUE(std::filesystem::exists(*outcome->path));
  ASSERT_EQ(session_->waits().size(), 1u);
  EXPECT_DOUBLE_EQ(session_->waits()[0].at, 1.5);
  EXPECT_LE(session_->waits()[0].waited, 2.0 + 1e-9);
}

TEST_F(SceneSdkSessionTest, ACancelKeepsTheErrorAndAStartWithoutACallRecordsToo) {
  play(sceneText(kRealFrames, call(1.0, R"({"method": "stopScreenRecording", "reason": 0})")));
  EXPECT_FALSE(session_->sceneStartsRecording());
  session_->startRecording();
  playTo(1.2);
  NSRunLoop::mainRunLoop().runUntil([&] { return session_->stopCompletionDelivered(); });
  const auto outcome = session_->recordingOutcome();
  ASSERT_TRUE(outcome);
  EXPECT_FALSE(outcome->path);
  ASSERT_TRUE(outcome->error);
  EXPECT_EQ(outcome->error->domain(), "video-upload");
  EXPECT_EQ(outcome->error->code(), 101);
}

TEST_F(SceneSdkSessionTest, SensitiveViewsAndTheTextFieldFlagChangeTheNextFrames) {
  // No automatic tagging: with no visible screen the rules leave the text-field flag to calls.
  play(sceneText(std::string(kRealFrames) + R"(, "enableAutomaticScreenNameTagging": false)",
                 call(0, R"({"method": "startScreenRecording"})") + "," +
                     call(0.5, R"({"method": "addSensitiveView", "view": "secret"})") + "," +
                     call(1.0, R"({"method": "removeSensitiveView", "view": "secret"})") + "," +
                     call(1.5, R"({"method": "setOccludeAllTextFields", "value": true})") + "," +
                     call(1.5, R"({"method": "setOccludeAllTexts", "value": true})")));
  playTo(2.0);
  expectSecret(0.05, 0.5, isMagenta, "before the view is sensitive");
  expectSecret(0.6, 1.0, isBox, "while it is sensitive");
  expectSecret(1.1, 2.0, isMagenta, "after it is removed");
  EXPECT_TRUE(isMagenta(framesBetween(0.05, 1.5).back().image->pixelAt(140, 425)));
  EXPECT_TRUE(isBox(framesBetween(1.6, 2.0).back().image->pixelAt(140, 425)));
  EXPECT_TRUE(handler_->occludeAllTexts());
}

TEST_F(SceneSdkSessionTest, VisibleScreensRulesAndScreenHidingCoverTheFrames) {
  auto coloured = [](int r, int g, int b) {
    return [=](const CGPixel& p) { return colourDistance(p, CGPixel{uint8_t(r), uint8_t(g), uint8_t(b), 255}) <= 24; };
  };
  play(sceneText(
      // Tagging reports Home at the start; the calls change the list from there.
      std::string(kRealFrames) + R"(, "occlusion": [{"type": "coverScreen", "screens": ["Cover"], "color": "#0000FF"}])",
      call(0, R"({"method": "startScreenRecording"})") + "," +
          call(0.5, R"({"method": "addVisibleScreens", "screens": ["Cover"]})") + "," +
          call(1.0, R"({"method": "removeVisibleScreenForName", "screen": "Cover"})") + "," +
          call(1.5, R"({"method": "addVisibleScreen", "screen": "Cover", "controller": "Home"})") + "," +
          call(2.0, R"({"method": "removeVisibleScreenForControllerId", "controller": "Home"})") + "," +
          call(2.5, R"({"method": "occludeScreenAPI", "occlude": true})") + "," +
          call(3.0, R"({"method": "occludeScreenAPI", "occlude": false})") + "," +
          call(3.0, R"({"method": "addVisibleScreens", "screens": ["Home"]})") + "," +
          call(3.5, R"({"method": "applyOcclusion", "rule": {"type": "coverScreen", "screens": ["Home"], "color": "#FF0000"}})") + "," +
          call(4.0, R"({"method": "removeOcclusionOfType", "type": "coverScreen"})") + "," +
          call(4.5, R"({"method": "setOcclusionFromDashboardVerifyResult", "verifyResult": {"occlusionRules": [{"type": "coverScreen", "screens": ["Home"], "color": "#FFFF00"}]}})") + "," +
          call(5.0, R"({"method": "removeOcclusion"})") + "," +
          call(5.5, R"({"method": "setOcclusionFromDashboardVerifyResult", "verifyResult": "{\"occlusionRules\": [{\"type\": \"blurScreen\", \"screens\": [\"Cover\"]}]}", "appendExisting": true})")));
  playTo(6.0);
  expectSecret(0.05, 0.5, isMagenta, "no screen hidden yet");
  expectSecret(0.6, 1.0, coloured(0, 0, 255), "the configuration covers Cover");
  expectSecret(1.1, 1.5, isMagenta, "Cover gone by name");
  expectSecret(1.6, 2.0, coloured(0, 0, 255), "Home's controller shows Cover instead");
  expectSecret(2.1, 2.5, isMagenta, "the controller gone");
  expectSecret(2.6, 3.0, isBox, "hidden by the public call");
  expectSecret(3.1, 3.5, isMagenta, "shown again");
  expectSecret(3.6, 4.0, coloured(255, 0, 0), "a manual rule");
  expectSecret(4.1, 4.5, isMagenta, "the manual rule removed");
  expectSecret(4.6, 6.0, coloured(255, 255, 0), "the dashboard's rule, which removing manual rules leaves");
  // Appended, not replaced: both dashboard rules are there.
  const auto dashboard = handler_->occlusionManager()->getOcclusionFromSource(ZROcclusionSourceDashboard);
  ASSERT_TRUE(dashboard);
  EXPECT_EQ(dashboard->size(), 2u);
}

TEST_F(SceneSdkSessionTest, AScreenTheSessionSettingsHideIsHiddenWhenARecordingStartsOnIt) {
  play(sceneText(std::string(kRealFrames) + R"(, "enableAutomaticScreenNameTagging": false,
                 "hiddenScreens": [{"name": "Home", "hideGestures": false}])",
                 call(0, R"({"method": "startScreenRecording"})")));
  playTo(0.5);
  expectSecret(0.05, 0.5, isBox, "Home is shown as the recording starts");
}

TEST_F(SceneSdkSessionTest, GestureAnswersAreKeptWithTheirTimeAndPoint) {
  play(sceneText(kRealFrames, call(0.1, R"({"method": "addSensitiveView", "view": "secret", "blockGestures": true})") +
                                  "," + call(0.2, R"({"method": "gestureBlockedBySensitiveView", "point": [140, 250]})") +
                                  "," + call(0.2, R"({"method": "gestureBlockedBySensitiveView", "point": [300, 600], "view": "home"})") +
                                  "," + call(0.3, R"({"method": "occludeScreen", "occlude": true, "hideGestures": true})") +
                                  "," + call(0.4, R"({"method": "gestureBlockedBySensitiveView", "point": [300, 600]})") +
                                  "," + call(0.5, R"({"method": "occludeScreen", "occlude": false})") +
                                  "," + call(0.6, R"({"method": "hideScreenGestures", "hide": true})")));
  playTo(0.45);
  ASSERT_EQ(session_->gestureAnswers().size(), 3u);
  const auto& answers = session_->gestureAnswers();
  EXPECT_TRUE(answers[0].blocked);
  EXPECT_EQ(answers[0].point, CGPointMake(140, 250));
  EXPECT_FALSE(answers[1].blocked);
  EXPECT_EQ(answers[1].view, "home");
  EXPECT_TRUE(answers[2].blocked);  // the whole screen's gestures are hidden
  EXPECT_DOUBLE_EQ(answers[2].at, 0.4);
  EXPECT_TRUE(handler_->hideFullScreen());
  playTo(0.7);
  EXPECT_FALSE(handler_->hideFullScreen());
  EXPECT_TRUE(handler_->screenGestureRecordingIsHidden());
}

TEST_F(SceneSdkSessionTest, HookRepliesAndManualRectanglesAreScriptedOnTheScenesClock) {
  // Improved capture refuses layer snapshots, so every frame asks the hooks.
  play(sceneText(std::string(kRealFrames) + R"(, "enableImprovedScreenCapture": true)",
                 call(0, R"({"method": "startScreenRecording"})") + "," +
                     call(0, R"({"method": "pauseForOcclusionNextFrame", "reply": {"paused": true}})") + "," +
                     call(0, R"({"method": "occludeRectsOnNextFrame", "reply": {"rects": [[40, 200, 200, 100]], "after": 0.05}})") + "," +
                     call(1.0, R"({"method": "occludeRectsOnNextFrame", "reply": null})") + "," +
                     call(2.0, R"({"method": "pauseForOcclusionNextFrame", "reply": "never"})") + "," +
                     call(3.0, R"({"method": "pauseForOcclusionNextFrame", "reply": null})") + "," +
                     call(3.5, R"({"method": "addRectsToOcclude", "rects": [[40, 200, 200, 100]], "identity": "promo"})")));
  playTo(4.0);
  expectSecret(0.0, 1.0, isBox, "the on-demand source's rectangles");
  // Each frame comes a reply's delay after its tick.
  const auto early = framesBetween(0.0, 1.0);
  ASSERT_FALSE(early.empty());
  expectSecret(1.2, 2.0, isMagenta, "without the source");
  EXPECT_TRUE(framesBetween(2.2, 3.0).empty()) << "a pause hook that never replies makes no frames";
  // Manual rectangles cover the next frame only.
  const auto afterManual = framesBetween(3.5, 4.0);
  ASSERT_GE(afterManual.size(), 2u);
  EXPECT_TRUE(isBox(afterManual.front().secret()));
  EXPECT_TRUE(isMagenta(afterManual.back().secret()));
  expectSecret(3.05, 3.5, isMagenta, "the hooks removed");
}

TEST_F(SceneSdkSessionTest, TheNextSceneFindsTheHandlerFreeOfThePreviousScenesCalls) {
  // The first scene leaves a pause hook owed a reply, the screen hidden and text fields covered.
  play(sceneText(std::string(kRealFrames) + R"(, "enableImprovedScreenCapture": true)",
                 call(0, R"({"method": "startScreenRecording"})") + "," +
                     call(0, R"({"method": "pauseForOcclusionNextFrame", "reply": "never"})") + "," +
                     call(0, R"({"method": "occludeScreenAPI", "occlude": true})") + "," +
                     call(0, R"({"method": "setOccludeAllTextFields", "value": true})") + "," +
                     call(0, R"({"method": "addVisibleScreens", "screens": ["Cover"]})")));
  playTo(0.5);
  EXPECT_TRUE(frames_.empty());
  session_.reset();
  player_.reset();

  // The recording goes on into a scene that makes none of those calls.
  play(sceneText(std::string(kRealFrames) + R"(, "enableImprovedScreenCapture": true,
                 "occlusion": [{"type": "coverScreen", "screens": ["Cover"], "color": "#0000FF"}])",
                 ""));
  playTo(1.0);
  expectSecret(0.1, 1.0, isMagenta, "nothing the first scene asked for");
  EXPECT_TRUE(isMagenta(framesBetween(0.1, 1.0).back().image->pixelAt(140, 425)));
}

TEST_F(SceneSdkSessionTest, WebViewsFlagsAndTextRecognitionReachTheHandler) {
  play(sceneText(kRealFrames, call(0.1, R"({"method": "screenWebViewWillAppear", "view": "web"})") + "," +
                                  call(0.1, R"({"method": "setEnteredNewScreen", "value": true})") + "," +
                                  call(0.1, R"({"method": "setWasPreviousScreenHidden", "value": true})") + "," +
                                  call(0.1, R"({"method": "setUserControlOfStopScrollCaptureOnStutterOS", "value": false})") + "," +
                                  call(0.1, R"({"method": "setUserControlOfScrollCaptureInterval", "value": 0.75})") + "," +
                                  call(0.1, R"({"method": "setVerifyServerStoppedSlowPath", "value": true})") + "," +
                                  call(0.1, R"({"method": "setSkipCaptureOfCurrentFrame", "value": true})") + "," +
                                  call(0.1, R"({"method": "setScreenChangeInProgressFlag", "value": true})") + "," +
                                  call(0.2, R"({"method": "addImageToAITextOcclusionPipeline"})") + "," +
                                  call(0.3, R"({"method": "screenWebViewDidDisappear", "view": "web"})")));
  playTo(0.25);
  EXPECT_EQ(handler_->screenWebview(), std::dynamic_pointer_cast<WKWebView>(player_->viewNamed("web")));
  EXPECT_TRUE(handler_->enteredNewScreen());
  EXPECT_TRUE(handler_->wasPreviousScreenHidden());
  EXPECT_TRUE(handler_->screenIsHidden());  // what the previous-screen flag means
  EXPECT_FALSE(handler_->userControlOfStopScrollCaptureOnStutterOS());
  EXPECT_DOUBLE_EQ(handler_->userControlOfScrollCaptureInterval(), 0.75);
  EXPECT_TRUE(handler_->verifyServerStoppedSlowPath());
  EXPECT_TRUE(handler_->skipCaptureOfCurrentFrame());
  EXPECT_TRUE(handler_->screenChangeInProgress());
  playTo(0.4);
  EXPECT_EQ(handler_->screenWebview(), nullptr);
  const auto answers = session_->textRecognitionAnswers();
  ASSERT_EQ(answers.size(), 1u);
  EXPECT_DOUBLE_EQ(answers[0].at, 0.2);
  EXPECT_TRUE(answers[0].frameTime.has_value());
}

TEST_F(SceneSdkSessionTest, TheDemoPlaysItsOwnCallsToAFinishedVideo) {
  std::ifstream in(std::string(ZERVA_SOURCE_DIR) + "/scenes/demo-app.json");
  std::stringstream text;
  text << in.rdbuf();
  play(text.str());
  ASSERT_TRUE(session_->sceneStartsRecording());
  playTo(player_->scene().duration() + 0.1);
  NSRunLoop::mainRunLoop().runUntil([&] { return session_->stopCompletionDelivered(); });
  const auto outcome = session_->recordingOutcome();
  ASSERT_TRUE(outcome && outcome->path) << (outcome && outcome->error ? outcome->error->localizedDescription() : "");
  EXPECT_TRUE(std::filesystem::exists(*outcome->path));
  EXPECT_GT(frames_.size(), 20u);
  // Gestures: on the hidden share sheet and on the card number blocked, on the title bar not.
  const auto& answers = session_->gestureAnswers();
  ASSERT_EQ(answers.size(), 4u);
  EXPECT_TRUE(answers[1].blocked);
  EXPECT_TRUE(answers[2].blocked);
  EXPECT_FALSE(answers[3].blocked);
  // On the login screen the text fields (a rule) and the hybrid promo (a sensitive view) are boxes;
  // on the feed the on-demand source hides the top card.
  auto boxAt = [](const Frame& f, double x, double y) {
    const double scale = f.image->size().height / 844.0;
    return colourDistance(f.image->pixelAt(size_t(x * scale), size_t(y * scale)), CGPixel{0x33, 0x33, 0x33, 255}) <= 24;
  };
  const auto login = framesBetween(0.3, 3.3);
  ASSERT_FALSE(login.empty());
  for (const auto& f : login) {
    EXPECT_TRUE(boxAt(f, 200, 474)) << "promo at " << f.at;
    EXPECT_TRUE(boxAt(f, 195, 224)) << "e-mail at " << f.at;
    EXPECT_TRUE(boxAt(f, 195, 288)) << "password at " << f.at;
  }
  const auto feed = framesBetween(4.1, 4.9);
  ASSERT_FALSE(feed.empty());
  for (const auto& f : feed) EXPECT_TRUE(boxAt(f, 195, 160)) << "top card at " << f.at;
}

}  // namespace
}  // namespace zerva::testing
