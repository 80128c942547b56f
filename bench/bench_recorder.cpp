// The session video recorder: how fast frames go in, what a frame costs the encoder, how big a
// minute of video is per quality and content, and whether memory stays flat over a long
// recording. Figures are written up in docs/performance.md and docs/video-settings.md.

#include <benchmark/benchmark.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>

#include <libyuv/scale_argb.h>

#include "BenchContent.h"
#include "platform/CGImage.h"
#include "platform/NSRunLoop.h"
#include "services/ZRMp4VideoWriter.h"
#include "services/ZRSessionVideoRecorder.h"

namespace zerva::bench {
namespace {

namespace fs = std::filesystem;

constexpr CGSize kPhoneScreen{390, 844};  // 400 x 844 once the width is rounded up

double threadCpuSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

double residentMegabytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmRSS:", 0) == 0) return std::stod(line.substr(6)) / 1024.0;
  }
  return 0;
}

// Counts the bytes and keeps nothing, so disk speed stays out of the encoder's figures.
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
  std::int64_t size() const { return end_; }

 private:
  std::int64_t position_ = 0, end_ = 0;
  std::string path_ = "(counting)";
};

fs::path benchFolder() {
  const fs::path folder = fs::temp_directory_path() / ("zr-bench-recorder-" + std::to_string(getpid()));
  fs::create_directories(folder);
  return folder;
}

ZRSessionVideoSettings settingsForFrameSize(CGSize size, float frameRate) {
  ZRSessionVideoSettings settings(ZRVideoQualityHigh, size);
  settings.setScaleFactor(0.5f);
  settings.setScreenSize(size);
  settings.setFrameRate(frameRate);
  return settings;
}

std::shared_ptr<UIImage> imageOf(const ContentGenerator& content) {
  return UIImage::imageWithCGImage(
      CGImageCreateWithPixels(content.width(), content.height(), content.bytesPerRow(), content.words()), 1.0);
}

bool startRecorder(ZRSessionVideoRecorder& recorder, const ZRSessionVideoSettings& settings) {
  bool done = false, ok = false;
  recorder.startRecordingWithSettings(settings, [&](bool success, NSErrorOrNil) {
    ok = success;
    done = true;
  });
  NSRunLoop::mainRunLoop().runUntil([&] { return done; }, 30);
  return ok;
}

void stopRecorder(ZRSessionVideoRecorder& recorder) {
  std::promise<void> stopped;
  recorder.stopRecordingWithCompletionHandler([&](std::shared_ptr<ZRRecordingFile> file, NSErrorOrNil) {
    if (file) file->deleteFile(0);
    stopped.set_value();
  });
  stopped.get_future().wait();
}

struct MinuteResult {
  std::int64_t bytes = 0;
  double cpuMsPerFrame = 0;
  int frames = 0;
};

// One minute of content at the frame rate, through the encoding core on this thread. The content
// is drawn at the full 400 x 844 and scaled down to the frame size first, as the handler does.
MinuteResult encodeMinute(Content kind, const ZRVideoEncoderConfig& config) {
  ContentGenerator content(kind, 400, 844);
  const bool scaled = config.width != content.width() || config.height != content.height();
  std::vector<std::uint8_t> frame(static_cast<std::size_t>(config.width) * config.height * 4);
  auto created = ZRMp4VideoWriter::create(config);
  if (!created) return {};
  auto writer = std::move(*created);
  auto output = std::make_unique<CountingOutput>();
  CountingOutput* counted = output.get();
  if (writer->startFile(std::move(output))) return {};
  MinuteResult result;
  result.frames = static_cast<int>(std::lround(60 * config.frameRate));
  double cpu = 0;
  for (int i = 0; i < result.frames; ++i) {
    const double t = i / config.frameRate;
    content.renderAt(t);
    ZRBGRAFrame view{content.width(), content.height(), content.bytesPerRow(), content.pixels()};
    if (scaled) {
      libyuv::ARGBScale(content.pixels(), static_cast<int>(content.bytesPerRow()), content.width(), content.height(),
                        frame.data(), config.width * 4, config.width, config.height, libyuv::kFilterBilinear);
      view = {config.width, config.height, static_cast<std::size_t>(config.width) * 4, frame.data()};
    }
    const double before = threadCpuSeconds();
    if (writer->encodeFrame(view, t)) return {};
    cpu += threadCpuSeconds() - before;
  }
  const double before = threadCpuSeconds();
  if (writer->finish()) return {};
  cpu += threadCpuSeconds() - before;
  result.bytes = counted->size();
  result.cpuMsPerFrame = cpu * 1000 / result.frames;
  return result;
}

