#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <stdexcept>

#include "platform/DrawingTestSupport.h"
#include "platform/ObjCClass.h"

namespace zerva {
namespace {

using namespace zerva::testing;

TEST(UIGraphicsImageRendererTests, ScaleSetsPixelSizeAndActionsDrawInPoints) {
  for (double scale : {1.0, 2.0, 3.0}) {
    auto image = render({10, 7.5}, [](CGContextRef c) {
      CGContextSetRGBFillColor(c, 1, 0, 0, 1);
      CGContextFillRect(c, CGRectMake(0, 0, 5, 5));
    }, scale);
    EXPECT_EQ(image->pixelWidth(), static_cast<std::size_t>(10 * scale)) << scale;
    EXPECT_EQ(image->pixelHeight(), static_cast<std::size_t>(std::ceil(7.5 * scale))) << scale;
    EXPECT_EQ(image->scale(), scale);
    EXPECT_NEAR(image->size().width, 10, 1e-9);
    const auto edge = static_cast<std::size_t>(5 * scale);
    EXPECT_EQ(image->pixelAt(edge - 1, edge - 1), kRed) << scale;
    EXPECT_EQ(image->pixelAt(edge, edge - 1), kClear) << scale;
  }
  // A 2x image drawn at its size in points into a 1x picture covers its points, not its pixels.
  auto big = render({4, 4}, [](CGContextRef c) { CGContextFillRect(c, CGRectMake(0, 0, 4, 4)); }, 2);
  auto placed = render({10, 10}, [&](CGContextRef) { big->drawAtPoint({3, 3}); });
  EXPECT_EQ(placed->pixelAt(3, 3), kBlack);
  EXPECT_EQ(placed->pixelAt(6, 6), kBlack);
  EXPECT_EQ(placed->pixelAt(7, 7), kClear);
}

TEST(UIGraphicsImageRendererTests, ReusedRendererGivesEachImageItsOwnPixels) {
  UIGraphicsImageRenderer renderer(CGSizeMake(8, 8));
  auto first = renderer.imageWithActions([](UIGraphicsImageRendererContext& ctx) {
    CGContextSetRGBFillColor(ctx.CGContext(), 0, 1, 0, 1);
    CGContextFillRect(ctx.CGContext(), CGRectMake(0, 0, 8, 8));
    CGContextSaveGState(ctx.CGContext());  // left unbalanced on purpose
    CGContextClipToRect(ctx.CGContext(), CGRectMake(0, 0, 1, 1));
  });
  auto second = renderer.imageWithActions([](UIGraphicsImageRendererContext& ctx) {
    // A fresh context: no clip, default colours.
    CGContextFillRect(ctx.CGContext(), CGRectMake(4, 4, 4, 4));
  });
  EXPECT_EQ(second->pixelAt(0, 0), kClear);
  EXPECT_EQ(second->pixelAt(7, 7), kBlack);
  EXPECT_EQ(first->pixelAt(7, 7), kGreen);
  EXPECT_NE(first->CGImage(), second->CGImage());
}

TEST(UIGraphicsImageRendererTests, CurrentContextFollowsNestedRenderersAndExceptions) {
  EXPECT_EQ(UIGraphicsGetCurrentContext(), nullptr);
  UIGraphicsImageRenderer outer(CGSizeMake(4, 4));
  UIGraphicsImageRenderer inner(CGSizeMake(2, 2));
  std::shared_ptr<UIImage> nested;
  auto image = outer.imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
    EXPECT_EQ(UIGraphicsGetCurrentContext(), ctx.CGContext());
    nested = inner.imageWithActions([&](UIGraphicsImageRendererContext& innerCtx) {
      EXPECT_EQ(UIGraphicsGetCurrentContext(), innerCtx.CGContext());
      EXPECT_NE(innerCtx.CGContext(), ctx.CGContext());
    });
    EXPECT_EQ(UIGraphicsGetCurrentContext(), ctx.CGContext());
    nested->drawInRect(CGRectMake(0, 0, 4, 4));  // goes to the outer picture
  });
  EXPECT_EQ(UIGraphicsGetCurrentContext(), nullptr);
  EXPECT_THROW(outer.imageWithActions([](UIGraphicsImageRendererContext&) { throw std::runtime_error("frame"); }),
               std::runtime_error);
  EXPECT_EQ(UIGraphicsGetCurrentContext(), nullptr);
}

