// The handler itself: a fresh handler's state, the one shared handler under racing first calls,
// the web-script default by platform type, the visible-screen snapshot and the schematic switches.

#include <atomic>
#include <cstdlib>
#include <thread>
#include <tuple>
#include <vector>

#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/UIWindow.h"
#include "services/ZROcclusionManager.h"
#include "support/HandlerTestSupport.h"

namespace zerva::testing {
namespace {

using HandlerCoreTest = HandlerTest;

TEST_F(HandlerCoreTest, AFreshHandlerStartsIdleWithItsDefaults) {
  auto& h = *handler_;
  EXPECT_FALSE(h.isRecording());
  EXPECT_TRUE(h.visibleScreenNames().empty());
  EXPECT_TRUE(h.userControlOfStopScrollCaptureOnStutterOS());
  for (const bool flag :
       {h.slowCapturePath(), h.skipCaptureOfCurrentFrame(), h.enteredNewScreen(), h.wasPreviousScreenHidden(),
        h.occludeAllTextFields(), h.occludeAllTexts(), h.verifyServerStoppedSlowPath(), h.skipRectsToOcclude(),
        h.wantToStopVideoRecording(), h.screenRecordingIsPaused(), h.stopScrollCaptureOnStutterOS(),
        h.captureWideGamut(), h.hideFullScreen(), h.hideFullScreenGestures(), h.hideFullScreen_APICall(),
        h.hideFullScreenGestures_APICall(), h.endOfSession_hideFullScreen(), h.endOfSession_hideFullScreenGestures(),
        h.endOfSession_hideFullScreen_APICall(), h.endOfSession_hideFullScreenGestures_APICall(),
        h.orientationChangeInProgress(), h.screenChangeInProgress()}) {
    EXPECT_FALSE(flag);
  }
  EXPECT_EQ(h.videoFrameRate(), 0.0f);
  EXPECT_EQ(h.userControlOfScrollCaptureInterval(), 0.0);
  EXPECT_EQ(h.startedAt(), 0.0);
  EXPECT_EQ(h.timeToEndPause(), 0.0);
  EXPECT_EQ(h.numFramesInVideo(), 0);
  EXPECT_EQ(h.totalSnapshots(), 0);
  EXPECT_EQ(h.lastScreenImageSize(), CGSizeZero);
  EXPECT_FALSE(h.displayLink() || h.trackedScrollViews() || h.sensitiveViews() || h.occlusionRects() ||
               h.lastVideoFrameImage());

  // Collaborators made once, and handed the handler where they keep a back reference.
  ASSERT_TRUE(h.occlusionManager() && h.videoRecorder() && h.keyboardUtility() && h.imageRenderer() &&
              h.imageProcessor());
  EXPECT_EQ(h.occlusionManager()->videoHandler(), handler_);
  EXPECT_EQ(InternalZRConfiguration::sharedConfiguration()->videoHandler(), handler_);
}

TEST_F(HandlerCoreTest, PlatformTypesOneAndSevenNeedTheWebScriptInjected) {
  for (const long type : {0L, 1L, 2L, 6L, 7L, 8L}) {
    InternalZRConfiguration::sharedConfiguration()->setPlatformType(type);
    EXPECT_EQ(ZRViewVideoHandler::create()->isWebScriptInjected(), type != 1 && type != 7) << type;
  }
}

TEST_F(HandlerCoreTest, VisibleScreenNamesIsASnapshot) {
  handler_->addVisibleScreens({"Home"});
  const std::vector<std::string> before = handler_->visibleScreenNames();
  handler_->addVisibleScreens({"Account"});
  EXPECT_EQ(before, (std::vector<std::string>{"Home"}));
  EXPECT_EQ(handler_->visibleScreenNames(), (std::vector<std::string>{"Home", "Account"}));
}

TEST_F(HandlerCoreTest, EitherSchematicSwitchAloneTurnsSchematicFramesOff) {
  std::make_shared<UIWindow>(CGRect{0, 0, 160, 288})->makeKeyAndVisible();
  ASSERT_TRUE(startRecording());
  for (const auto& [platform, session, kind] : {std::tuple{true, true, "Schematic "}, {true, false, "Native "},
                                                {false, true, "Native "}}) {
    ZRViewVideoHandler::setPlatformSchematicCapture(platform);
    ZRViewVideoHandler::setSchematicCapture(session);
    handler_->captureScreenImageToVideo();
    EXPECT_EQ(fs_FrameCaptureType, kind);
  }
}

// In a child process of its own, so that these really are the first calls.
TEST(SharedHandlerTest, RacingFirstCallsMakeOneHandler) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        constexpr int kThreads = 8;
        std::atomic<int> ready{0};
        std::vector<std::shared_ptr<ZRViewVideoHandler>> seen(kThreads);
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
          threads.emplace_back([&, i] {
            ++ready;
            while (ready.load() < kThreads) {
            }
            seen[i] = ZRViewVideoHandler::sharedHandler();
          });
        }
        for (auto& t : threads) t.join();
        bool same = seen[0] != nullptr;
        for (const auto& h : seen) same = same && h == seen[0];
        // A second init would have handed the configuration another handler.
        same = same && InternalZRConfiguration::sharedConfiguration()->videoHandler() == seen[0] &&
               seen[0]->occlusionManager()->videoHandler() == seen[0];
        std::exit(same ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace zerva::testing
