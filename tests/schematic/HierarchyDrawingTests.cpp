// Drawing described views: boxes and alpha, order, clips and masks, texts and where they land,
// placeholders, and text storages of hybrid frameworks.

#include <gtest/gtest.h>

#include "support/HandlerTestSupport.h"
#include "support/RecorderTestSupport.h"
#include "schematic/SchematicTestSupport.h"
#include "platform/NSAttributedString.h"
#include "platform/NSTextStorage.h"
#include "services/ZRLogUtility.h"

namespace zerva::testing {
namespace {

constexpr CGPixel kRed{255, 0, 0, 255};
constexpr CGPixel kGreen{0, 255, 0, 255};
constexpr CGPixel kBlue{0, 0, 255, 255};
constexpr CGPixel kWhite{255, 255, 255, 255};
constexpr CGPixel kBlack{0, 0, 0, 255};

class HierarchyDrawingTest : public HandlerTest {
 protected:
  /// Draws the views over a white screen of 300 x 200 points, as a schematic frame does.
  std::shared_ptr<UIImage> draw(std::vector<HVHierarchyDictionary> views, CGSize size = {300, 200}) {
    auto screen = withChildren(viewAt(CGRect{CGPointZero, size}, UIColor::whiteColor()), std::move(views));
    auto image = handler_->renderSchematicFrame({screen}, CGRectZero);
    if (image) keepForViewing(*image);
    return image;
  }

  void keepForViewing(const UIImage& image) {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    (void)UIImageWritePNGToFile(image, "/tmp/zerva_schematic_" + std::string(info->name()) + ".png");
  }
};

TEST_F(HierarchyDrawingTest, AlphaAccumulatesIntoBoxesButNotIntoText) {
  // Parent 0.5 with no box of its own; child 0.5, opaque red, over a black screen.
  auto parent = viewAt(CGRectMake(0, 0, 300, 200));
  parent.set(Zerva_HS_Key_Alpha, 0.5);
  auto child = labelAt(CGRectMake(0, 0, 300, 200), {.text = std::string("WWWWWW"), .font = UIFont::systemFontOfSize(40)},
                       UIColor::redColor());
  child.set(Zerva_HS_Key_Alpha, 0.5);
  child.set(Zerva_HS_Key_ForegroundColour, UIColor::whiteColor());
  setChildren(parent, {child});
  auto screen = withChildren(viewAt(CGRectMake(0, 0, 300, 200), UIColor::blackColor()), {parent});
  auto image = handler_->renderSchematicFrame({screen}, CGRectZero);
  ASSERT_TRUE(image);
  keepForViewing(*image);
  EXPECT_TRUE(closeTo(image->pixelAt(290, 5), CGPixel{64, 0, 0, 255})) << ::testing::PrintToString(image->pixelAt(290, 5));
  // The text keeps its full colour: some of its pixels are pure white.
  auto white = inkBox(*image, CGRectMake(0, 0, 300, 200), [](CGPixel p) { return p == kWhite; });
  EXPECT_TRUE(white.has_value());
}

TEST_F(HierarchyDrawingTest, SiblingsAreDrawnByZPositionLowestFirst) {
  auto a = viewAt(CGRectMake(0, 0, 60, 50), UIColor::redColor());
  a.set(Zerva_HS_Key_ZPosition, 2.0);
  auto b = viewAt(CGRectMake(20, 0, 60, 50), UIColor::greenColor());  // no z-position: 0
  auto c = viewAt(CGRectMake(40, 0, 60, 50), UIColor::blueColor());
  c.set(Zerva_HS_Key_ZPosition, 1.0);
  // Equal z-positions keep the description's order: the later one on top.
  auto d = viewAt(CGRectMake(0, 100, 50, 50), UIColor::redColor());
  auto e = viewAt(CGRectMake(25, 100, 50, 50), UIColor::greenColor());
  auto image = draw({a, b, c, d, e});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixelAt(30, 25), kRed);   // a over b
  EXPECT_EQ(image->pixelAt(50, 25), kRed);   // a over b and c
  EXPECT_EQ(image->pixelAt(70, 25), kBlue);  // c over b
  EXPECT_EQ(image->pixelAt(30, 125), kGreen);
}

TEST_F(HierarchyDrawingTest, SmallViewsAndViewsWithoutBackgroundStillDrawTheirChildren) {
  // 4 points wide: the box, no text (it would spill to the right), the child.
  auto thin = labelAt(CGRectMake(10, 10, 4, 40), {.text = std::string("WWWWWW"), .font = UIFont::systemFontOfSize(20)},
                      UIColor::blueColor());
  setChildren(thin, {viewAt(CGRectMake(100, 10, 20, 20), UIColor::greenColor())});
  // Sensitive but without a background entry: nothing of its own.
  auto bare = viewAt(CGRectMake(10, 100, 200, 50));
  bare.set(Zerva_HS_Key_SensitiveView, true);
  setChildren(bare, {viewAt(CGRectMake(150, 120, 20, 20), UIColor::redColor())});
  auto image = draw({thin, bare});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixelAt(12, 30), kBlue);
  EXPECT_FALSE(inkBox(*image, CGRectMake(14, 10, 80, 40), isDark));
  EXPECT_EQ(image->pixelAt(110, 20), kGreen);
  EXPECT_EQ(image->pixelAt(50, 125), kWhite);
  EXPECT_FALSE(inkBox(*image, CGRectMake(10, 100, 130, 50), isDark));
  EXPECT_EQ(image->pixelAt(160, 130), kRed);
}

