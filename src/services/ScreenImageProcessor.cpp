#include "services/ScreenImageProcessor.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <map>
#include <optional>
#include <set>

#include "platform/CGGeometry.h"
#include "platform/NSLog.h"
#include "platform/UIImage.h"
#include "services/ZRFrameRows.h"
#include "services/ZRGreyImage.h"
#include "services/ZRLogUtility.h"
#include "services/ZRSensitiveTextMatcher.h"

namespace zerva {

namespace {

constexpr const char* kEnglish = "eng";
constexpr const char* kLogPrefix = "[Zerva: Screen Recording] ";
// Changed rows are widened by this much, in points, so that a band holds whole lines even when
// only part of a line's glyphs changed.
constexpr double kBandPaddingPoints = 8;
// Above this share of rows to read, one pass over the whole frame is cheaper than bands.
constexpr double kWholeFrameShare = 0.5;
// A line read again is read at this many times the resolution: small digits (a 1 and a 2, at
// 12 points and 1 pixel per point) are told apart there.
constexpr double kSecondLookScale = 2;
constexpr double kThirdLookScale = 3;

void logUserLine(const std::string& line) {
  if (ZRLogUtility::isIntegrationLoggingEnabled()) NSLog(kLogPrefix + line);
}

bool boxesShareRows(const ZRPixelBox& a, const ZRPixelBox& b) { return a.top < b.bottom && b.top < a.bottom; }

}  // namespace

struct ScreenImageProcessor::Worker {
  explicit Worker(Options o) : options(o) {}

  std::vector<std::string> process(const AITextOcclusionData& record);

  // Worker thread only.
  ZRTextRecognizer* engine(const std::string& languages);
  ZRTextRecognizer* engineFor(const std::optional<std::vector<std::string>>& requested);
  std::vector<ZRRecognizedLine> recognize(ZRTextRecognizer& engine, const UIImage& image);
  // Reads a line again at a finer resolution, and where the two readings disagree on what
  // matches, at a finer one still to decide.
  void lookAgain(ZRTextRecognizer& engine, const UIImage& image, ZRRecognizedLine& line,
                 const ZRSensitiveTextMatcher& matcher);
  // The line read again at `scale` times the resolution, in the first copy's pixels.
  ZRRecognizedLine readFiner(ZRTextRecognizer& engine, const UIImage& image, const ZRRecognizedLine& line, double scale);

  const Options options;

  std::atomic<std::uint64_t> records{0}, recognizedFrames{0}, reusedFrames{0}, recognitions{0}, recognizedRows{0},
      convertedRows{0}, secondLooks{0}, enginesCreated{0};

