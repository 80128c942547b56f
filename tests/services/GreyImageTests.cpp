#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/UIImage.h"
#include "services/ZRGreyImage.h"

namespace zerva {
namespace {

std::shared_ptr<UIImage> imageOf(int w, int h, const std::vector<std::uint32_t>& pixels, double scale) {
  return UIImage::imageWithCGImage(CGImageCreateWithPixels(w, h, w * 4, pixels.data()), scale);
}

TEST(GreyImage, ReductionAveragesAreasAndTransparencyReadsAsWhite) {
  // 4x2 pixels at scale 2 (2x1 points): a black/white checker block, then a clear block.
  const std::uint32_t black = 0xFF000000, white = 0xFFFFFFFF, clear = 0x00000000;
  const auto image = imageOf(4, 2, {black, white, clear, clear, white, black, clear, clear}, 2);
  const auto grey = ZRGreyImage::fromImage(*image, 1.0);
  ASSERT_EQ(grey.width(), 2);
  ASSERT_EQ(grey.height(), 1);
  EXPECT_NEAR(grey.at(0, 0), 128, 1);
  EXPECT_EQ(grey.at(1, 0), 255);
  // Same points at a finer copy: pixel for pixel.
  const auto full = ZRGreyImage::fromImage(*image, 2.0);
  ASSERT_EQ(full.width(), 4);
  EXPECT_EQ(full.at(0, 0), 0);
  EXPECT_EQ(full.at(1, 0), 255);
}

TEST(GreyImage, LightTextOnDarkGroundTurnsDarkOnLight) {
  ZRGreyImage image(40, 20, 1);
  // Left half: a dark ground with one light stroke; right half stays white with a dark stroke.
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 20; ++x) image.row(y)[x] = 30;
    image.row(y)[10] = 240;
    image.row(y)[30] = 20;
  }
  const auto out = image.withDarkTextOnLight(4);
  EXPECT_EQ(out.at(3, 5), 255 - 30);
  EXPECT_EQ(out.at(10, 5), 255 - 240);  // the stroke is now dark
  EXPECT_EQ(out.at(30, 5), 20);         // already dark on light: untouched
  EXPECT_EQ(out.at(36, 5), 255);
}

}  // namespace
}  // namespace zerva
