// Image to video frame: where each corner of a captured picture lands in the video frame for each
// orientation and window size, the downscale, frames that must not be appended, and the stretch.

#include <gtest/gtest.h>

#include <memory>

#include "capture/CaptureTestSupport.h"
#include "platform/UIApplication.h"
#include "platform/UIScreen.h"
#include "services/ZRSessionSettings.h"
#include "support/HandlerTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

constexpr unsigned long kHighQuality = 2;  // no downscale
constexpr unsigned long kLowQuality = 0;   // half size

class ImageToVideoFrameTest : public HandlerTest {
 protected:
  void TearDown() override {
    HandlerTest::TearDown();
    UIScreen::setMainScreen(nullptr);
  }

  void startOnScreen(CGSize portraitSize, unsigned long quality) {
    UIScreen::setMainScreen(std::make_shared<UIScreen>(portraitSize, 3.0));
    ZervaHandler::shared()->sessionSettings()->setRecordingQuality(quality);
    ASSERT_TRUE(startRecording());
  }

  /// Converts on the frame queue, as the pipeline does, and returns what reached the recorder
  /// (nullptr when nothing did).
  std::shared_ptr<UIImage> convert(const std::shared_ptr<UIImage>& image, long orientation, CGSize windowSize,
                                   bool wideGamut = false) {
    handler_->setLastVideoFrameImage(nullptr);
    handler_->setLastVideoFrameTime(nextTime_);
    nextTime_ += 0.2;
    const auto& queue = ZRViewVideoHandler::GetMakeVideoFrameQueue();
    queue->async([&] {
      handler_->processCapturedImageIntoVideo(image, orientation, CGRect{CGPointZero, windowSize}, wideGamut, false);
    });
    queue->drain();
    return handler_->lastVideoFrameImage();
  }

  double nextTime_ = 0.0;
};

TEST_F(ImageToVideoFrameTest, APortraitFrameOfTheVideoSizeIsAppendedUntouched) {
  startOnScreen({390, 844}, kHighQuality);
  ASSERT_EQ(fs_CurrentVideoSize, (CGSize{400, 844}));
  const auto picture = quadrantPicture({400, 844});
  EXPECT_EQ(convert(picture, UIInterfaceOrientationPortrait, {400, 844}), picture);
  EXPECT_EQ(handler_->lastScreenImageSize(), (CGSize{400, 844}));
  // Unknown orientation is portrait: no redraw either (an unturned redraw would be upside down).
  EXPECT_EQ(convert(picture, UIInterfaceOrientationUnknown, {400, 844}), picture);
}

TEST_F(ImageToVideoFrameTest, LandscapeIsTurnedAQuarterClockwiseIntoTheLeftColumns) {
  startOnScreen({390, 844}, kHighQuality);
  const auto picture = quadrantPicture({844, 390});
  for (long orientation : {UIInterfaceOrientationLandscapeRight, UIInterfaceOrientationLandscapeLeft}) {
    SCOPED_TRACE(orientation);
    const auto frame = convert(picture, orientation, {844, 390});
    ASSERT_NE(frame, nullptr);
    ASSERT_EQ(frame->size(), (CGSize{400, 844}));
    if (orientation == UIInterfaceOrientationLandscapeRight) keepFrameForViewing(*frame, "landscape");
    // (u, v) -> (390 - v, u): the picture's top edge is column 389, its left edge row 0.
    EXPECT_EQ(frame->pixelAt(389, 0), kRedPixel);
    EXPECT_EQ(frame->pixelAt(389, 843), kGreenPixel);
    EXPECT_EQ(frame->pixelAt(0, 0), kBluePixel);
    EXPECT_EQ(frame->pixelAt(0, 843), kYellowPixel);
    EXPECT_EQ(frame->pixelAt(300, 100), kRedPixel);
    EXPECT_EQ(frame->pixelAt(50, 700), kYellowPixel);
    // The quadrant borders: picture row 195 at column 194, picture column 422 at row 422.
    EXPECT_EQ(frame->pixelAt(195, 421), kRedPixel);
    EXPECT_EQ(frame->pixelAt(194, 421), kBluePixel);
    EXPECT_EQ(frame->pixelAt(195, 422), kGreenPixel);
    // Columns 390...399 are left as the renderer starts them.
    EXPECT_EQ(frame->pixelAt(390, 0), kBlackPixel);
    EXPECT_EQ(frame->pixelAt(399, 843), kBlackPixel);
  }
}

