#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "platform/DrawingTestSupport.h"
#include "platform/UIBezierPath.h"

namespace zerva {
namespace {

using namespace zerva::testing;

TEST(CGContextTests, FillsAlphaAndColoursLandOnTheRightPixels) {
  auto image = render({10, 10}, [](CGContextRef c) {
    CGContextSetRGBFillColor(c, 1, 0, 0, 1);
    CGContextFillRect(c, CGRectMake(2, 2, 4, 4));
    CGContextSetAlpha(c, 0.5);
    CGContextSetFillColorWithColor(c, CGColor{0, 0, 1, 1});
    CGContextFillRect(c, CGRectMake(6, 6, 2, 2));
    CGContextSetAlpha(c, 1);
    CGContextSetFillColorWithColor(c, CGColor{0, 1, 0, 0.5});
    CGContextFillRect(c, CGRectMake(0, 8, 2, 2));
  });
  EXPECT_EQ(image->pixelAt(2, 2), kRed);
  EXPECT_EQ(image->pixelAt(5, 5), kRed);
  EXPECT_EQ(image->pixelAt(6, 2), kClear);  // maximum edge is outside
  EXPECT_EQ(image->pixelAt(1, 1), kClear);
  // Premultiplied: half-transparent blue stores blue 128 with alpha 128.
  EXPECT_TRUE(near(image->pixelAt(7, 7), {0, 0, 128, 128}));
  EXPECT_TRUE(near(image->pixelAt(1, 9), {0, 128, 0, 128}));
}

TEST(CGContextTests, ClipsNarrowAndOnlyRestoreWidens) {
  auto image = render({20, 20}, [](CGContextRef c) {
    {
      CGContextStateSaver saver(c);
      CGContextClipToRect(c, CGRectMake(0, 0, 10, 20));
      CGContextClipToRect(c, CGRectMake(5, 0, 15, 10));  // intersection: (5, 0, 5, 10)
      CGContextSetRGBFillColor(c, 1, 0, 0, 1);
      CGContextFillRect(c, CGRectMake(0, 0, 20, 20));
    }
    // State is back: no clip, and the fill colour is black again.
    CGContextFillRect(c, CGRectMake(0, 15, 20, 5));
  });
  EXPECT_EQ(image->pixelAt(7, 5), kRed);
  EXPECT_EQ(image->pixelAt(3, 5), kClear);
  EXPECT_EQ(image->pixelAt(12, 5), kClear);
  EXPECT_EQ(image->pixelAt(7, 12), kClear);
  EXPECT_EQ(image->pixelAt(0, 19), kBlack);
  EXPECT_EQ(image->pixelAt(19, 15), kBlack);
}

TEST(CGContextTests, RoundedPathClipsTheCorners) {
  auto image = render({40, 40}, [](CGContextRef c) {
    CGContextSaveGState(c);
    CGContextAddPath(c, UIBezierPath::bezierPathWithRoundedRect(CGRectMake(0, 0, 40, 40), 12).CGPath());
    CGContextClip(c);
    CGContextSetRGBFillColor(c, 0, 0, 1, 1);
    CGContextFillRect(c, CGRectMake(0, 0, 40, 40));
    CGContextRestoreGState(c);
    // The clip was taken off by the restore.
    CGContextSetRGBFillColor(c, 1, 0, 0, 1);
    CGContextFillRect(c, CGRectMake(38, 38, 2, 2));
  });
  keepForViewing(*image, "rounded_clip");
  EXPECT_EQ(image->pixelAt(0, 0), kClear);
  EXPECT_EQ(image->pixelAt(1, 38), kClear);
  EXPECT_EQ(image->pixelAt(20, 0), kBlue);    // the middle of an edge is inside
  EXPECT_EQ(image->pixelAt(20, 20), kBlue);
  EXPECT_EQ(image->pixelAt(5, 5), kBlue);     // inside the arc (radius 12 centred at 12, 12)
  EXPECT_EQ(image->pixelAt(39, 39), kRed);
}

TEST(CGContextTests, RectanglePaintingLeavesThePendingPathAlone) {
  auto image = render({10, 10}, [](CGContextRef c) {
    CGContextMoveToPoint(c, 0, 0);
    CGContextAddLineToPoint(c, 10, 0);
    CGContextAddLineToPoint(c, 10, 10);
    CGContextSetRGBFillColor(c, 0, 1, 0, 1);
    CGContextFillRect(c, CGRectMake(0, 8, 2, 2));
    CGContextClosePath(c);
    CGContextSetRGBFillColor(c, 1, 0, 0, 1);
    CGContextFillPath(c);  // the triangle above the diagonal
  });
  EXPECT_EQ(image->pixelAt(8, 2), kRed);
  EXPECT_EQ(image->pixelAt(2, 6), kClear);
  EXPECT_EQ(image->pixelAt(0, 9), kGreen);
}

TEST(CGContextTests, StrokesUseTheirOwnLineWidth) {
  auto image = render({20, 20}, [](CGContextRef c) {
    CGContextSetLineWidth(c, 4);
    CGContextSetStrokeColorWithColor(c, CGColor{1, 0, 0, 1});
    CGContextStrokeRect(c, CGRectMake(4, 4, 12, 12));  // covers 2...6 around each edge
    UIBezierPath diagonal;
    diagonal.moveToPoint({0, 20});
    diagonal.addLineToPoint({20, 0});
    diagonal.setLineWidth(1);
    UIGraphicsPushContext(c);
    diagonal.stroke();
    UIGraphicsPopContext();
    CGContextStrokeRect(c, CGRectMake(15, 15, 3, 3));  // the context kept line width 4: 13...17
  });
  EXPECT_EQ(image->pixelAt(2, 10), kRed);
  EXPECT_EQ(image->pixelAt(5, 10), kRed);
  EXPECT_EQ(image->pixelAt(7, 10), kClear);
  EXPECT_GT(image->pixelAt(10, 9).red, 200);    // the diagonal, 1 wide
  EXPECT_EQ(image->pixelAt(12, 12), kClear);
  EXPECT_EQ(image->pixelAt(13, 16), kRed);
}

TEST(CGContextTests, DrawImageIsUpsideDownAndDrawInRectUpright) {
  auto picture = redOverBlue();
  auto flipped = render({4, 4}, [&](CGContextRef c) { CGContextDrawImage(c, CGRectMake(0, 0, 4, 4), picture->CGImage()); });
  auto upright = render({4, 4}, [&](CGContextRef) { picture->drawInRect(CGRectMake(0, 0, 4, 4)); });
  auto compensated = render({4, 4}, [&](CGContextRef c) {
    CGContextConcatCTM(c, CGAffineTransformScale(CGAffineTransformMakeTranslation(0, 4), 1, -1));
    CGContextDrawImage(c, CGRectMake(0, 0, 4, 4), picture->CGImage());
  });
  EXPECT_EQ(flipped->pixelAt(1, 0), kBlue);
  EXPECT_EQ(flipped->pixelAt(1, 3), kRed);
  EXPECT_EQ(upright->pixelAt(1, 0), kRed);
  EXPECT_EQ(upright->pixelAt(1, 3), kBlue);
  EXPECT_EQ(compensated->pixelAt(1, 0), kRed);
  EXPECT_EQ(compensated->pixelAt(1, 3), kBlue);
}

TEST(CGContextTests, QuarterTurnWithoutInterpolationCopiesPixelsExactly) {
  // Every pixel of a 3 x 2 source distinct, so any misplacement or blending shows.
  std::uint32_t words[6];
  for (std::uint32_t i = 0; i < 6; ++i) words[i] = 0xFF000000u | (i * 40u) << 16 | (200u - i * 30u);
  auto source = UIImage::imageWithCGImage(CGImageCreateWithPixels(3, 2, 12, words));
  const double W = 3, H = 2;
  // The landscape redraw of a video frame: (u, v) -> (H - v, u).
  auto turned = render({H, W}, [&](CGContextRef c) {
    CGContextSetInterpolationQuality(c, kCGInterpolationNone);
    CGAffineTransform t = CGAffineTransformIdentity;
    t = CGAffineTransformTranslate(t, 0, W);
    t = CGAffineTransformRotate(t, -std::numbers::pi / 2);
    t = CGAffineTransformTranslate(t, W, 0);
    t = CGAffineTransformScale(t, -1, 1);
    CGContextConcatCTM(c, t);
    CGContextDrawImage(c, CGRectMake(0, 0, W, H), source->CGImage());
  });
  for (std::size_t v = 0; v < 2; ++v) {
    for (std::size_t u = 0; u < 3; ++u) {
      EXPECT_EQ(turned->pixelAt(static_cast<std::size_t>(H) - 1 - v, u), source->pixelAt(u, v)) << u << "," << v;
    }
  }
}

TEST(CGContextTests, NearestKeepsHardEdgesAndSmoothBlends) {
  const std::uint32_t checker[4] = {0xFF000000u, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFF000000u};
  auto source = UIImage::imageWithCGImage(CGImageCreateWithPixels(2, 2, 8, checker));
  auto scaled = [&](CGInterpolationQuality q) {
    return render({20, 20}, [&](CGContextRef c) {
      CGContextSetInterpolationQuality(c, q);
      source->drawInRect(CGRectMake(0, 0, 20, 20));
    });
  };
  auto nearest = scaled(kCGInterpolationNone);
  auto smooth = scaled(kCGInterpolationMedium);
  keepForViewing(*nearest, "checker_nearest");
  keepForViewing(*smooth, "checker_smooth");
  int nearestGreys = 0, smoothGreys = 0;
  for (std::size_t y = 0; y < 20; ++y) {
    for (std::size_t x = 0; x < 20; ++x) {
      const int n = nearest->pixelAt(x, y).red, s = smooth->pixelAt(x, y).red;
      nearestGreys += n != 0 && n != 255;
      smoothGreys += s > 20 && s < 235;
    }
  }
  EXPECT_EQ(nearestGreys, 0);
  EXPECT_EQ(nearest->pixelAt(9, 0), kBlack);
  EXPECT_EQ(nearest->pixelAt(10, 0), kWhite);
  EXPECT_GT(smoothGreys, 40);  // a blended band across the middle
  // Far from the seams the colours are still the source's, and the border does not fade.
  EXPECT_EQ(smooth->pixelAt(0, 0), kBlack);
  EXPECT_EQ(smooth->pixelAt(19, 0), kWhite);
}

TEST(CGContextTests, ImagesFollowTheContextAlpha) {
  auto picture = redOverBlue();
  auto image = render({4, 4}, [&](CGContextRef c) {
    CGContextSetAlpha(c, 0.25);
    picture->drawInRect(CGRectMake(0, 0, 4, 4));
  });
  EXPECT_TRUE(near(image->pixelAt(0, 0), {64, 0, 0, 64}));
}

TEST(CGContextTests, NullContextIsIgnored) {
  CGContextFillRect(nullptr, CGRectMake(0, 0, 1, 1));
  CGContextSaveGState(nullptr);
  CGContextRestoreGState(nullptr);
  CGContextDrawImage(nullptr, CGRectMake(0, 0, 1, 1), nullptr);
  EXPECT_EQ(CGContextGetInterpolationQuality(nullptr), kCGInterpolationDefault);
  EXPECT_TRUE(CGRectIsNull(CGContextGetClipBoundingBox(nullptr)));
  CGContextStateSaver saver(nullptr);
}

}  // namespace
}  // namespace zerva
