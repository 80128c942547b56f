#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "platform/CGContext.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"
#include "services/ZRGreyImage.h"

namespace zerva {
namespace {

using Rows = std::vector<ZRGreyImage::RowRange>;

std::shared_ptr<UIImage> imageOf(int w, int h, const std::vector<std::uint32_t>& pixels, double scale) {
  return UIImage::imageWithCGImage(CGImageCreateWithPixels(w, h, w * 4, pixels.data()), scale);
}

void fill(ZRGreyImage& image, int x0, int y0, int x1, int y1, std::uint8_t tone) {
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) image.row(y)[x] = tone;
  }
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

// Converting some rows gives exactly what converting all gives there, whatever the reduction
// (each copy row averages several capture rows), and white elsewhere.
TEST(GreyImage, ConvertingSomeRowsMatchesTheWholeCopyThereAndLeavesTheRestWhite) {
  for (double scale : {1.0, 1.5, 2.0, 3.0}) {
    SCOPED_TRACE(scale);
    UIGraphicsImageRendererFormat format;
    format.setScale(scale);
    format.setOpaque(true);
    const auto image = UIGraphicsImageRenderer({60, 40}, format).imageWithActions([](UIGraphicsImageRendererContext& ctx) {
      for (int i = 0; i < 40; ++i) {
        CGContextSetRGBFillColor(ctx.CGContext(), (i * 37 % 100) / 100.0, (i * 61 % 100) / 100.0, 0.5, 1);
        CGContextFillRect(ctx.CGContext(), CGRectMake(i * 1.3, i * 0.97, 17.3, 2.35));
      }
    });
    const auto whole = ZRGreyImage::fromImage(*image, 1.0);
    // The whole copy is each point's capture pixels averaged, by how much of each it covers.
    auto overlap = [&](int target, int source) {
      return std::max(0.0, std::min((target + 1) * scale, source + 1.0) - std::max(target * scale, double(source)));
    };
    for (int y = 0; y < whole.height(); ++y) {
      for (int x = 0; x < whole.width(); ++x) {
        double sum = 0, weight = 0;
        for (int sy = static_cast<int>(y * scale); sy < std::ceil((y + 1) * scale); ++sy) {
          for (int sx = static_cast<int>(x * scale); sx < std::ceil((x + 1) * scale); ++sx) {
            const CGPixel p = image->pixelAt(sx, sy);
            const double w = overlap(x, sx) * overlap(y, sy);
            sum += w * (p.red * 77 + p.green * 150 + p.blue * 29) / 256.0;
            weight += w;
          }
        }
        ASSERT_NEAR(whole.at(x, y), sum / weight, 2) << x << "," << y;
      }
    }
    // Overlapping and out-of-range ranges are fine.
    const Rows rows{{30, 34}, {3, 9}, {7, 12}, {38, 99}};
    const auto some = ZRGreyImage::fromImage(*image, 1.0, rows);
    ASSERT_EQ(some.width(), whole.width());
    ASSERT_EQ(some.height(), whole.height());
    for (int y = 0; y < whole.height(); ++y) {
      const bool wanted = (y >= 3 && y < 12) || (y >= 30 && y < 34) || y >= 38;
      for (int x = 0; x < whole.width(); ++x) {
        ASSERT_EQ(some.at(x, y), wanted ? whole.at(x, y) : 255) << x << "," << y;
      }
    }
  }
}

// A screen in grey, 1 pixel per point: a white page holding dark text, grey text and a
// mid-tone button with white text, and a dark bar with light text. Strokes are 2 pixels wide.
struct Screen {
  ZRGreyImage image{160, 60, 1};
  Screen() {
    fill(image, 4, 10, 6, 30, 26);      // dark stroke on the page
    fill(image, 14, 10, 16, 30, 150);   // grey stroke on the page
    fill(image, 30, 4, 90, 36, 100);    // the button
    fill(image, 50, 10, 52, 30, 255);   // white stroke on it
    fill(image, 100, 0, 160, 60, 18);   // the dark bar
    fill(image, 120, 10, 122, 30, 225); // light stroke on it
    // The button's rim, antialiased: halfway between its tone and the page's.
    fill(image, 29, 4, 30, 36, 178);
    fill(image, 90, 4, 91, 36, 178);
  }
};

TEST(GreyImage, TextOfAnyToneOnAnyGroundBecomesBlackOnWhite) {
  const Screen s;
  const auto out = s.image.withTextOnWhite();
  for (int x : {4, 14, 50, 120}) EXPECT_LT(out.at(x, 20), 40) << "stroke at " << x;
  for (int x : {1, 10, 40, 80, 110, 150}) EXPECT_EQ(out.at(x, 20), 255) << "ground at " << x;
  EXPECT_EQ(out.at(29, 20), 255);  // the rim between two grounds is no ink
  EXPECT_EQ(out.at(90, 20), 255);
}

TEST(GreyImage, OnlyTheRowsGivenArePrepared) {
  const Screen s;
  const auto out = s.image.withTextOnWhite({{18, 24}});
  EXPECT_LT(out.at(50, 20), 40);
  EXPECT_EQ(out.at(50, 12), 255);
  EXPECT_EQ(out.at(4, 28), 255);
}

// A photograph (no flat ground inside, every tone) goes white, so that the engine's layout
// sees only the text beside it; a thick stroke of large bold text is ink, not a ground, and a
// flat icon is ground.
TEST(GreyImage, PhotographsAndIconsGoWhiteWhileThickStrokesStay) {
  ZRGreyImage image(120, 60, 1);
  std::uint32_t seed = 7;
  for (int y = 5; y < 55; ++y) {
    for (int x = 5; x < 55; ++x) {
      seed = seed * 1664525u + 1013904223u;
      image.row(y)[x] = static_cast<std::uint8_t>(40 + (seed >> 24) % 150);
    }
  }
  fill(image, 62, 10, 64, 40, 30);   // text beside it
  fill(image, 70, 10, 77, 50, 30);   // a 7-pixel stroke (about 45 points bold)
  fill(image, 90, 10, 110, 30, 60);  // an icon
  const auto out = image.withTextOnWhite();
  int dark = 0;
  for (int y = 5; y < 55; ++y) {
    for (int x = 5; x < 55; ++x) dark += out.at(x, y) < 128;
  }
  EXPECT_EQ(dark, 0);
  EXPECT_LT(out.at(62, 20), 40);
  EXPECT_LT(out.at(73, 30), 40);
  EXPECT_EQ(out.at(100, 20), 255);
}

}  // namespace
}  // namespace zerva
