// What a frame of the demo app costs the app, against the goals in docs/performance.md:
//  - the synchronous capture on the main thread (what gZERVA_LastFrameTime measures), schematic
//    and real-pixel, on the demo's screens at 1 and 3 pixels per point: p50, p95, slow frames;
//  - the whole frame (capture, masking, conversion, encoding on every thread);
//  - each stage next to the raw library doing the same work in the same run (its floor);
//  - a medium-quality video's bytes per second and luma PSNR against the frames handed over.
//
// Times are CPU times read around each piece of work (the calling thread's, or the whole
// process's for the whole frame), so that the other work of a busy machine does not inflate them.

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <libyuv.h>

#include "BenchContent.h"
#include "ContentFrames.h"
#include "DecodedVideo.h"
#include "DemoSession.h"
#include "RawFloors.h"
#include "platform/CGGeometry.h"
#include "platform/CGImage.h"
#include "platform/CairoHandles.h"
#include "platform/UIApplication.h"
#include "platform/UIScrollView.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIWindow.h"
#include "services/HVHierarchyScanner.h"
#include "services/ZRKeyboardUtility.h"
#include "services/ZRMp4VideoWriter.h"
#include "services/ZRSessionVideoSettings.h"
#include "services/ZRVideoOutput.h"

namespace zerva::bench {
namespace {

constexpr double kSlowFrameMs = 20.0;  // the driver's slow-path threshold

struct Percentiles {
  std::vector<double> ms;
  double at(double q) {
    if (ms.empty()) return 0;
    std::sort(ms.begin(), ms.end());
    return ms[std::min(ms.size() - 1, static_cast<std::size_t>(q * static_cast<double>(ms.size())))];
  }
  /// `slow`: frames the driver would count toward its slow path (synchronous times only).
  void report(benchmark::State& state, bool countSlow) {
    state.counters["p50_ms"] = at(0.5);
    state.counters["p95_ms"] = at(0.95);
    state.counters["max_ms"] = at(1.0);
    if (countSlow) {
      state.counters["slow"] =
          static_cast<double>(std::count_if(ms.begin(), ms.end(), [](double v) { return v > kSlowFrameMs; }));
    }
  }
};

/// The first argument: 0 schematic frames, 1 real pixels.
DemoCapture captureArg(const benchmark::State& state) {
  return state.range(0) ? DemoCapture::realPixels : DemoCapture::schematic;
}

void nameFrame(benchmark::State& state) {
  state.SetLabel(std::string(state.range(0) ? "real " : "schematic ") + kDemoMoments[state.range(1)].name + " " +
                 std::to_string(state.range(2)) + "x");
}

// Args: real (0 schematic, 1 real pixels), screen (kDemoMoments), pixels per point.
void BM_SynchronousFrame(benchmark::State& state) {
  DemoSession session(kDemoMoments[state.range(1)], static_cast<double>(state.range(2)), captureArg(state));
  Percentiles times;
  for (auto _ : state) {
    const double begin = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    session.captureOne();
    const double spent = cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - begin;
    state.SetIterationTime(spent);
    times.ms.push_back(spent * 1000);
    session.settle();
  }
  times.report(state, true);
  nameFrame(state);
}

void BM_WholeFrame(benchmark::State& state) {
  DemoSession session(kDemoMoments[state.range(1)], static_cast<double>(state.range(2)), captureArg(state));
  Percentiles times;
  const auto before = session.handler().numFramesInVideo();
  for (auto _ : state) {
    const double begin = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
    session.captureOne();
    session.settle();
    const double spent = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - begin;
    state.SetIterationTime(spent);
    times.ms.push_back(spent * 1000);
  }
  session.settle();
  times.report(state, false);
  state.counters["frames_in_video"] = static_cast<double>(session.handler().numFramesInVideo() - before);
  nameFrame(state);
}

// The feed scrolled without pause at 600 points a second (60 points a frame, down to the end of
// its content and back), every frame through the whole pipeline: what a frame of a scroll costs
// all threads together, and the bytes per second of the video it makes (30 s of it).
void BM_WholeFrameScrolling(benchmark::State& state) {
  DemoSession session(kDemoMoments[0], static_cast<double>(state.range(1)), captureArg(state));
  auto feed = std::dynamic_pointer_cast<UIScrollView>(session.player().viewNamed("feedScroll"));
  const double end = feed->contentSize().height - feed->bounds().size.height;
  double offset = 0, step = 60;
  Percentiles times;
  session.settle();
  const auto bytesBefore = session.videoBytes();
  for (auto _ : state) {
    if (offset + step > end || offset + step < 0) step = -step;
    offset += step;
    feed->setContentOffset({0, offset});
    const double begin = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
    session.captureOne();
    session.settle();
    const double spent = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - begin;
    state.SetIterationTime(spent);
    times.ms.push_back(spent * 1000);
  }
  double sum = 0;
  for (double ms : times.ms) sum += ms;
  state.counters["mean_ms"] = sum / static_cast<double>(times.ms.size());
  times.report(state, false);
  state.counters["KB_per_s"] =
      static_cast<double>(session.videoBytes() - bytesBefore) / 1024.0 / (static_cast<double>(state.iterations()) / 10);
  state.SetLabel(std::string(state.range(0) ? "real " : "schematic ") + "feed scrolling " +
                 std::to_string(state.range(1)) + "x");
}
BENCHMARK(BM_WholeFrameScrolling)
    ->ArgsProduct({{0, 1}, {1, 3}})
    ->ArgNames({"real", "scale"})
    ->UseManualTime()
    ->Iterations(300)
    ->Unit(benchmark::kMillisecond);

void frameArgs(benchmark::internal::Benchmark* b) {
  b->ArgsProduct({{0, 1}, {0, 1, 2, 3}, {1, 3}})->ArgNames({"real", "screen", "scale"});
  b->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(0.3);
}
BENCHMARK(BM_SynchronousFrame)->Apply(frameArgs);
BENCHMARK(BM_WholeFrame)->Apply(frameArgs);

double residentMegabytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmRSS:", 0) == 0) return std::stod(line.substr(6)) / 1024.0;
  }
  return 0;
}

