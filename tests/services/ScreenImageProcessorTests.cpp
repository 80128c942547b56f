#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>

#include <algorithm>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/NSLog.h"
#include "platform/NSStringDrawing.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "services/AITextOcclusionData.h"
#include "services/ScreenImageProcessor.h"
#include "services/ZRLogUtility.h"

namespace zerva {
namespace {

// One string drawn into a test frame, on a white ground or (lightOnDark) on a dark band.
struct Text {
  std::string text;
  CGPoint origin;
  double size;
  bool bold = false;
  bool lightOnDark = false;
};

NSStringAttributes attributes(const Text& t) {
  NSStringAttributes a;
  a.font = t.bold ? UIFont::boldSystemFontOfSize(t.size) : UIFont::systemFontOfSize(t.size);
  a.foregroundColor = t.lightOnDark ? UIColor::whiteColor() : UIColor::colorWithWhite(0.15, 1);
  return a;
}

CGRect layoutRect(const Text& t) {
  const CGRect r = boundingRectWithSize(t.text, {0, 0}, NSStringDrawingUsesLineFragmentOrigin, attributes(t));
  return CGRectMake(t.origin.x, t.origin.y, r.size.width, r.size.height);
}

// Dark bands (in points) are painted first; then the texts.
std::shared_ptr<UIImage> drawFrame(CGSize size, double scale, const std::vector<Text>& texts,
                                   const std::vector<CGRect>& darkBands = {}) {
  UIGraphicsImageRendererFormat format;
  format.setScale(scale);
  format.setOpaque(true);
  return UIGraphicsImageRenderer(size, format).imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
    CGContextSetRGBFillColor(ctx.CGContext(), 1, 1, 1, 1);
    CGContextFillRect(ctx.CGContext(), CGRectMake(0, 0, size.width, size.height));
    CGContextSetRGBFillColor(ctx.CGContext(), 0.12, 0.16, 0.3, 1);
    for (const auto& band : darkBands) CGContextFillRect(ctx.CGContext(), band);
    for (const auto& t : texts) drawWithRect(t.text, layoutRect(t), NSStringDrawingUsesLineFragmentOrigin, attributes(t));
  });
}

// The box, in points, of the text's inked pixels.
CGRect inkBox(const UIImage& image, const Text& t) {
  const CGRect area = layoutRect(t);
  const double s = image.scale();
  int x0 = INT32_MAX, y0 = INT32_MAX, x1 = -1, y1 = -1;
  for (int y = static_cast<int>(area.origin.y * s); y < static_cast<int>(CGRectGetMaxY(area) * s); ++y) {
    for (int x = static_cast<int>(area.origin.x * s); x < static_cast<int>(CGRectGetMaxX(area) * s); ++x) {
      const CGPixel p = image.pixelAt(x, y);
      const int grey = (p.red + p.green + p.blue) / 3;
      if (t.lightOnDark ? grey > 128 : grey < 128) {
        x0 = std::min(x0, x), y0 = std::min(y0, y), x1 = std::max(x1, x), y1 = std::max(y1, y);
      }
    }
  }
  return CGRectMake(x0 / s, y0 / s, (x1 + 1 - x0) / s, (y1 + 1 - y0) / s);
}

std::vector<CGRect> rectsOf(const std::vector<std::string>& strings) {
  std::vector<CGRect> out;
  for (const auto& s : strings) out.push_back(CGRectFromString(s));
  return out;
}

bool covered(const std::vector<CGRect>& rects, CGRect ink) {
  return std::any_of(rects.begin(), rects.end(), [&](CGRect r) { return CGRectContainsRect(CGRectInset(r, -0.5, -0.5), ink); });
}

bool touched(const std::vector<CGRect>& rects, CGRect ink) {
  return std::any_of(rects.begin(), rects.end(), [&](CGRect r) { return CGRectIntersectsRect(r, ink); });
}

// Answers one record synchronously: waits on the completion, not on time.
std::vector<std::string> answer(ScreenImageProcessor& processor, AITextOcclusionData record) {
  std::optional<std::vector<std::string>> result;
  processor.processImage(std::move(record), [&](std::vector<std::string> rects) { result = std::move(rects); });
  processor.drain();
  EXPECT_TRUE(result.has_value());
  return result.value_or(std::vector<std::string>{});
}

