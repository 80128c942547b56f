#pragma once
// The text-recognition occlusion processor: finds sensitive text painted into a frame (custom
// words, e-mail addresses, payment card numbers, phone numbers, runs of six or more digits) and
// answers the rectangles that cover it.
//
// Contract:
// - processImage answers exactly once per record, on the processor's own worker thread, in the
//   order the records were given. The rectangles are rect strings (NSStringFromCGRect) in the
//   image's points, each covering whole words plus a small margin, clipped to the image.
// - Processing type 1 recognises; any other type (3: no rule for the screen) answers an empty
//   array without recognising. A nil or empty image answers an empty array.
// - Engines are made on the worker when a language set is first asked for, and kept. Languages
//   without installed models are logged once each and left out; English is the fallback.
// - What the engine reads is a grey copy at `pixelsPerPoint`, prepared as black text on white
//   whatever the screen's colours (ZRGreyImage::withTextOnWhite).
// - Work is kept down by converting and reading only rows whose content is new since the
//   previous frame of the same size, scale and languages: words of unchanged rows are reused,
//   words of content that scrolled are moved with it (custom words and patterns are matched
//   afresh on every frame).
// Any thread may call processImage and statistics; destruction answers the records already
// given first.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/DispatchQueue.h"
#include "services/AITextOcclusionData.h"
#include "services/ZRSensitiveTextMatcher.h"
#include "services/ZRTextRecognizer.h"

namespace zerva {

class ScreenImageProcessor {
 public:
  using Completion = std::function<void(std::vector<std::string> rectStrings)>;

  struct Options {
    /// Resolution of the copy that is recognised. 1 reads text of 11 points and up; 2 finds a
    /// few more words at about 1.5 times the cost.
    double pixelsPerPoint = 1.0;
    /// Reuse the words of rows that did not change, or only moved, since the previous frame.
    bool reuseUnchangedRows = true;
    /// Layout analysis for whole frames (columns, blocks) and for bands of changed rows (a few
    /// lines across the frame: read as one block, which skips most of the analysis).
    ZRTextRecognizer::Layout layout = ZRTextRecognizer::Layout::Auto;
    ZRTextRecognizer::Layout bandLayout = ZRTextRecognizer::Layout::SingleBlock;
    /// Added around each word's box, in points.
    double marginPoints = 3.0;
    /// A line that holds a near miss (a number as long as a card's that fails Luhn, a card read
    /// unsurely, an '@' in no address, digits read too unsurely) is read again at twice the
    /// resolution, where a misread digit is usually read right; where the two readings disagree
    /// on what matches, a third at three times decides.
    bool secondLook = true;
    /// Phone numbers and digit runs count only in words the engine read at least this
    /// confidently (0-100), so that misread dates and order numbers do not turn into them.
    float digitConfidence = ZRSensitiveTextMatcher::kDigitConfidence;
  };

  /// Counters since the processor was made; for tests, benchmarks and diagnostics.
  struct Statistics {
    std::uint64_t records = 0;          // answered
    std::uint64_t recognizedFrames = 0; // frames that went to the engine, wholly or in bands
    std::uint64_t reusedFrames = 0;     // type-1 frames answered from earlier (perhaps moved) words alone
    std::uint64_t recognitions = 0;     // engine runs (one per band)
    std::uint64_t recognizedRows = 0;   // rows of the grey copy that the engine read
    std::uint64_t convertedRows = 0;    // rows of grey copies converted from the capture
    std::uint64_t secondLooks = 0;      // readings of lines again at a finer resolution
    std::uint64_t enginesCreated = 0;
  };

  /// new
  ScreenImageProcessor();
  explicit ScreenImageProcessor(Options options);
  virtual ~ScreenImageProcessor();
  ScreenImageProcessor(const ScreenImageProcessor&) = delete;
  ScreenImageProcessor& operator=(const ScreenImageProcessor&) = delete;

  /// processImage:completion:
  /// Virtual so that tests can stand in a processor that answers late or never.
  virtual void processImage(AITextOcclusionData record, Completion completion);

  const Options& options() const { return options_; }
  Statistics statistics() const;
  /// Waits until every record given so far is answered (tests and benchmarks).
  void drain();

 private:
  struct Worker;

  const Options options_;
  const std::shared_ptr<Worker> worker_;
  const dispatch_queue_t queue_;
};

}  // namespace zerva
