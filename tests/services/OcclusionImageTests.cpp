#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>

#include "platform/NSStringDrawing.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "services/ZRGreyImage.h"
#include "services/ZROcclusionManager.h"
#include "services/ZRTextRecognizer.h"

namespace zerva {
namespace {

std::shared_ptr<UIImage> largeTextOnWhite(double scale) {
  UIGraphicsImageRendererFormat format;
  format.setScale(scale);
  format.setOpaque(true);
  return UIGraphicsImageRenderer({400, 300}, format).imageWithActions([](UIGraphicsImageRendererContext& ctx) {
    CGContextSetRGBFillColor(ctx.CGContext(), 1, 1, 1, 1);
    CGContextFillRect(ctx.CGContext(), CGRectMake(0, 0, 400, 300));
    NSStringAttributes attributes;
    attributes.font = UIFont::boldSystemFontOfSize(48);
    drawWithRect("4111 1111\nSECRET", CGRectMake(10, 10, 380, 280), NSStringDrawingUsesLineFragmentOrigin, attributes);
  });
}

struct Extremes {
  int darkest = 255;
  int steepest = 0;  // largest step between horizontal neighbours
};

Extremes measure(const UIImage& image) {
  Extremes e;
  for (size_t y = 0; y < image.pixelHeight(); ++y) {
    int previous = -1;
    for (size_t x = 0; x < image.pixelWidth(); ++x) {
      const CGPixel p = image.pixelAt(x, y);
      const int grey = (p.red + p.green + p.blue) / 3;
      e.darkest = std::min(e.darkest, grey);
      if (previous >= 0) e.steepest = std::max(e.steepest, std::abs(grey - previous));
      previous = grey;
    }
  }
  return e;
}

TEST(OcclusionImages, BlurLeavesNoReadableTextAtAnyScale) {
  for (double scale : {1.0, 2.0}) {
    ZROcclusionManager manager;
    ZROcclusionSetting blur(ZROcclusionTypeBlurScreen);
    blur.setScreens({"Card"});
    manager.setOcclusion(ZROcclusionRules{blur}, ZROcclusionSourceConfiguration);

    const auto original = largeTextOnWhite(scale);
    const Extremes before = measure(*original);
    ASSERT_LT(before.darkest, 20);     // real black strokes...
    ASSERT_GT(before.steepest, 200);   // ...with hard edges

    const auto blurred = manager.occludeImage(original, {"Card"});
    ASSERT_NE(blurred, original);
    EXPECT_EQ(blurred->size(), original->size());
    EXPECT_EQ(blurred->scale(), scale);
    const Extremes after = measure(*blurred);
    // Strokes 5 to 7 points wide, averaged over about 50 points: no pixel keeps more than half of
    // the ink's darkness, and no edge is left: text cannot be told apart from its background.
    EXPECT_GT(after.darkest, 128) << "scale " << scale;
    EXPECT_LE(after.steepest, 3) << "scale " << scale;
    EXPECT_LT(after.darkest, 250);  // the picture is blurred, not blanked
    EXPECT_EQ(manager.occludeImage(original, {"Home"}), original);
  }
}

TEST(OcclusionImages, CoverIsOpaqueWhateverTheRuleColourAndUnOccludeKeepsTheImage) {
  ZROcclusionManager manager;
  ZROcclusionSetting cover(ZROcclusionTypeCoverScreen);
  cover.setColor(UIColor::colorWithRed(0, 0, 1, 0.5));
  manager.setOcclusion(ZROcclusionRules{cover}, ZROcclusionSourceManual);
  const auto original = largeTextOnWhite(2.0);
  const auto covered = manager.occludeImage(original, {"Any"});
  ASSERT_NE(covered, nullptr);
  EXPECT_EQ(covered->pixelWidth(), original->pixelWidth());
  for (auto [x, y] : {std::pair<size_t, size_t>{0, 0}, {100, 60}, {799, 599}}) {
    EXPECT_EQ(covered->pixelAt(x, y), (CGPixel{0, 0, 255, 255}));
  }
  EXPECT_EQ(manager.unOccludeImage(original, {"Any"}), original);
  EXPECT_EQ(manager.occludeImage(nullptr, {"Any"}), nullptr);
}

// Everything the recognizer reads in the image, words joined by spaces.
std::string readText(ZRTextRecognizer& recognizer, const UIImage& image) {
  const ZRGreyImage grey = ZRGreyImage::fromImage(image, image.scale());
  std::string text;
  for (const auto& line : recognizer.recognize(grey, {0, 0, grey.width(), grey.height()}, ZRTextRecognizer::Layout::Auto))
    for (const auto& word : line.words) text += word.text + " ";
  return text;
}

TEST(OcclusionImages, TheRecognizerReadsNothingOfABlurredScreenThatItReadsUnblurred) {
  auto recognizer = ZRTextRecognizer::create("eng");
  ASSERT_TRUE(recognizer) << recognizer.error().localizedDescription();
  for (double scale : {1.0, 2.0}) {
    SCOPED_TRACE("scale " + std::to_string(scale));
    const auto original = largeTextOnWhite(scale);
    const std::string plain = readText(**recognizer, *original);
    ASSERT_NE(plain.find("SECRET"), std::string::npos) << plain;
    ASSERT_NE(plain.find("4111"), std::string::npos) << plain;

    ZROcclusionManager manager;
    ZROcclusionSetting blur(ZROcclusionTypeBlurScreen);  // the default radius hidden screens get
    blur.setScreens({"Card"});
    manager.setOcclusion(ZROcclusionRules{blur}, ZROcclusionSourceConfiguration);
    const std::string blurred = readText(**recognizer, *manager.occludeImage(original, {"Card"}));
    EXPECT_TRUE(std::none_of(blurred.begin(), blurred.end(), [](unsigned char c) { return std::isalnum(c); }))
        << "read \"" << blurred << "\"";
  }
}

}  // namespace
}  // namespace zerva