AITextOcclusionData recognize(std::shared_ptr<UIImage> image, std::vector<std::string> customWords = {}) {
  AITextOcclusionData record(std::move(image), 1.0, AITextProcessingTypeRecognize, 2, 1);
  record.setRecognitionLanguages(std::vector<std::string>{"eng"});
  record.setCustomWords(std::move(customWords));
  return record;
}

const CGSize kFrameSize{320, 270};
const CGRect kDarkBand = CGRectMake(0, 160, 320, 70);
const std::vector<Text> kSensitive{
    {"4111 1111 1111 1111", {20, 40}, 15},
    {"jane.doe@example.com", {20, 70}, 13},
    {"+1 (415) 555-0132", {20, 98}, 17, true},
    {"Falcon", {112, 130}, 14},
    {"5555-5555-5555-4444", {20, 172}, 14, false, true},
};
const std::vector<Text> kOrdinary{
    {"Welcome back", {20, 8}, 17, true},
    {"Codename", {20, 130}, 14},
    {"Sign in to continue", {20, 200}, 14, false, true},
    {"Save changes", {20, 240}, 15},
};

std::vector<Text> allTexts() {
  std::vector<Text> all = kSensitive;
  all.insert(all.end(), kOrdinary.begin(), kOrdinary.end());
  return all;
}

TEST(ScreenImageProcessor, CoversSensitiveTextAndLeavesOrdinaryWordsAtEveryScale) {
  ScreenImageProcessor processor;
  for (double scale : {1.0, 2.0}) {
    SCOPED_TRACE(scale);
    const auto image = drawFrame(kFrameSize, scale, allTexts(), {kDarkBand});
    const auto rects = rectsOf(answer(processor, recognize(image, {"falcon"})));
    for (const auto& t : kSensitive) EXPECT_TRUE(covered(rects, inkBox(*image, t))) << t.text;
    for (const auto& t : kOrdinary) {
      // "Codename" sits one space before the custom word; only its right edge may be near.
      const CGRect ink = t.text == "Codename" ? CGRectInset(inkBox(*image, t), 2, 0) : inkBox(*image, t);
      EXPECT_FALSE(touched(rects, ink)) << t.text;
    }
    for (const auto& r : rects) EXPECT_TRUE(CGRectContainsRect(CGRectMake(0, 0, 320, 270), r));
  }
}

TEST(ScreenImageProcessor, RereadsChangedRowsOnlyAndDropsWordsThatWentAway) {
  ScreenImageProcessor::Options options;
  options.secondLook = false;  // its finer copies of lines would add converted rows
  ScreenImageProcessor processor(options);
  const Text email{"jane.doe@example.com", {20, 20}, 14};
  const Text card{"4111 1111 1111 1111", {20, 120}, 14};
  const Text plain{"Delivery on Tuesday", {20, 120}, 14};
  const auto before = drawFrame({300, 200}, 2, {email, plain});
  const auto after = drawFrame({300, 200}, 2, {email, card});

  auto rects = rectsOf(answer(processor, recognize(before)));
  EXPECT_TRUE(covered(rects, inkBox(*before, email)));
  EXPECT_EQ(rects.size(), 1u);

  const auto statsBefore = processor.statistics();
  rects = rectsOf(answer(processor, recognize(after)));
  EXPECT_TRUE(covered(rects, inkBox(*after, email)));  // reused from the first frame
  EXPECT_TRUE(covered(rects, inkBox(*after, card)));   // read again
  // A band, not the 200 rows: converted to grey and read.
  const auto statsAfter = processor.statistics();
  EXPECT_LT(statsAfter.recognizedRows - statsBefore.recognizedRows, 100u);
  EXPECT_EQ(statsAfter.convertedRows - statsBefore.convertedRows, statsAfter.recognizedRows - statsBefore.recognizedRows);

  rects = rectsOf(answer(processor, recognize(before)));
  EXPECT_EQ(rects.size(), 1u);
  EXPECT_FALSE(touched(rects, inkBox(*after, card)));
  EXPECT_EQ(processor.statistics().enginesCreated, 1u);
}

