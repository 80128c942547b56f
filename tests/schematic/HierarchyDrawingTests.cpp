// Drawing described views: boxes and alpha, order, clips and masks, where texts land,
// placeholders, attributed texts and text storages of hybrid frameworks.

#include <gtest/gtest.h>

#include "platform/NSAttributedString.h"
#include "platform/NSTextStorage.h"
#include "schematic/SchematicTestSupport.h"
#include "support/HandlerTestSupport.h"
#include "support/RecorderTestSupport.h"
#include "support/VideoProbe.h"

namespace zerva::testing {
namespace {

constexpr CGPixel kRed{255, 0, 0, 255}, kGreen{0, 255, 0, 255}, kBlue{0, 0, 255, 255}, kWhite{255, 255, 255, 255};

class HierarchyDrawingTest : public HandlerTest {
 protected:
  /// Draws the views over a screen of 300 x 200 points, as a schematic frame does.
  std::shared_ptr<UIImage> draw(std::vector<HVHierarchyDictionary> views, const UIColor& ground = UIColor::whiteColor()) {
    auto image = handler_->renderSchematicFrame({withChildren(viewAt(CGRectMake(0, 0, 300, 200), ground), views)}, {});
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    if (image) (void)UIImageWritePNGToFile(*image, "/tmp/zerva_schematic_" + std::string(info->name()) + ".png");
    return image;
  }
};

TEST_F(HierarchyDrawingTest, AlphaAccumulatesIntoBoxesButNotIntoText) {
  auto parent = viewAt(CGRectMake(0, 0, 300, 200));  // alpha 0.5, no box of its own
  parent.set(Zerva_HS_Key_Alpha, 0.5);
  auto child = labelAt(CGRectMake(0, 0, 300, 200), {.text = std::string("WWW"), .font = UIFont::systemFontOfSize(40)},
                       UIColor::redColor());
  child.set(Zerva_HS_Key_Alpha, 0.5);
  child.set(Zerva_HS_Key_ForegroundColour, UIColor::whiteColor());
  setChildren(parent, {child});
  auto image = draw({parent}, UIColor::blackColor());
  ASSERT_TRUE(image);
  EXPECT_LE(colourDistance(image->pixelAt(290, 5), CGPixel{64, 0, 0, 255}), 1);  // red at 0.25 over black
  EXPECT_TRUE(inkBox(*image, CGRectMake(0, 0, 300, 200), [](CGPixel p) { return p == kWhite; }));
}

TEST_F(HierarchyDrawingTest, SiblingsByZPositionAndSmallOrBareViewsStillDrawTheirChildren) {
  auto a = viewAt(CGRectMake(0, 0, 60, 50), UIColor::redColor());
  a.set(Zerva_HS_Key_ZPosition, 2.0);
  auto b = viewAt(CGRectMake(20, 0, 60, 50), UIColor::greenColor());  // no z-position: 0
  auto c = viewAt(CGRectMake(40, 0, 60, 50), UIColor::blueColor());
  c.set(Zerva_HS_Key_ZPosition, 1.0);
  auto d = viewAt(CGRectMake(0, 60, 50, 30), UIColor::redColor());  // equal: the later one on top
  auto e = viewAt(CGRectMake(25, 60, 50, 30), UIColor::greenColor());
  // 4 points wide: its box, no text, its child.
  auto thin = labelAt(CGRectMake(110, 10, 4, 40), {.text = std::string("WWWW"), .font = UIFont::systemFontOfSize(20)},
                      UIColor::blueColor());
  setChildren(thin, {viewAt(CGRectMake(200, 10, 20, 20), UIColor::greenColor())});
  // Sensitive but without a background entry: nothing of its own.
  auto bare = viewAt(CGRectMake(10, 100, 200, 50));
  bare.set(Zerva_HS_Key_SensitiveView, true);
  setChildren(bare, {viewAt(CGRectMake(150, 120, 20, 20), UIColor::redColor())});
  auto image = draw({a, b, c, d, e, thin, bare});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixelAt(30, 25), kRed);   // a over b
  EXPECT_EQ(image->pixelAt(50, 25), kRed);   // a over b and c
  EXPECT_EQ(image->pixelAt(70, 25), kBlue);  // c over b
  EXPECT_EQ(image->pixelAt(30, 75), kGreen);
  EXPECT_EQ(image->pixelAt(112, 30), kBlue);
  EXPECT_FALSE(inkBox(*image, CGRectMake(114, 10, 80, 40), isDark));
  EXPECT_EQ(image->pixelAt(210, 20), kGreen);
  EXPECT_FALSE(inkBox(*image, CGRectMake(10, 100, 130, 50), isDark));
  EXPECT_EQ(image->pixelAt(160, 130), kRed);
}

TEST_F(HierarchyDrawingTest, TextBoxesAreCentredVerticallyAndCutToTheLineLimit) {
  ZervaHandler::shared()->sessionSettings()->setSensitiveViewColor(UIColor::colorWithRed(1, 0.8, 0.8, 1));
  auto sensitive = labelAt(CGRectMake(0, 0, 140, 50), {.text = std::string("4111 1111 1111")}, UIColor::blueColor());
  sensitive.set(Zerva_HS_Key_SensitiveView, true);
  // 17 points: a line of 19.8, a box of 21, so the label's text box is (150, 14.5, 140, 21).
  const UIFont font = UIFont::systemFontOfSize(17);
  const TitleFields hello{.text = std::string("Hello"), .font = font, .alignment = 1.0};
  auto label = labelAt(CGRectMake(150, 0, 140, 50), hello);
  auto other = labelAt(CGRectMake(150, 60, 140, 50), hello);  // not a label: drawn from the top
  other.set(Zerva_HS_Key_IsTypeOf, HVTypeTag{&Zerva_HS_KeyTypeOf_View});
  const TitleFields lines{.text = std::string("one\ntwo\nthree"), .font = font, .lines = 1.0};
  TitleFields unlimited = lines;
  unlimited.lines = 0.0;
  auto image = draw({sensitive, label, other, labelAt(CGRectMake(0, 100, 140, 100), lines),
                     labelAt(CGRectMake(150, 100, 140, 100), unlimited)});
  ASSERT_TRUE(image);

  EXPECT_EQ(image->pixelAt(2, 2), (CGPixel{255, 204, 204, 255}));
  auto sensitiveInk = inkBox(*image, CGRectMake(0, 0, 140, 50), isDark);  // "Sensitive View", 16 points
  ASSERT_TRUE(sensitiveInk);
  EXPECT_NEAR(CGRectGetMidX(*sensitiveInk), 70, 2);
  EXPECT_GE(sensitiveInk->origin.y, 15);  // box height 20, from y 15
  EXPECT_LE(CGRectGetMaxY(*sensitiveInk), 35);
  EXPECT_LT(sensitiveInk->size.width, 125);  // not the card number

  auto helloInk = inkBox(*image, CGRectMake(150, 0, 140, 50), isDark);
  ASSERT_TRUE(helloInk);
  EXPECT_GE(helloInk->origin.y, 16);  // a cap's top lies a little below the line's top
  EXPECT_LE(CGRectGetMaxY(*helloInk), 35.5);
  EXPECT_NEAR(CGRectGetMidX(*helloInk), 220, 2);
  EXPECT_LT(inkBox(*image, CGRectMake(150, 60, 140, 50), isDark)->origin.y, 60 + 8);

  // One line in a box of one line height centred in 100 points; without a limit all three.
  const double line = font.lineHeight(), three = std::ceil(3 * line) + 1;
  auto one = inkBox(*image, CGRectMake(0, 100, 140, 100), isDark);
  ASSERT_TRUE(one);
  EXPECT_GE(one->origin.y, 100 + (100 - line) / 2);
  EXPECT_LE(CGRectGetMaxY(*one), 100 + (100 + line) / 2 + 1);
  auto all = inkBox(*image, CGRectMake(150, 100, 140, 100), isDark);
  ASSERT_TRUE(all);
  EXPECT_GE(all->origin.y, 100 + (100 - three) / 2);
  EXPECT_GT(all->size.height, 2 * line);
}

TEST_F(HierarchyDrawingTest, PlaceholdersAlertsAndImages) {
  auto noColour = viewAt(CGRectMake(0, 0, 100, 100), HVOpaqueObject{"pattern"});
  noColour.set(Zerva_HS_Key_ImageView, true);
  auto coloured = viewAt(CGRectMake(150, 0, 100, 100), UIColor::blueColor());
  coloured.set(Zerva_HS_Key_ImageView, true);
  auto withImage = viewAt(CGRectMake(0, 120, 60, 60), HVOpaqueObject{"no colour"});
  withImage.set(Zerva_HS_Key_ImageView, true);
  withImage.set(Zerva_HS_Key_DirectImage, std::shared_ptr<const UIImage>(solidImage({6, 6}, UIColor::redColor())));
  auto alert = viewAt(CGRectMake(100, 120, 60, 60), HVOpaqueObject{"no colour"});
  alert.set(Zerva_HS_Key_AlertView, true);
  auto image = draw({noColour, coloured, withImage, alert}, UIColor::blackColor());
  ASSERT_TRUE(image);
  const CGPixel grey{128, 128, 128, 255};
  EXPECT_EQ(image->pixelAt(75, 50), (CGPixel{170, 170, 170, 255}));  // light grey, off the cross
  EXPECT_LE(colourDistance(image->pixelAt(50, 50), grey), 40);        // the cross
  EXPECT_LE(colourDistance(image->pixelAt(50, 0), grey), 40);         // the outline
  EXPECT_EQ(image->pixelAt(225, 50), kBlue);
  EXPECT_LE(colourDistance(image->pixelAt(200, 50), grey), 60);
  EXPECT_EQ(image->pixelAt(2, 122), kRed);  // the image fills the view
  EXPECT_EQ(image->pixelAt(58, 178), kRed);
  EXPECT_LE(colourDistance(image->pixelAt(130, 150), CGPixel{210, 210, 210, 255}), 2);  // white 0.85 at 0.97
}

TEST_F(HierarchyDrawingTest, ClipsAndRoundedMasksHoldForTheSubtreeOnly) {
  auto rounded = viewAt(CGRectMake(50, 50, 100, 100), UIColor::redColor());
  rounded.set(Zerva_HS_Key_LayerM2B, true);
  rounded.set(Zerva_HS_Key_CornerRadius, 30.0);
  setChildren(rounded, {viewAt(CGRectMake(40, 40, 120, 120), UIColor::greenColor())});
  auto clipped = viewAt(CGRectMake(200, 0, 100, 100), UIColor::blueColor());
  clipped.set(Zerva_HS_Key_ClipToRect, Zerva_rectToFastStore(CGRectMake(200, 0, 50, 50)));
  auto square = viewAt(CGRectMake(0, 0, 20, 20), UIColor::redColor());  // drawn last, not clipped
  square.set(Zerva_HS_Key_CornerRadius, 10.0);                            // no masks-to-bounds: square
  square.set(Zerva_HS_Key_ZPosition, 5.0);
  auto image = draw({rounded, clipped, square});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixelAt(100, 100), kGreen);
  EXPECT_EQ(image->pixelAt(52, 52), kWhite);   // outside the rounded corner
  EXPECT_EQ(image->pixelAt(45, 100), kWhite);  // the child reaches out of its parent's mask
  EXPECT_EQ(image->pixelAt(225, 25), kBlue);
  EXPECT_EQ(image->pixelAt(275, 75), kWhite);
  EXPECT_EQ(image->pixelAt(1, 1), kRed);
}

