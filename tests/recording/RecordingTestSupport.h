#pragma once
// Shared by the recording tests: a small screen so that real videos encode quickly, a renderer
// that remembers the blank frames asked of it, a window whose size query can take time or throw,
// and appends made on the frame queue as the pipeline makes them.

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/UIWindow.h"
#include "services/ZRImageRenderer.h"
#include "support/HandlerTestSupport.h"
#include "support/RecorderTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {

class RecordingImageRenderer : public ZRImageRenderer {
 public:
  std::shared_ptr<UIImage> blankImageOfSize(CGSize size, const UIColor& color) const override {
    std::lock_guard lock(mutex_);
    blanks.push_back({size, color});
    return ZRImageRenderer::blankImageOfSize(size, color);
  }
  mutable std::vector<std::pair<CGSize, UIColor>> blanks;  // read once the queues are settled

 private:
  mutable std::mutex mutex_;
};

/// The capture driver asks the first window for its bounds once per real frame: `onBounds` lets
/// a frame take time (by moving the manual clock) or throw.
class ScriptedWindow : public UIWindow {
 public:
  using UIWindow::UIWindow;
  CGRect bounds() const override {
    if (onBounds) onBounds();
    return UIWindow::bounds();
  }
  std::function<void()> onBounds;
};

class RecordingTest : public HandlerTest {
 protected:
  static constexpr CGSize kScreen{160, 288};  // a multiple of 16 wide: not clamped

  void SetUp() override {
    HandlerTest::SetUp();
    UIScreen::setMainScreen(std::make_shared<UIScreen>(kScreen, 2.0));
    ZervaHandler::shared()->sessionSettings()->setRecordingQuality(ZRVideoQualityHigh);  // full-size frames
    handler_->setImageRenderer(renderer_);
  }

  std::shared_ptr<ScriptedWindow> makeKeyWindow(CGSize size = kScreen) {
    auto window = std::make_shared<ScriptedWindow>(CGRect{CGPointZero, size});
    window->makeKeyAndVisible();
    return window;
  }

  void onFrameQueue(const std::function<void()>& block) {
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->async(block);
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();
  }

  /// Appends a solid frame at `time` and waits for the recorder's answer.
  void appendFrame(double time, const UIColor& color = UIColor::redColor(), CGSize size = kScreen) {
    onFrameQueue([&] { handler_->processScreenImageIntoVideo(solidImage(size, color), time); });
    settle();
  }

  std::string recordingPath() const { return handler_->videoRecorder()->recordingFile()->url().path(); }

  std::shared_ptr<RecordingImageRenderer> renderer_ = std::make_shared<RecordingImageRenderer>();
};

}  // namespace zerva::testing