// Ten minutes at 10 fps of the feed at 3x (6,000 schematic frames through the whole pipeline
// into a real file): resident memory after the first minute and at the end, and the process
// peak. Run it alone (--benchmark_filter=TenMinutes) for a peak that is this recording's own.
void BM_TenMinutesMemory(benchmark::State& state) {
  for (auto _ : state) {
    DemoSession session(kDemoMoments[0], 3);
    double afterMinute = 0, highest = 0;
    for (int i = 0; i < 6000; ++i) {
      session.captureOne();
      session.settle();
      if (i % 100 == 99) {
        const double rss = residentMegabytes();
        highest = std::max(highest, rss);
        if (i == 599) afterMinute = rss;
      }
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["rss_1min_MB"] = afterMinute;
    state.counters["rss_10min_MB"] = residentMegabytes();
    state.counters["rss_highest_MB"] = highest;
    state.counters["peak_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
  }
}
BENCHMARK(BM_TenMinutesMemory)->Iterations(1)->Unit(benchmark::kSecond);

// --- Stages against their floors, on the feed ----------------------------------------------------

/// Times ours and the floor alternately, so that both see the same machine.
struct StagePair {
  double ours = 0, floor = 0;
  bool hasFloor = true;
  template <typename Ours, typename Floor>
  void run(Ours&& oursWork, Floor&& floorWork) {
    double t = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    oursWork();
    const double o = cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - t;
    t = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    floorWork();
    floor += cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - t;
    ours += o;
  }
  void report(benchmark::State& state, const std::string& label) {
    const double n = static_cast<double>(state.iterations());
    state.counters["ours_ms"] = ours / n * 1000;
    if (hasFloor) {
      state.counters["floor_ms"] = floor / n * 1000;
      state.counters["ratio"] = floor > 0 ? ours / floor : 0;
    }
    state.SetLabel(label);
  }
};

std::vector<HVHierarchyDictionary> scanScreen(ZRViewVideoHandler& handler) {
  return HVHierarchyScanner::initAndOccludeAllTextFields(handler.occludeAllTextFields())
      ->hierarchySnapshotFromWindow(nullptr, handler.listOfActiveSensitiveViews());
}

// The scan has no library under it: no floor.
void BM_StageScan(benchmark::State& state) {
  DemoSession session(kDemoMoments[0], static_cast<double>(state.range(0)));
  StagePair pair;
  pair.hasFloor = false;
  for (auto _ : state) pair.run([&] { benchmark::DoNotOptimize(scanScreen(session.handler())); }, [] {});
  pair.report(state, std::string("scan (no library floor)") + " " + std::to_string(state.range(0)) + "x");
}

// Schematic drawing of the scanned feed against Cairo and Pango drawing its boxes and laid-out
// texts straight into a new bitmap of the same pixel size.
void BM_StageSchematicDrawing(benchmark::State& state) {
  DemoSession session(kDemoMoments[0], static_cast<double>(state.range(0)));
  const auto snapshot = scanScreen(session.handler());
  const double drawnScale = std::min<double>(static_cast<double>(state.range(0)), ZRImageRenderer::kMaxPixelsPerPoint);
  RawScreen raw(snapshot, drawnScale);
  StagePair pair;
  for (auto _ : state) {
    pair.run([&] { benchmark::DoNotOptimize(session.handler().renderSchematicFrame(snapshot, CGRectZero)); },
             [&] { benchmark::DoNotOptimize(raw.draw()); });
  }
  pair.report(state, std::string("hierarchy drawing vs Cairo/Pango") + " " + std::to_string(state.range(0)) + "x");
  state.counters["views"] = static_cast<double>(raw.views());
}

// The layer route's snapshot of the windows against the same raw drawing of the screen.
void BM_StageLayerSnapshot(benchmark::State& state) {
  DemoSession session(kDemoMoments[0], static_cast<double>(state.range(0)));
  const auto snapshot = scanScreen(session.handler());
  const double drawnScale = std::min<double>(static_cast<double>(state.range(0)), ZRImageRenderer::kMaxPixelsPerPoint);
  RawScreen raw(snapshot, drawnScale);
  auto& handler = session.handler();
  const CGSize windowSize = UIApplication::sharedApplication()->keyWindow()->frame().size;
  StagePair pair;
  for (auto _ : state) {
    pair.run([&] { benchmark::DoNotOptimize(handler.generateSnapShotForLayers(handler.availableWindowLayers(), windowSize, CGRectZero)); },
             [&] { benchmark::DoNotOptimize(raw.draw()); });
  }
  pair.report(state, std::string("layer snapshot vs Cairo/Pango") + " " + std::to_string(state.range(0)) + "x");
}

// Masking three card-sized rectangles into the feed's frame against Cairo copying and filling.
void BM_StageMasking(benchmark::State& state) {
  DemoSession session(kDemoMoments[0], static_cast<double>(state.range(0)));
  auto& handler = session.handler();
  const auto frame = handler.renderSchematicFrame(scanScreen(handler), CGRectZero);
  const std::vector<CGRect> rects{{{16, 200}, {358, 48}}, {{16, 300}, {358, 48}}, {{16, 400}, {170, 48}}};
  ZRRectStringList strings;
  for (const CGRect& r : rects) strings.push_back(NSStringFromCGRect(r));
  const std::vector<std::string> screens{"Feed"};
  const double ppp = static_cast<double>(frame->pixelWidth()) / frame->size().width;
  StagePair pair;
  for (auto _ : state) {
    pair.run([&] { benchmark::DoNotOptimize(handler.occludeSensitiveViewsIntoImage(frame, screens, strings, false, false)); },
             [&] { benchmark::DoNotOptimize(rawMask(surfaceOf(*frame->CGImage()), rects, ppp)); });
  }
  pair.report(state, std::string("masking vs Cairo") + " " + std::to_string(state.range(0)) + "x");
}

// A landscape frame to the medium video: the quarter turn and the downscale (and the hand-over
// to the recorder) against Cairo's nearest-neighbour turn and libyuv's bilinear scale.
void BM_StageTurnAndDownscale(benchmark::State& state) {
  DemoSession session(kDemoMoments[3], static_cast<double>(state.range(0)));
  auto& handler = session.handler();
  const auto frame = handler.generateSnapShotForLayers(handler.availableWindowLayers(),
                                                       UIApplication::sharedApplication()->keyWindow()->frame().size,
                                                       CGRectZero);
  const CGRect window{CGPointZero, frame->size()};
  const CGSize video = fs_DownscaledVideoSize;
  StagePair pair;
  for (auto _ : state) {
    pair.run([&] { handler.processCapturedImageIntoVideo(frame, UIInterfaceOrientationLandscapeRight, window, false, false); },
             [&] {
               auto turned = rawQuarterTurn(surfaceOf(*frame->CGImage()));
               benchmark::DoNotOptimize(rawDownscale(pixelsOf(turned.get()), static_cast<int>(video.width),
                                                     static_cast<int>(video.height)));
             });
    state.PauseTiming();
    session.settle();
    state.ResumeTiming();
  }
  pair.report(state, std::string("orientation redraw + downscale vs Cairo + libyuv") + " " + std::to_string(state.range(0)) + "x");
}

BENCHMARK(BM_StageScan)->Arg(1)->Arg(3)->ArgName("scale")->Unit(benchmark::kMillisecond)->MinTime(0.3);
BENCHMARK(BM_StageSchematicDrawing)->Arg(1)->Arg(3)->ArgName("scale")->Unit(benchmark::kMillisecond)->MinTime(0.3);
BENCHMARK(BM_StageLayerSnapshot)->Arg(1)->Arg(3)->ArgName("scale")->Unit(benchmark::kMillisecond)->MinTime(0.3);
BENCHMARK(BM_StageMasking)->Arg(1)->Arg(3)->ArgName("scale")->Unit(benchmark::kMillisecond)->MinTime(0.3);
BENCHMARK(BM_StageTurnAndDownscale)->Arg(1)->Arg(3)->ArgName("scale")->Unit(benchmark::kMillisecond)->MinTime(0.3);

// --- The video at medium quality ------------------------------------------------------------------

// Counts bytes and keeps nothing.
class CountingOutput final : public ZRVideoOutput {
 public:
  int write(const std::uint8_t*, std::size_t size) override {
    position_ += static_cast<std::int64_t>(size);
    end_ = std::max(end_, position_);
    return 0;
  }
  std::int64_t seek(std::int64_t offset, int whence) override {
    position_ = whence == SEEK_SET ? offset : whence == SEEK_CUR ? position_ + offset : end_ + offset;
    return position_;
  }
  int close() override { return 0; }
  const std::string& path() const override { return path_; }

 private:
  std::int64_t position_ = 0, end_ = 0;
  std::string path_ = "(counting)";
};

/// Keeps the first error of a run of writer calls.
void keepFirst(NSErrorOrNil& first, NSErrorOrNil error) {
  if (error && !first) first = std::move(error);
}

ZRVideoEncoderConfig mediumConfig() {
  return ZRSessionVideoSettings(ZRVideoQualityMedium, {390, 844}).encoderConfig();
}

// The recorder's colour conversion and encoding against libyuv and x264 driven directly with
// the same settings, on the bench content (scrolling 1.5 s of every 4 s) at the medium size.
void BM_StageConvertAndEncode(benchmark::State& state) {
  const ZRVideoEncoderConfig config = mediumConfig();
  ContentGenerator content(Content::Schematic, 400, 844);
  RawPixels frame{config.width, config.height,
                  std::vector<std::uint8_t>(static_cast<std::size_t>(config.width) * config.height * 4)};
  auto writer = std::move(*ZRMp4VideoWriter::create(config));
  NSErrorOrNil failure = writer->startFile(std::make_unique<CountingOutput>());
  RawX264 raw(config.width, config.height, config.constantRateFactor, config.frameRate,
              config.tuneForScreens ? config.motionSearchRange : 0);
  double convert = 0;
  StagePair pair;
  int index = 0;
  for (auto _ : state) {
    const double seconds = index++ / config.frameRate;
    content.renderAt(seconds);
    libyuv::ARGBScale(content.pixels(), static_cast<int>(content.bytesPerRow()), content.width(), content.height(),
                      frame.argb.data(), frame.width * 4, frame.width, frame.height, libyuv::kFilterBilinear);
    const ZRBGRAFrame bgra{frame.width, frame.height, static_cast<std::size_t>(frame.width) * 4, frame.argb.data()};
    pair.run([&] { keepFirst(failure, writer->encodeFrame(bgra, seconds)); },
             [&] {
               const double t = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
               raw.convert(frame);
               convert += cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - t;
               raw.encode();
             });
  }
  keepFirst(failure, writer->finish());
  if (failure) state.SkipWithError(failure->localizedDescription().c_str());
  pair.report(state, "conversion + encoding vs libyuv + x264, medium");
  state.counters["floor_convert_ms"] = convert / static_cast<double>(state.iterations()) * 1000;
}
BENCHMARK(BM_StageConvertAndEncode)->Unit(benchmark::kMillisecond)->Iterations(400);

// The demo session from its start to its end, each frame the handler's schematic drawing of the
// screen at that moment, scaled to the video size.
class DemoSource final : public FrameSource {
 public:
  DemoSource(int width, int height) : width_(width), height_(height), pixels_(static_cast<std::size_t>(width) * height * 4) {
    auto scene = SceneLoader::loadFile(ZERVA_SOURCE_DIR "/scenes/demo-app.json");
    player_ = std::make_unique<ScenePlayer>(std::move(*scene));
    player_->start(NSRunLoop::mainRunLoop());
    handler_ = ZRViewVideoHandler::create();
  }
  int frames() const override { return 115; }
  const std::uint8_t* frame(int i) override {
    clock_.advance(0.1);
    NSRunLoop::mainRunLoop().runUntilDate(player_->startTime() + i / 10.0);
    auto snapshot = scanScreen(*handler_);
    auto keyboard = handler_->keyboardUtility();
    auto window = UIApplication::sharedApplication()->keyWindow();
    const CGRect keyboardFrame = keyboard && window ? keyboard->keyboardFrameInWindow(window) : CGRectZero;
    auto image = handler_->renderSchematicFrame(snapshot, keyboardFrame);
    const CGImage& px = *image->CGImage();
    libyuv::ARGBScale(px.data(), static_cast<int>(px.bytesPerRow()), static_cast<int>(px.width()),
                      static_cast<int>(px.height()), pixels_.data(), width_ * 4, width_, height_, libyuv::kFilterBilinear);
    return pixels_.data();
  }

 private:
  ScopedManualClock clock_;
  NSLogCapture quiet_;
  int width_, height_;
  std::vector<std::uint8_t> pixels_;
  std::unique_ptr<ScenePlayer> player_;
  std::shared_ptr<ZRViewVideoHandler> handler_;
};

std::unique_ptr<FrameSource> videoSource(int which, int width, int height) {
  if (which < kContentSources) return contentSource(which, width, height);
  return std::make_unique<DemoSource>(width, height);
}
const char* videoSourceName(int which) { return which < kContentSources ? kContentSourceNames[which] : "demo session"; }

// Args: source (contentSource, then the demo session), settings (0 today's medium, 1 medium as it was: CRF 28 and the
// preset's own motion search and refinement). Bytes per second of video, luma PSNR of every decoded frame against
// the frame handed over, and the encoding CPU per frame.
void BM_VideoMedium(benchmark::State& state) {
  ZRVideoEncoderConfig config = mediumConfig();
  if (state.range(1) == 1) {
    config.constantRateFactor = 28;
    config.tuneForScreens = false;
  }
  const std::string path =
      (std::filesystem::temp_directory_path() / ("zr-bench-video-" + std::to_string(getpid()) + ".mp4")).string();
  for (auto _ : state) {
    auto source = videoSource(static_cast<int>(state.range(0)), config.width, config.height);
    std::vector<std::vector<std::uint8_t>> luma;
    auto writer = std::move(*ZRMp4VideoWriter::create(config));
    std::filesystem::remove(path);
    NSErrorOrNil failure = writer->startFile(ZRVideoOutputCreateFile(path, nullptr));
    double cpu = 0;
    for (int i = 0; i < source->frames(); ++i) {
      const std::uint8_t* pixels = source->frame(i);
      luma.push_back(lumaOf(pixels, config.width, config.height, static_cast<std::size_t>(config.width) * 4));
      const double t = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
      keepFirst(failure, writer->encodeFrame({config.width, config.height, static_cast<std::size_t>(config.width) * 4,
                                              pixels},
                                             i / 10.0));
      cpu += cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - t;
    }
    keepFirst(failure, writer->finish());
    if (failure) {
      state.SkipWithError(failure->localizedDescription().c_str());
      break;
    }
    const double seconds = source->frames() / 10.0;
    double sum = 0, worst = 99;
    int index = 0;
    decodeLuma(path, [&](const std::uint8_t* y, int stride, int, int) {
      if (index >= static_cast<int>(luma.size())) return;
      const double p = lumaPsnr(y, stride, luma[static_cast<std::size_t>(index++)], config.width, config.height);
      sum += p;
      worst = std::min(worst, p);
    });
    state.SetIterationTime(cpu);
    state.counters["KB_per_s"] = static_cast<double>(std::filesystem::file_size(path)) / 1024.0 / seconds;
    state.counters["psnr_mean"] = index ? sum / index : 0;
    state.counters["psnr_min"] = worst;
    state.counters["frames"] = index;
    state.counters["encode_ms"] = cpu / source->frames() * 1000;
  }
  std::filesystem::remove(path);
  state.SetLabel(std::string(videoSourceName(static_cast<int>(state.range(0)))) + (state.range(1) ? ", as before" : ""));
}
BENCHMARK(BM_VideoMedium)
    ->ArgsProduct({{0, 1, 2, 3, 4}, {0, 1}})
    ->ArgNames({"source", "before"})
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zerva::bench

BENCHMARK_MAIN();