TEST_F(HierarchyDrawingTest, AttributedTextTakesTheMissingAttributesAndTextStoragesTheirOrigin) {
  NSStringAttributes red;
  red.foregroundColor = UIColor::redColor();
  auto attributed = std::make_shared<const NSAttributedString>("HHH", red);
  // No font on the text: the label's 30 points; its own red stays.
  const TitleFields big{.text = std::string("HHH"), .attributed = attributed, .font = UIFont::systemFontOfSize(30)};
  auto label = labelAt(CGRectMake(0, 0, 300, 60), big);
  label.set(Zerva_HS_Key_ForegroundColour, UIColor::blueColor());
  // With a line limit and right alignment, moved to the right end of its box.
  TitleFields right = big;
  right.alignment = 2.0;
  right.lines = 1.0;
  NSStringAttributes plain;
  plain.font = UIFont::systemFontOfSize(20);
  auto storage = std::make_shared<NSTextStorage>("Native", plain);
  auto manager = std::make_shared<NSLayoutManager>();
  manager->addTextContainer(std::make_shared<NSTextContainer>(CGSizeMake(200, 40)));
  storage->addLayoutManager(manager);
  auto hybrid = labelAt(CGRectMake(40, 150, 200, 40), {.text = std::string("TITLE TITLE TITLE TITLE")});
  hybrid.set(Zerva_HS_KeyTypeOf_RNTextView, std::shared_ptr<const NSTextStorage>(storage));
  auto image = draw({label, labelAt(CGRectMake(0, 70, 300, 60), right), hybrid});
  ASSERT_TRUE(image);

  auto isRed = [](CGPixel p) { return p.red > 200 && p.green < 60 && p.blue < 60; };
  auto ink = inkBox(*image, CGRectMake(0, 0, 300, 60), isRed);
  ASSERT_TRUE(ink);
  EXPECT_GT(ink->size.height, 18);  // a 30-point cap, not a 12-point one
  EXPECT_FALSE(inkBox(*image, CGRectMake(0, 0, 300, 60), [](CGPixel p) { return p.blue > 200 && p.red < 60; }));
  auto moved = inkBox(*image, CGRectMake(0, 70, 300, 60), isRed);
  ASSERT_TRUE(moved);
  EXPECT_GT(CGRectGetMaxX(*moved), 300 - 6);
  EXPECT_GT(moved->origin.x, 200);
  auto native = inkBox(*image, CGRectMake(0, 140, 300, 60), isDark);  // at the origin, past the padding
  ASSERT_TRUE(native);
  EXPECT_GE(native->origin.x, 40);
  EXPECT_LT(native->origin.x, 40 + 10);
  EXPECT_GE(native->origin.y, 150);
  EXPECT_LT(native->size.width, 100);  // "Native", not the title
}

}  // namespace
}  // namespace zerva::testing
