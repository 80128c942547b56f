// A bounded part of the broad evaluation set (TextRecognitionSamples.h): two strings of each
// sensitive kind and a dozen ordinary ones, at 12 to 20 points, on every ground, each ground at
// one of the capture scales. bench_text_recognition reads the whole set.

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "platform/CGContext.h"
#include "platform/CGGeometry.h"
#include "platform/NSStringDrawing.h"
#include "platform/UIColor.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "services/AITextOcclusionData.h"
#include "services/ScreenImageProcessor.h"
#include "services/TextRecognitionSamples.h"
#include "services/ZRGreyImage.h"
#include "services/ZRSensitiveTextMatcher.h"
#include "services/ZRTextRecognizer.h"

namespace zerva {
namespace {

using namespace textsamples;

std::vector<Sample> part() {
  const std::vector<std::string> values{
      "4111 1111 1111 1111", "3782 822463 10005", "jane.appleseed@example.com", "support+billing@shop.example.org",
      "+44 20 7946 0958", "(212) 555-0187", "\u201CFalcon\u201D", "Falcon\u2019s", "00482913", "1Z999AA10123456784",
      "2024-03-15", "15.03.2024", "9:41 AM", "$1,234.56", "4111 1111 1111 1112", "ORD-2291-7745", "10.2.3",
      "v4.15.2 (build 1203)", "192.168.100.200", "Falconry club", "Orions and bluebirds", "12.5 km"};
  std::vector<Sample> out;
  for (const auto& value : values) {
    const auto it = std::find_if(allSamples().begin(), allSamples().end(), [&](const Sample& s) { return s.value == value; });
    if (it != allSamples().end()) out.push_back(*it);
  }
  return out;
}

std::string describe(const Row& row, Ground ground, double scale) {
  return "\"" + row.sample.value + "\" (" + row.sample.label + ") on " + groundName(ground) + ", " +
         std::to_string(static_cast<int>(row.size)) + " pt" + (row.bold ? " bold" : "") + ", " +
         std::to_string(static_cast<int>(scale)) + "x";
}

TEST(TextRecognitionEvaluation, SensitiveStringsAreCoveredAndOrdinaryOnesLeftOnEveryGround) {
  const auto samples = part();
  ASSERT_EQ(samples.size(), 22u);
  const std::vector<double> sizes{12, 13, 14, 16, 18, 20};
  ScreenImageProcessor::Options options;
  options.reuseUnchangedRows = false;
  ScreenImageProcessor processor(options);
  int sensitive = 0;
  for (std::size_t g = 0; g < allGrounds().size(); ++g) {
    const Ground ground = allGrounds()[g];
    const double scale = 1.0 + static_cast<double>(g % 3);
    for (const auto& screen : layoutScreens(ground, samples, sizes, static_cast<int>(g))) {
      const auto drawn = drawScreen(screen, scale), grounds = drawScreen(screen, scale, false);
      AITextOcclusionData record(drawn, 1.0, AITextProcessingTypeRecognize, 2, 1);
      record.setCustomWords(customWords());
      std::optional<std::vector<CGRect>> rects;
      processor.processImage(std::move(record), [&](std::vector<std::string> strings) {
        rects.emplace();
        for (const auto& s : strings) rects->push_back(CGRectFromString(s));
      });
      processor.drain();
      ASSERT_TRUE(rects.has_value());
      for (const auto& outcome : judge(screen, *drawn, *grounds, *rects)) {
        const std::string what = describe(*outcome.row, ground, scale);
        if (outcome.sensitive) {
          ++sensitive;
          std::string near;
          for (const auto& r : *rects) {
            if (CGRectIntersectsRect(r, CGRectInset(outcome.inkBox, -4, -4))) near += " " + NSStringFromCGRect(r);
          }
          EXPECT_TRUE(outcome.covered) << "visible: " << what << ", ink " << NSStringFromCGRect(outcome.inkBox)
                                       << ", rectangles" << near;
        } else {
          EXPECT_FALSE(outcome.valueTouched) << "hidden: " << what;
        }
        EXPECT_FALSE(outcome.labelTouched) << "label hidden: " << what;
      }
    }
  }
  EXPECT_EQ(sensitive, 10 * static_cast<int>(allGrounds().size()));
}

// A feed's grey 14-point caption drawn at one pixel per point, as frames are, and read enlarged
// to two: "Corner" and "morning" keep their "rn" apart wherever the caption falls between
// pixels. With glyphs put on whole pixels they read "Comer" and "moming" at any enlargement.
TEST(TextRecognitionEvaluation, ASmallGreyCaptionAtOnePixelPerPointReadsAsWrittenWhereverItFalls) {
  auto recognizer = ZRTextRecognizer::create("eng");
  ASSERT_TRUE(recognizer) << recognizer.error().localizedDescription();
  NSStringAttributes caption;
  caption.font = UIFont::systemFontOfSize(14);
  caption.foregroundColor = UIColor::colorWithRed(0x8E / 255.0, 0x8E / 255.0, 0x93 / 255.0, 1);
  const std::string text = "Card payment to Coffee Corner, Main Street branch, this morning";
  for (double offset = 0; offset < 1; offset += 0.25) {
    UIGraphicsImageRendererFormat format;
    format.setScale(1);
    auto image =
        UIGraphicsImageRenderer(CGSizeMake(280, 56), format).imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
          CGContextSetRGBFillColor(ctx.CGContext(), 1, 1, 1, 1);
          CGContextFillRect(ctx.CGContext(), CGRectMake(0, 0, 280, 56));
          drawWithRect(text, CGRectMake(10 + offset, 8 + offset, 250, 40), NSStringDrawingUsesLineFragmentOrigin,
                       caption);
        });
    const ZRGreyImage grey = ZRGreyImage::fromImage(*image, 2.0).withTextOnWhite();
    std::string read;
    for (const auto& line :
         (*recognizer)->recognize(grey, {0, 0, grey.width(), grey.height()}, ZRTextRecognizer::Layout::Auto)) {
      for (const auto& word : line.words) read += word.text + " ";
    }
    EXPECT_NE(read.find("Corner"), std::string::npos) << "offset " << offset << ": " << read;
    EXPECT_NE(read.find("morning"), std::string::npos) << "offset " << offset << ": " << read;
  }
}

