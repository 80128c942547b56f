#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "platform/DrawingTestSupport.h"

namespace zerva {
namespace {

using namespace zerva::testing;

/// Thin lines one pixel wide in both directions, grey and dark on white, as small text has.
std::shared_ptr<UIImage> thinLines(double w, double h) {
  return render({w, h}, [&](CGContextRef c) {
    CGContextSetRGBFillColor(c, 1, 1, 1, 1);
    CGContextFillRect(c, CGRectMake(0, 0, w, h));
    for (double x = 3; x < w; x += 5) {
      CGContextSetRGBFillColor(c, 0.45, 0.45, 0.5, 1);
      CGContextFillRect(c, CGRectMake(x, 0, 1, h));
    }
    for (double y = 2; y < h; y += 7) {
      CGContextSetRGBFillColor(c, 0.1, 0.2, 0.6, 1);
      CGContextFillRect(c, CGRectMake(0, y, w, 1));
    }
  });
}

/// The frame's downscale as the handler draws it: upside-down drawing flipped upright, stretched
/// over the whole target, at medium quality. Inside a transparency layer Cairo resamples, as
/// every downscale did before libyuv.
std::shared_ptr<UIImage> downscale(const UIImage& source, CGSize target, bool throughCairo, bool opaque = true) {
  UIGraphicsImageRendererFormat format;
  format.setOpaque(opaque);
  UIGraphicsImageRenderer renderer(target, format);
  return renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
    CGContextRef c = ctx.CGContext();
    if (throughCairo) CGContextBeginTransparencyLayer(c);
    CGContextSetInterpolationQuality(c, kCGInterpolationMedium);
    const CGSize size = source.size();
    CGAffineTransform t = CGAffineTransformMakeScale(target.width / size.width, -(target.height / size.height));
    t = CGAffineTransformTranslate(t, 0, -size.height);
    CGContextConcatCTM(c, t);
    CGContextDrawImage(c, CGRect{CGPointZero, size}, source.CGImage());
    if (throughCairo) CGContextEndTransparencyLayer(c);
  });
}

struct Difference {
  int largest = 0;
  double mean = 0;
};

Difference compare(const UIImage& a, const UIImage& b) {
  Difference d;
  long sum = 0, count = 0;
  for (std::size_t y = 0; y < a.pixelHeight(); ++y) {
    for (std::size_t x = 0; x < a.pixelWidth(); ++x) {
      const CGPixel p = a.pixelAt(x, y), q = b.pixelAt(x, y);
      for (int channel : {std::abs(p.red - q.red), std::abs(p.green - q.green), std::abs(p.blue - q.blue),
                          std::abs(p.alpha - q.alpha)}) {
        d.largest = std::max(d.largest, channel);
        sum += channel;
        ++count;
      }
    }
  }
  d.mean = count ? static_cast<double>(sum) / static_cast<double>(count) : 0;
  return d;
}

TEST(ImageScalingTests, DownscaleKeepsCairosBilinearPictureOfThinLines) {
  // The medium frame's factor (400 x 844 to 300 x 634) and a third, as 3x pictures are drawn.
  const auto lines = thinLines(400, 844);
  for (CGSize target : {CGSizeMake(300, 634), CGSizeMake(133, 281)}) {
    auto ours = downscale(*lines, target, false);
    auto cairo = downscale(*lines, target, true);
    ASSERT_EQ(ours->pixelWidth(), static_cast<std::size_t>(target.width));
    ASSERT_EQ(ours->pixelHeight(), static_cast<std::size_t>(target.height));
    const Difference d = compare(*ours, *cairo);
    EXPECT_LE(d.largest, 40) << target.width;
    EXPECT_LT(d.mean, 2.0) << target.width;
    // Every line is still there: no column of the scaled picture loses the grey lines entirely.
    int columnsWithLine = 0;
    for (std::size_t x = 0; x < ours->pixelWidth(); ++x) columnsWithLine += ours->pixelAt(x, 0).red < 235;
    EXPECT_GE(columnsWithLine, static_cast<int>(400 / 5 * target.width / 400)) << target.width;
  }
}

