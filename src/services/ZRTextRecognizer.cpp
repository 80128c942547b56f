#include "services/ZRTextRecognizer.h"

#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <leptonica/allheaders.h>
#include <tesseract/baseapi.h>
#include <tesseract/resultiterator.h>

#include <mutex>

#include "services/ZRGreyImage.h"
#include "services/ZRLogUtility.h"

namespace zerva {

struct ZRTextRecognizer::Engine {
  tesseract::TessBaseAPI api;
};

namespace {

constexpr const char* kErrorDomain = "ZRTextRecognition";

// The engine estimates text size limits from the resolution; a point is taken as 1/144 inch,
// near a phone's physical size, so one pixel per point reads as 144 dpi.
constexpr double kDotsPerInchAtOnePixelPerPoint = 144.0;
// A space between digits is at least this share of the word's height (digits: the cap height).
// What the recogniser's copy holds as ink (it is black text on white).
constexpr std::uint8_t kInkTone = 160;
constexpr double kDigitSpaceShareOfHeight = 0.45;
constexpr double kWideSpaceShareOfHeight = 0.6;
// Gaps between the letters of a word are at most this share of its box's height (a space is
// about three times as wide).
constexpr double kLetterGapShareOfHeight = 0.12;
// Two lines are halves of one when they share more than this share of their rows and the gap
// between them is at most this share of their height.
constexpr double kCutLineSharedRows = 0.6;
constexpr double kCutLineGapShareOfHeight = 0.6;
// Blank rows of this share of a word box's height part two lines in it.
constexpr double kLineGapShareOfHeight = 0.2;
// Room a word's box keeps above and below the usual rows of its line, as a share of their height.
constexpr double kTallWordRoom = 0.35;

tesseract::PageSegMode pageSegMode(ZRTextRecognizer::Layout layout) {
  switch (layout) {
    case ZRTextRecognizer::Layout::Auto: return tesseract::PSM_AUTO;
    case ZRTextRecognizer::Layout::SingleBlock: return tesseract::PSM_SINGLE_BLOCK;
    case ZRTextRecognizer::Layout::Sparse: return tesseract::PSM_SPARSE_TEXT;
    case ZRTextRecognizer::Layout::SingleColumn: return tesseract::PSM_SINGLE_COLUMN;
  }
  return tesseract::PSM_AUTO;
}

struct Symbol {
  std::string text;
  ZRPixelBox box;
};

bool hasInk(const ZRGreyImage& image, const ZRPixelBox& box) {
  for (int y = std::max(0, box.top); y < std::min(image.height(), box.bottom); ++y) {
    for (int x = std::max(0, box.left); x < std::min(image.width(), box.right); ++x) {
      if (image.at(x, y) < kInkTone) return true;
    }
  }
  return false;
}

bool isDigitSymbol(const Symbol& s) { return s.text.size() == 1 && s.text[0] >= '0' && s.text[0] <= '9'; }

// The engine reads the groups of some numbers as one word ("4111 1111" as "41111111": the
// space is hard to tell from the wide margins of a 1), which would make a long digit run of an
// ordinary number; now and then it runs a label into the value a wide gap away. Its characters'
// boxes show the space: a gap much wider than the others and a good part of the word's height
// (between digits) or more than half of it (anywhere) splits the word there.
std::vector<ZRRecognizedWord> splitAtSpaces(ZRRecognizedWord word, const std::vector<Symbol>& symbols,
                                            const ZRGreyImage& image) {
  std::vector<ZRRecognizedWord> out;
  std::string joined;
  for (const auto& s : symbols) joined += s.text;
  if (symbols.empty() || joined != word.text) {
    out.push_back(std::move(word));
    return out;
  }
  // Now and then the engine fills a wide gap with an '_' that has no ink: a label run into the
  // value beside it ("Email_kim..."), a stray mark before an address. Such a mark parts words.
  std::vector<bool> phantom(symbols.size());
  for (std::size_t i = 0; i < symbols.size(); ++i) phantom[i] = symbols[i].text == "_" && !hasInk(image, symbols[i].box);
  std::vector<int> gaps;
  for (std::size_t i = 1; i < symbols.size(); ++i) gaps.push_back(symbols[i].box.left - symbols[i - 1].box.right);
  double minimum = std::numeric_limits<double>::max(), wide = minimum;
  if (symbols.size() >= 4) {
    std::vector<int> sorted = gaps;
    std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2), sorted.end());
    const int median = std::max(1, sorted[sorted.size() / 2]);
    minimum = std::max(1.8 * median, kDigitSpaceShareOfHeight * word.box.height());
    wide = std::max(1.8 * median, kWideSpaceShareOfHeight * word.box.height());
  }
  std::vector<std::vector<std::size_t>> pieces(1);
  bool split = false;
  for (std::size_t i = 0; i < symbols.size(); ++i) {
    if (phantom[i]) {
      split = true;
      if (!pieces.back().empty()) pieces.emplace_back();
      continue;
    }
    if (i > 0 && !pieces.back().empty() && pieces.back().back() == i - 1) {
      const bool digits = isDigitSymbol(symbols[i - 1]) && isDigitSymbol(symbols[i]);
      if (gaps[i - 1] >= (digits ? minimum : wide)) {
        split = true;
        pieces.emplace_back();
      }
    }
    pieces.back().push_back(i);
  }
  if (!split) {
    out.push_back(std::move(word));
    return out;
  }
  for (const auto& piece : pieces) {
    if (piece.empty()) continue;
    ZRRecognizedWord w;
    w.confidence = word.confidence;
    w.box = symbols[piece.front()].box;
    for (std::size_t i : piece) {
      w.text += symbols[i].text;
      const auto& b = symbols[i].box;
      w.box = {std::min(w.box.left, b.left), std::min(w.box.top, b.top), std::max(w.box.right, b.right),
               std::max(w.box.bottom, b.bottom)};
    }
    out.push_back(std::move(w));
  }
  return out;
}

