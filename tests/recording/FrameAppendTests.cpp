// Appends and what they leave behind: confirmed-frame counting, the first-frame tag, dropped and
// failed appends, the stamping rule of blank frames and the preserve rules.

#include <mutex>
#include <thread>

#include "platform/UIViewController.h"
#include "recording/RecordingTestSupport.h"
#include "services/ScreenImageProcessor.h"

namespace zerva::testing {
namespace {

using FrameAppendTest = RecordingTest;

TEST_F(FrameAppendTest, ConfirmedFramesAreCountedAndOnlyTheFirstIsTagged) {
  appendFrame(0.05);  // not recording: dropped
  EXPECT_FALSE(handler_->lastVideoFrameImage());
  ASSERT_TRUE(startRecording());
  appendFrame(0.1, UIColor::redColor());
  appendFrame(0.25, UIColor::greenColor());
  appendFrame(0.25, UIColor::blueColor());              // refused: not after the previous frame
  appendFrame(0.3, UIColor::blueColor(), {10, 10});     // refused: not the video's size
  EXPECT_EQ(handler_->numFramesInVideo(), 2);
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.3);       // still the last frame
  EXPECT_EQ(handler_->lastVideoFrameImage()->size(), (CGSize{10, 10}));
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("firstVideoFrameRecorded").size(), 1u);

  handler_->setWantToStopVideoRecording(true);  // a stop began: dropped
  appendFrame(0.4);
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.3);
  const std::string path = recordingPath();
  stopRecording(1);
  EXPECT_EQ(probeVideo(path).framePtsMs, (std::vector<std::int64_t>{100, 250}));
  EXPECT_LT(colourDistance(decodeFrames(path, 160, 288).pixelAt(1, 80, 144), CGPixel{0, 255, 0, 255}), 24);

  ASSERT_TRUE(startRecording());
  appendFrame(0.1);
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("firstVideoFrameRecorded").size(), 2u);  // each recording's first
}

TEST_F(FrameAppendTest, PreserveAndStampingRules) {
  ASSERT_TRUE(startRecording());
  clock_.advance(1.0);
  handler_->preserveLastVideoFrameTime(2.5);
  EXPECT_EQ(handler_->lastVideoFrameTime(), 2.5);
  handler_->preserveLastVideoFrameTime(0.0);  // nothing stamped yet
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.0);
  handler_->setTotalSnapshots(1);
  handler_->preserveLastVideoFrameTime(0.0);  // stamped 0.0: appended at its conversion time
  EXPECT_DOUBLE_EQ(handler_->lastVideoFrameTime(), 1.0);
  handler_->preserveLastVideoFrameTime();  // nothing confirmed yet
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.0);
  appendFrame(0.5);
  handler_->preserveLastVideoFrameTime();
  EXPECT_DOUBLE_EQ(handler_->lastVideoFrameTime(), 1.0);

  handler_->setTotalSnapshots(0);
  handler_->setLastScreenImageSize(kScreen);
  handler_->addBlankImageToVideo();
  EXPECT_EQ(handler_->onCaptureVideoFrameTime(), 0.0);  // the first frame of a recording
  EXPECT_EQ(handler_->totalSnapshots(), 1);
  clock_.advance(0.25);
  handler_->addBlankScreenToVideo(UIColor::redColor());
  EXPECT_DOUBLE_EQ(handler_->onCaptureVideoFrameTime(), 1.25);
  EXPECT_EQ(handler_->totalSnapshots(), 2);
  EXPECT_EQ(renderer_->blanks.at(0), std::make_pair(kScreen, UIColor::blackColor()));
  EXPECT_EQ(renderer_->blanks.at(1).second, UIColor::redColor());
}

/// Holds each text-recognition record until the test answers it, so that a frame's conversion
/// can come later than its capture.
class HeldProcessor : public ScreenImageProcessor {
 public:
  void processImage(AITextOcclusionData, Completion completion) override {
    std::lock_guard lock(mutex_);
    held_.push_back(std::move(completion));
  }
  size_t held() {
    std::lock_guard lock(mutex_);
    return held_.size();
  }
  void answer(size_t i) {
    Completion completion;
    {
      std::lock_guard lock(mutex_);
      completion = held_.at(i);
    }
    std::thread([completion] { completion({}); }).join();
  }
  /// Drops the frames still held: their completions hold the handler, which holds this processor.
  void release() {
    std::lock_guard lock(mutex_);
    held_.clear();
  }

 private:
  std::mutex mutex_;
  std::vector<Completion> held_;
};

// Real frames through capture, pipeline and conversion: the first frame of a recording goes in
// at the time of its conversion, later ones at the time their capture began.
TEST_F(FrameAppendTest, TheFirstFrameTakesItsConversionTimeAndLaterOnesTheirCaptureTime) {
  auto processor = std::make_shared<HeldProcessor>();
  handler_->setImageProcessor(processor);
  ZRViewVideoHandler::setSchematicCapture(false);
  auto window = makeKeyWindow();
  auto controller = std::make_shared<UIViewController>();
  window->setRootViewController(controller);
  controller->view()->setBackgroundColor(UIColor::greenColor());
  ZervaHandler::shared()->sessionSettings()->setRecordingQuality(ZRVideoQualityMedium);  // 10 fps
  ASSERT_TRUE(startRecording());
  const double start = CACurrentMediaTime();

  runFor(0.15);  // the first tick, 0.1 s in
  settle();
  ASSERT_EQ(processor->held(), 1u);
  clock_.advance(0.05);
  processor->answer(0);
  settle();
  runFor(0.2);  // the next capture, every other tick: 0.3 s in
  settle();
  ASSERT_EQ(processor->held(), 2u);
  clock_.advance(0.05);
  processor->answer(1);
  settle();
  EXPECT_NEAR(CACurrentMediaTime() - start, 0.45, 1e-9);

  const std::string path = recordingPath();
  stopRecording(1);
  processor->release();
  EXPECT_EQ(probeVideo(path).framePtsMs, (std::vector<std::int64_t>{200, 300}));
  EXPECT_LT(colourDistance(decodeFrames(path, 120, 216).pixelAt(1, 60, 108), CGPixel{0, 255, 0, 255}), 24);
}

}  // namespace
}  // namespace zerva::testing
