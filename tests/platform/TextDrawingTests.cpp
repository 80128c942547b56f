#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/DrawingTestSupport.h"
#include "platform/NSAttributedString.h"
#include "platform/NSStringDrawing.h"
#include "platform/NSTextStorage.h"

namespace zerva {
namespace {

using namespace zerva::testing;

constexpr NSStringDrawingOptions kLabelOptions = NSStringDrawingUsesLineFragmentOrigin |
                                                 NSStringDrawingUsesFontLeading |
                                                 NSStringDrawingTruncatesLastVisibleLine;  // 0x23
constexpr CGFloat kUnlimited = 1.7976931348623157e+308;

const std::string kLongText = "The quick brown fox jumps over the lazy dog while the cat watches from the fence";

NSStringAttributes attrs(double size, std::optional<NSTextAlignment> alignment = std::nullopt,
                         std::optional<NSLineBreakMode> lineBreak = std::nullopt) {
  NSStringAttributes a;
  a.font = UIFont::systemFontOfSize(size);
  if (alignment || lineBreak) {
    NSMutableParagraphStyle style;
    if (alignment) style.setAlignment(*alignment);
    if (lineBreak) style.setLineBreakMode(*lineBreak);
    a.paragraphStyle = style;
  }
  return a;
}

/// Bounds of the pixels with noticeable ink, in pixels; CGRectNull when there are none.
CGRect inkBounds(const UIImage& image) {
  CGRect ink = CGRectNull;
  for (std::size_t y = 0; y < image.pixelHeight(); ++y) {
    for (std::size_t x = 0; x < image.pixelWidth(); ++x) {
      if (image.pixelAt(x, y).alpha > 64) ink = CGRectUnion(ink, CGRectMake(double(x), double(y), 1, 1));
    }
  }
  return ink;
}

TEST(TextDrawingTests, MeasuredSizesGrowWithTextAndLines) {
  const UIFont font = UIFont::systemFontOfSize(17);
  const double lh = font.lineHeight();
  const CGRect hello = boundingRectWithSize("Hello", {kUnlimited, kUnlimited}, kLabelOptions, attrs(17));
  EXPECT_EQ(hello.origin, CGPointZero);
  EXPECT_NEAR(hello.size.height, lh, 1e-3);
  EXPECT_GT(hello.size.width, 30);
  EXPECT_LT(hello.size.width, 60);
  EXPECT_EQ(boundingRectWithSize("Hello", {kUnlimited, kUnlimited}, kLabelOptions, attrs(17)), hello);  // stable
  EXPECT_GT(boundingRectWithSize("Hello world", {kUnlimited, kUnlimited}, kLabelOptions, attrs(17)).size.width,
            hello.size.width);
  NSStringAttributes bold = attrs(17);
  bold.font = UIFont::boldSystemFontOfSize(17);
  EXPECT_GT(boundingRectWithSize("Hello", {kUnlimited, kUnlimited}, kLabelOptions, bold).size.width, hello.size.width);
  EXPECT_EQ(boundingRectWithSize("", {100, kUnlimited}, kLabelOptions, attrs(17)), CGRectZero);

  // Narrower boxes wrap into more lines, each exactly one line height, never wider than the box.
  int previousLines = 0;
  for (double width : {1000.0, 300.0, 150.0, 80.0}) {
    const CGRect r = boundingRectWithSize(kLongText, {width, kUnlimited}, kLabelOptions, attrs(17));
    const double lines = r.size.height / lh;
    EXPECT_NEAR(lines, std::round(lines), 1e-3) << width;
    EXPECT_LE(r.size.width, width) << width;
    EXPECT_GT(std::lround(lines), previousLines) << width;
    previousLines = static_cast<int>(std::lround(lines));
  }
  EXPECT_EQ(std::lround(boundingRectWithSize(kLongText, {1000, kUnlimited}, kLabelOptions, attrs(17)).size.height / lh), 1);
  // An explicit line break adds a line too.
  EXPECT_NEAR(boundingRectWithSize("a\nb", {kUnlimited, kUnlimited}, kLabelOptions, attrs(17)).size.height, 2 * lh, 1e-3);
}

TEST(TextDrawingTests, FontLineHeightMatchesLaidOutLines) {
  for (double size : {9.0, 12.0, 16.0, 18.0, 33.5}) {
    const CGRect r = boundingRectWithSize("1\n2\n3\n4\n5", {kUnlimited, kUnlimited}, kLabelOptions, attrs(size));
    EXPECT_NEAR(r.size.height, 5 * UIFont::systemFontOfSize(size).lineHeight(), 5e-3) << size;
  }
}

TEST(TextDrawingTests, WithoutLineFragmentOriginTheRectOriginIsTheBaseline) {
  const UIFont font = UIFont::systemFontOfSize(18);
  const CGRect r = boundingRectWithSize(kLongText, {50, 10}, 0, attrs(18));
  EXPECT_NEAR(r.origin.y, -font.ascender(), 1e-3);
  EXPECT_NEAR(r.size.height, font.lineHeight(), 1e-3);
  EXPECT_GT(r.size.width, 300);  // one line, not wrapped at 50

  // Capitals without descenders stand on the baseline, y = 40, above the rectangle.
  auto image = render({200, 60}, [](CGContextRef) { drawWithRect("HOME", CGRectMake(0, 40, 200, 12), 0, attrs(18)); });
  const CGRect ink = inkBounds(*image);
  EXPECT_NEAR(CGRectGetMaxY(ink), 40, 1);
  EXPECT_GT(ink.origin.y, 40 - font.ascender() - 1);
}

TEST(TextDrawingTests, AlignmentPutsInkLeftCentreOrRight) {
  const CGRect box = CGRectMake(10, 5, 180, 30);
  auto inkFor = [&](NSTextAlignment a) {
    auto image = render({200, 40}, [&](CGContextRef) { drawWithRect("Hi there", box, kLabelOptions, attrs(16, a)); });
    keepForViewing(*image, "align_" + std::to_string(int(a)));
    return inkBounds(*image);
  };
  const CGRect left = inkFor(NSTextAlignmentLeft), centre = inkFor(NSTextAlignmentCenter), right = inkFor(NSTextAlignmentRight);
  const CGRect natural = inkFor(NSTextAlignmentNatural);
  EXPECT_LT(left.origin.x, 14);
  EXPECT_GT(CGRectGetMaxX(right), 186);
  EXPECT_LE(CGRectGetMaxX(right), 191);
  EXPECT_NEAR(CGRectGetMidX(centre), CGRectGetMidX(box), 2);
  EXPECT_EQ(natural, left);
  for (const CGRect& ink : {left, centre, right}) {
    EXPECT_GE(ink.origin.y, 5);  // the first line starts at the box's top
    EXPECT_LE(CGRectGetMaxY(ink), 5 + UIFont::systemFontOfSize(16).lineHeight() + 1);
  }
}

TEST(TextDrawingTests, TruncatedTextStaysInsideItsRect) {
  const double lh = UIFont::systemFontOfSize(14).lineHeight();
  // One line, tail truncation: the long text is cut with an ellipsis inside the box.
  const CGRect oneLine = CGRectMake(10, 10, 120, lh);
  auto tail = render({200, 80}, [&](CGContextRef) {
    drawWithRect(kLongText, oneLine, kLabelOptions, attrs(14, NSTextAlignmentLeft, NSLineBreakByTruncatingTail));
  });
  keepForViewing(*tail, "truncated_tail");
  CGRect ink = inkBounds(*tail);
  EXPECT_GE(ink.origin.x, 10);
  EXPECT_LE(CGRectGetMaxX(ink), 130);
  EXPECT_GT(CGRectGetMaxX(ink), 110);  // the ellipsis reaches towards the end
  EXPECT_LE(CGRectGetMaxY(ink), 10 + lh);

  // Wrapped text in a box two lines high: two lines, the second ending in "…".
  const CGRect twoLines = CGRectMake(10, 10, 120, 2 * lh + 3);
  auto wrapped = render({200, 80}, [&](CGContextRef) { drawWithRect(kLongText, twoLines, kLabelOptions, attrs(14)); });
  keepForViewing(*wrapped, "truncated_wrapped");
  ink = inkBounds(*wrapped);
  EXPECT_LE(CGRectGetMaxX(ink), 130);
  EXPECT_GT(CGRectGetMaxY(ink), 10 + lh);  // a second line
  EXPECT_LE(CGRectGetMaxY(ink), 10 + 2 * lh);
  EXPECT_NEAR(boundingRectWithSize(kLongText, twoLines.size, kLabelOptions, attrs(14)).size.height, 2 * lh, 1e-3);

  // Head and middle truncation keep the line, cut elsewhere.
  for (NSLineBreakMode mode : {NSLineBreakByTruncatingHead, NSLineBreakByTruncatingMiddle, NSLineBreakByClipping}) {
    auto image = render({200, 80}, [&](CGContextRef) { drawWithRect(kLongText, oneLine, kLabelOptions, attrs(14, NSTextAlignmentLeft, mode)); });
    ink = inkBounds(*image);
    EXPECT_GE(ink.origin.x, 10) << mode;
    EXPECT_LE(CGRectGetMaxX(ink), 130) << mode;
    EXPECT_LE(CGRectGetMaxY(ink), 10 + lh) << mode;
  }
}

// Pango holds sizes as whole 1/1024 points in an int: a larger size overflowed into a negative
// one that Pango refused with a critical warning, and Cairo leaked the failed font. Such sizes
// are laid out at the largest the engine takes.
TEST(TextDrawingTests, AFontTooLargeForTheTextEngineIsLaidOutAtTheLargestItTakes) {
  const CGRect largest = boundingRectWithSize("W", {kUnlimited, kUnlimited}, kLabelOptions, attrs(10000));
  for (double size : {3e6, 1e12, std::numeric_limits<double>::infinity()}) {
    const CGRect rect = boundingRectWithSize("W", {kUnlimited, kUnlimited}, kLabelOptions, attrs(size));
    EXPECT_EQ(rect.size.width, largest.size.width) << size;
  }
  EXPECT_GT(largest.size.width, 5000);
}

TEST(TextDrawingTests, LayoutIsTheSameAtEveryScale) {
  auto draw = [](CGContextRef) { drawWithRect(kLongText, CGRectMake(5, 5, 150, 100), kLabelOptions, attrs(13, NSTextAlignmentCenter)); };
  const CGRect at1 = inkBounds(*render({160, 110}, draw, 1));
  const CGRect at3 = inkBounds(*render({160, 110}, draw, 3));
  EXPECT_NEAR(at3.origin.x / 3, at1.origin.x, 1);
  EXPECT_NEAR(at3.origin.y / 3, at1.origin.y, 1);
  EXPECT_NEAR(CGRectGetMaxX(at3) / 3, CGRectGetMaxX(at1), 1);
  EXPECT_NEAR(CGRectGetMaxY(at3) / 3, CGRectGetMaxY(at1), 1);
}

TEST(TextDrawingTests, ColourAndContextAlphaReachTheGlyphs) {
  NSStringAttributes red = attrs(20);
  red.foregroundColor = UIColor::redColor();
  auto image = render({60, 30}, [&](CGContextRef c) {
    drawWithRect("M", CGRectMake(0, 0, 30, 30), kLabelOptions, red);
    CGContextSetAlpha(c, 0.5);
    drawWithRect("M", CGRectMake(30, 0, 30, 30), kLabelOptions, red);
  });
  CGPixel solid{}, faded{};
  for (std::size_t y = 0; y < 30; ++y) {
    for (std::size_t x = 0; x < 30; ++x) {
      if (image->pixelAt(x, y).alpha > solid.alpha) solid = image->pixelAt(x, y);
      if (image->pixelAt(x + 30, y).alpha > faded.alpha) faded = image->pixelAt(x + 30, y);
    }
  }
  EXPECT_EQ(solid, kRed);
  EXPECT_TRUE(near(faded, {128, 0, 0, 128}));
}

/// Ink per pixel column of a one-line picture.
std::vector<int> columnInk(const UIImage& image) {
  std::vector<int> ink(image.pixelWidth(), 0);
  for (std::size_t y = 0; y < image.pixelHeight(); ++y) {
    for (std::size_t x = 0; x < image.pixelWidth(); ++x) ink[x] += image.pixelAt(x, y).alpha;
  }
  return ink;
}

// At one pixel per point a glyph lands between pixels as its advances put it: a stem half a pixel
// on shares its ink between two columns instead of jumping a whole pixel, whole-pixel moves copy
// the picture exactly, and the ink is the same wherever it falls. Text on a turned context is
// still drawn (on whole pixels there).
TEST(TextDrawingTests, AtOnePixelPerPointGlyphsLandBetweenPixels) {
  auto stemAt = [](double x) {
    return columnInk(*render(
        {30, 24}, [x](CGContextRef) { drawWithRect("l", CGRectMake(x, 2, 20, 20), kLabelOptions, attrs(14)); }));
  };
  const auto at10 = stemAt(10), at11 = stemAt(11), atHalf = stemAt(10.5);
  for (std::size_t x = 1; x < at10.size(); ++x) EXPECT_EQ(at11[x], at10[x - 1]) << "column " << x;
  auto total = [](const std::vector<int>& ink) { return std::accumulate(ink.begin(), ink.end(), 0); };
  EXPECT_NEAR(total(atHalf), total(at10), total(at10) * 0.03);
  auto centre = [&](const std::vector<int>& ink) {
    double sum = 0;
    for (std::size_t x = 0; x < ink.size(); ++x) sum += static_cast<double>(x) * ink[x];
    return sum / total(ink);
  };
  EXPECT_NEAR(centre(atHalf) - centre(at10), 0.5, 0.1) << "the stem half a pixel on was put on a whole pixel";
  bool copiesAWholePixelMove = false;
  for (int shift = -1; shift <= 1; ++shift) {
    bool same = true;
    for (std::size_t x = 1; x + 1 < at10.size(); ++x) same = same && atHalf[x] == at10[x - shift];
    copiesAWholePixelMove = copiesAWholePixelMove || same;
  }
  EXPECT_FALSE(copiesAWholePixelMove);

  auto turned = render({30, 30}, [](CGContextRef c) {
    CGContextTranslateCTM(c, 15, 15);
    CGContextRotateCTM(c, M_PI / 2);
    drawWithRect("Hello", CGRectMake(-14, -8, 40, 20), kLabelOptions, attrs(12));
  });
  EXPECT_FALSE(CGRectIsNull(inkBounds(*turned)));
  // Text placed at no number or far beyond the bitmap draws nothing there.
  for (double x : {std::nan(""), 1e12, -1e12}) {
    EXPECT_TRUE(CGRectIsNull(inkBounds(*render(
        {30, 24}, [x](CGContextRef) { drawWithRect("l", CGRectMake(x, 2, 20, 20), kLabelOptions, attrs(14)); }))));
  }
}

TEST(TextDrawingTests, EachThreadMeasuresAndDrawsOnItsOwn) {
  const CGRect expected = boundingRectWithSize(kLongText, {120, kUnlimited}, kLabelOptions, attrs(15));
  const CGRect expectedInk = inkBounds(*render({130, 120}, [](CGContextRef) {
    drawWithRect(kLongText, CGRectMake(0, 0, 120, 120), kLabelOptions, attrs(15));
  }));
  std::vector<std::thread> threads;
  std::atomic<int> mismatches{0};
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20; ++i) {
        if (boundingRectWithSize(kLongText, {120, kUnlimited}, kLabelOptions, attrs(15)) != expected) ++mismatches;
        auto image = render({130, 120}, [](CGContextRef) {
          drawWithRect(kLongText, CGRectMake(0, 0, 120, 120), kLabelOptions, attrs(15));
        });
        if (inkBounds(*image) != expectedInk) ++mismatches;
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(mismatches.load(), 0);
}

TEST(AttributedStringTests, RunsSplitMergeAndReportTheirRanges) {
  NSStringAttributes base = attrs(12);
  auto text = std::make_shared<NSMutableAttributedString>("Hello world", base);
  NSStringAttributes red;
  red.foregroundColor = UIColor::redColor();
  text->addAttributes(red, NSMakeRange(6, 5));
  NSRange range;
  NSStringAttributes at7 = text->attributesAtIndex(7, &range);
  EXPECT_EQ(range, NSMakeRange(6, 5));
  EXPECT_EQ(at7.foregroundColor, UIColor::redColor());
  EXPECT_EQ(at7.font, base.font);  // added to, not replaced
  EXPECT_EQ(text->attributesAtIndex(0, &range).foregroundColor, std::nullopt);
  EXPECT_EQ(range, NSMakeRange(0, 6));

  // Removing the colour again merges the runs back into one.
  text->removeAttribute(NSForegroundColorAttributeName, NSMakeRange(0, 100));
  ASSERT_EQ(text->runs().size(), 1u);
  EXPECT_EQ(text->runs()[0].range, NSMakeRange(0, 11));
  text->removeAttribute(NSFontAttributeName, NSMakeRange(2, 3));
  EXPECT_EQ(text->runs().size(), 3u);
  EXPECT_FALSE(text->attributesAtIndex(3, nullptr).font.has_value());

  // A copy is independent of its original.
  auto copy = text->mutableCopy();
  copy->setAttributes({}, NSMakeRange(0, copy->length()));
  EXPECT_EQ(copy->runs().size(), 1u);
  EXPECT_EQ(text->runs().size(), 3u);

  EXPECT_THROW(text->attributesAtIndex(11, nullptr), std::out_of_range);
  EXPECT_THROW(NSAttributedString().attributesAtIndex(0, nullptr), std::out_of_range);
}

TEST(AttributedStringTests, RunsDrawInTheirOwnColours) {
  NSStringAttributes left = attrs(20), right = attrs(20);
  left.foregroundColor = UIColor::redColor();
  right.foregroundColor = UIColor::blueColor();
  NSMutableAttributedString text("MMMM", left);
  text.appendAttributedString(NSAttributedString("MMMM", right));
  ASSERT_EQ(text.runs().size(), 2u);
  NSMutableParagraphStyle centred;
  centred.setAlignment(NSTextAlignmentCenter);
  NSStringAttributes paragraph;
  paragraph.paragraphStyle = centred;
  text.addAttributes(paragraph, NSMakeRange(0, 1));  // the first character's style lays out the text
  auto image = render({300, 30}, [&](CGContextRef) { text.drawWithRect(CGRectMake(0, 0, 300, 30), kLabelOptions); });
  keepForViewing(*image, "attributed_runs");
  const CGRect ink = inkBounds(*image);
  EXPECT_NEAR(CGRectGetMidX(ink), 150, 3);
  int reds = 0, blues = 0;
  for (std::size_t y = 0; y < 30; ++y) {
    for (std::size_t x = 0; x < 300; ++x) {
      const CGPixel p = image->pixelAt(x, y);
      if (p.alpha < 200) continue;
      if (x < 150) reds += p.red > 200 && p.blue == 0;
      if (x > 150) blues += p.blue > 200 && p.red == 0;
    }
  }
  EXPECT_GT(reds, 30);
  EXPECT_GT(blues, 30);
}

TEST(AttributedStringTests, LayoutManagerDrawsTheLinesItsContainerHolds) {
  const double lh = UIFont::systemFontOfSize(14).lineHeight();
  auto storage = std::make_shared<NSTextStorage>(kLongText, attrs(14));
  auto manager = std::make_shared<NSLayoutManager>();
  auto container = std::make_shared<NSTextContainer>(CGSizeMake(130, 2 * lh));
  manager->addTextContainer(container);
  storage->addLayoutManager(manager);
  ASSERT_EQ(storage->layoutManagers().size(), 1u);
  EXPECT_EQ(manager->textStorage(), storage);

  const NSRange glyphs = manager->glyphRangeForTextContainer(container);
  EXPECT_EQ(glyphs.location, 0u);
  EXPECT_GT(glyphs.length, 10u);
  EXPECT_LT(glyphs.length, storage->length());  // two lines hold only part of the text
  EXPECT_EQ(manager->glyphRangeForTextContainer(std::make_shared<NSTextContainer>()), NSRange{});

  auto image = render({200, 80}, [&](CGContextRef) {
    manager->drawBackgroundForGlyphRange(glyphs, {20, 10});
    manager->drawGlyphsForGlyphRange(glyphs, {20, 10});
  });
  const CGRect ink = inkBounds(*image);
  EXPECT_GE(ink.origin.x, 25);  // line fragment padding of 5
  EXPECT_LE(CGRectGetMaxX(ink), 20 + 130 - 5 + 1);
  EXPECT_GE(ink.origin.y, 10);
  EXPECT_LE(CGRectGetMaxY(ink), 10 + 2 * lh + 1);
}

}  // namespace
}  // namespace zerva