// A list scrolled under a fixed header: the words that moved are moved, not read again; only
// the rows that came in are read.
TEST(ScreenImageProcessor, ScrolledContentIsMovedAndOnlyTheNewRowsRead) {
  const std::vector<std::string> items{"Meeting notes", "jane.doe@example.com", "Lunch on Friday",
                                       "7730021945",    "Weekly report",        "See you soon",
                                       "+1 (415) 555-0142", "Holiday photos",   "4111 1111 1111 1111"};
  auto listAt = [&](double offset) {
    std::vector<Text> texts;
    for (std::size_t i = 0; i < items.size(); ++i) texts.push_back({items[i], {20, 60 + 32.0 * i - offset}, 14});
    return texts;
  };
  auto frame = [&](double offset) {
    UIGraphicsImageRendererFormat format;
    format.setScale(2);
    format.setOpaque(true);
    return UIGraphicsImageRenderer({280, 300}, format).imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
      auto c = ctx.CGContext();
      CGContextSetRGBFillColor(c, 1, 1, 1, 1);
      CGContextFillRect(c, CGRectMake(0, 0, 280, 300));
      CGContextSaveGState(c);
      CGContextClipToRect(c, CGRectMake(0, 44, 280, 256));
      for (const auto& t : listAt(offset)) drawWithRect(t.text, layoutRect(t), NSStringDrawingUsesLineFragmentOrigin, attributes(t));
      CGContextRestoreGState(c);
      const Text header{"Inbox", {20, 12}, 17, true};
      drawWithRect(header.text, layoutRect(header), NSStringDrawingUsesLineFragmentOrigin, attributes(header));
    });
  };
  ScreenImageProcessor processor;
  (void)answer(processor, recognize(frame(0)));
  const auto rowsBefore = processor.statistics().recognizedRows;
  const auto scrolled = frame(64);
  const auto rects = rectsOf(answer(processor, recognize(scrolled)));
  const auto moved = listAt(64);
  EXPECT_TRUE(covered(rects, inkBox(*scrolled, moved[3])));  // moved up from the first frame
  EXPECT_TRUE(covered(rects, inkBox(*scrolled, moved[6])));
  EXPECT_TRUE(covered(rects, inkBox(*scrolled, moved[8])));  // came in at the bottom
  EXPECT_FALSE(touched(rects, inkBox(*scrolled, moved[4])));
  EXPECT_EQ(rects.size(), 3u);  // the e-mail address went under the header
  EXPECT_LT(processor.statistics().recognizedRows - rowsBefore, 150u);  // not the whole frame
}

TEST(ScreenImageProcessor, AnswersEmptyWithoutRecognisingForTypeThreeAndMissingImages) {
  ScreenImageProcessor processor;
  const auto image = drawFrame({200, 40}, 1, {{"Card 4111 1111 1111 1111", {5, 10}, 14}});
  EXPECT_TRUE(answer(processor, AITextOcclusionData(image, 3.0, AITextProcessingTypeNone, 2, 1)).empty());
  EXPECT_TRUE(answer(processor, AITextOcclusionData(nullptr, 1.0, AITextProcessingTypeRecognize, 2, 1)).empty());
  const auto emptyImage = std::make_shared<UIImage>(nullptr, 1.0);
  EXPECT_TRUE(answer(processor, AITextOcclusionData(emptyImage, 1.0, AITextProcessingTypeRecognize, 2, 1)).empty());
  const auto stats = processor.statistics();
  EXPECT_EQ(stats.records, 3u);
  EXPECT_EQ(stats.enginesCreated, 0u);
  EXPECT_EQ(stats.recognitions, 0u);
}