TEST_F(HierarchyDrawingTest, SensitiveLabelIsABoxCentringItsLabel) {
  ZervaHandler::shared()->sessionSettings()->setSensitiveViewColor(UIColor::colorWithRed(1, 0.8, 0.8, 1));
  auto sensitive = labelAt(CGRectMake(10, 10, 200, 50), {.text = std::string("4111 1111 1111 1111")}, UIColor::blueColor());
  sensitive.set(Zerva_HS_Key_SensitiveView, true);
  auto image = draw({sensitive});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixelAt(12, 12), (CGPixel{255, 204, 204, 255}));
  // "Sensitive View" in 16 points: one line of 18.6 points, box height 20, drawn from y 25.
  auto ink = inkBox(*image, CGRectMake(10, 10, 200, 50), isDark);
  ASSERT_TRUE(ink);
  EXPECT_NEAR(CGRectGetMidX(*ink), 110, 2);
  EXPECT_GE(ink->origin.y, 25);
  EXPECT_LE(CGRectGetMaxY(*ink), 45);
  EXPECT_GT(ink->size.width, 80);  // the whole label, not the card number
  EXPECT_LT(ink->size.width, 130);
}

TEST_F(HierarchyDrawingTest, LabelsAreCentredVerticallyOtherViewsDrawFromTheTop) {
  // 17 points: a line of 19.8 points, box height 21, so the text box is (0, 14.5, 200, 21).
  const TitleSpec title{.text = std::string("Hello"), .font = UIFont::systemFontOfSize(17), .alignment = 1.0};
  auto label = labelAt(CGRectMake(0, 0, 200, 50), title);
  auto other = labelAt(CGRectMake(0, 100, 200, 50), title);
  other.set(Zerva_HS_Key_IsTypeOf, HVTypeTag{&Zerva_HS_KeyTypeOf_View});
  auto image = draw({label, other});
  ASSERT_TRUE(image);
  auto inLabel = inkBox(*image, CGRectMake(0, 0, 200, 50), isDark);
  ASSERT_TRUE(inLabel);
  EXPECT_GE(inLabel->origin.y, 14.5);
  EXPECT_LE(CGRectGetMaxY(*inLabel), 35.5);
  EXPECT_GE(inLabel->origin.y, 16);  // a cap's top lies a little below the line's top
  EXPECT_NEAR(CGRectGetMidX(*inLabel), 100, 2);
  auto inOther = inkBox(*image, CGRectMake(0, 100, 200, 50), isDark);
  ASSERT_TRUE(inOther);
  EXPECT_LT(inOther->origin.y, 100 + 8);
}

