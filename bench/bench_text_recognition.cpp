// Text-recognition occlusion: milliseconds per 400x844-point frame of typical app text, at the
// resolutions tried, and recall/precision on rendered sensitive strings.
// Arguments are <pixels per point x100>/<layout: 0 auto, 1 single block, 2 sparse text>, and for
// sessions /<layout of bands of changed rows>.
//
//   FullFrame     every frame read whole (no reuse)
//   FrameCpu      CPU time per frame at capture scale 1 and 3: a whole new frame, and a frame
//                 where one line changed
//   Session       a 60-frame session (typing, a progress label, a screen change every 30
//                 frames), unchanged rows reused; per-frame median, p90, mean
//   Recall        nine pages holding 30 sensitive strings three times each (90) among ordinary
//                 text, in sizes 12 to 18, regular and bold, dark on light and light on dark
//   Evaluation    the broad set of tests/services/TextRecognitionSamples.h at one capture
//                 scale: every ground, two turns of sizes and weights; prints a report by kind,
//                 ground, size and scale
//   Words         words of the typical screen found exactly, by resolution, grey and polarity
//   EngineCreation, GreyCopy, FrameRows   fixed costs
//
// Frames are drawn at scale 2 (800x1688 pixels), as a phone captures them, unless stated.

#include <benchmark/benchmark.h>

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/NSStringDrawing.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "services/AITextOcclusionData.h"
#include "services/ScreenImageProcessor.h"
#include "services/ZRFrameRows.h"
#include "services/ZRGreyImage.h"
#include "services/ZRTextRecognizer.h"
#include "../tests/services/TextRecognitionSamples.h"

namespace zerva {
namespace {

constexpr CGSize kScreen{400, 844};
constexpr double kCaptureScale = 2;
const std::vector<std::string> kCustomWords{"Falcon", "Bluebird", "Project Nimbus"};

struct Text {
  std::string text;
  double x, y, size;
  bool bold = false;
  bool light = false;     // light text on a dark band
  bool sensitive = false;
  bool fixed = false;     // stays put while the page's list scrolls
};

NSStringAttributes attributes(const Text& t) {
  NSStringAttributes a;
  a.font = t.bold ? UIFont::boldSystemFontOfSize(t.size) : UIFont::systemFontOfSize(t.size);
  a.foregroundColor = t.light ? UIColor::whiteColor() : UIColor::colorWithWhite(0.12, 1);
  return a;
}

CGRect layoutRect(const Text& t) {
  const CGRect r = boundingRectWithSize(t.text, {0, 0}, NSStringDrawingUsesLineFragmentOrigin, attributes(t));
  return CGRectMake(t.x, t.y, r.size.width, r.size.height);
}

// A page's texts and dark bands; with a list area, everything not fixed is a list scrolled up
// by `scroll` points and clipped to the area.
struct Page {
  std::vector<Text> texts;
  std::vector<CGRect> darkBands;
  CGRect listArea = CGRectNull;
  double scroll = 0;
};

bool scrolls(const Page& page, const Text& t) { return !CGRectIsNull(page.listArea) && !t.fixed; }

Text onScreen(const Page& page, Text t) {
  if (scrolls(page, t)) t.y -= page.scroll;
  return t;
}

// The texts a person sees whole: list texts cut by the list area's edges are left out.
std::vector<Text> wholeTexts(const Page& page) {
  std::vector<Text> out;
  for (const auto& t : page.texts) {
    const Text s = onScreen(page, t);
    if (!scrolls(page, t) || CGRectContainsRect(page.listArea, layoutRect(s))) out.push_back(s);
  }
  return out;
}

std::shared_ptr<UIImage> draw(const Page& page, double scale = kCaptureScale) {
  UIGraphicsImageRendererFormat format;
  format.setScale(scale);
  format.setOpaque(true);
  return UIGraphicsImageRenderer(kScreen, format).imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
    auto c = ctx.CGContext();
    CGContextSetRGBFillColor(c, 1, 1, 1, 1);
    CGContextFillRect(c, CGRectMake(0, 0, kScreen.width, kScreen.height));
    const bool list = !CGRectIsNull(page.listArea);
    CGContextSaveGState(c);
    if (list) CGContextClipToRect(c, page.listArea);
    CGContextSetRGBFillColor(c, 0.1, 0.15, 0.35, 1);
    for (auto band : page.darkBands) {
      if (list) band.origin.y -= page.scroll;
      CGContextFillRect(c, band);
    }
    for (const auto& t : page.texts) {
      if (!scrolls(page, t) && list) continue;
      const Text s = onScreen(page, t);
      drawWithRect(s.text, layoutRect(s), NSStringDrawingUsesLineFragmentOrigin, attributes(s));
    }
    CGContextRestoreGState(c);
    for (const auto& t : page.texts) {
      if (list && !scrolls(page, t)) drawWithRect(t.text, layoutRect(t), NSStringDrawingUsesLineFragmentOrigin, attributes(t));
    }
  });
}