// The engine's word boxes come from its network's character positions and can fall a few pixels
// inside the ink at a word's ends, or leave out a first or last glyph. Each end moves out over
// the ink beyond it, across gaps no wider than between letters, by at most the box's height.
void snapToInk(const ZRGreyImage& image, ZRPixelBox& box) {
  auto columnHasInk = [&](int x) {
    for (int y = std::max(0, box.top); y < std::min(image.height(), box.bottom); ++y) {
      if (image.at(x, y) < kInkTone) return true;
    }
    return false;
  };
  const int reach = std::max(1, box.height());
  const int letterGap = std::max(1, static_cast<int>(std::lround(kLetterGapShareOfHeight * box.height())));
  const int left = box.left, right = box.right;
  int blank = 0;
  for (int x = left - 1; x >= std::max(0, left - reach); --x) {
    if (columnHasInk(x)) box.left = x, blank = 0;
    else if (++blank > letterGap) break;
  }
  blank = 0;
  for (int x = right; x < std::min(image.width(), right + reach); ++x) {
    if (columnHasInk(x)) box.right = x + 1, blank = 0;
    else if (++blank > letterGap) break;
  }
}

// Now and then the engine gives a word a box reaching far above or below its line (into the
// label above it). A word much taller than the line's others is held to their rows, with room
// for ascenders and descenders.
void holdToLine(ZRRecognizedLine& line) {
  if (line.words.size() < 2) return;
  // The rows of the word of median height (the lower median: of two, the shorter).
  std::vector<const ZRRecognizedWord*> byHeight;
  for (const auto& w : line.words) byHeight.push_back(&w);
  const auto median = byHeight.begin() + static_cast<std::ptrdiff_t>((byHeight.size() - 1) / 2);
  std::nth_element(byHeight.begin(), median, byHeight.end(),
                   [](const auto* a, const auto* b) { return a->box.height() < b->box.height(); });
  const int top = (*median)->box.top, bottom = (*median)->box.bottom;
  const int room = std::max(1, static_cast<int>(kTallWordRoom * (bottom - top)));
  for (auto& w : line.words) {
    w.box.top = std::max(w.box.top, top - room);
    w.box.bottom = std::max(w.box.top + 1, std::min(w.box.bottom, bottom + room));
  }
  line.box = line.words.front().box;
  for (const auto& w : line.words) {
    line.box = {std::min(line.box.left, w.box.left), std::min(line.box.top, w.box.top),
                std::max(line.box.right, w.box.right), std::max(line.box.bottom, w.box.bottom)};
  }
}

// The layout analysis may cut a line of text in two where other lines happen to line up (a
// column it believes it found), and then reads the halves as lines of their own, which would
// split an address or a number between them. Lines that share most of their rows and stand
// side by side, closer than about half their height, are one line again.
void joinCutLines(std::vector<ZRRecognizedLine>& lines) {
  auto sharesRows = [](const ZRPixelBox& a, const ZRPixelBox& b) {
    const int shared = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
    return shared > kCutLineSharedRows * std::min(a.height(), b.height());
  };
  for (bool joined = true; joined;) {
    joined = false;
    for (std::size_t i = 0; i < lines.size() && !joined; ++i) {
      for (std::size_t j = 0; j < lines.size() && !joined; ++j) {
        ZRRecognizedLine& a = lines[i];
        const ZRRecognizedLine& b = lines[j];
        const int height = std::max(a.box.height(), b.box.height());
        const int gap = b.box.left - a.box.right;
        if (i == j || !sharesRows(a.box, b.box) || gap > kCutLineGapShareOfHeight * height || gap < -height / 2 ||
            b.box.left < a.box.left) {
          continue;
        }
        a.words.insert(a.words.end(), b.words.begin(), b.words.end());
        a.box = {std::min(a.box.left, b.box.left), std::min(a.box.top, b.box.top), std::max(a.box.right, b.box.right),
                 std::max(a.box.bottom, b.box.bottom)};
        lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(j));
        joined = true;
      }
    }
  }
}

