#include "services/ScreenImageProcessor.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <optional>
#include <set>

#include "platform/CGGeometry.h"
#include "platform/NSLog.h"
#include "platform/UIImage.h"
#include "services/ZRGreyImage.h"
#include "services/ZRLogUtility.h"
#include "services/ZRSensitiveTextMatcher.h"

namespace zerva {

namespace {

constexpr const char* kEnglish = "eng";
constexpr const char* kLogPrefix = "[Zerva: Screen Recording] ";
// A grey level change above this marks a row as changed (anti-aliasing noise stays below).
constexpr int kChangeTolerance = 16;
// Changed rows are widened by this much, in points, so that a band holds whole lines even when
// only part of a line's glyphs changed.
constexpr double kBandPaddingPoints = 8;
// Above this share of changed rows one pass over the whole frame is cheaper than bands.
constexpr double kWholeFrameShare = 0.5;
// Square reach, in points, over which the ground of light-on-dark text is judged.
constexpr double kPolarityRadiusPoints = 12;

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
  std::vector<ZRRecognizedLine> recognize(ZRTextRecognizer& engine, ZRGreyImage grey);
  std::vector<ZRPixelBox> changedBands(const ZRGreyImage& grey) const;

  const Options options;

  std::atomic<std::uint64_t> records{0}, recognizedFrames{0}, reusedFrames{0}, recognitions{0}, recognizedRows{0},
      enginesCreated{0};

  // Worker thread only. A failed engine stays as nullptr so that it is not tried on every frame.
  std::map<std::string, std::unique_ptr<ZRTextRecognizer>> engines;
  std::optional<std::set<std::string>> installedLanguages;
  std::set<std::string> reportedMissing;
  // The previous recognised frame: its grey copy, the engine's languages, and its words.
  struct {
    bool valid = false;
    ZRGreyImage grey;
    std::string languages;
    std::vector<ZRRecognizedLine> lines;
  } previous;
};

ZRTextRecognizer* ScreenImageProcessor::Worker::engine(const std::string& languages) {
  auto [it, inserted] = engines.try_emplace(languages);
  if (inserted) {
    NSErrorOrNil error;
    it->second = ZRTextRecognizer::create(languages, &error);
    if (it->second) {
      ++enginesCreated;
    } else {
      const std::string reason = error ? error->localizedDescription() : "unknown";
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

std::vector<ZRPixelBox> ScreenImageProcessor::Worker::changedBands(const ZRGreyImage& grey) const {
  const std::vector<bool> changed = grey.changedRows(previous.grey, kChangeTolerance);
  const int pad = std::max(1, static_cast<int>(kBandPaddingPoints * grey.pixelsPerPoint() + 0.5));
  std::vector<ZRPixelBox> bands;
  for (int y = 0; y < grey.height(); ++y) {
    if (!changed[y]) continue;
    int end = y;
    while (end < grey.height() && changed[end]) ++end;
    bands.push_back({0, std::max(0, y - pad), grey.width(), std::min(grey.height(), end + pad)});
    y = end;
  }
  // Widen bands over the earlier lines they touch (those lines are read again whole) and merge
  // bands that meet, until nothing moves.
  for (bool moved = true; moved;) {
    moved = false;
    for (auto& band : bands) {
      for (const auto& line : previous.lines) {
        if (!boxesShareRows(band, line.box)) continue;
        const int top = std::min(band.top, std::max(0, line.box.top - pad));
        const int bottom = std::max(band.bottom, std::min(grey.height(), line.box.bottom + pad));
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
  return bands;
}

std::vector<ZRRecognizedLine> ScreenImageProcessor::Worker::recognize(ZRTextRecognizer& engine, ZRGreyImage grey) {
  const ZRPixelBox whole{0, 0, grey.width(), grey.height()};
  const bool reuse = options.reuseUnchangedRows && previous.valid && previous.languages == engine.languages() &&
                     previous.grey.width() == grey.width() && previous.grey.height() == grey.height();
  std::vector<ZRPixelBox> bands{whole};
  if (reuse) {
    bands = changedBands(grey);
    int rows = 0;
    for (const auto& band : bands) rows += band.height();
    if (rows > kWholeFrameShare * grey.height()) bands = {whole};
  }

  std::vector<ZRRecognizedLine> lines;
  if (bands.empty()) {
    ++reusedFrames;
    lines = previous.lines;
  } else {
    ++recognizedFrames;
    if (reuse && bands.front() != whole) {
      for (const auto& line : previous.lines) {
        if (std::none_of(bands.begin(), bands.end(), [&](const ZRPixelBox& b) { return boxesShareRows(b, line.box); })) {
          lines.push_back(line);
        }
      }
    }
    const int radius = std::max(2, static_cast<int>(kPolarityRadiusPoints * grey.pixelsPerPoint() + 0.5));
    const ZRGreyImage readable = grey.withDarkTextOnLight(radius);
    for (const auto& band : bands) {
      auto found = engine.recognize(readable, band, band == whole ? options.layout : options.bandLayout);
      ++recognitions;
      recognizedRows += static_cast<std::uint64_t>(band.height());
      std::move(found.begin(), found.end(), std::back_inserter(lines));
    }
    std::stable_sort(lines.begin(), lines.end(),
                     [](const ZRRecognizedLine& a, const ZRRecognizedLine& b) { return a.box.top < b.box.top; });
  }
  previous.valid = true;
  previous.grey = std::move(grey);
  previous.languages = engine.languages();
  previous.lines = lines;
  return lines;
}

std::vector<std::string> ScreenImageProcessor::Worker::process(const AITextOcclusionData& record) {
  if (record.processingType() != AITextProcessingTypeRecognize) return {};
  const auto& image = record.image();
  if (!image || image->pixelWidth() == 0 || image->pixelHeight() == 0) return {};
  ZRTextRecognizer* recognizer = engineFor(record.recognitionLanguages());
  if (!recognizer) return {};

  ZRGreyImage grey = ZRGreyImage::fromImage(*image, options.pixelsPerPoint);
  const CGSize size = image->size();
  const double toPointsX = size.width / grey.width(), toPointsY = size.height / grey.height();
  const auto lines = recognize(*recognizer, std::move(grey));

  const ZRSensitiveTextMatcher matcher(record.customWords().value_or(std::vector<std::string>{}));
  const CGRect bounds = CGRectMake(0, 0, size.width, size.height);
  const double m = options.marginPoints;
  std::vector<std::string> rects;
  std::vector<std::string> texts;
  for (const auto& line : lines) {
    texts.clear();
    for (const auto& word : line.words) texts.push_back(word.text);
    for (const auto& run : matcher.matchesInWords(texts)) {
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
      ZRLogUtility::addInternalErrorTag("TextRecognitionFailed", {{"reason", e.what()}});
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
  s.enginesCreated = worker_->enginesCreated.load();
  return s;
}

void ScreenImageProcessor::drain() { queue_->drain(); }

}  // namespace zerva