// The box, in points, of the text's inked pixels.
CGRect inkBox(const UIImage& image, const Text& t) {
  const CGRect area = layoutRect(t);
  const double s = image.scale();
  int x0 = 1 << 30, y0 = 1 << 30, x1 = -1, y1 = -1;
  for (int y = static_cast<int>(area.origin.y * s); y < static_cast<int>(CGRectGetMaxY(area) * s); ++y) {
    for (int x = static_cast<int>(area.origin.x * s); x < static_cast<int>(CGRectGetMaxX(area) * s); ++x) {
      const CGPixel p = image.pixelAt(x, y);
      const int grey = (p.red + p.green + p.blue) / 3;
      if (t.light ? grey > 128 : grey < 128) {
        x0 = std::min(x0, x), y0 = std::min(y0, y), x1 = std::max(x1, x), y1 = std::max(y1, y);
      }
    }
  }
  if (x1 < 0) return CGRectNull;
  return CGRectMake(x0 / s, y0 / s, (x1 + 1 - x0) / s, (y1 + 1 - y0) / s);
}

// A typical app screen: about twenty lines, some of them sensitive, one dark banner.
// A typical app screen: about twenty lines on screen, some of them sensitive, one dark banner;
// a settings list below the search field that scrolls (more of it below the screen's bottom).
Page accountScreen(const std::string& searchText, int progress, double scroll = 0) {
  Page p;
  p.listArea = CGRectMake(0, 104, 400, 680);
  p.scroll = scroll;
  p.darkBands = {CGRectMake(0, 370, 400, 60)};
  const bool bold = true, light = true, sensitive = true, fixed = true;
  p.texts = {
      {"9:41", 20, 14, 14, bold, !light, !sensitive, fixed},
      {"Account", 160, 50, 20, bold, !light, !sensitive, fixed},
      {"Search: " + searchText, 20, 82, 14, !bold, !light, !sensitive, fixed},
      {"Name", 20, 110, 13},
      {"Jane Appleseed", 20, 128, 16},
      {"Email", 20, 160, 13},
      {"jane.appleseed@example.com", 20, 178, 16, !bold, !light, sensitive},
      {"Phone", 20, 210, 13},
      {"+1 (415) 555-0132", 20, 228, 16, !bold, !light, sensitive},
      {"Card number", 20, 260, 13},
      {"4111 1111 1111 1111", 20, 278, 16, !bold, !light, sensitive},
      {"Expires 08/27", 20, 310, 13},
      {"Member ID", 20, 338, 15},
      {"00482913", 110, 338, 15, !bold, !light, sensitive},
      {"Your order has shipped", 20, 380, 17, bold, light},
      {"Uploading " + std::to_string(progress) + "%", 20, 405, 14, !bold, light},
      {"Thanks for shopping with us. Your receipt", 20, 460, 14},
      {"was sent to the address above and will", 20, 480, 14},
      {"arrive within a few minutes.", 20, 500, 14},
      {"Save changes", 150, 560, 17, bold},
      {"Sign out", 165, 610, 17},
      {"Delivery address", 20, 660, 13},
      {"221 Baker Street, London", 20, 678, 15},
      {"Backup email", 20, 720, 13},
      {"j.appleseed@mail.example.net", 20, 738, 16, !bold, !light, sensitive},
      {"Bank account", 20, 780, 13},
      {"GB29NWBK60161331926819", 20, 798, 15, !bold, !light, sensitive},
      {"Notifications", 20, 850, 15, bold},
      {"Receive offers by email", 20, 880, 14},
      {"Privacy policy", 20, 920, 14},
      {"Support line", 20, 960, 13},
      {"+44 20 7946 0958", 20, 978, 16, !bold, !light, sensitive},
      {"App version 10.2.3", 20, 1020, 12},
      {"Home     Search     Orders     Profile", 30, 800, 11, !bold, !light, !sensitive, fixed},
  };
  return p;
}