// A word's box sometimes reaches into the line above or below (the label over a value). The rows
// of the box that hold ink fall into blocks parted by blank rows; a gap of a fifth of the box's
// height parts two lines (the dot of an i is closer), and the box keeps the block with the most
// ink.
void trimToInkRows(const ZRGreyImage& image, ZRPixelBox& box) {
  const int top = std::max(0, box.top), bottom = std::min(image.height(), box.bottom);
  const int left = std::max(0, box.left), right = std::min(image.width(), box.right);
  if (bottom - top < 4 || right <= left) return;
  const int gap = std::max(2, static_cast<int>(std::lround(kLineGapShareOfHeight * (bottom - top))));
  int bestTop = 0, bestBottom = 0, bestInk = 0;
  for (int y = top; y < bottom;) {
    auto inkIn = [&](int row) {
      const std::uint8_t* p = image.row(row);
      return static_cast<int>(std::count_if(p + left, p + right, [](std::uint8_t v) { return v < kInkTone; }));
    };
    int ink = inkIn(y);
    if (ink == 0) {
      ++y;
      continue;
    }
    const int blockTop = y;
    int last = y, blank = 0;
    for (++y; y < bottom && blank < gap; ++y) {
      const int rowInk = inkIn(y);
      if (rowInk > 0) ink += rowInk, last = y, blank = 0;
      else ++blank;
    }
    if (ink > bestInk) bestTop = blockTop, bestBottom = last + 1, bestInk = ink;
  }
  if (bestInk > 0) box.top = bestTop, box.bottom = bestBottom;
}

// The space before each word, from the ink rather than from the engine's boxes (which can leave a
// letter or two out between two words of one): the widest run of blank columns between the
// previous word's ink and this word's, over the line's rows.
void measureSpaces(const ZRGreyImage& image, ZRRecognizedLine& line) {
  const int top = std::max(0, line.box.top), bottom = std::min(image.height(), line.box.bottom);
  for (std::size_t w = 1; w < line.words.size(); ++w) {
    auto& word = line.words[w];
    const int from = std::max(0, line.words[w - 1].box.right), to = std::min(image.width(), word.box.left);
    int widest = 0, blank = 0;
    for (int x = from; x < to; ++x) {
      bool ink = false;
      for (int y = top; y < bottom && !ink; ++y) ink = image.at(x, y) < kInkTone;
      blank = ink ? 0 : blank + 1;
      widest = std::max(widest, blank);
    }
    word.spaceBefore = widest;
  }
}

// The image library under the engine prints its warnings and errors to the app's standard error;
// they go to the log instead.
void logLibraryMessage(const char* message) {
  std::string text = message ? message : "";
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  ZRLogUtility::addInternalVerboseTag("TextRecognitionLibraryMessage", {{"message", text}});
}

void routeLibraryMessages() {
  static std::once_flag once;
  std::call_once(once, [] { leptSetStderrHandler(logLibraryMessage); });
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

NSResult<std::unique_ptr<ZRTextRecognizer>> ZRTextRecognizer::create(const std::string& languages) {
  limitEngineThreads();
  routeLibraryMessages();
  auto engine = std::make_unique<Engine>();
  // The engine's diagnostics would go to standard error on every page; the caller logs instead.
  std::vector<std::string> names{"debug_file"}, values{"/dev/null"};
  if (engine->api.Init(nullptr, languages.c_str(), tesseract::OEM_LSTM_ONLY, nullptr, 0, &names, &values, false) != 0) {
    return NSError::errorWithDomain(kErrorDomain, 1, "No text-recognition models for \"" + languages + "\"");
  }
  // The copy it reads is already black text on white, whatever the screen's colours
  // (ZRGreyImage::withTextOnWhite), so the engine's own second pass over inverted lines would
  // only cost time.
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
  std::vector<Symbol> symbols;
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
    // The word's characters, to split it where they stand a space apart.
    symbols.clear();
    do {
      std::unique_ptr<char[]> symbol(it->GetUTF8Text(tesseract::RIL_SYMBOL));
      Symbol& s = symbols.emplace_back();
      if (symbol) s.text = symbol.get();
      it->BoundingBox(tesseract::RIL_SYMBOL, &s.box.left, &s.box.top, &s.box.right, &s.box.bottom);
      s.box.top += top;
      s.box.bottom += top;
    } while (!it->IsAtFinalElement(kWord, tesseract::RIL_SYMBOL) && it->Next(tesseract::RIL_SYMBOL));
    auto& line = lines.back();
    for (auto& piece : splitAtSpaces(std::move(word), symbols, image)) {
      snapToInk(image, piece.box);
      trimToInkRows(image, piece.box);
      if (line.words.empty()) {
        line.box = piece.box;
      } else {
        line.box = {std::min(line.box.left, piece.box.left), std::min(line.box.top, piece.box.top),
                    std::max(line.box.right, piece.box.right), std::max(line.box.bottom, piece.box.bottom)};
      }
      line.words.push_back(std::move(piece));
    }
  } while (it->Next(kWord));
  std::erase_if(lines, [](const ZRRecognizedLine& line) { return line.words.empty(); });
  joinCutLines(lines);
  for (auto& line : lines) {
    holdToLine(line);
    measureSpaces(image, line);
  }
  return lines;
}

}  // namespace zerva
