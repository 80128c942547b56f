#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "services/ZRImageRenderer.h"

namespace zerva {
namespace {

class ZRImageRendererTests : public ::testing::Test {
 protected:
  void SetUp() override { saved_ = ZRImageRenderer::rendererFormat(); }
  void TearDown() override { ZRImageRenderer::setRendererFormat(saved_); }
  UIGraphicsImageRendererFormat saved_;
};

TEST_F(ZRImageRendererTests, NoRendererForSizesThatCannotBeDrawn) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  for (CGSize size : {CGSize{0, 100}, CGSize{100, 0}, CGSize{-1, 100}, CGSize{nan, 100}, CGSize{100, inf},
                      CGSize{1e9, 10}, CGSize{ZRImageRenderer::kMaxSide + 1, 10}}) {
    EXPECT_FALSE(ZRImageRenderer::imageRendererForSize(size)) << size.width << "x" << size.height;
  }
  EXPECT_TRUE(ZRImageRenderer::imageRendererForSize({ZRImageRenderer::kMaxSide, 1}));
}

TEST_F(ZRImageRendererTests, RenderersDrawAtTheConfiguredFormat) {
  auto renderer = ZRImageRenderer::imageRendererForSize({400, 844});
  ASSERT_TRUE(renderer);
  EXPECT_EQ(renderer->format().scale(), 1.0);
  EXPECT_TRUE(renderer->format().opaque());
  auto image = renderer->imageWithActions([](UIGraphicsImageRendererContext&) {});
  EXPECT_EQ(image->pixelWidth(), 400u);
  EXPECT_EQ(image->pixelAt(10, 10), (CGPixel{0, 0, 0, 255}));  // undrawn parts are black

  // Coarser formats are kept; a 3x device's is drawn at one pixel per point, and its
  // sides are limited as at one.
  UIGraphicsImageRendererFormat format;
  format.setScale(0.5);
  ZRImageRenderer::setRendererFormat(format);
  image = ZRImageRenderer::imageRendererForSize({10, 20})->imageWithActions([](UIGraphicsImageRendererContext&) {});
  EXPECT_EQ(image->pixelWidth(), 5u);
  EXPECT_EQ(image->pixelHeight(), 10u);
  format.setScale(3);
  ZRImageRenderer::setRendererFormat(format);
  image = ZRImageRenderer::imageRendererForSize({10, 20})->imageWithActions([](UIGraphicsImageRendererContext&) {});
  EXPECT_EQ(image->pixelWidth(), 10u);
  EXPECT_EQ(image->pixelHeight(), 20u);
  EXPECT_EQ(image->size(), (CGSize{10, 20}));
  EXPECT_TRUE(ZRImageRenderer::imageRendererForSize({ZRImageRenderer::kMaxSide, 1}));
}

TEST_F(ZRImageRendererTests, BlankImagesAreTheColourEverywhereInBothModes) {
  const UIColor colours[] = {UIColor::blackColor(), UIColor::colorWithRed(0.2, 0.4, 0.6, 1),
                             UIColor::colorWithRed(1, 0, 0, 0.5)};
  for (bool useRenderer : {false, true}) {
    ZRImageRenderer renderer;
    renderer.setUseImageRenderer(useRenderer);
    for (const UIColor& colour : colours) {
      auto image = renderer.blankImageOfSize({7, 5}, colour);
      ASSERT_TRUE(image);
      EXPECT_EQ(image->size(), (CGSize{7, 5}));
      double r, g, b, a;
      colour.getRed(&r, &g, &b, &a);
      const CGPixel want{static_cast<std::uint8_t>(std::lround(r * a * 255)),
                         static_cast<std::uint8_t>(std::lround(g * a * 255)),
                         static_cast<std::uint8_t>(std::lround(b * a * 255)),
                         static_cast<std::uint8_t>(std::lround(a * 255))};
      for (auto [x, y] : {std::pair{0, 0}, std::pair{6, 4}, std::pair{3, 2}}) {
        const CGPixel got = image->pixelAt(x, y);
        EXPECT_NEAR(got.red, want.red, 1) << useRenderer;
        EXPECT_NEAR(got.green, want.green, 1) << useRenderer;
        EXPECT_NEAR(got.blue, want.blue, 1) << useRenderer;
        EXPECT_NEAR(got.alpha, want.alpha, 1) << useRenderer;
      }
    }
    EXPECT_FALSE(renderer.blankImageOfSize(CGSizeZero, UIColor::blackColor()));
    EXPECT_FALSE(renderer.blankImageOfSize({-3, 5}, UIColor::blackColor()));
  }
}

}  // namespace
}  // namespace zerva