TEST_F(ImageToVideoFrameTest, UpsideDownIsTurnedHalfwayAndSitsFlushRightWhenTheWindowIsNarrower) {
  startOnScreen({390, 844}, kHighQuality);
  const auto frame = convert(quadrantPicture({390, 844}), UIInterfaceOrientationPortraitUpsideDown, {390, 844});
  ASSERT_NE(frame, nullptr);
  keepFrameForViewing(*frame, "upside_down");
  // (u, v) -> (400 - u, 844 - v): the picture's left edge at x = 400, its right edge at x = 10.
  EXPECT_EQ(frame->pixelAt(399, 843), kRedPixel);
  EXPECT_EQ(frame->pixelAt(10, 843), kGreenPixel);
  EXPECT_EQ(frame->pixelAt(399, 0), kBluePixel);
  EXPECT_EQ(frame->pixelAt(10, 0), kYellowPixel);
  EXPECT_EQ(frame->pixelAt(9, 0), kBlackPixel);
  EXPECT_EQ(frame->pixelAt(0, 843), kBlackPixel);
}

TEST_F(ImageToVideoFrameTest, OnAScreenThatNeedsNoRoundingFramesTurnInPlaceOrSitTopLeft) {
  startOnScreen({768, 1024}, kHighQuality);
  ASSERT_EQ(fs_CurrentVideoSize, (CGSize{768, 1024}));
  EXPECT_FALSE(fs_ClampVideoToAdjustedSize);

  auto frame = convert(quadrantPicture({768, 1024}), UIInterfaceOrientationPortraitUpsideDown, {768, 1024});
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->pixelAt(767, 1023), kRedPixel);
  EXPECT_EQ(frame->pixelAt(0, 1023), kGreenPixel);
  EXPECT_EQ(frame->pixelAt(767, 0), kBluePixel);
  EXPECT_EQ(frame->pixelAt(0, 0), kYellowPixel);

  // A narrower portrait window (split screen) is drawn upright at the top-left corner.
  frame = convert(quadrantPicture({320, 1024}), UIInterfaceOrientationPortrait, {320, 1024});
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->size(), (CGSize{768, 1024}));
  EXPECT_EQ(frame->pixelAt(0, 0), kRedPixel);
  EXPECT_EQ(frame->pixelAt(319, 0), kGreenPixel);
  EXPECT_EQ(frame->pixelAt(0, 1023), kBluePixel);
  EXPECT_EQ(frame->pixelAt(319, 1023), kYellowPixel);
  EXPECT_EQ(frame->pixelAt(320, 0), kBlackPixel);
}

TEST_F(ImageToVideoFrameTest, DownscaledFramesHaveExactlyTheSettingsSizeInEveryOrientation) {
  startOnScreen({390, 844}, kLowQuality);
  ASSERT_TRUE(fs_ScaleVideoDown);
  ASSERT_EQ(fs_DownscaledVideoSize, (CGSize{200, 422}));

  auto frame = convert(quadrantPicture({400, 844}), UIInterfaceOrientationPortrait, {400, 844});
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->size(), (CGSize{200, 422}));
  EXPECT_EQ(handler_->lastScreenImageSize(), (CGSize{200, 422}));
  // Upright and stretched: each quadrant 100 x 211, edges blended by the smoothing only.
  EXPECT_EQ(frame->pixelAt(10, 10), kRedPixel);
  EXPECT_EQ(frame->pixelAt(190, 10), kGreenPixel);
  EXPECT_EQ(frame->pixelAt(10, 411), kBluePixel);
  EXPECT_EQ(frame->pixelAt(190, 411), kYellowPixel);

  frame = convert(quadrantPicture({844, 390}), UIInterfaceOrientationLandscapeLeft, {844, 390});
  ASSERT_NE(frame, nullptr);
  EXPECT_EQ(frame->size(), (CGSize{200, 422}));
  EXPECT_EQ(frame->pixelAt(180, 10), kRedPixel);
  EXPECT_EQ(frame->pixelAt(10, 411), kYellowPixel);
  EXPECT_EQ(frame->pixelAt(198, 200), kBlackPixel);  // the unpainted columns, scaled
}

