// Real-pixel frames through the whole pipeline into a recorded video, read back: sensitive
// views and text that recognition finds are covered in the sensitive colour, the rest is kept.

#include <gtest/gtest.h>

#include "capture/CaptureTestSupport.h"
#include "platform/UILabel.h"
#include "platform/UIScreen.h"
#include "services/ZROcclusionManager.h"
#include "services/ZRSessionVideoSettings.h"
#include "support/HandlerTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

constexpr CGSize kScreen{200, 240};
const UIColor kSensitiveColour = UIColor::colorWithRed(0.0, 0.5, 0.25, 1.0);
constexpr CGPixel kSensitivePixel{0, 128, 64, 255};

bool isMagenta(CGPixel p) { return p.red > 170 && p.green < 110 && p.blue > 170; }

class PipelineVideoTest : public HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    ZRViewVideoHandler::setSchematicCapture(false);
    UIScreen::setMainScreen(std::make_shared<UIScreen>(kScreen, 2.0));
    auto settings = ZervaHandler::shared()->sessionSettings();
    settings->setRecordingQuality(ZRVideoQualityHigh);
    settings->setSensitiveViewColor(kSensitiveColour);
  }

  /// Plays the run loop one display refresh at a time and lets every frame reach the video
  /// before the clock moves on, as on a device whose frame work keeps up.
  void playFor(double seconds) {
    for (double t = 0; t < seconds; t += 1.0 / 60) {
      runFor(1.0 / 60);
      settle();
    }
  }
};

TEST_F(PipelineVideoTest, SensitiveViewsAndRecognisedTextAreCoveredInTheVideo) {
  auto window = windowWithController(CGRect{CGPointZero, kScreen}, UIColor::whiteColor());
  auto root = window->rootViewController()->view();
  root->addSubview(colouredView(CGRectMake(0, 0, 200, 40), UIColor::blueColor()));
  auto secret = colouredView(CGRectMake(20, 60, 160, 40), UIColor::colorWithRed(1, 0, 1, 1));
  root->addSubview(secret);
  handler_->addSensitiveView(secret, false);
  auto email = std::make_shared<UILabel>(CGRectMake(10, 150, 190, 30));
  email->setText("ann@example.com");
  email->setFont(UIFont::systemFontOfSize(18));
  root->addSubview(email);
  ZROcclusionSetting recognise(ZROcclusionTypeTextRecognition);
  handler_->occlusionManager()->applyOcclusionSetting(recognise, ZROcclusionSourceManual, {});

  ASSERT_TRUE(startRecording());
  playFor(1.0);
  const auto outcome = stopRecording(1);
  ASSERT_TRUE(outcome.path);

  const auto probe = probeVideo(*outcome.path);
  ASSERT_TRUE(probe.readable);
  ASSERT_GE(probe.framePtsMs.size(), 2u);
  const auto video = decodeFrames(*outcome.path, probe.width, probe.height);
  ASSERT_EQ(video.frames.size(), probe.framePtsMs.size());
  const double s = probe.width / kScreen.width;
  auto at = [&](size_t frame, double x, double y) {
    return video.pixelAt(frame, static_cast<int>(x * s), static_cast<int>(y * s));
  };
  for (size_t f = 0; f < video.frames.size(); ++f) {
    EXPECT_LE(colourDistance(at(f, 100, 80), kSensitivePixel), 24) << "sensitive view, frame " << f;
    EXPECT_LE(colourDistance(at(f, 60, 165), kSensitivePixel), 24) << "e-mail address, frame " << f;
    EXPECT_LE(colourDistance(at(f, 100, 20), CGPixel{0, 0, 255, 255}), 24) << "header, frame " << f;
    EXPECT_LE(colourDistance(at(f, 100, 125), CGPixel{255, 255, 255, 255}), 24) << "background, frame " << f;
    for (int y = 0; y < video.height; ++y) {
      for (int x = 0; x < video.width; ++x) ASSERT_FALSE(isMagenta(video.pixelAt(f, x, y))) << f << " " << x << "," << y;
    }
  }
}

}  // namespace
}  // namespace zerva::testing