Page ordersScreen() {
  Page p;
  p.darkBands = {CGRectMake(0, 0, 400, 80)};
  p.texts = {
      {"Orders", 20, 40, 22, true, true},
      {"Order", 20, 100, 16, true},
      {"7730021945", 80, 100, 16, true, false, true},
      {"Placed on 2024-03-15 at 10:30", 20, 124, 13},
      {"Total $1,234.56", 20, 144, 14},
      {"Paid with card ending 4444", 20, 170, 14},
      {"Contact", 20, 210, 13},
      {"m.rossi@posta.example.it", 20, 228, 15, false, false, true},
      {"(212) 555-0187", 20, 252, 15, false, false, true},
      {"Items", 20, 300, 13},
      {"Wireless headphones", 20, 320, 15},
      {"Phone case, blue", 20, 344, 15},
      {"Charging cable 2 m", 20, 368, 15},
      {"Return within 30 days of delivery.", 20, 420, 13},
      {"Questions? Our team answers within", 20, 440, 13},
      {"one working day.", 20, 460, 13},
      {"Track package", 140, 520, 17, true},
      {"Home     Search     Orders     Profile", 30, 800, 11},
  };
  return p;
}

// Nine pages of the fixed sensitive set: rows of an ordinary label and a sensitive value.
std::vector<Page> recallPages() {
  const std::vector<std::pair<std::string, std::string>> rows{
      {"Card", "4111 1111 1111 1111"},          {"Card", "5555-5555-5555-4444"},
      {"Amex", "3782 822463 10005"},            {"Discover", "6011 0009 9013 9424"},
      {"Card", "4012888888881881"},             {"Card", "5105 1051 0510 5100"},
      {"Email", "jane.appleseed@example.com"},  {"Email", "m.rossi@posta.example.it"},
      {"Email", "support+billing@shop.example.org"}, {"Email", "kim_lee99@mail.example.net"},
      {"Phone", "+1 (415) 555-0132"},           {"Phone", "+44 20 7946 0958"},
      {"Phone", "(212) 555-0187"},              {"Phone", "415-555-0199"},
      {"Phone", "+49 30 901820"},               {"Office", "555-0142"},
      {"Account", "00482913"},                  {"Order", "#7730021945"},
      {"IBAN", "GB29NWBK60161331926819"},       {"Ref", "4409817"},
      {"Policy", "99120377"},                   {"Tracking", "1Z999AA10123456784"},
      {"Codename", "Falcon"},                   {"Team", "bluebird"},
      {"Launch", "Project Nimbus"},             {"Card", "4000 0566 5566 5556"},
      {"Email", "a.b@example.com"},             {"Phone", "+33 1 42 68 53 00"},
      {"Member", "120045981"},                  {"Partner", "FALCON"},
  };
  const std::vector<std::string> filler{
      "Your receipt was sent on March 3 at 9:41 AM.", "Updated 2024-03-15 10:30",
      "Total due $1,234.56 by Friday", "Version 10.2.3 (build 77)", "Free delivery on orders over $50",
      "Tap to change your settings",
  };
  const double sizes[] = {12, 13, 14, 15, 16, 18};
  // Each string three times, on three sets of pages, in other sizes, weights and grounds.
  std::vector<Page> pages(9);
  for (int variant = 0; variant < 3; ++variant) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
      Page& page = pages[variant * 3 + i % 3];
      const std::size_t slot = i / 3;  // 10 rows per page
      const double y = 20 + slot * 80;
      double size = sizes[(i + 2 * variant) % 6];
      // Values stay on the screen: a long address in a large size steps down.
      while (size > 12 && layoutRect({rows[i].second, 130, y, size, true}).size.width > 262) size -= 1;
      const bool light = (slot + variant) % 4 == 3;
      const bool bold = (i + variant) % 5 == 2;
      if (light) page.darkBands.push_back(CGRectMake(0, y - 6, 400, 36));
      page.texts.push_back({rows[i].first, 16, y, size, bold, light});
      page.texts.push_back({rows[i].second, 130, y, size, bold, light, true});
      if (!light) page.texts.push_back({filler[(i + slot + variant) % filler.size()], 16, y + 34, 13});
    }
  }
  return pages;
}

std::vector<std::string> answerOf(ScreenImageProcessor& processor, const std::shared_ptr<UIImage>& image) {
  AITextOcclusionData record(image, 0, AITextProcessingTypeRecognize, 2, 1);
  record.setRecognitionLanguages(std::vector<std::string>{"eng"});
  record.setCustomWords(kCustomWords);
  std::vector<std::string> rects;
  processor.processImage(std::move(record), [&](std::vector<std::string> r) { rects = std::move(r); });
  processor.drain();
  return rects;
}

struct Score {
  int sensitive = 0, covered = 0;      // sensitive strings, and those inside one answered rectangle
  int rects = 0, rectsOnSensitive = 0; // answered rectangles, and those over a sensitive string
  int ordinary = 0, ordinaryHit = 0;   // ordinary strings, and those an answer overlaps
  void add(const Score& o) {
    sensitive += o.sensitive, covered += o.covered, rects += o.rects, rectsOnSensitive += o.rectsOnSensitive;
    ordinary += o.ordinary, ordinaryHit += o.ordinaryHit;
  }
};

