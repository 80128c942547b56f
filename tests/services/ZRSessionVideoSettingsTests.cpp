#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "services/ZRSessionVideoSettings.h"

namespace zerva {
namespace {

const CGSize kScreens[] = {{320, 568}, {375, 667}, {390, 844}, {430, 932}, {768, 1024}, {1024, 1366}, {844, 390}};

TEST(ZRSessionVideoSettingsTests, EveryQualityGivesEncoderFriendlyFramesOfTheScreensShape) {
  for (unsigned long quality : {0ul, 1ul, 2ul}) {
    for (CGSize screen : kScreens) {
      const ZRSessionVideoSettings s(quality, screen);
      SCOPED_TRACE(::testing::PrintToString(s));
      EXPECT_GE(s.frameRate(), 2.0f);
      EXPECT_LE(s.frameRate(), 10.0f);
      EXPECT_GT(s.scaleFactor(), 0.0f);
      EXPECT_LE(s.scaleFactor(), 1.0f);

      const CGSize full = s.fullVideoSize();
      EXPECT_EQ(std::fmod(full.width, 16), 0);
      EXPECT_GE(full.width, std::trunc(screen.width));
      EXPECT_LT(full.width - std::trunc(screen.width), 16);
      EXPECT_EQ(full.height, std::trunc(screen.height));

      const CGSize frame = s.videoFrameSize();
      EXPECT_EQ(frame, s.scaleFactor() < 1.0f ? s.screenSize() : full);
      if (s.scaleFactor() < 1.0f) {
        EXPECT_EQ(std::fmod(frame.width, 2), 0);
        EXPECT_EQ(std::fmod(frame.height, 2), 0);
        // The stretch to screenSize keeps the full frame's shape within a pixel or so.
        EXPECT_NEAR(frame.width, full.width * s.scaleFactor(), 1.01);
        EXPECT_NEAR(frame.height, full.height * s.scaleFactor(), 1.01);
      }
      const ZRVideoEncoderConfig config = s.encoderConfig();
      EXPECT_EQ(config.width, static_cast<int>(frame.width));
      EXPECT_EQ(config.height, static_cast<int>(frame.height));
      EXPECT_EQ(config.frameRate, s.frameRate());
    }
  }
}

TEST(ZRSessionVideoSettingsTests, OddInputsFallBackWithoutInventingASize) {
  // Unknown qualities read as medium.
  const ZRSessionVideoSettings unknown(77, {390, 844});
  EXPECT_EQ(unknown.quality(), ZRVideoQualityMedium);
  EXPECT_EQ(unknown.videoFrameSize(), ZRSessionVideoSettings(ZRVideoQualityMedium, {390, 844}).videoFrameSize());
  // The full size follows the handler's rule exactly: 390 x 844 gives 400 x 844.
  EXPECT_EQ(ZRSessionVideoSettings(ZRVideoQualityHigh, {390.7, 844.9}).fullVideoSize(), (CGSize{400, 844}));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (CGSize bad : {CGSize{0, 0}, CGSize{-390, 844}, CGSize{nan, 844}, CGSize{390, INFINITY}, CGSize{0.5, 0.5}}) {
    const ZRSessionVideoSettings s(ZRVideoQualityLow, bad);
    EXPECT_EQ(s.fullVideoSize(), CGSizeZero);
    EXPECT_EQ(s.videoFrameSize(), CGSizeZero);
    EXPECT_EQ(s.encoderConfig().width, 0);
  }
}

}  // namespace
}  // namespace zerva
