// SDK calls arrive on any thread while frames are taken on the main thread and finished on the
// frame queue. Four threads mark and unmark views, hide screens, pause and resume, and hand in
// rectangles while a recording runs; the sanitizer builds check the sharing, and the video must
// come out whole.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/UIApplication.h"
#include "platform/UILabel.h"
#include "platform/UITextField.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "services/ZROcclusionManager.h"
#include "support/HandlerTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

class ConcurrentCalls : public HandlerTest {};

TEST_F(ConcurrentCalls, SdkCallsFromFourThreadsDuringARecordingLeaveAWholeVideo) {
  auto window = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
  auto controller = std::make_shared<UIViewController>();
  window->setRootViewController(controller);
  window->makeKeyAndVisible();
  auto root = controller->view();
  root->setBackgroundColor(UIColor::whiteColor());
  std::vector<std::shared_ptr<UIView>> views;
  for (int i = 0; i < 8; ++i) {
    auto field = std::make_shared<UITextField>(CGRectMake(20, 40 + 60.0 * i, 300, 44));
    field->setText("secret " + std::to_string(i));
    root->addSubview(field);
    views.push_back(field);
  }

  ASSERT_TRUE(startRecording());
  std::atomic<bool> done{false};
  std::vector<std::thread> threads;
  threads.emplace_back([&] {  // marks and unmarks views
    for (int i = 0; !done; ++i) {
      const auto& view = views[static_cast<size_t>(i) % views.size()];
      handler_->addSensitiveView(view, i % 3 == 0);
      if (i % 2) handler_->removeSensitiveView(views[static_cast<size_t>(i * 7) % views.size()]);
    }
  });
  threads.emplace_back([&] {  // hides and shows the screen, and its gestures
    for (int i = 0; !done; ++i) {
      handler_->occludeScreenAPI(i % 4 == 0, i % 8 == 0);
      handler_->hideScreenGestures(i % 5 == 0);
      handler_->setOccludeAllTextFields(i % 6 == 0);
      handler_->addVisibleScreen(std::string(i % 2 ? "Home" : "Detail"), "root");
    }
  });
  threads.emplace_back([&] {  // pauses and resumes
    for (int i = 0; !done; ++i) {
      if (i % 2) {
        handler_->pauseScreenRecordingForDuration(0.05);
      } else {
        handler_->resumeScreenRecording();
      }
      (void)handler_->screenRecordingIsPausedOrHidden();
    }
  });
  threads.emplace_back([&] {  // hands in rectangles, plain and by identity
    for (int i = 0; !done; ++i) {
      handler_->addRectsForManualOcclusion({{10.0 + i % 50, 20, 100, 40}});
      handler_->addRectsForManualOcclusion({{0, 0, 50, 50}, {60, 60, 10, 10}}, i % 2 ? "a" : "b");
      handler_->occludeRectsOnNextFrame(i % 3 ? nullptr : ZRViewVideoHandler::OnReceivedOcclusionRects{});
    }
  });

  // Two seconds of frames, each finished before the clock moves on.
  const double start = CACurrentMediaTime();
  for (double t = 0; t < 2.0; t += 1.0 / 60.0) {
    NSRunLoop::mainRunLoop().runUntilDate(start + t);
    settle();
  }
  done = true;
  for (auto& thread : threads) thread.join();
  handler_->resumeScreenRecording();
  runFor(0.5);

  const StopOutcome outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path.has_value());
  const ProbedVideo probe = probeVideo(*outcome.path);
  ASSERT_TRUE(probe.readable);
  EXPECT_GE(probe.framePtsMs.size(), 3u);
  for (size_t i = 1; i < probe.framePtsMs.size(); ++i) EXPECT_GT(probe.framePtsMs[i], probe.framePtsMs[i - 1]);
}

// The occlusion manager's back-reference to its handler is set by SDK calls on one thread while
// frames read it on others: a torn weak reference would be a data race (TSan) or a crash.
TEST_F(ConcurrentCalls, TheOcclusionManagersHandlerIsSetWhileOtherThreadsReadIt) {
  auto manager = std::make_shared<ZROcclusionManager>();
  auto other = ZRViewVideoHandler::create();
  std::atomic<bool> done{false};
  std::atomic<int> unexpected{0};
  std::thread reader([&] {
    while (!done) {
      auto handler = manager->videoHandler();
      if (handler && handler != handler_ && handler != other) ++unexpected;
    }
  });
  for (int i = 0; i < 5000; ++i) manager->setVideoHandler(i % 2 ? handler_ : other);
  done = true;
  reader.join();
  EXPECT_EQ(unexpected, 0);
  EXPECT_EQ(manager->videoHandler(), handler_);
}

}  // namespace
}  // namespace zerva::testing