Score score(const UIImage& image, const Page& page, const std::vector<std::string>& answer,
            std::vector<std::string>* missed = nullptr) {
  std::vector<CGRect> rects;
  for (const auto& s : answer) rects.push_back(CGRectFromString(s));
  Score sc;
  sc.rects = static_cast<int>(rects.size());
  std::vector<CGRect> sensitiveInk;
  for (const auto& t : wholeTexts(page)) {
    const CGRect ink = inkBox(image, t);
    if (CGRectIsNull(ink)) continue;
    if (t.sensitive) {
      ++sc.sensitive;
      sensitiveInk.push_back(ink);
      const bool ok = std::any_of(rects.begin(), rects.end(),
                                  [&](CGRect r) { return CGRectContainsRect(CGRectInset(r, -0.5, -0.5), ink); });
      sc.covered += ok;
      if (!ok && missed) missed->push_back(t.text);
    } else {
      ++sc.ordinary;
      // Labels sit beside their values; only overlap beyond the values' margin counts.
      const CGRect core = CGRectInset(ink, 1, 1);
      sc.ordinaryHit += std::any_of(rects.begin(), rects.end(), [&](CGRect r) { return CGRectIntersectsRect(r, core); });
    }
  }
  // Sensitive text cut by a list's edge is not counted as seen, but hiding it is no mistake.
  for (const auto& t : page.texts) {
    if (!t.sensitive || !scrolls(page, t)) continue;
    const CGRect visible = CGRectIntersection(layoutRect(onScreen(page, t)), page.listArea);
    if (!CGRectIsNull(visible) && !CGRectIsEmpty(visible)) sensitiveInk.push_back(visible);
  }
  for (const auto& r : rects) {
    sc.rectsOnSensitive += std::any_of(sensitiveInk.begin(), sensitiveInk.end(),
                                       [&](CGRect ink) { return CGRectIntersectsRect(r, ink); });
  }
  return sc;
}

void report(benchmark::State& state, const Score& sc) {
  state.counters["recall_pct"] = 100.0 * sc.covered / std::max(1, sc.sensitive);
  state.counters["precision_pct"] = 100.0 * sc.rectsOnSensitive / std::max(1, sc.rects);
  state.counters["sensitive"] = sc.sensitive;
  state.counters["ordinary_hit"] = sc.ordinaryHit;
}

// Arguments: pixels per point x100, then the engine's layout analysis for whole frames (0 auto,
// 1 single block, 2 sparse text), then (sessions) the one for bands of changed rows.
ScreenImageProcessor::Options options(const benchmark::State& state, bool reuse) {
  ScreenImageProcessor::Options o;
  o.pixelsPerPoint = state.range(0) / 100.0;
  o.reuseUnchangedRows = reuse;
  o.layout = static_cast<ZRTextRecognizer::Layout>(state.range(1));
  if (reuse) o.bandLayout = static_cast<ZRTextRecognizer::Layout>(state.range(2));
  return o;
}