// The set itself: each card passes Luhn and each order number fails it, and the matcher alone,
// given each string as written, finds exactly the sensitive ones, each whole.
TEST(TextRecognitionEvaluation, TheSetSaysWhatItMeans) {
  const ZRSensitiveTextMatcher matcher(customWords());
  for (const auto& s : allSamples()) {
    SCOPED_TRACE(s.value);
    std::string digits;
    for (char c : s.value) {
      if (c >= '0' && c <= '9') digits.push_back(c);
    }
    if (s.kind == Kind::Card) {
      EXPECT_TRUE(ZRSensitiveTextMatcher::passesLuhn(digits));
    }
    if (s.label == "Order" && s.kind == Kind::Ordinary && digits.size() >= 13) {
      EXPECT_FALSE(ZRSensitiveTextMatcher::passesLuhn(digits));
    }
    // As the engine gives a line: words, the label's first.
    std::vector<std::string> words{s.label + ":"};
    std::vector<std::size_t> starts{0};
    std::size_t offset = words[0].size() + 1;
    for (std::size_t at = 0; at < s.value.size();) {
      const std::size_t end = std::min(s.value.find(' ', at), s.value.size());
      words.push_back(s.value.substr(at, end - at));
      starts.push_back(offset + at);
      at = end + 1;
    }
    std::vector<bool> covered(words.size(), false);
    for (const auto& run : matcher.matchesInWords(words)) {
      for (std::size_t w = run.firstWord; w <= run.lastWord; ++w) covered[w] = true;
    }
    EXPECT_FALSE(covered[0]) << "the label is hidden too";
    const std::string& hidden = s.hidden.empty() ? s.value : s.hidden;
    const std::size_t hiddenAt = offset + s.value.find(hidden);
    for (std::size_t w = 1; w < words.size(); ++w) {
      const bool isHidden = starts[w] < hiddenAt + hidden.size() && starts[w] + words[w].size() > hiddenAt;
      EXPECT_EQ(covered[w], s.kind != Kind::Ordinary && isHidden) << words[w];
    }
  }
}

}  // namespace
}  // namespace zerva
