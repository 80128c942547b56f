// Text recognition on at 10 frames a second, in real time, against the goals in
// docs/performance.md: the demo's feed with a text-recognition rule, one frame every 100 ms of
// the real clock through the whole pipeline. Reports the frames in flight (captured, not yet in
// the video: the frame queue and the recognition queue together) at their highest, the
// capture-to-append latency, and the CPU that recognition used as a share of one core.

#include <benchmark/benchmark.h>

#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "DemoSession.h"
#include "platform/UIScrollView.h"
#include "services/ScreenImageProcessor.h"
#include "services/ZROcclusionManager.h"
#include "services/ZROcclusionSetting.h"

namespace zerva::bench {
namespace {

using Clock = std::chrono::steady_clock;

double secondsBetween(Clock::time_point a, Clock::time_point b) { return std::chrono::duration<double>(b - a).count(); }

/// The CPU clock of the thread that runs a serial queue's blocks.
clockid_t queueThreadClock(const dispatch_queue_t& queue) {
  clockid_t clock = CLOCK_THREAD_CPUTIME_ID;
  queue->sync([&] { pthread_getcpuclockid(pthread_self(), &clock); });
  return clock;
}

double percentile(std::vector<double> values, double q) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[std::min(values.size() - 1, static_cast<std::size_t>(q * static_cast<double>(values.size())))];
}

// Arg: the feed still (0) or scrolled without pause at 600 points a second (1). 300 frames (30 s)
// of real-pixel capture at 3 pixels per point. Recognition CPU is the whole process's less the
// main thread's, the frame queue's and the recorder's: the recognition queue's thread, and any
// helper thread of the engine's (limited to one).
void BM_TextRecognitionAt10Fps(benchmark::State& state) {
  constexpr int kFrames = 300;
  constexpr auto kInterval = std::chrono::milliseconds(100);
  DemoSession session(kDemoMoments[0], 3, DemoCapture::realPixels);
  auto& handler = session.handler();
  handler.occlusionManager()->applyOcclusionSetting(ZROcclusionSetting(ZROcclusionTypeTextRecognition),
                                                    ZROcclusionSourceManual, {"Feed"});
  auto feed = std::dynamic_pointer_cast<UIScrollView>(session.player().viewNamed("feedScroll"));
  const double end = feed->contentSize().height - feed->bounds().size.height;
  const clockid_t frameQueueClock = queueThreadClock(ZRViewVideoHandler::GetMakeVideoFrameQueue());
  const clockid_t writerClock = queueThreadClock(handler.videoRecorder()->writerQueue());
  for (auto _ : state) {
    // The first frame makes the engine (once per processor); it is not part of the steady load.
    session.captureOne();
    session.settle();
    handler.imageProcessor()->drain();
    session.settle();

    std::vector<Clock::time_point> captured, appended;
    const std::int64_t inVideoBefore = handler.numFramesInVideo();
    auto poll = [&] {
      while (static_cast<std::int64_t>(appended.size()) < handler.numFramesInVideo() - inVideoBefore) {
        appended.push_back(Clock::now());
      }
    };
    std::int64_t mostInFlight = 0;
    double offset = 0, step = state.range(0) ? 60 : 0;
    const double cpuBegin = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID), mainBegin = cpuSeconds(CLOCK_THREAD_CPUTIME_ID),
                 queueBegin = cpuSeconds(frameQueueClock), writerBegin = cpuSeconds(writerClock);
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < kFrames; ++i) {
      while (Clock::now() < begin + i * kInterval) {
        NSRunLoop::mainRunLoop().runPending();
        poll();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
      if (step != 0) {
        if (offset + step > end || offset + step < 0) step = -step;
        offset += step;
        feed->setContentOffset({0, offset});
      }
      const auto pictures = handler.totalSnapshots();
      session.captureOne();
      if (handler.totalSnapshots() != pictures) captured.push_back(Clock::now());
      poll();
      mostInFlight = std::max<std::int64_t>(mostInFlight, static_cast<std::int64_t>(captured.size() - appended.size()));
    }
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(60);
    while (appended.size() < captured.size() && Clock::now() < deadline) {
      NSRunLoop::mainRunLoop().runPending();
      poll();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const double wall = secondsBetween(begin, Clock::now());
    const double others = (cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - mainBegin) + (cpuSeconds(frameQueueClock) - queueBegin) +
                          (cpuSeconds(writerClock) - writerBegin);
    const double recognition = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - cpuBegin - others;

    std::vector<double> latency;
    for (std::size_t k = 0; k < appended.size() && k < captured.size(); ++k) {
      latency.push_back(secondsBetween(captured[k], appended[k]) * 1000);
    }
    state.SetIterationTime(wall);
    state.counters["frames"] = static_cast<double>(captured.size());
    state.counters["appended"] = static_cast<double>(appended.size());
    state.counters["in_flight_max"] = static_cast<double>(mostInFlight);
    state.counters["latency_p50_ms"] = percentile(latency, 0.5);
    state.counters["latency_p95_ms"] = percentile(latency, 0.95);
    state.counters["latency_max_ms"] = percentile(latency, 1.0);
    state.counters["recognition_cores"] = recognition / wall;
    state.counters["rest_cores"] = others / wall;
  }
  const auto stats = handler.imageProcessor()->statistics();
  state.counters["read_frames"] = static_cast<double>(stats.recognizedFrames);
  state.counters["reused_frames"] = static_cast<double>(stats.reusedFrames);
  state.SetLabel(state.range(0) ? "feed scrolling, real 3x" : "feed still, real 3x");
}
BENCHMARK(BM_TextRecognitionAt10Fps)
    ->Arg(0)
    ->Arg(1)
    ->ArgName("scrolling")
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kSecond);

}  // namespace
}  // namespace zerva::bench

BENCHMARK_MAIN();