void resolutionsAndLayouts(benchmark::internal::Benchmark* b) {
  for (int ppp : {75, 100, 125, 150, 200}) b->Args({ppp, 0});
  b->Args({100, 1})->Args({150, 1})->Args({100, 2});
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void BM_FullFrame(benchmark::State& state) {
  const Page page = accountScreen("blue", 41);
  const auto image = draw(page);
  ScreenImageProcessor processor(options(state, false));
  auto answer = answerOf(processor, image);  // engine created outside the timing
  for (auto _ : state) answer = answerOf(processor, image);
  report(state, score(*image, page, answer));
}
BENCHMARK(BM_FullFrame)->Apply(resolutionsAndLayouts)->Unit(benchmark::kMillisecond)->Iterations(5);

double processCpuMilliseconds() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

// CPU time of the whole process per frame (the processor's worker does the work; the caller
// waits without spinning). Arguments: capture scale, then 0 for a whole new frame every time
// (no reuse), 1 for frames where one line changed (an upload's percentage, on the dark banner).
void BM_FrameCpu(benchmark::State& state) {
  const double scale = static_cast<double>(state.range(0));
  const bool oneLine = state.range(1) != 0;
  const auto a = draw(accountScreen("blue", 41), scale), b = draw(accountScreen("blue", 42), scale);
  ScreenImageProcessor::Options o;
  o.reuseUnchangedRows = oneLine;
  ScreenImageProcessor processor(o);
  (void)answerOf(processor, a);  // engine created, first frame read, outside the timing
  std::vector<double> cpu;
  bool flip = false;
  for (auto _ : state) {
    flip = !flip;
    const double start = processCpuMilliseconds();
    benchmark::DoNotOptimize(answerOf(processor, flip ? b : a));
    cpu.push_back(processCpuMilliseconds() - start);
  }
  std::sort(cpu.begin(), cpu.end());
  double sum = 0;
  for (double c : cpu) sum += c;
  state.counters["cpu_ms_median"] = cpu[cpu.size() / 2];
  state.counters["cpu_ms_mean"] = sum / cpu.size();
  state.counters["rows_read"] = static_cast<double>(processor.statistics().recognizedRows) / (cpu.size() + 1);
  state.counters["second_looks"] = static_cast<double>(processor.statistics().secondLooks);
}
BENCHMARK(BM_FrameCpu)->Args({1, 0})->Args({3, 0})->Unit(benchmark::kMillisecond)->Iterations(8)->MeasureProcessCPUTime();
BENCHMARK(BM_FrameCpu)->Args({1, 1})->Args({3, 1})->Unit(benchmark::kMillisecond)->Iterations(40)->MeasureProcessCPUTime();

// One recording's worth of typical frames at 10 per second: the account screen while the user
// types a search and an upload progresses, a visit to the orders screen, a scroll down the
// account screen's list (16 points a frame) and back to the top, then orders again.
void BM_Session(benchmark::State& state) {
  const std::string typed = "bluetooth headphones";
  std::vector<Page> pages;
  for (int i = 0; i < 60; ++i) {
    const std::string search = typed.substr(0, std::min<std::size_t>(typed.size(), i / 2));
    if ((i >= 20 && i < 25) || (i >= 50 && i < 55)) {
      pages.push_back(ordersScreen());
    } else if (i >= 30 && i < 50) {
      pages.push_back(accountScreen(search, 40 + i / 5, 16.0 * std::min(i - 29, 14)));
    } else {
      pages.push_back(accountScreen(search, 40 + i / 5));
    }
  }
  std::vector<std::shared_ptr<UIImage>> images;
  for (const auto& p : pages) images.push_back(draw(p));

  std::vector<double> times, readTimes;  // all frames; frames that read rows
  int wholeFrames = 0;
  std::uint64_t rowsRead = 0;
  Score total;
  std::vector<std::string> missed;
  for (auto _ : state) {
    ScreenImageProcessor processor(options(state, true));
    (void)answerOf(processor, draw(Page{}));  // engine created outside the timing
    times.clear();
    readTimes.clear();
    wholeFrames = 0;
    rowsRead = 0;
    total = Score{};
    missed.clear();
    for (std::size_t i = 0; i < images.size(); ++i) {
      const auto before = processor.statistics();
      const auto start = std::chrono::steady_clock::now();
      const auto answer = answerOf(processor, images[i]);
      times.push_back(millisecondsSince(start));
      state.PauseTiming();
      const auto after = processor.statistics();
      const auto rows = after.recognizedRows - before.recognizedRows;
      rowsRead += rows;
      if (rows > 0) readTimes.push_back(times.back());
      wholeFrames += rows == static_cast<std::uint64_t>(kScreen.height * processor.options().pixelsPerPoint + 0.5);
      std::vector<std::string> frameMissed;
      total.add(score(*images[i], pages[i], answer, &frameMissed));
      for (auto& m : frameMissed) missed.push_back("frame " + std::to_string(i) + " " + m);
      state.ResumeTiming();
    }
  }
  auto percentile = [](std::vector<double> v, double p) {
    if (v.empty()) return 0.0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<std::size_t>(p * v.size()))];
  };
  double sum = 0;
  for (double t : times) sum += t;
  state.counters["median_ms"] = percentile(times, 0.5);
  state.counters["p90_ms"] = percentile(times, 0.9);
  state.counters["max_ms"] = percentile(times, 1.0);
  state.counters["mean_ms"] = sum / times.size();
  state.counters["read_frames"] = static_cast<double>(readTimes.size());
  state.counters["read_median_ms"] = percentile(readTimes, 0.5);
  state.counters["whole_frames"] = wholeFrames;
  state.counters["rows_per_frame"] = static_cast<double>(rowsRead) / times.size();
  report(state, total);
  std::string list;
  for (const auto& m : missed) list += (list.empty() ? "" : ", ") + m;
  if (!list.empty()) state.SetLabel("missed: " + list);
}
BENCHMARK(BM_Session)->Args({100, 0, 0})->Args({100, 0, 1})->Args({150, 0, 1})->Args({100, 1, 1})->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_Recall(benchmark::State& state) {
  const auto pages = recallPages();
  std::vector<std::shared_ptr<UIImage>> images;
  for (const auto& p : pages) images.push_back(draw(p));
  ScreenImageProcessor processor(options(state, false));
  Score total;
  std::vector<std::string> missed;
  for (auto _ : state) {
    total = Score{};
    missed.clear();
    for (std::size_t i = 0; i < pages.size(); ++i) total.add(score(*images[i], pages[i], answerOf(processor, images[i]), &missed));
  }
  report(state, total);
  std::string list;
  for (const auto& m : missed) list += (list.empty() ? "" : ", ") + m;
  if (!list.empty()) state.SetLabel("missed: " + list);
}
BENCHMARK(BM_Recall)->Apply(resolutionsAndLayouts)->Unit(benchmark::kMillisecond)->Iterations(1);