TEST(UIGraphicsImageRendererTests, FormatsAndSizesAtTheLimits) {
  UIGraphicsImageRendererFormat opaque;
  opaque.setOpaque(true);
  opaque.setScale(-2);  // not a scale: 1
  EXPECT_EQ(opaque.scale(), 1);
  auto black = UIGraphicsImageRenderer(CGSizeMake(3, 3), opaque).imageWithActions(nullptr);
  EXPECT_EQ(black->pixelAt(2, 2), kBlack);

  bool ran = false;
  EXPECT_EQ(UIGraphicsImageRenderer(CGSizeMake(40000, 10)).imageWithActions([&](auto&) { ran = true; }), nullptr);
  EXPECT_FALSE(ran);

  auto empty = UIGraphicsImageRenderer(CGSizeMake(-5, NAN)).imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
    ran = true;
    CGContextFillRect(ctx.CGContext(), CGRectMake(0, 0, 10, 10));
  });
  ASSERT_NE(empty, nullptr);
  EXPECT_TRUE(ran);
  EXPECT_EQ(empty->size(), CGSizeZero);
}

TEST(UIImageTests, PNGFilesRoundTripAndFailClearly) {
  auto picture = render({6, 4}, [](CGContextRef c) {
    CGContextSetRGBFillColor(c, 1, 0, 0, 1);
    CGContextFillRect(c, CGRectMake(0, 0, 3, 4));
    CGContextSetRGBFillColor(c, 0, 0.5, 1, 0.5);
    CGContextFillRect(c, CGRectMake(3, 0, 3, 4));
  });
  const std::string path = ::testing::TempDir() + "zerva_roundtrip.png";
  ASSERT_EQ(UIImageWritePNGToFile(*picture, path), std::nullopt);
  auto read = UIImage::imageWithContentsOfFile(path);
  ASSERT_TRUE(read) << read.error().description();
  const auto& loaded = *read;
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(loaded->size(), picture->size());
  EXPECT_EQ(loaded->pixelAt(0, 0), kRed);
  EXPECT_TRUE(near(loaded->pixelAt(4, 2), picture->pixelAt(4, 2), 1));  // half-transparent survives

  const NSErrorOrNil writeError = UIImageWritePNGToFile(*picture, "/nonexistent-dir/x.png");
  ASSERT_TRUE(writeError.has_value());
  EXPECT_EQ(writeError->domain(), "NSCocoaErrorDomain");
  EXPECT_EQ(writeError->code(), 512);
  EXPECT_EQ(writeError->userInfo().at("NSFilePath"), "/nonexistent-dir/x.png");

  auto missing = UIImage::imageWithContentsOfFile("/nonexistent-dir/x.png");
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().code(), 260);
  const std::string notPNG = ::testing::TempDir() + "zerva_not_a.png";
  std::ofstream(notPNG) << "plain text";
  auto unreadable = UIImage::imageWithContentsOfFile(notPNG);
  ASSERT_FALSE(unreadable);
  EXPECT_EQ(unreadable.error().code(), 259);
  EXPECT_NE(unreadable.error().localizedDescription().find(notPNG), std::string::npos);
}

TEST(UIImageTests, DrawingClassesAreKnownByName) {
  for (const char* name : {"UIImage", "UIGraphicsImageRenderer", "NSAttributedString", "NSMutableAttributedString",
                           "NSTextStorage", "NSLayoutManager", "NSTextContainer"}) {
    EXPECT_NE(NSClassFromString(name), nullptr) << name;
  }
  EXPECT_TRUE(NSClassFromString("NSTextStorage")->isSubclassOfClass(NSClassFromString("NSAttributedString")));
}

}  // namespace
}  // namespace zerva
