// Load: a long recording of a busy screen (a list that never stops scrolling, text that changes,
// secure and plain fields, schematic and real frames in turn) while four threads call the SDK
// all the time: marking views, hiding the screen, pausing, adding rectangles and testing
// gestures. Run under ThreadSanitizer by `make load`; not part of the default test run (label
// "load"). ZERVA_LOAD_SECONDS sets the recording's length in scene time (600 unless set).
//
// What it shows: no race (the sanitizer), memory flat after the first minute (resident size
// sampled every ten scene seconds, printed as a curve), and a video with exactly as many frames as
// the handler reported.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <vector>

#include "platform/UILabel.h"
#include "platform/UIScrollView.h"
#include "platform/UITextField.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "support/HandlerTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

constexpr CGSize kScreen{320, 568};
constexpr double kSampleEvery = 10.0;  // scene seconds
constexpr double kSettledAfter = 60.0;

double loadSeconds() {
  const char* text = std::getenv("ZERVA_LOAD_SECONDS");
  return text ? std::max(20.0, std::atof(text)) : 600.0;
}

double residentMiB() {
  long pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

class LongRecording : public HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    UIScreen::setMainScreen(std::make_shared<UIScreen>(kScreen, 2.0));
    buildScreen();
  }
  void TearDown() override {
    ZRViewVideoHandler::setSchematicCapture(true);
    HandlerTest::TearDown();
  }

  void buildScreen() {
    window_ = std::make_shared<UIWindow>(CGRect{CGPointZero, kScreen});
    auto controller = std::make_shared<UIViewController>();
    window_->setRootViewController(controller);
    window_->makeKeyAndVisible();
    auto root = controller->view();
    root->setBackgroundColor(UIColor::whiteColor());
    clock_label_ = std::make_shared<UILabel>(CGRectMake(10, 20, 300, 30));
    root->addSubview(clock_label_);
    list_ = std::make_shared<UIScrollView>(CGRectMake(0, 60, kScreen.width, kScreen.height - 60));
    root->addSubview(list_);
    for (int row = 0; row < 40; ++row) {
      const CGRect frame = CGRectMake(10, 10 + 56.0 * row, 300, 44);
      std::shared_ptr<UIView> view;
      if (row % 3 == 0) {
        auto field = std::make_shared<UITextField>(frame);
        field->setText("card 4111 1111 1111 " + std::to_string(1000 + row));
        field->setSecureTextEntry(row % 2 == 0);
        view = field;
      } else {
        auto label = std::make_shared<UILabel>(frame);
        label->setText("Row " + std::to_string(row) + ": order shipped");
        view = label;
      }
      view->setBackgroundColor(UIColor::colorWithRed((row * 53 % 256) / 255.0, 0.8, (row * 97 % 256) / 255.0, 1));
      list_->addSubview(view);
      rows_.push_back(view);
    }
    list_->setContentSize(CGSizeMake(kScreen.width, 20 + 56.0 * 40));
  }

  /// One display refresh of the busy screen: the list moves, the clock label changes, and every
  /// thirty seconds frames switch between schematic and real.
  void refresh(double sceneTime) {
    const double travel = list_->contentSize().height - list_->bounds().size.height;
    const double phase = std::fmod(sceneTime * 120.0, 2 * travel);
    list_->setContentOffset(CGPointMake(0, phase < travel ? phase : 2 * travel - phase));
    clock_label_->setText("Scene time " + std::to_string(static_cast<int>(sceneTime * 10)));
    ZRViewVideoHandler::setSchematicCapture(static_cast<int>(sceneTime / 30.0) % 2 == 0);
  }

  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<UILabel> clock_label_;
  std::shared_ptr<UIScrollView> list_;
  std::vector<std::shared_ptr<UIView>> rows_;
};