// --- The broad evaluation set ---

struct Tally {
  int sensitive = 0, covered = 0;
  void add(bool c) { ++sensitive, covered += c; }
  std::string text() const {
    if (sensitive == 0) return "-";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.1f%% (%d/%d)", 100.0 * covered / sensitive, covered, sensitive);
    return buf;
  }
};

struct EvaluationReport {
  std::map<std::string, Tally> byKind[3];  // 12 pt and up on plain and coloured grounds; 10-11 pt; photos
  std::map<std::string, Tally> byGround, bySize, byScale;
  Tally large, all;
  int ordinaryValues = 0, valuesTouched = 0, labels = 0, labelsTouched = 0, screens = 0;
  double cpuMs = 0;
  std::vector<std::string> misses, touched;

  void print(const char* title) const {
    std::printf("\n%s: %d screens, %.0f ms CPU per screen\n", title, screens, cpuMs / std::max(1, screens));
    std::printf("  recall, 12 pt and up, plain and coloured grounds: %s\n", large.text().c_str());
    std::printf("  recall, everything (10-11 pt and photographs too): %s\n", all.text().c_str());
    std::printf("  ordinary values touched: %d of %d; labels touched: %d of %d\n", valuesTouched, ordinaryValues,
                labelsTouched, labels);
    std::printf("  %-12s %-22s %-22s %-22s\n", "kind", "12+ pt plain/coloured", "10-11 pt", "beside photos");
    for (const auto& [kind, tally] : byKind[0]) {
      auto other = [&](int i) { const auto it = byKind[i].find(kind); return it == byKind[i].end() ? std::string("-") : it->second.text(); };
      std::printf("  %-12s %-22s %-22s %-22s\n", kind.c_str(), tally.text().c_str(), other(1).c_str(), other(2).c_str());
    }
    for (const auto& [name, table] : {std::pair{"ground", &byGround}, std::pair{"size", &bySize}, std::pair{"scale", &byScale}}) {
      std::printf("  by %s:", name);
      for (const auto& [key, tally] : *table) std::printf("  %s %s", key.c_str(), tally.text().c_str());
      std::printf("\n");
    }
    for (const auto& m : misses) std::printf("  missed: %s\n", m.c_str());
    for (const auto& t : touched) std::printf("  touched: %s\n", t.c_str());
  }

  void add(const EvaluationReport& o) {
    for (int i = 0; i < 3; ++i) {
      for (const auto& [k, t] : o.byKind[i]) byKind[i][k].sensitive += t.sensitive, byKind[i][k].covered += t.covered;
    }
    for (auto [mine, theirs] : {std::pair{&byGround, &o.byGround}, std::pair{&bySize, &o.bySize}, std::pair{&byScale, &o.byScale}}) {
      for (const auto& [k, t] : *theirs) (*mine)[k].sensitive += t.sensitive, (*mine)[k].covered += t.covered;
    }
    large.sensitive += o.large.sensitive, large.covered += o.large.covered;
    all.sensitive += o.all.sensitive, all.covered += o.all.covered;
    ordinaryValues += o.ordinaryValues, valuesTouched += o.valuesTouched, labels += o.labels,
        labelsTouched += o.labelsTouched, screens += o.screens, cpuMs += o.cpuMs;
    misses.insert(misses.end(), o.misses.begin(), o.misses.end());
    touched.insert(touched.end(), o.touched.begin(), o.touched.end());
  }
};

EvaluationReport gEvaluationTotal;

std::string describe(const textsamples::Row& row, textsamples::Ground ground, double scale) {
  char buf[256];
  static const char* styles[] = {"inline", "apart", "stacked"};
  std::snprintf(buf, sizeof buf, "\"%s\" (%s) %s %gpt%s %s %gx", row.sample.value.c_str(), row.sample.label.c_str(),
                textsamples::groundName(ground), row.size, row.bold ? " bold" : "", styles[static_cast<int>(row.style)], scale);
  return buf;
}