  // Worker thread only. A failed engine stays as nullptr so that it is not tried on every frame.
  std::map<std::string, std::unique_ptr<ZRTextRecognizer>> engines;
  std::optional<std::set<std::string>> installedLanguages;
  std::set<std::string> reportedMissing;
  // The previous type-1 frame: its capture rows, scale and languages, and the lines of words
  // found in it (in grey-copy pixels).
  struct {
    bool valid = false;
    ZRFrameRows rows;
    double scale = 0;
    std::string languages;
    std::vector<ZRRecognizedLine> lines;
  } previous;
};

ZRTextRecognizer* ScreenImageProcessor::Worker::engine(const std::string& languages) {
  auto [it, inserted] = engines.try_emplace(languages);
  if (inserted) {
    auto created = ZRTextRecognizer::create(languages);
    if (created) {
      it->second = std::move(*created);
      ++enginesCreated;
    } else {
      const std::string reason = created.error().localizedDescription();
      logUserLine("Text recognition: cannot load the models for \"" + languages + "\" (" + reason + ")");
      ZRLogUtility::addInternalErrorTag("TextRecognitionEngineFailed", {{"languages", languages}, {"reason", reason}});
    }
  }
  return it->second.get();
}

ZRTextRecognizer* ScreenImageProcessor::Worker::engineFor(const std::optional<std::vector<std::string>>& requested) {
  ZRTextRecognizer* english = engine(kEnglish);
  if (!installedLanguages && english) {
    const auto names = english->installedLanguages();
    installedLanguages.emplace(names.begin(), names.end());
  }
  std::vector<std::string> wanted;
  for (const auto& code : requested.value_or(std::vector<std::string>{})) {
    if (code.empty() || std::find(wanted.begin(), wanted.end(), code) != wanted.end()) continue;
    if (installedLanguages && !installedLanguages->contains(code)) {
      if (reportedMissing.insert(code).second) {
        logUserLine("Text recognition: no models installed for language \"" + code + "\"; it is left out (English when no other language is left)");
        ZRLogUtility::addInternalWarningTag("TextRecognitionLanguageMissing", {{"language", code}});
      }
      continue;
    }
    wanted.push_back(code);
  }
  if (wanted.empty()) return english;
  std::string key;
  for (const auto& code : wanted) key += (key.empty() ? "" : "+") + code;
  if (ZRTextRecognizer* e = engine(key)) return e;
  return english;
}

namespace {

// Bands of grey rows to read: the rows marked, widened by `pad`, then over every line they touch
// (those lines are read again whole, and dropped from `lines`), merged where they meet.
std::vector<ZRPixelBox> bandsToRead(const std::vector<bool>& marked, std::vector<ZRRecognizedLine>& lines, int width,
                                    int pad) {
  const int height = static_cast<int>(marked.size());
  std::vector<ZRPixelBox> bands;
  for (int y = 0; y < height; ++y) {
    if (!marked[y]) continue;
    int end = y;
    while (end < height && marked[end]) ++end;
    bands.push_back({0, std::max(0, y - pad), width, std::min(height, end + pad)});
    y = end;
  }
  for (bool moved = true; moved;) {
    moved = false;
    for (auto& band : bands) {
      for (const auto& line : lines) {
        if (!boxesShareRows(band, line.box)) continue;
        const int top = std::min(band.top, std::max(0, line.box.top - pad));
        const int bottom = std::max(band.bottom, std::min(height, line.box.bottom + pad));
        if (top != band.top || bottom != band.bottom) {
          band.top = top;
          band.bottom = bottom;
          moved = true;
        }
      }
    }
    std::vector<ZRPixelBox> merged;
    for (const auto& band : bands) {
      if (!merged.empty() && band.top <= merged.back().bottom) {
        merged.back().bottom = std::max(merged.back().bottom, band.bottom);
        moved = true;
      } else {
        merged.push_back(band);
      }
    }
    bands = std::move(merged);
  }
  std::erase_if(lines, [&](const ZRRecognizedLine& line) {
    return std::any_of(bands.begin(), bands.end(), [&](const ZRPixelBox& b) { return boxesShareRows(b, line.box); });
  });
  return bands;
}

// A line's words as the matcher takes them, with the spaces between them in heights of the
// line's tallest word (about an em): the matcher tells a split word from a space by them.
std::vector<ZRSensitiveTextMatcher::Word> wordsOf(const ZRRecognizedLine& line) {
  int height = 1;
  for (const auto& word : line.words) height = std::max(height, word.box.height());
  std::vector<ZRSensitiveTextMatcher::Word> words;
  for (std::size_t w = 0; w < line.words.size(); ++w) {
    const auto& word = line.words[w];
    const float gap = w == 0 ? ZRSensitiveTextMatcher::kSpaceGap : static_cast<float>(word.spaceBefore) / height;
    words.push_back({word.text, word.confidence, gap});
  }
  return words;
}

std::size_t wordsMatched(const ZRSensitiveTextMatcher& matcher, const ZRRecognizedLine& line) {
  std::size_t n = 0;
  for (const auto& run : matcher.matchesInWords(wordsOf(line))) n += run.lastWord - run.firstWord + 1;
  return n;
}

ZRRecognizedLine shifted(ZRRecognizedLine line, int dy) {
  line.box.top += dy;
  line.box.bottom += dy;
  for (auto& word : line.words) {
    word.box.top += dy;
    word.box.bottom += dy;
  }
  return line;
}

}  // namespace

std::vector<ZRRecognizedLine> ScreenImageProcessor::Worker::recognize(ZRTextRecognizer& engine, const UIImage& image) {
  const double ppp = options.pixelsPerPoint;
  const int greyWidth = ZRGreyImage::scaledSide(image.size().width, ppp);
  const int greyHeight = ZRGreyImage::scaledSide(image.size().height, ppp);
  ZRFrameRows rows(image);
  // Grey rows per capture row, and the capture rows [first, end) under a grey row.
  const double k = static_cast<double>(greyHeight) / rows.height();
  auto firstCaptureRow = [&](int gy) { return std::clamp(static_cast<int>(std::floor(gy / k)), 0, rows.height()); };
  auto endCaptureRow = [&](int gy) { return std::clamp(static_cast<int>(std::ceil(gy / k)), 0, rows.height()); };

  const bool reuse = options.reuseUnchangedRows && previous.valid && previous.languages == engine.languages() &&
                     previous.scale == image.scale() && rows.sameSize(previous.rows);
  std::vector<ZRRecognizedLine> lines;
  std::vector<bool> toRead(greyHeight, true);
  if (reuse) {
    const std::vector<bool> changed = rows.changedRows(previous.rows);
    const std::optional<int> shift = rows.verticalShift(previous.rows, changed);
    // Capture rows whose content is new: changed, and not the previous content moved.
    std::vector<bool> fresh = changed;
    if (shift) {
      for (int y = 0; y < rows.height(); ++y) fresh[y] = fresh[y] && !rows.rowMatches(previous.rows, y, *shift);
    }
    for (int gy = 0; gy < greyHeight; ++gy) {
      const int c0 = firstCaptureRow(gy), c1 = std::max(c0 + 1, endCaptureRow(gy + 1));
      toRead[gy] = std::any_of(fresh.begin() + std::min(c0, rows.height()), fresh.begin() + std::min(c1, rows.height()),
                               [](bool f) { return f; });
    }
    // Earlier lines stay where their rows did not change, and move where all their rows moved.
    // A line that did neither is read again where it would have moved to: cut by the edge of a
    // scrolling area, it has rows that moved and rows that did not. (Without a shift its rows
    // changed and are read anyway.)
    const int greyShift = shift ? static_cast<int>(std::lround(*shift * k)) : 0;
    auto markToRead = [&](int top, int bottom) {
      for (int gy = std::max(0, top); gy < std::min(greyHeight, bottom); ++gy) toRead[gy] = true;
    };
    for (const auto& line : previous.lines) {
      const int c0 = firstCaptureRow(line.box.top), c1 = endCaptureRow(line.box.bottom);
      bool still = true, moved = shift.has_value();
      for (int c = c0; c < c1; ++c) {
        still = still && !changed[c];
        moved = moved && rows.rowMatches(previous.rows, c + *shift, *shift);
      }
      if (still) {
        lines.push_back(line);
      } else if (moved) {
        lines.push_back(shifted(line, greyShift));
      } else {
        markToRead(line.box.top + greyShift, line.box.bottom + greyShift);
      }
    }
  }

  const int pad = std::max(1, static_cast<int>(kBandPaddingPoints * ppp + 0.5));
  const ZRPixelBox whole{0, 0, greyWidth, greyHeight};
  std::vector<ZRPixelBox> bands = reuse ? bandsToRead(toRead, lines, greyWidth, pad) : std::vector<ZRPixelBox>{whole};
  int rowsToRead = 0;
  for (const auto& band : bands) rowsToRead += band.height();
  if (rowsToRead > kWholeFrameShare * greyHeight) {
    bands = {whole};
    lines.clear();
  }

  if (bands.empty()) {
    ++reusedFrames;
  } else {
    ++recognizedFrames;
    // Only the bands' rows are converted and prepared: a frame where one line changed costs one
    // line's worth.
    std::vector<ZRGreyImage::RowRange> rowsToConvert;
    for (const auto& band : bands) {
      rowsToConvert.push_back({band.top, band.bottom});
      convertedRows += static_cast<std::uint64_t>(band.height());
    }
    const ZRGreyImage readable = ZRGreyImage::fromImage(image, ppp, rowsToConvert).withTextOnWhite(rowsToConvert);
    const ZRSensitiveTextMatcher matcher({}, options.digitConfidence);
    for (const auto& band : bands) {
      auto found = engine.recognize(readable, band, band == whole ? options.layout : options.bandLayout);
      ++recognitions;
      recognizedRows += static_cast<std::uint64_t>(band.height());
      for (auto& line : found) {
        if (options.secondLook && matcher.hasNearMiss(wordsOf(line))) lookAgain(engine, image, line, matcher);
      }
      std::move(found.begin(), found.end(), std::back_inserter(lines));
    }
  }
  std::stable_sort(lines.begin(), lines.end(),
                   [](const ZRRecognizedLine& a, const ZRRecognizedLine& b) { return a.box.top < b.box.top; });
  previous.valid = true;
  previous.rows = std::move(rows);
  previous.scale = image.scale();
  previous.languages = engine.languages();
  previous.lines = lines;
  return lines;
}

ZRRecognizedLine ScreenImageProcessor::Worker::readFiner(ZRTextRecognizer& engine, const UIImage& image,
                                                          const ZRRecognizedLine& line, double k) {
  const double ppp = options.pixelsPerPoint;
  const int width = ZRGreyImage::scaledSide(image.size().width, ppp);
  const int height = ZRGreyImage::scaledSide(image.size().height, ppp);
  const int h = line.box.height();
  // The line with half its height above and below and its height at each end, in the finer copy.
  const int top = std::max(0, line.box.top - h / 2), bottom = std::min(height, line.box.bottom + h / 2);
  const int left = std::max(0, line.box.left - h), right = std::min(width, line.box.right + h);
  const std::vector<ZRGreyImage::RowRange> rows{
      {static_cast<int>(std::floor(top * k)), static_cast<int>(std::ceil(bottom * k))}};
  const ZRGreyImage finer = ZRGreyImage::fromImage(image, ppp * k, rows).withTextOnWhite(rows);
  convertedRows += static_cast<std::uint64_t>(rows[0].bottom - rows[0].top);
  const ZRPixelBox region{static_cast<int>(std::floor(left * k)), rows[0].top, static_cast<int>(std::ceil(right * k)),
                          rows[0].bottom};
  ++secondLooks;
  // The words read again whose middle lies in the line's rows, back in the first copy's pixels.
  ZRRecognizedLine again;
  for (const auto& found : engine.recognize(finer, region, ZRTextRecognizer::Layout::SingleBlock)) {
    for (auto word : found.words) {
      word.box = {static_cast<int>(std::floor(word.box.left / k)), static_cast<int>(std::floor(word.box.top / k)),
                  static_cast<int>(std::ceil(word.box.right / k)), static_cast<int>(std::ceil(word.box.bottom / k))};
      const int middle = (word.box.top + word.box.bottom) / 2;
      if (middle < line.box.top || middle >= line.box.bottom) continue;
      again.box = again.words.empty() ? word.box
                                      : ZRPixelBox{std::min(again.box.left, word.box.left), std::min(again.box.top, word.box.top),
                                                   std::max(again.box.right, word.box.right),
                                                   std::max(again.box.bottom, word.box.bottom)};
      again.words.push_back(std::move(word));
    }
  }
  std::stable_sort(again.words.begin(), again.words.end(),
                   [](const ZRRecognizedWord& a, const ZRRecognizedWord& b) { return a.box.left < b.box.left; });
  for (std::size_t w = 0; w < again.words.size(); ++w) {
    again.words[w].spaceBefore = w == 0 ? 0 : std::max(0, again.words[w].box.left - again.words[w - 1].box.right);
  }
  return again;
}

void ScreenImageProcessor::Worker::lookAgain(ZRTextRecognizer& engine, const UIImage& image, ZRRecognizedLine& line,
                                              const ZRSensitiveTextMatcher& matcher) {
  ZRRecognizedLine finer = readFiner(engine, image, line, kSecondLookScale);
  if (finer.words.empty()) return;
  const std::size_t first = wordsMatched(matcher, line), second = wordsMatched(matcher, finer);
  if (second == first) {
    line = std::move(finer);
    return;
  }
  // The two readings disagree (one misread digit turns a number into a card, or out of one): a
  // third, finer still, decides; where it sides with neither, what matches more stands.
  ZRRecognizedLine third = readFiner(engine, image, line, kThirdLookScale);
  const std::size_t decider = wordsMatched(matcher, third);
  if (decider == second) line = std::move(finer);
  else if (decider != first && second > first) line = std::move(finer);
}

std::vector<std::string> ScreenImageProcessor::Worker::process(const AITextOcclusionData& record) {
  if (record.processingType() != AITextProcessingTypeRecognize) return {};
  const auto& image = record.image();
  if (!image || image->pixelWidth() == 0 || image->pixelHeight() == 0) return {};
  ZRTextRecognizer* recognizer = engineFor(record.recognitionLanguages());
  if (!recognizer) return {};

  const CGSize size = image->size();
  const double toPointsX = size.width / ZRGreyImage::scaledSide(size.width, options.pixelsPerPoint);
  const double toPointsY = size.height / ZRGreyImage::scaledSide(size.height, options.pixelsPerPoint);
  const auto lines = recognize(*recognizer, *image);

  const ZRSensitiveTextMatcher matcher(record.customWords().value_or(std::vector<std::string>{}),
                                       options.digitConfidence);
  const CGRect bounds = CGRectMake(0, 0, size.width, size.height);
  const double m = options.marginPoints;
  std::vector<std::string> rects;
  for (const auto& line : lines) {
    for (const auto& run : matcher.matchesInWords(wordsOf(line))) {
      ZRPixelBox box = line.words[run.firstWord].box;
      for (std::size_t w = run.firstWord + 1; w <= run.lastWord; ++w) {
        const auto& b = line.words[w].box;
        box = {std::min(box.left, b.left), std::min(box.top, b.top), std::max(box.right, b.right),
               std::max(box.bottom, b.bottom)};
      }
      const CGRect rect = CGRectMake(box.left * toPointsX - m, box.top * toPointsY - m, box.width() * toPointsX + 2 * m,
                                     box.height() * toPointsY + 2 * m);
      const CGRect clipped = CGRectIntersection(rect, bounds);
      if (!CGRectIsEmpty(clipped)) rects.push_back(NSStringFromCGRect(clipped));
    }
  }
  return rects;
}

ScreenImageProcessor::ScreenImageProcessor() : ScreenImageProcessor(Options{}) {}

ScreenImageProcessor::ScreenImageProcessor(Options options)
    : options_(options),
      worker_(std::make_shared<Worker>(options)),
      queue_(dispatch_queue_create("ScreenImageProcessor", DISPATCH_QUEUE_SERIAL)) {}

// The queue's destructor runs what is queued before it returns.
ScreenImageProcessor::~ScreenImageProcessor() = default;

void ScreenImageProcessor::processImage(AITextOcclusionData record, Completion completion) {
  dispatch_async(queue_, [worker = worker_, record = std::move(record), completion = std::move(completion)] {
    std::vector<std::string> rects;
    try {
      rects = worker->process(record);
    } catch (const std::exception& e) {
      // The record is still answered, once, with no rectangles: the frame keeps its other occlusion.
      ZRLogUtility::addInternalErrorTag("TextRecognitionFailed", {{"reason", e.what()}});
      rects.clear();
    } catch (...) {
      ZRLogUtility::addInternalErrorTag("TextRecognitionFailed", {{"reason", "unknown"}});
      rects.clear();
    }
    ++worker->records;
    if (completion) completion(std::move(rects));
  });
}

ScreenImageProcessor::Statistics ScreenImageProcessor::statistics() const {
  Statistics s;
  s.records = worker_->records.load();
  s.recognizedFrames = worker_->recognizedFrames.load();
  s.reusedFrames = worker_->reusedFrames.load();
  s.recognitions = worker_->recognitions.load();
  s.recognizedRows = worker_->recognizedRows.load();
  s.convertedRows = worker_->convertedRows.load();
  s.secondLooks = worker_->secondLooks.load();
  s.enginesCreated = worker_->enginesCreated.load();
  return s;
}

void ScreenImageProcessor::drain() { queue_->drain(); }

}  // namespace zerva