TEST_F(ImageToVideoFrameTest, WideGamutFramesAreCopiedIntoTheRenderersFormatFirst) {
  startOnScreen({390, 844}, kHighQuality);
  UIGraphicsImageRendererFormat retina;
  retina.setScale(3);
  const auto picture = UIGraphicsImageRenderer({400, 844}, retina).imageWithActions([](UIGraphicsImageRendererContext& c) {
    CGContextSetRGBFillColor(c.CGContext(), 0, 0, 1, 1);
    CGContextFillRect(c.CGContext(), CGRectMake(0, 0, 400, 844));
  });
  const auto frame = convert(picture, UIInterfaceOrientationPortrait, {400, 844}, /*wideGamut=*/true);
  ASSERT_NE(frame, nullptr);
  EXPECT_NE(frame, picture);
  EXPECT_EQ(frame->pixelWidth(), 400u);  // one pixel per point, not the capture's three
  EXPECT_EQ(frame->pixelAt(200, 400), kBluePixel);
}

TEST_F(ImageToVideoFrameTest, NothingIsAppendedWhenNotRecordingStoppingOrWithoutARenderer) {
  const auto picture = quadrantPicture({400, 844});
  handler_->setLastScreenImageSize({1, 1});
  EXPECT_EQ(convert(picture, UIInterfaceOrientationPortrait, {400, 844}), nullptr);  // not recording

  startOnScreen({390, 844}, kHighQuality);
  handler_->setLastScreenImageSize({1, 1});
  EXPECT_EQ(convert(nullptr, UIInterfaceOrientationPortrait, {400, 844}), nullptr);
  handler_->setWantToStopVideoRecording(true);
  EXPECT_EQ(convert(picture, UIInterfaceOrientationPortrait, {400, 844}), nullptr);
  handler_->setWantToStopVideoRecording(false);

  handler_->setImageRenderer(std::make_shared<NilImageRenderer>());
  EXPECT_EQ(convert(picture, UIInterfaceOrientationLandscapeLeft, {844, 390}), nullptr);
  EXPECT_EQ(convert(picture, UIInterfaceOrientationPortrait, {400, 844}, /*wideGamut=*/true), nullptr);
  EXPECT_EQ(handler_->lastScreenImageSize(), (CGSize{1, 1}));
}

TEST_F(ImageToVideoFrameTest, TheVideoFileHoldsTheTurnedFramesAtTheirTimes) {
  startOnScreen({390, 844}, kHighQuality);
  ASSERT_NE(convert(quadrantPicture({400, 844}), UIInterfaceOrientationPortrait, {400, 844}), nullptr);
  ASSERT_NE(convert(quadrantPicture({844, 390}), UIInterfaceOrientationLandscapeRight, {844, 390}), nullptr);
  settle();
  const auto outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path.has_value());

  const auto probed = probeVideo(*outcome.path);
  ASSERT_TRUE(probed.readable);
  EXPECT_EQ(probed.width, 400);
  EXPECT_EQ(probed.height, 844);
  ASSERT_GE(probed.framePtsMs.size(), 2u);
  EXPECT_EQ(probed.framePtsMs[0], 0);
  EXPECT_EQ(probed.framePtsMs[1], 200);

  const auto decoded = decodeFrames(*outcome.path, 400, 844);
  ASSERT_GE(decoded.frames.size(), 2u);
  EXPECT_LE(colourDistance(decoded.pixelAt(0, 100, 100), kRedPixel), 24);
  EXPECT_LE(colourDistance(decoded.pixelAt(1, 300, 100), kRedPixel), 24);
  EXPECT_LE(colourDistance(decoded.pixelAt(1, 100, 100), kBluePixel), 24);
  EXPECT_LE(colourDistance(decoded.pixelAt(1, 300, 700), kGreenPixel), 24);
  EXPECT_LE(colourDistance(decoded.pixelAt(1, 100, 700), kYellowPixel), 24);
}

TEST_F(ImageToVideoFrameTest, StretchingGivesExactlyTheAskedSize) {
  const auto stretched = handler_->scaleImageToScreenSize(quadrantPicture({100, 100}), {200, 50});
  ASSERT_NE(stretched, nullptr);
  EXPECT_EQ(stretched->size(), (CGSize{200, 50}));
  EXPECT_EQ(stretched->pixelAt(10, 5), kRedPixel);
  EXPECT_EQ(stretched->pixelAt(190, 5), kGreenPixel);
  EXPECT_EQ(stretched->pixelAt(10, 45), kBluePixel);
  EXPECT_EQ(stretched->pixelAt(190, 45), kYellowPixel);
  EXPECT_EQ(handler_->scaleImageToScreenSize(nullptr, {200, 50}), nullptr);
}

}  // namespace
}  // namespace zerva::testing
