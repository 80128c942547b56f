// Appends to the recorder and what they leave behind: confirmed-frame counting, the first-frame
// tag, dropped images, failed appends, the stamping rule of blank frames and the preserve rules.

#include "recording/RecordingTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

using FrameAppendTest = RecordingTest;

TEST_F(FrameAppendTest, ConfirmedFramesAreCountedAndTheFirstIsTagged) {
  ASSERT_TRUE(startRecording());
  appendFrame(0.1, UIColor::redColor());
  appendFrame(0.25, UIColor::greenColor());
  appendFrame(0.4, UIColor::blueColor());
  EXPECT_EQ(handler_->numFramesInVideo(), 3);
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.4);
  ASSERT_TRUE(handler_->lastVideoFrameImage());
  EXPECT_EQ(handler_->lastVideoFrameImage()->pixelAt(5, 5), solidImage(kScreen, UIColor::blueColor())->pixelAt(5, 5));
  const auto tags = ZRLogUtility::recordedTagsNamed("firstVideoFrameRecorded");
  ASSERT_EQ(tags.size(), 1u);
  EXPECT_EQ(tags[0].level, ZRLogLevel::Info);

  const std::string path = recordingPath();
  stopRecording(1);
  EXPECT_EQ(probeVideo(path).framePtsMs, (std::vector<std::int64_t>{100, 250, 400}));
  const DecodedFrames frames = decodeFrames(path, 160, 288);
  ASSERT_EQ(frames.frames.size(), 3u);
  EXPECT_LT(colourDistance(frames.pixelAt(1, 80, 144), CGPixel{0, 255, 0, 255}), 24);

  // A new recording tags its own first frame.
  ASSERT_TRUE(startRecording());
  appendFrame(0.1);
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("firstVideoFrameRecorded").size(), 2u);
}

TEST_F(FrameAppendTest, ImagesOutsideARunningRecordingAreDropped) {
  appendFrame(0.1);  // not recording
  EXPECT_FALSE(handler_->lastVideoFrameImage());
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.0);

  ASSERT_TRUE(startRecording());
  handler_->setWantToStopVideoRecording(true);  // a stop began
  appendFrame(0.2);
  EXPECT_FALSE(handler_->lastVideoFrameImage());
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.0);
  EXPECT_EQ(handler_->numFramesInVideo(), 0);
  EXPECT_TRUE(ZRLogUtility::recordedTagsNamed("firstVideoFrameRecorded").empty());
}

TEST_F(FrameAppendTest, AFailedAppendIsNotCountedButIsTheLastFrame) {
  ASSERT_TRUE(startRecording());
  appendFrame(0.5);
  // The recorder refuses a frame that is not after the previous one.
  onFrameQueue([&] { handler_->processScreenImageIntoVideo(solidImage(kScreen, UIColor::whiteColor()), 0.5); });
  settle();
  EXPECT_EQ(handler_->numFramesInVideo(), 1);
  EXPECT_EQ(handler_->lastVideoFrameImage()->pixelAt(5, 5), solidImage(kScreen, UIColor::whiteColor())->pixelAt(5, 5));
  // Nor is an image of the wrong size.
  onFrameQueue([&] { handler_->processScreenImageIntoVideo(solidImage({10, 10}, UIColor::whiteColor()), 0.6); });
  settle();
  EXPECT_EQ(handler_->numFramesInVideo(), 1);
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.6);
}

TEST_F(FrameAppendTest, BlankFramesAreStampedZeroFirstThenWithTheirCaptureTime) {
  ASSERT_TRUE(startRecording());
  handler_->setLastScreenImageSize(kScreen);
  handler_->setOnCaptureVideoFrameTime(9.0);
  clock_.advance(0.7);
  handler_->addBlankImageToVideo();
  EXPECT_EQ(handler_->onCaptureVideoFrameTime(), 0.0);
  EXPECT_EQ(handler_->totalSnapshots(), 1);
  clock_.advance(0.3);
  handler_->addBlankScreenToVideo(UIColor::redColor());
  EXPECT_DOUBLE_EQ(handler_->onCaptureVideoFrameTime(), 1.0);
  EXPECT_EQ(handler_->totalSnapshots(), 2);

  const auto blanks = renderer_->blanks();
  ASSERT_EQ(blanks.size(), 2u);
  EXPECT_EQ(blanks[0].color, UIColor::blackColor());
  EXPECT_EQ(blanks[1].color, UIColor::redColor());
  EXPECT_EQ(blanks[1].size, kScreen);
}

TEST_F(FrameAppendTest, ThePreserveRules) {
  ASSERT_TRUE(startRecording());
  clock_.advance(3.0);
  handler_->preserveLastVideoFrameTime(2.5);
  EXPECT_EQ(handler_->lastVideoFrameTime(), 2.5);
  handler_->preserveLastVideoFrameTime(0.0);  // the first frame, while nothing is stamped
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.0);
  handler_->setTotalSnapshots(1);
  handler_->preserveLastVideoFrameTime(0.0);  // a frame stamped 0.0 goes at its conversion time
  EXPECT_DOUBLE_EQ(handler_->lastVideoFrameTime(), 3.0);

  handler_->preserveLastVideoFrameTime();  // nothing confirmed yet
  EXPECT_EQ(handler_->lastVideoFrameTime(), 0.0);
  appendFrame(0.5);
  clock_.advance(1.0);
  handler_->preserveLastVideoFrameTime();
  EXPECT_DOUBLE_EQ(handler_->lastVideoFrameTime(), 4.0);
}

}  // namespace
}  // namespace zerva::testing
