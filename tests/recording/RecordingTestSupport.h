#pragma once
// Shared by the recording tests: a small screen so that real videos encode quickly, a renderer
// that remembers the blank frames asked of it, a window whose size query can take time or throw,
// and helpers that run work on the frame queue and wait for it.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "platform/ProcessClock.h"
#include "platform/UIApplication.h"
#include "platform/UIColor.h"
#include "platform/UIScreen.h"
#include "platform/UIWindow.h"
#include "services/ZRImageRenderer.h"
#include "services/ZRSessionVideoSettings.h"
#include "support/HandlerTestSupport.h"
#include "support/RecorderTestSupport.h"

namespace zerva::testing {

/// Remembers each blank frame asked for (size and colour) and makes it as the real one does.
class RecordingImageRenderer : public ZRImageRenderer {
 public:
  struct Blank {
    CGSize size;
    UIColor color;
  };
  std::shared_ptr<UIImage> blankImageOfSize(CGSize size, const UIColor& color) const override {
    std::lock_guard lock(mutex_);
    blanks_.push_back({size, color});
    return ZRImageRenderer::blankImageOfSize(size, color);
  }
  std::vector<Blank> blanks() const {
    std::lock_guard lock(mutex_);
    return blanks_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::vector<Blank> blanks_;
};

/// A window whose bounds query runs `onBounds` first: the capture driver asks for it once per
/// real frame, so a test can make the frame take time (advance the manual clock) or throw.
class ScriptedWindow : public UIWindow {
 public:
  explicit ScriptedWindow(CGRect frame) : UIWindow(frame) {}
  CGRect bounds() const override {
    if (onBounds) onBounds();
    return UIWindow::bounds();
  }
  std::function<void()> onBounds;
};

class RecordingTest : public HandlerTest {
 protected:
  static constexpr CGSize kScreen{160, 288};  // a multiple of 16 wide: no clamping

  void SetUp() override {
    HandlerTest::SetUp();
    UIScreen::setMainScreen(std::make_shared<UIScreen>(kScreen, 2.0));
    // Full-size frames, so that a frame of kScreen is what the recorder takes.
    ZervaHandler::shared()->sessionSettings()->setRecordingQuality(ZRVideoQualityHigh);
    renderer_ = std::make_shared<RecordingImageRenderer>();
    handler_->setImageRenderer(renderer_);
  }

  /// A visible key window of the screen's size (the first window, so it gives the capture frame).
  std::shared_ptr<ScriptedWindow> makeKeyWindow(CGSize size = kScreen) {
    auto window = std::make_shared<ScriptedWindow>(CGRect{CGPointZero, size});
    window->makeKeyAndVisible();
    return window;
  }

  /// Runs the block on the frame queue and waits for it.
  void onFrameQueue(const std::function<void()>& block) {
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->async(block);
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();
  }

  /// Appends a solid frame of the video's size at `time` as the pipeline would, and waits until
  /// the recorder has answered.
  void appendFrame(double time, const UIColor& color = UIColor::redColor()) {
    onFrameQueue([&] { handler_->processScreenImageIntoVideo(solidImage(kScreen, color), time); });
    settle();
  }

  std::string recordingPath() const { return handler_->videoRecorder()->recordingFile()->url().path(); }

  std::shared_ptr<RecordingImageRenderer> renderer_;
};

}  // namespace zerva::testing