TEST_F(HierarchyDrawingTest, LineLimitShrinksTheBoxToItsLines) {
  const UIFont font = UIFont::systemFontOfSize(17);
  const double line = font.lineHeight();
  const TitleSpec limited{.text = std::string("one\ntwo\nthree"), .font = font, .lines = 1.0};
  TitleSpec unlimited = limited;
  unlimited.lines = 0.0;
  auto image = draw({labelAt(CGRectMake(0, 0, 140, 100), limited), labelAt(CGRectMake(150, 0, 140, 100), unlimited)});
  ASSERT_TRUE(image);
  // One line, in a box of one line height centred in the 100 points.
  auto one = inkBox(*image, CGRectMake(0, 0, 140, 100), isDark);
  ASSERT_TRUE(one);
  EXPECT_GE(one->origin.y, (100 - line) / 2);
  EXPECT_LE(CGRectGetMaxY(*one), (100 + line) / 2 + 1);
  // No limit: three lines in a box of ceil(3 lines) + 1.
  const double box = std::ceil(3 * line) + 1;
  auto three = inkBox(*image, CGRectMake(150, 0, 140, 100), isDark);
  ASSERT_TRUE(three);
  EXPECT_GE(three->origin.y, (100 - box) / 2);
  EXPECT_LE(CGRectGetMaxY(*three), (100 + box) / 2);
  EXPECT_GT(three->size.height, 2 * line);
}

TEST_F(HierarchyDrawingTest, ImageViewsWithoutAnImageGetAPlaceholder) {
  auto noColour = viewAt(CGRectMake(0, 0, 100, 100), HVOpaqueObject{"pattern"});
  noColour.set(Zerva_HS_Key_ImageView, true);
  auto coloured = viewAt(CGRectMake(150, 0, 100, 100), UIColor::blueColor());
  coloured.set(Zerva_HS_Key_ImageView, true);
  auto withImage = viewAt(CGRectMake(0, 120, 60, 60), HVOpaqueObject{"no colour"});
  withImage.set(Zerva_HS_Key_ImageView, true);
  withImage.set(Zerva_HS_Key_DirectImage, std::shared_ptr<const UIImage>(solidImage({6, 6}, UIColor::redColor())));
  auto image = draw({noColour, coloured, withImage});
  ASSERT_TRUE(image);
  const CGPixel grey{128, 128, 128, 255}, lightGrey{170, 170, 170, 255};
  EXPECT_TRUE(closeTo(image->pixelAt(75, 50), lightGrey, 1));
  EXPECT_TRUE(closeTo(image->pixelAt(50, 50), grey, 40)) << ::testing::PrintToString(image->pixelAt(50, 50));  // the cross
  EXPECT_TRUE(closeTo(image->pixelAt(50, 0), grey, 40)) << ::testing::PrintToString(image->pixelAt(50, 0));    // the outline
  EXPECT_EQ(image->pixelAt(225, 50), kBlue);
  EXPECT_TRUE(closeTo(image->pixelAt(200, 50), grey, 60)) << ::testing::PrintToString(image->pixelAt(200, 50));
  EXPECT_EQ(image->pixelAt(2, 122), kRed);  // the image fills the view
  EXPECT_EQ(image->pixelAt(58, 178), kRed);
}

TEST_F(HierarchyDrawingTest, AlertsWithoutColourAreNearlyWhiteUnderTheirPicture) {
  auto screen = viewAt(CGRectMake(0, 0, 300, 200), UIColor::blackColor());
  auto alert = viewAt(CGRectMake(0, 0, 100, 100), HVOpaqueObject{"no colour"});
  alert.set(Zerva_HS_Key_AlertView, true);
  auto pictured = viewAt(CGRectMake(150, 0, 100, 100), HVOpaqueObject{"no colour"});
  pictured.set(Zerva_HS_Key_AlertView, true);
  pictured.set(Zerva_HS_Key_DirectImage, std::shared_ptr<const UIImage>(solidImage({10, 10}, UIColor::greenColor())));
  setChildren(screen, {alert, pictured});
  auto image = handler_->renderSchematicFrame({screen}, CGRectZero);
  ASSERT_TRUE(image);
  // White 0.85 at alpha 0.97 over black.
  EXPECT_TRUE(closeTo(image->pixelAt(50, 50), CGPixel{210, 210, 210, 255}, 2))
      << ::testing::PrintToString(image->pixelAt(50, 50));
  EXPECT_EQ(image->pixelAt(200, 50), kGreen);
}