// --- Appends per second, end to end (queue, conversion, encoding, file) ------------------------------

void BM_RecorderAppendsPerSecond(benchmark::State& state) {
  const CGSize size{static_cast<double>(state.range(0)), static_cast<double>(state.range(1))};
  ContentGenerator content(Content::Schematic, state.range(0), state.range(1));
  std::vector<std::shared_ptr<UIImage>> images;
  for (int i = 0; i < 40; ++i) {
    content.renderAt(i * 0.1);
    images.push_back(imageOf(content));
  }
  const fs::path folder = benchFolder();
  ZRSessionVideoRecorder recorder;
  recorder.setRecordingsFolder(folder.string());
  if (!startRecorder(recorder, settingsForFrameSize(size, 10))) {
    state.SkipWithError("the recorder did not start");
    return;
  }
  constexpr int kBatch = 50;
  std::int64_t frame = 0;
  for (auto _ : state) {
    std::promise<void> last;
    std::atomic<int> failed{0};
    for (int i = 0; i < kBatch; ++i, ++frame) {
      const bool isLast = i == kBatch - 1;
      recorder.appendImage(images[frame % images.size()], frame * 0.1, [&, isLast](bool ok) {
        if (!ok) ++failed;
        if (isLast) last.set_value();
      });
    }
    last.get_future().wait();
    if (failed) state.SkipWithError("an append failed");
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
  stopRecorder(recorder);
  fs::remove_all(folder);
}
BENCHMARK(BM_RecorderAppendsPerSecond)->Args({400, 844})->Args({768, 1024})->UseRealTime()->Unit(benchmark::kMillisecond);

// --- Encoder CPU per frame (conversion + H.264 + muxing, one thread) ---------------------------------

void BM_EncoderCpuPerFrame(benchmark::State& state) {
  const auto kind = static_cast<Content>(state.range(0));
  ZRVideoEncoderConfig config = settingsForFrameSize({static_cast<double>(state.range(1)),
                                                      static_cast<double>(state.range(2))}, 10)
                                    .encoderConfig();
  ContentGenerator content(kind, config.width, config.height);
  auto created = ZRMp4VideoWriter::create(config);
  if (!created || (*created)->startFile(std::make_unique<CountingOutput>())) {
    state.SkipWithError("no encoder");
    return;
  }
  auto writer = std::move(*created);
  std::int64_t frame = 0;
  for (auto _ : state) {
    state.PauseTiming();
    content.renderAt(frame * 0.1);
    state.ResumeTiming();
    if (writer->encodeFrame({content.width(), content.height(), content.bytesPerRow(), content.pixels()}, frame * 0.1)) {
      state.SkipWithError("the encoder refused a frame");
      return;
    }
    ++frame;
  }
  if (writer->finish()) {
    state.SkipWithError("the video could not be finished");
    return;
  }
  state.counters["KB_per_frame"] = static_cast<double>(writer->bytesWritten()) / 1024.0 / static_cast<double>(frame);
  state.SetLabel(kind == Content::Schematic ? "schematic" : "photo");
}
BENCHMARK(BM_EncoderCpuPerFrame)
    ->Args({0, 400, 844})
    ->Args({1, 400, 844})
    ->Args({0, 768, 1024})
    ->Args({1, 768, 1024})
    ->Unit(benchmark::kMillisecond);

// --- A minute of video per quality: size and encoder cost ----------------------------------------------

void BM_MinutePerQuality(benchmark::State& state) {
  const auto kind = static_cast<Content>(state.range(0));
  const auto quality = static_cast<unsigned long>(state.range(1));
  ZRSessionVideoSettings settings(quality, kPhoneScreen);
  if (state.range(2) > 0) settings.setFrameRate(static_cast<float>(state.range(2)));
  MinuteResult result;
  for (auto _ : state) result = encodeMinute(kind, settings.encoderConfig());
  state.counters["KB_per_min"] = static_cast<double>(result.bytes) / 1024.0;
  state.counters["cpu_ms_per_frame"] = result.cpuMsPerFrame;
  state.counters["cpu_percent_of_a_core"] = result.cpuMsPerFrame * settings.frameRate() / 10.0;
  const CGSize frame = settings.videoFrameSize();
  state.SetLabel(std::string(kind == Content::Schematic ? "schematic " : "photo ") + std::to_string(int(frame.width)) +
                 "x" + std::to_string(int(frame.height)) + " @" + std::to_string(int(settings.frameRate())) +
                 "fps crf" + std::to_string(settings.constantRateFactor()) + " " + settings.encoderPreset());
}
// Args: content (0 schematic, 1 photo), quality, frame rate (0: the quality's own).
BENCHMARK(BM_MinutePerQuality)
    ->ArgsProduct({{0, 1}, {0, 1, 2}, {0}})
    ->ArgsProduct({{0, 1}, {2}, {2, 10}})
    ->Iterations(1)
    ->Unit(benchmark::kSecond);

// The measurements the quality table was chosen from: preset x crf x scale, 400 x 844 screen.
void BM_SettingsSweep(benchmark::State& state) {
  static const char* kPresets[] = {"ultrafast", "superfast", "veryfast", "faster"};
  const auto kind = static_cast<Content>(state.range(0));
  ZRSessionVideoSettings settings(ZRVideoQualityHigh, kPhoneScreen);
  settings.setEncoderPreset(kPresets[state.range(1)]);
  settings.setConstantRateFactor(static_cast<int>(state.range(2)));
  const double scale = state.range(3) / 100.0;
  if (scale < 1) {
    settings.setScaleFactor(static_cast<float>(scale));
    settings.setScreenSize({2 * std::round(400 * scale / 2), 2 * std::round(844 * scale / 2)});
  }
  settings.setFrameRate(static_cast<float>(state.range(4)));
  MinuteResult result;
  for (auto _ : state) result = encodeMinute(kind, settings.encoderConfig());
  state.counters["KB_per_min"] = static_cast<double>(result.bytes) / 1024.0;
  state.counters["cpu_ms_per_frame"] = result.cpuMsPerFrame;
  state.SetLabel(std::string(kind == Content::Schematic ? "schematic " : "photo ") + kPresets[state.range(1)]);
}
// Args: content, preset index, crf, scale in percent, frame rate.
BENCHMARK(BM_SettingsSweep)
    ->ArgsProduct({{0, 1}, {0, 1, 2, 3}, {28}, {100}, {10}})
    ->ArgsProduct({{0, 1}, {2}, {23, 26, 30, 32}, {100}, {10}})
    ->ArgsProduct({{0, 1}, {2}, {28}, {50, 75}, {10}})
    ->ArgsProduct({{0, 1}, {2}, {28}, {100}, {2, 5}})
    ->Iterations(1)
    ->Unit(benchmark::kSecond);

// --- Ten minutes at 10 fps: memory must stay flat ------------------------------------------------------

void BM_TenMinuteRecordingMemory(benchmark::State& state) {
  constexpr int kFrames = 6000;
  const fs::path folder = benchFolder();
  for (auto _ : state) {
    ContentGenerator content(Content::Schematic, 400, 844);
    ZRSessionVideoRecorder recorder;
    recorder.setRecordingsFolder(folder.string());
    if (!startRecorder(recorder, ZRSessionVideoSettings(ZRVideoQualityHigh, kPhoneScreen))) {
      state.SkipWithError("the recorder did not start");
      return;
    }
    double atOneMinute = 0, peak = 0;
    // Like the handler: a new image per frame, the next one made while the last is encoded.
    std::future<bool> inFlight;
    for (int i = 0; i < kFrames; ++i) {
      content.renderAt(i * 0.1);
      auto image = imageOf(content);
      if (inFlight.valid()) inFlight.get();
      auto promise = std::make_shared<std::promise<bool>>();
      inFlight = promise->get_future();
      recorder.appendImage(std::move(image), i * 0.1, [promise](bool ok) { promise->set_value(ok); });
      if (i % 100 == 0) peak = std::max(peak, residentMegabytes());
      if (i == 600) atOneMinute = residentMegabytes();
    }
    inFlight.get();
    state.counters["rss_MB_at_1min"] = atOneMinute;
    state.counters["rss_MB_at_10min"] = residentMegabytes();
    state.counters["rss_MB_peak_sampled"] = peak;
    stopRecorder(recorder);
  }
  fs::remove_all(folder);
}
BENCHMARK(BM_TenMinuteRecordingMemory)->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);

}  // namespace
}  // namespace zerva::bench

BENCHMARK_MAIN();