TEST_F(LongRecording, BusyScreenAndFourCallingThreads) {
  const double seconds = loadSeconds();
  ASSERT_TRUE(startRecording());
  std::atomic<bool> done{false};
  std::atomic<long> calls{0};
  const auto breathe = [] { std::this_thread::sleep_for(std::chrono::milliseconds(2)); };
  std::vector<std::thread> threads;
  threads.emplace_back([&] {  // marks and unmarks views
    for (size_t i = 0; !done; ++i, ++calls, breathe()) {
      handler_->addSensitiveView(rows_[i % rows_.size()], i % 3 == 0);
      if (i % 2) handler_->removeSensitiveView(rows_[(i * 7) % rows_.size()]);
    }
  });
  threads.emplace_back([&] {  // hides and shows the screen and its gestures
    for (int i = 0; !done; ++i, ++calls, breathe()) {
      handler_->occludeScreenAPI(i % 16 == 0, i % 32 == 0);
      handler_->hideScreenGestures(i % 5 == 0);
      handler_->setOccludeAllTextFields(i % 6 == 0);
      handler_->addVisibleScreen(std::string(i % 2 ? "Orders" : "Payment"), "root");
    }
  });
  threads.emplace_back([&] {  // pauses (in scene time) and resumes
    for (int i = 0; !done; ++i, ++calls, breathe()) {
      if (i % 50 == 0) handler_->pauseScreenRecordingForDuration(0.3);
      if (i % 50 == 25) handler_->resumeScreenRecording();
      (void)handler_->screenRecordingIsPausedOrHidden();
    }
  });
  threads.emplace_back([&] {  // rectangles, plain and by identity, and gesture tests
    for (int i = 0; !done; ++i, ++calls, breathe()) {
      handler_->addRectsForManualOcclusion({{10.0 + i % 50, 20, 100, 40}});
      handler_->addRectsForManualOcclusion({{0, 0, 50, 50}, {60, 60, 10, 10}}, i % 2 ? "a" : "b");
      if (i % 10 == 0) {  // gesture tests belong to the main thread: the tracker posts them there
        auto row = rows_[static_cast<size_t>(i / 10) % rows_.size()];
        NSRunLoop::mainRunLoop().performBlock([this, row, i] {
          (void)handler_->isViewOccluded(row);
          (void)handler_->gestureBlockedBySensitiveView(CGPointMake(20 + i % 280, 100 + i % 400), row);
        });
      }
    }
  });

  std::vector<std::pair<double, double>> memory;  // scene seconds, resident MiB
  const auto wallStart = std::chrono::steady_clock::now();
  const double start = CACurrentMediaTime();
  double nextSample = 0;
  for (double t = 0; t < seconds; t += 1.0 / 60) {
    refresh(t);
    NSRunLoop::mainRunLoop().runUntilDate(start + t);
    settle();
    if (t >= nextSample) {
      memory.emplace_back(t, residentMiB());
      nextSample += kSampleEvery;
    }
  }
  done = true;
  for (auto& thread : threads) thread.join();
  handler_->resumeScreenRecording();
  handler_->occludeScreenAPI(false, false);
  runFor(0.2);
  settle();
  memory.emplace_back(seconds, residentMiB());
  const double wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();

  const std::int64_t reported = handler_->numFramesInVideo();
  const StopOutcome outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path) << (outcome.error ? outcome.error->description() : "");
  const auto stopTags = ZRLogUtility::recordedTagsNamed("stopScreenRecording");
  ASSERT_FALSE(stopTags.empty());
  const ProbedVideo probe = probeVideo(*outcome.path);
  ASSERT_TRUE(probe.readable);

  std::printf("load: %.0f s of scene time in %.0f s of wall time, %ld SDK calls from 4 threads\n", seconds, wallSeconds,
              calls.load());
  std::printf("load: frames reported %lld, in the stop tag %s, in the video %zu\n", static_cast<long long>(reported),
              stopTags.back().properties["numFramesInVideo"].dump().c_str(), probe.framePtsMs.size());
  std::printf("load: resident memory (scene s, MiB):");
  for (const auto& [at, mib] : memory) std::printf(" %.0f:%.1f", at, mib);
  std::printf("\n");
  RecordProperty("wallSeconds", static_cast<int>(wallSeconds));
  RecordProperty("frames", static_cast<int>(probe.framePtsMs.size()));

  EXPECT_EQ(static_cast<std::int64_t>(probe.framePtsMs.size()), reported);
  EXPECT_EQ(stopTags.back().properties["numFramesInVideo"], reported);
  for (size_t i = 1; i < probe.framePtsMs.size(); ++i) ASSERT_GT(probe.framePtsMs[i], probe.framePtsMs[i - 1]) << i;
  EXPECT_GE(static_cast<double>(reported), seconds * 2) << "frames kept flowing";

  // Flat after the first minute: the last sample within a few MiB (or 5 %) of the one at a minute.
  if (seconds > kSettledAfter + kSampleEvery) {
    double settled = 0;
    for (const auto& [at, mib] : memory) {
      if (at <= kSettledAfter) settled = mib;
    }
    const double growth = memory.back().second - settled;
    EXPECT_LT(growth, std::max(16.0, settled * 0.05)) << "resident memory grew from " << settled << " MiB at "
                                                      << kSettledAfter << " s to " << memory.back().second << " MiB";
  }
}

}  // namespace
}  // namespace zerva::testing