// The ink's box and the answered rectangles that reach it, for reading what went wrong.
std::string near(CGRect ink, const std::vector<CGRect>& rects) {
  auto text = [](CGRect r) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "{%.0f,%.0f %.0fx%.0f}", r.origin.x, r.origin.y, r.size.width, r.size.height);
    return std::string(buf);
  };
  std::string out = ": ink " + text(ink) + ", rectangles";
  for (const auto& r : rects) {
    if (CGRectIntersectsRect(r, CGRectInset(ink, -4, -4))) out += " " + text(r);
  }
  return out;
}

// Arguments: capture scale, then the whole-frame layout (-1 the default; else as in options()),
// then the digit confidence (-1 the default).
// Every ground, two turns of the set with sizes, weights and row styles
// shifted between turns, grounds and scales.
void BM_Evaluation(benchmark::State& state) {
  using namespace textsamples;
  const double scale = static_cast<double>(state.range(0));
  const std::vector<double> sizes{10, 11, 12, 13, 14, 15, 16, 17, 18, 20, 22, 24, 28};
  ScreenImageProcessor::Options o;
  o.reuseUnchangedRows = false;
  if (state.range(1) >= 0) o.layout = static_cast<ZRTextRecognizer::Layout>(state.range(1));
  if (state.range(2) >= 0) o.digitConfidence = static_cast<float>(state.range(2));
  ScreenImageProcessor processor(o);
  // Set to a folder to keep each screen as a PNG, for looking at what was missed.
  const char* pngFolder = std::getenv("ZERVA_EVALUATION_PNG_DIR");
  EvaluationReport report;
  for (auto _ : state) {
    report = EvaluationReport{};
    for (std::size_t g = 0; g < allGrounds().size(); ++g) {
      const Ground ground = allGrounds()[g];
      for (int turn = 0; turn < 2; ++turn) {
        const int variant = turn * 37 + static_cast<int>(g) * 3 + static_cast<int>(scale);
        for (const auto& screen : layoutScreens(ground, allSamples(), sizes, variant)) {
          const auto drawn = drawScreen(screen, scale), grounds = drawScreen(screen, scale, false);
          if (pngFolder) {
            (void)UIImageWritePNGToFile(*drawn, std::string(pngFolder) + "/" + groundName(ground) + "-" +
                                                    std::to_string(static_cast<int>(scale)) + "x-" +
                                                    std::to_string(screen.seed) + ".png");
          }
          AITextOcclusionData record(drawn, 0, AITextProcessingTypeRecognize, 2, 1);
          record.setCustomWords(customWords());
          std::vector<CGRect> rects;
          const double start = processCpuMilliseconds();
          processor.processImage(std::move(record), [&](std::vector<std::string> r) {
            for (const auto& s : r) rects.push_back(CGRectFromString(s));
          });
          processor.drain();
          report.cpuMs += processCpuMilliseconds() - start;
          ++report.screens;
          for (const auto& outcome : judge(screen, *drawn, *grounds, rects)) {
            const Row& row = *outcome.row;
            ++report.labels;
            report.labelsTouched += outcome.labelTouched;
            if (outcome.labelTouched) {
              report.touched.push_back("label of " + describe(row, ground, scale) + near(outcome.labelBox, rects));
            }
            if (!outcome.sensitive) {
              ++report.ordinaryValues;
              report.valuesTouched += outcome.valueTouched;
              if (outcome.valueTouched) report.touched.push_back(describe(row, ground, scale) + near(outcome.inkBox, rects));
              continue;
            }
            const bool small = row.size < 12, photo = ground == Ground::Photo;
            const std::string kind = kindName(row.sample.kind);
            report.byKind[photo ? 2 : small ? 1 : 0][kind].add(outcome.covered);
            report.byGround[groundName(ground)].add(outcome.covered);
            char sizeKey[16];
            std::snprintf(sizeKey, sizeof sizeKey, "%02.0fpt", row.size);
            report.bySize[sizeKey].add(outcome.covered);
            report.byScale[std::to_string(static_cast<int>(scale)) + "x"].add(outcome.covered);
            if (!small && !photo) report.large.add(outcome.covered);
            report.all.add(outcome.covered);
            if (!outcome.covered) report.misses.push_back(describe(row, ground, scale) + near(outcome.inkBox, rects));
          }
        }
      }
    }
  }
  state.counters["recall_12pt_pct"] = 100.0 * report.large.covered / std::max(1, report.large.sensitive);
  state.counters["recall_all_pct"] = 100.0 * report.all.covered / std::max(1, report.all.sensitive);
  state.counters["ordinary_touched"] = report.valuesTouched;
  state.counters["labels_touched"] = report.labelsTouched;
  state.counters["screens"] = report.screens;
  state.counters["second_looks"] = static_cast<double>(processor.statistics().secondLooks);
  std::string title = "Evaluation at capture scale " + std::to_string(static_cast<int>(scale));
  if (state.range(1) >= 0) title += ", whole-frame layout " + std::to_string(state.range(1));
  if (state.range(2) >= 0) title += ", digit confidence " + std::to_string(state.range(2));
  report.print(title.c_str());
  if (state.range(1) < 0 && state.range(2) < 0) gEvaluationTotal.add(report);
}
BENCHMARK(BM_Evaluation)->Args({1, -1, -1})->Args({2, -1, -1})->Args({3, -1, -1})->Args({2, 2, -1})->Args({2, 3, -1})
    ->Args({1, -1, 0})->Args({2, -1, 0})->Args({3, -1, 0})->Args({2, -1, 50})->Unit(benchmark::kMillisecond)->Iterations(1);

