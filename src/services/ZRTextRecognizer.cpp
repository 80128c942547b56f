#include "services/ZRTextRecognizer.h"

#include <dlfcn.h>

#include <algorithm>
#include <cmath>

#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include "services/ZRGreyImage.h"

namespace zerva {

struct ZRTextRecognizer::Engine {
  tesseract::TessBaseAPI api;
};

namespace {

constexpr const char* kErrorDomain = "ZRTextRecognition";

// The engine estimates text size limits from the resolution; a point is taken as 1/144 inch,
// near a phone's physical size, so one pixel per point reads as 144 dpi.
constexpr double kDotsPerInchAtOnePixelPerPoint = 144.0;

tesseract::PageSegMode pageSegMode(ZRTextRecognizer::Layout layout) {
  switch (layout) {
    case ZRTextRecognizer::Layout::Auto: return tesseract::PSM_AUTO;
    case ZRTextRecognizer::Layout::SingleBlock: return tesseract::PSM_SINGLE_BLOCK;
    case ZRTextRecognizer::Layout::Sparse: return tesseract::PSM_SPARSE_TEXT;
  }
  return tesseract::PSM_AUTO;
}

}  // namespace

void ZRTextRecognizer::limitEngineThreads() {
  // The limit lives in the calling thread's data environment (GCC 11 and later), so each thread
  // that runs an engine sets it once.
  thread_local bool limited = false;
  if (limited) return;
  limited = true;
  // Looked up rather than linked: the runtime comes with the engine's library, if it was built
  // with one. With no level allowed to be active, every parallel region (even one that names
  // its thread count) runs on the thread that meets it.
  using SetLevels = void (*)(int);
  if (auto set = reinterpret_cast<SetLevels>(dlsym(RTLD_DEFAULT, "omp_set_max_active_levels"))) set(0);
}

std::unique_ptr<ZRTextRecognizer> ZRTextRecognizer::create(const std::string& languages, NSErrorOrNil* error) {
  limitEngineThreads();
  auto engine = std::make_unique<Engine>();
  // The engine's diagnostics would go to standard error on every page; the caller logs instead.
  std::vector<std::string> names{"debug_file"}, values{"/dev/null"};
  if (engine->api.Init(nullptr, languages.c_str(), tesseract::OEM_LSTM_ONLY, nullptr, 0, &names, &values, false) != 0) {
    if (error) {
      *error = NSError::errorWithDomain(kErrorDomain, 1, "No text-recognition models for \"" + languages + "\"");
    }
    return nullptr;
  }
  // Light-on-dark text is turned dark-on-light beforehand (ZRGreyImage), so the engine's own
  // second pass over inverted lines would only cost time.
  engine->api.SetVariable("tessedit_do_invert", "0");
  return std::unique_ptr<ZRTextRecognizer>(new ZRTextRecognizer(std::move(engine), languages));
}

ZRTextRecognizer::ZRTextRecognizer(std::unique_ptr<Engine> engine, std::string languages)
    : engine_(std::move(engine)), languages_(std::move(languages)) {}

ZRTextRecognizer::~ZRTextRecognizer() { engine_->api.End(); }


std::vector<std::string> ZRTextRecognizer::installedLanguages() const {
  std::vector<std::string> out;
  engine_->api.GetAvailableLanguagesAsVector(&out);
  return out;
}

std::vector<ZRRecognizedLine> ZRTextRecognizer::recognize(const ZRGreyImage& image, const ZRPixelBox& region,
                                                          Layout layout) {
  std::vector<ZRRecognizedLine> lines;
  const int width = image.width(), height = image.height();
  const int left = std::clamp(region.left, 0, width), right = std::clamp(region.right, 0, width);
  const int top = std::clamp(region.top, 0, height), bottom = std::clamp(region.bottom, 0, height);
  if (right <= left || bottom <= top) return lines;
  limitEngineThreads();
  auto& api = engine_->api;
  // The engine is given the region's rows as a picture of their own: it copies only those, and
  // a sub-rectangle as wide as the picture but not as tall finds nothing in Tesseract 5.3.
  api.Clear();
  api.SetPageSegMode(pageSegMode(layout));
  api.SetImage(image.row(top), width, bottom - top, 1, width);
  api.SetSourceResolution(
      std::max(1, static_cast<int>(std::lround(kDotsPerInchAtOnePixelPerPoint * image.pixelsPerPoint()))));
  if (left > 0 || right < width) api.SetRectangle(left, 0, right - left, bottom - top);
  if (api.Recognize(nullptr) != 0) return lines;
  std::unique_ptr<tesseract::ResultIterator> it(api.GetIterator());
  if (!it) return lines;
  constexpr auto kWord = tesseract::RIL_WORD;
  do {
    if (lines.empty() || it->IsAtBeginningOf(tesseract::RIL_TEXTLINE)) {
      if (lines.empty() || !lines.back().words.empty()) lines.emplace_back();
    }
    if (it->Empty(kWord)) continue;
    std::unique_ptr<char[]> text(it->GetUTF8Text(kWord));
    ZRRecognizedWord word;
    if (text) word.text = text.get();
    if (word.text.find_first_not_of(" \t\n") == std::string::npos) continue;
    it->BoundingBox(kWord, &word.box.left, &word.box.top, &word.box.right, &word.box.bottom);
    word.box.top += top;
    word.box.bottom += top;
    word.confidence = it->Confidence(kWord);
    auto& line = lines.back();
    if (line.words.empty()) {
      line.box = word.box;
    } else {
      line.box = {std::min(line.box.left, word.box.left), std::min(line.box.top, word.box.top),
                  std::max(line.box.right, word.box.right), std::max(line.box.bottom, word.box.bottom)};
    }
    line.words.push_back(std::move(word));
  } while (it->Next(kWord));
  std::erase_if(lines, [](const ZRRecognizedLine& line) { return line.words.empty(); });
  return lines;
}

}  // namespace zerva