TEST(ScreenImageProcessor, BurstIsAnsweredOnceEachInOrderOnItsWorkerEvenWhenReleased) {
  const auto image = drawFrame({220, 40}, 2, {{"Member 00482913", {5, 10}, 15}});
  std::mutex mutex;
  std::vector<int> order;
  std::vector<std::size_t> counts;
  std::vector<std::thread::id> threads;
  std::optional<ScreenImageProcessor::Statistics> stats;
  {
    ScreenImageProcessor processor;
    for (int i = 0; i < 20; ++i) {
      // Mixed work: recognised frames (the same picture: reused after the first), type 3 and nil.
      const long type = i % 3 == 1 ? AITextProcessingTypeNone : AITextProcessingTypeRecognize;
      AITextOcclusionData record(i % 5 == 4 ? nullptr : image, i, type, 2, 1);
      processor.processImage(std::move(record), [&, i](std::vector<std::string> rects) {
        std::lock_guard lock(mutex);
        order.push_back(i);
        counts.push_back(rects.size());
        threads.push_back(std::this_thread::get_id());
      });
    }
    processor.drain();
    stats = processor.statistics();
    for (int i = 20; i < 23; ++i) {
      processor.processImage(recognize(image), [&, i](std::vector<std::string>) {
        std::lock_guard lock(mutex);
        order.push_back(i);
      });
    }
  }  // released with three records pending: they are answered first

  std::vector<int> expected(23);
  for (int i = 0; i < 23; ++i) expected[i] = i;
  EXPECT_EQ(order, expected);
  for (int i = 0; i < 20; ++i) {
    const bool recognised = i % 3 != 1 && i % 5 != 4;
    EXPECT_EQ(counts[i], recognised ? 1u : 0u) << i;
    EXPECT_NE(threads[i], std::this_thread::get_id());
    EXPECT_EQ(threads[i], threads[0]);
  }
  EXPECT_EQ(stats->recognitions, 1u);
  EXPECT_EQ(stats->reusedFrames, 10u);
}

TEST(ScreenImageProcessor, LanguageWithoutModelsIsLoggedOnceAndEnglishUsed) {
  ZRLogUtility::reset();
  ZRLogUtility::setIntegrationLoggingEnabled(true);
  NSLogCapture log;
  ScreenImageProcessor processor;
  const auto image = drawFrame({240, 40}, 2, {{"Reference 12345678", {5, 10}, 15}});
  for (int i = 0; i < 2; ++i) {
    auto record = recognize(image);
    record.setRecognitionLanguages(std::vector<std::string>{"xqz", "eng"});
    EXPECT_EQ(answer(processor, std::move(record)).size(), 1u);
  }
  EXPECT_EQ(log.count("\"xqz\""), 1u);
  EXPECT_EQ(ZRLogUtility::recordedTagsNamed("TextRecognitionLanguageMissing").size(), 1u);
  EXPECT_EQ(processor.statistics().enginesCreated, 1u);
  ZRLogUtility::reset();
}

// The engine's image library writes its complaints to standard error, the app's; they go to the
// log instead.
TEST(ScreenImageProcessor, TheImageLibrarysMessagesGoToTheLogNotToStandardError) {
  ZRLogUtility::reset();
  ScreenImageProcessor processor;
  (void)answer(processor, recognize(drawFrame({120, 30}, 1, {{"Ref 123456", {5, 5}, 14}})));  // engine made
  using ReadImage = void* (*)(const char*);
  const auto read = reinterpret_cast<ReadImage>(dlsym(RTLD_DEFAULT, "pixRead"));
  ASSERT_NE(read, nullptr);
  std::fflush(stderr);
  const int saved = dup(2);
  FILE* capture = std::tmpfile();
  dup2(fileno(capture), 2);
  EXPECT_EQ(read("/nonexistent/zerva-text-recognition.png"), nullptr);
  std::fflush(stderr);
  dup2(saved, 2);
  close(saved);
  std::fseek(capture, 0, SEEK_END);
  EXPECT_EQ(std::ftell(capture), 0);
  std::fclose(capture);
  const auto tags = ZRLogUtility::recordedTagsNamed("TextRecognitionLibraryMessage");
  ASSERT_FALSE(tags.empty());
  EXPECT_NE(tags.back().properties["message"].get<std::string>().find("pixRead"), std::string::npos);
  ZRLogUtility::reset();
}

// The engine's OpenMP limit belongs to the thread that sets it: every processor's worker must
// set its own, or recognition there runs several times slower.
TEST(ScreenImageProcessor, EveryWorkerRunsTheEngineOnOneThread) {
  using GetLevels = int (*)();
  const auto get = reinterpret_cast<GetLevels>(dlsym(RTLD_DEFAULT, "omp_get_max_active_levels"));
  if (!get) GTEST_SKIP() << "the engine's library brings no OpenMP runtime";
  const auto image = drawFrame({120, 30}, 1, {{"Ref 123456", {5, 5}, 14}});
  for (int i = 0; i < 2; ++i) {
    ScreenImageProcessor processor;
    std::optional<int> levels;
    processor.processImage(recognize(image), [&](std::vector<std::string>) { levels = get(); });
    processor.drain();
    EXPECT_EQ(levels, 0) << "processor " << i;
  }
}

}  // namespace
}  // namespace zerva