TEST_F(HierarchyDrawingTest, ClipsAndRoundedMasksHoldForTheSubtreeOnly) {
  auto rounded = viewAt(CGRectMake(50, 50, 100, 100), UIColor::redColor());
  rounded.set(Zerva_HS_Key_LayerM2B, true);
  rounded.set(Zerva_HS_Key_CornerRadius, 30.0);
  setChildren(rounded, {viewAt(CGRectMake(40, 40, 120, 120), UIColor::greenColor())});
  auto clipped = viewAt(CGRectMake(200, 0, 100, 100), UIColor::blueColor());
  clipped.set(Zerva_HS_Key_ClipToRect, Zerva_rectToFastStore(CGRectMake(200, 0, 50, 50)));
  auto square = viewAt(CGRectMake(0, 0, 20, 20), UIColor::redColor());  // drawn after: not clipped
  square.set(Zerva_HS_Key_CornerRadius, 10.0);                            // no masks-to-bounds: square
  square.set(Zerva_HS_Key_ZPosition, 5.0);
  auto image = draw({rounded, clipped, square});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->pixelAt(100, 100), kGreen);
  EXPECT_EQ(image->pixelAt(52, 52), kWhite);  // outside the rounded corner
  EXPECT_EQ(image->pixelAt(45, 100), kWhite);  // the child reaches out of its parent's mask
  EXPECT_EQ(image->pixelAt(225, 25), kBlue);
  EXPECT_EQ(image->pixelAt(275, 75), kWhite);
  EXPECT_EQ(image->pixelAt(1, 1), kRed);
}

TEST_F(HierarchyDrawingTest, AttributedTextTakesTheLabelsMissingAttributes) {
  NSStringAttributes red;
  red.foregroundColor = UIColor::redColor();
  auto attributed = std::make_shared<const NSAttributedString>("HHH", red);
  // No font on the text: the label's 30 points; its own red colour stays.
  auto label = labelAt(CGRectMake(0, 0, 300, 60),
                       {.text = std::string("HHH"), .attributed = attributed, .font = UIFont::systemFontOfSize(30)});
  label.set(Zerva_HS_Key_ForegroundColour, UIColor::blueColor());
  // With a line limit and right alignment, the text is moved to the right end of its box.
  auto right = labelAt(CGRectMake(0, 100, 300, 60), {.text = std::string("HHH"), .attributed = attributed,
                                                      .font = UIFont::systemFontOfSize(30), .alignment = 2.0,
                                                      .lines = 1.0});
  auto image = draw({label, right});
  ASSERT_TRUE(image);
  auto isRed = [](CGPixel p) { return p.red > 200 && p.green < 60 && p.blue < 60; };
  auto ink = inkBox(*image, CGRectMake(0, 0, 300, 60), isRed);
  ASSERT_TRUE(ink);
  EXPECT_GT(ink->size.height, 18);  // a 30-point cap, not a 12-point one
  EXPECT_FALSE(inkBox(*image, CGRectMake(0, 0, 300, 60), [](CGPixel p) { return p.blue > 200 && p.red < 60; }));
  auto moved = inkBox(*image, CGRectMake(0, 100, 300, 60), isRed);
  ASSERT_TRUE(moved);
  EXPECT_GT(CGRectGetMaxX(*moved), 300 - 6);
  EXPECT_GT(moved->origin.x, 200);
  EXPECT_TRUE(ZRLogUtility::recordedTagsNamed("HierarchyRender-attributesAtIndex-error").empty());
}

TEST_F(HierarchyDrawingTest, HybridTextStorageIsDrawnAtTheViewsOrigin) {
  NSStringAttributes attributes;
  attributes.font = UIFont::systemFontOfSize(20);
  auto storage = std::make_shared<NSTextStorage>("Native text", attributes);
  auto manager = std::make_shared<NSLayoutManager>();
  manager->addTextContainer(std::make_shared<NSTextContainer>(CGSizeMake(200, 40)));
  storage->addLayoutManager(manager);
  auto view = viewAt(CGRectMake(40, 100, 200, 40), HVOpaqueObject{"no colour"});
  view.set(Zerva_HS_KeyTypeOf_RNTextView, std::shared_ptr<const NSTextStorage>(storage));
  // A title is not drawn beside the storage.
  setTitle(view, {.text = std::string("TITLE TITLE TITLE TITLE"), .font = UIFont::systemFontOfSize(20)});
  auto image = draw({view});
  ASSERT_TRUE(image);
  auto ink = inkBox(*image, CGRectMake(0, 0, 300, 200), isDark);
  ASSERT_TRUE(ink);
  EXPECT_GE(ink->origin.x, 40);
  EXPECT_LT(ink->origin.x, 40 + 10);  // the container's padding
  EXPECT_GE(ink->origin.y, 100);
  EXPECT_LT(ink->size.width, 130);  // "Native text", not the title
}

}  // namespace
}  // namespace zerva::testing