TEST(ImageScalingTests, OddSizesComeOutUprightWithoutFadedBorders) {
  // Red rows over blue rows, each half a whole number of rows tall; from, to.
  const CGSize sizes[][2] = {{{401, 846}, {301, 634}}, {{5, 4}, {3, 2}}, {{1, 8}, {1, 6}}, {{9, 2}, {7, 2}}};
  for (const auto& [from, to] : sizes) {
    const auto picture = redOverBlue(from.width, from.height);
    auto scaled = downscale(*picture, to, false);
    ASSERT_EQ(scaled->pixelWidth(), static_cast<std::size_t>(to.width)) << from.width << "x" << from.height;
    ASSERT_EQ(scaled->pixelHeight(), static_cast<std::size_t>(to.height));
    // libyuv's horizontal filter weighs in 127ths: a flat colour may lose up to 2 levels.
    const std::size_t right = scaled->pixelWidth() - 1, bottom = scaled->pixelHeight() - 1;
    EXPECT_TRUE(near(scaled->pixelAt(0, 0), kRed, 2)) << from.width << "x" << from.height;
    EXPECT_TRUE(near(scaled->pixelAt(right, 0), kRed, 2)) << from.width << "x" << from.height;
    EXPECT_TRUE(near(scaled->pixelAt(0, bottom), kBlue, 2)) << from.width << "x" << from.height;
    EXPECT_TRUE(near(scaled->pixelAt(right, bottom), kBlue, 2)) << from.width << "x" << from.height;
  }
}

TEST(ImageScalingTests, FirstDrawingOverAFreshBitmapEqualsDrawingOverItsStart) {
  // Half-transparent green: over opaque black it turns opaque, over clear it stays as it is.
  const auto halfGreen = render({40, 30}, [](CGContextRef c) {
    CGContextSetRGBFillColor(c, 0, 1, 0, 0.5);
    CGContextFillRect(c, CGRectMake(0, 0, 40, 30));
  });
  for (bool opaque : {false, true}) {
    UIGraphicsImageRendererFormat format;
    format.setOpaque(opaque);
    // The same size (a copy), smaller (libyuv), larger (Cairo).
    for (CGSize size : {CGSizeMake(40, 30), CGSizeMake(30, 22), CGSizeMake(50, 37)}) {
      UIGraphicsImageRenderer renderer(size, format);
      auto draw = [&](bool touchFirst, bool clip) {
        return renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
          CGContextRef c = ctx.CGContext();
          if (touchFirst) CGContextFillRect(c, CGRectMake(0, 0, 0, 0));  // sets the start
          if (clip) CGContextClipToRect(c, CGRectMake(0, 0, 10, 10));
          halfGreen->drawInRect(CGRect{CGPointZero, size});
        });
      };
      const Difference fresh = compare(*draw(false, false), *draw(true, false));
      EXPECT_EQ(fresh.largest, 0) << opaque << " " << size.width;
      auto clipped = draw(false, true);
      EXPECT_EQ(clipped->pixelAt(20, 20), opaque ? kBlack : kClear) << size.width;
      EXPECT_EQ(compare(*clipped, *draw(true, true)).largest, 0) << size.width;
    }
    // A first opaque fill over the whole bitmap paints what Cairo paints.
    UIGraphicsImageRenderer renderer(CGSizeMake(9, 5), format);
    auto fill = [&](bool touchFirst, CGRect clip) {
      return renderer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
        if (touchFirst) CGContextFillRect(ctx.CGContext(), CGRectMake(0, 0, 0, 0));
        CGContextClipToRect(ctx.CGContext(), clip);
        CGContextSetRGBFillColor(ctx.CGContext(), 0.3, 0.61, 0.999, 1);
        CGContextFillRect(ctx.CGContext(), CGRectMake(-1, -1, 11, 7));
      });
    };
    // A clip of the whole bitmap leaves it whole; a smaller one keeps the start outside it.
    for (CGRect clip : {CGRectMake(0, 0, 9, 5), CGRectMake(0, 0, 8.5, 5)}) {
      auto fresh = fill(false, clip), touched = fill(true, clip);
      EXPECT_EQ(compare(*fresh, *touched).largest, 0) << opaque << " " << clip.size.width;
      EXPECT_EQ(fresh->pixelAt(0, 0), touched->pixelAt(0, 0));
    }
    EXPECT_EQ(fill(false, CGRectMake(0, 0, 8, 5))->pixelAt(8, 0), opaque ? kBlack : kClear);
  }
}

}  // namespace
}  // namespace zerva
