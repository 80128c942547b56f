#pragma once
// One text-recognition engine (Tesseract, LSTM models) for one set of languages. Creating it
// loads the language models (tens of milliseconds), so engines are made once and reused.
// Not thread-safe: one thread at a time, the text processor's worker.
//
// The engine's library parallelises with OpenMP; on a phone-sized core budget that is several
// times slower than one thread (its spinning helpers fight the app for the cores), so the
// engine limits OpenMP to one thread on every thread it runs on (docs/text-recognition.md).

#include <memory>
#include <string>
#include <vector>

#include "platform/NSError.h"
#include "platform/NSResult.h"

namespace zerva {

class ZRGreyImage;

/// A box in the recognised image's pixels: [left, right) x [top, bottom).
struct ZRPixelBox {
  int left = 0, top = 0, right = 0, bottom = 0;
  int width() const { return right - left; }
  int height() const { return bottom - top; }
  friend bool operator==(const ZRPixelBox&, const ZRPixelBox&) = default;
};

struct ZRRecognizedWord {
  std::string text;  // UTF-8
  ZRPixelBox box;
  float confidence = 0;  // 0...100
  int spaceBefore = 0;   // blank pixels between the previous word of its line and it (0 for the first)
};

/// One line of text as the engine found it, words in reading order.
struct ZRRecognizedLine {
  std::vector<ZRRecognizedWord> words;
  ZRPixelBox box;  // the union of the words' boxes
};

class ZRTextRecognizer {
 public:
  /// Page layout analysis: Auto finds blocks, columns and lines; SingleBlock reads the region as
  /// one block of lines (faster; fine for bands of a frame); Sparse finds scattered text;
  /// SingleColumn finds blocks of lines of any size in one column, without looking for columns
  /// (which split a line where other lines happen to align).
  enum class Layout { Auto, SingleBlock, Sparse, SingleColumn };

  /// `languages` as the engine names them, joined by '+' ("eng", "eng+fra"). An error (domain
  /// "ZRTextRecognition", code 1) when the models cannot be loaded.
  static NSResult<std::unique_ptr<ZRTextRecognizer>> create(const std::string& languages);
  ~ZRTextRecognizer();
  ZRTextRecognizer(const ZRTextRecognizer&) = delete;
  ZRTextRecognizer& operator=(const ZRTextRecognizer&) = delete;

  const std::string& languages() const { return languages_; }
  /// Languages whose models are installed beside the ones this engine loaded.
  std::vector<std::string> installedLanguages() const;

  /// Recognises the region of the image (clipped to it) with the layout analysis given; boxes
  /// are in the image's pixels. Empty for an empty region or when the engine fails.
  std::vector<ZRRecognizedLine> recognize(const ZRGreyImage& image, const ZRPixelBox& region, Layout layout);

  /// Caps OpenMP parallelism at one thread for the calling thread. Cheap after the first call;
  /// create() and recognize() call it. Does nothing when the engine was built without OpenMP.
  static void limitEngineThreads();

 private:
  struct Engine;
  ZRTextRecognizer(std::unique_ptr<Engine> engine, std::string languages);

  std::unique_ptr<Engine> engine_;
  std::string languages_;
};

}  // namespace zerva