// What the speed-ups cost in words found: the typical screen's words that come back exactly.
// Arguments: pixels per point x100, then 1 to prepare the copy as text on white first.
void BM_Words(benchmark::State& state) {
  const Page page = accountScreen("blue", 41);
  const auto image = draw(page);
  std::vector<std::string> truth;
  for (const auto& t : wholeTexts(page)) {
    for (std::size_t at = 0; at < t.text.size();) {
      const std::size_t end = std::min(t.text.find(' ', at), t.text.size());
      if (end > at) truth.push_back(t.text.substr(at, end - at));
      at = end + 1;
    }
  }
  auto created = ZRTextRecognizer::create("eng");
  if (!created) {
    state.SkipWithError(created.error().localizedDescription().c_str());
    return;
  }
  auto engine = std::move(*created);
  const double ppp = state.range(0) / 100.0;
  std::vector<ZRRecognizedLine> lines;
  for (auto _ : state) {
    auto grey = ZRGreyImage::fromImage(*image, ppp);
    if (state.range(1)) grey = grey.withTextOnWhite();
    lines = engine->recognize(grey, {0, 0, grey.width(), grey.height()}, ZRTextRecognizer::Layout::Auto);
  }
  std::vector<std::string> found;
  for (const auto& line : lines) {
    for (const auto& w : line.words) found.push_back(w.text);
  }
  int matched = 0;
  for (const auto& w : truth) {
    const auto it = std::find(found.begin(), found.end(), w);
    if (it != found.end()) {
      ++matched;
      found.erase(it);
    }
  }
  state.counters["words"] = static_cast<double>(truth.size());
  state.counters["found"] = matched;
}
BENCHMARK(BM_Words)->Args({75, 1})->Args({100, 1})->Args({100, 0})->Args({150, 1})->Args({200, 1})
    ->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_EngineCreation(benchmark::State& state) {
  for (auto _ : state) {
    auto engine = ZRTextRecognizer::create("eng");
    benchmark::DoNotOptimize(engine.ok());
  }
}
BENCHMARK(BM_EngineCreation)->Unit(benchmark::kMillisecond)->Iterations(5);

// The fixed work of a frame that reads before the engine: grey copy at 1 pixel per point, then
// prepared as text on white. Arguments: capture scale, then 0 for the whole frame or 1 for one
// band of 30 rows.
void BM_GreyCopy(benchmark::State& state) {
  const auto image = draw(accountScreen("blue", 41), static_cast<double>(state.range(0)));
  const std::vector<ZRGreyImage::RowRange> rows =
      state.range(1) ? std::vector<ZRGreyImage::RowRange>{{395, 425}} : std::vector<ZRGreyImage::RowRange>{{0, 844}};
  for (auto _ : state) {
    const auto grey = ZRGreyImage::fromImage(*image, 1.0, rows).withTextOnWhite(rows);
    benchmark::DoNotOptimize(grey.data());
  }
}
BENCHMARK(BM_GreyCopy)->Args({1, 0})->Args({3, 0})->Args({1, 1})->Args({3, 1})->Unit(benchmark::kMillisecond);

// The other fixed work of every type-1 frame: row hashes of the capture. Argument: capture scale.
void BM_FrameRows(benchmark::State& state) {
  const auto image = draw(accountScreen("blue", 41), static_cast<double>(state.range(0)));
  for (auto _ : state) {
    const ZRFrameRows rows(*image);
    benchmark::DoNotOptimize(rows.height());
  }
}
BENCHMARK(BM_FrameRows)->Arg(1)->Arg(2)->Arg(3)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zerva

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  if (zerva::gEvaluationTotal.screens > 0 && zerva::gEvaluationTotal.byScale.size() > 1) {
    zerva::gEvaluationTotal.print("Evaluation, all capture scales");
  }
  return 0;
}
