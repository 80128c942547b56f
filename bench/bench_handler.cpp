// What a frame of the demo's feed screen costs the app: the synchronous capture on the main
// thread (what gZERVA_LastFrameTime measures), schematic and real-pixel, at 1 and 3 pixels per
// point, and the whole frame: capture, masking, conversion and encoding on the frame queue and
// the recorder's thread.
//
// Times are CPU times read around each frame (the calling thread's for the synchronous part, the
// whole process's for the whole frame), reported as manual iteration times, so that the other
// agents of a busy machine do not inflate them.

#include <benchmark/benchmark.h>

#include <time.h>

#include <filesystem>
#include <memory>

#include "handler/ZRViewVideoHandler.h"
#include "handler/ZRViewVideoHandlerStatics.h"
#include "platform/NSLog.h"
#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "platform/UIApplication.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "services/InternalZRConfiguration.h"
#include "services/ZRImageRenderer.h"
#include "services/ZRPlistHandler.h"
#include "services/ZRSessionVideoRecorder.h"
#include "services/ZervaHandler.h"

namespace zerva {
namespace {

double cpuSeconds(clockid_t clock) {
  timespec ts{};
  clock_gettime(clock, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

/// The demo app on its feed screen, with a handler recording it at medium quality.
struct FeedSession {
  ScopedManualClock clock;
  NSLogCapture quiet;
  std::filesystem::path folder = std::filesystem::temp_directory_path() / "zr-bench-handler";
  std::unique_ptr<ScenePlayer> player;
  std::shared_ptr<ZRViewVideoHandler> handler;

  explicit FeedSession(double pixelsPerPoint) {
    std::filesystem::create_directories(folder);
    ZRPlistHandler::sharedHandler()->setStorePath((folder / "state.json").string());
    ZRResetHandlerFileStatics();
    UIGraphicsImageRendererFormat format = ZRImageRenderer::rendererFormat();
    format.setScale(pixelsPerPoint);
    ZRImageRenderer::setRendererFormat(format);
    NSErrorOrNil error;
    auto scene = SceneLoader::loadFile(ZERVA_SOURCE_DIR "/scenes/demo-app.json", &error);
    player = std::make_unique<ScenePlayer>(std::move(*scene));
    player->start(NSRunLoop::mainRunLoop());
    NSRunLoop::mainRunLoop().runUntilDate(player->startTime() + 3.6);  // the feed is shown
    ZervaHandler::shared()->sessionSettings()->setRecordingQuality(1);
    handler = ZRViewVideoHandler::create();
    handler->videoRecorder()->setRecordingsFolder(folder.string());
    handler->addVisibleScreen(std::string("Feed"), "Feed");
    handler->startScreenRecording();
    NSRunLoop::mainRunLoop().runUntil([&] { return handler->isRecording(); });
    // The frame clock is not wanted: frames are taken by hand.
    handler->stopScreenRecordingTimer();
  }

  ~FeedSession() {
    handler->stopScreenRecording(0, [](std::optional<std::string>, NSErrorOrNil) {});
    settle();
    NSRunLoop::mainRunLoop().runUntil([&] { return !handler->isRecording(); });
    settle();
    UIGraphicsImageRendererFormat format = ZRImageRenderer::rendererFormat();
    format.setScale(1);
    ZRImageRenderer::setRendererFormat(format);
    std::error_code ec;
    std::filesystem::remove_all(folder, ec);
  }

  void settle() {
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();
    handler->videoRecorder()->writerQueue()->drain();
    ZRViewVideoHandler::GetMakeVideoFrameQueue()->drain();
  }

  /// One frame through the capture driver; the clock moves on a frame interval first, so the
  /// recorder takes every frame.
  void captureOne() {
    clock.advance(0.1);
    handler->captureScreenImageToVideo();
  }
};

void runSynchronous(benchmark::State& state, bool schematic) {
  ZRViewVideoHandler::setSchematicCapture(schematic);
  FeedSession session(static_cast<double>(state.range(0)));
  for (auto _ : state) {
    const double begin = cpuSeconds(CLOCK_THREAD_CPUTIME_ID);
    session.captureOne();
    state.SetIterationTime(cpuSeconds(CLOCK_THREAD_CPUTIME_ID) - begin);
    session.settle();
  }
  ZRViewVideoHandler::setSchematicCapture(true);
}

void runWholeFrame(benchmark::State& state, bool schematic) {
  ZRViewVideoHandler::setSchematicCapture(schematic);
  FeedSession session(static_cast<double>(state.range(0)));
  for (auto _ : state) {
    const double begin = cpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
    session.captureOne();
    session.settle();
    state.SetIterationTime(cpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - begin);
  }
  ZRViewVideoHandler::setSchematicCapture(true);
}

void BM_SynchronousSchematicFrame(benchmark::State& state) { runSynchronous(state, true); }
void BM_SynchronousRealFrame(benchmark::State& state) { runSynchronous(state, false); }
void BM_WholeSchematicFrame(benchmark::State& state) { runWholeFrame(state, true); }
void BM_WholeRealFrame(benchmark::State& state) { runWholeFrame(state, false); }

BENCHMARK(BM_SynchronousSchematicFrame)->Arg(1)->Arg(3)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SynchronousRealFrame)->Arg(1)->Arg(3)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WholeSchematicFrame)->Arg(1)->Arg(3)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WholeRealFrame)->Arg(1)->Arg(3)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zerva

BENCHMARK_MAIN();
