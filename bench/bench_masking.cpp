// Costs of a frame's own drawing in the handler: a schematic frame drawn from the screen's
// description, and the boxes painted into a captured frame.

#include <benchmark/benchmark.h>

#include "handler/ZRViewVideoHandler.h"
#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "platform/UIApplication.h"
#include "platform/UIImage.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "services/HVHierarchyScanner.h"

namespace zerva {
namespace {

// The demo app on its feed screen (about 80 views, 36 labels and 12 pictures) or on its sign-in
// screen with the keyboard up.
std::unique_ptr<ScenePlayer> demoAt(double seconds) {
  static ScopedManualClock clock;
  auto scene = SceneLoader::loadFile(ZERVA_SOURCE_DIR "/scenes/demo-app.json");
  if (!scene) return nullptr;
  auto player = std::make_unique<ScenePlayer>(std::move(*scene));
  player->start(NSRunLoop::currentRunLoop());
  NSRunLoop::currentRunLoop().runUntilDate(player->startTime() + seconds);
  return player;
}

void BM_SchematicFrame(benchmark::State& state) {
  auto player = demoAt(state.range(0) == 0 ? 3.6 : 2.6);
  auto handler = ZRViewVideoHandler::create();
  const auto snapshot = HVHierarchyScanner(false).hierarchySnapshotFromWindow(nullptr, {});
  const CGRect keyboard = state.range(0) == 0 ? CGRectZero : CGRectMake(0, 508, 390, 336);
  for (auto _ : state) benchmark::DoNotOptimize(handler->renderSchematicFrame(snapshot, keyboard));
  state.SetLabel(state.range(0) == 0 ? "feed" : "sign-in, keyboard");
}
BENCHMARK(BM_SchematicFrame)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_MaskFrame(benchmark::State& state) {
  auto player = demoAt(3.6);
  auto handler = ZRViewVideoHandler::create();
  const auto frame = player->renderScreen(1);
  ZRRectStringList rects;
  for (int i = 0; i < state.range(0); ++i) rects.push_back(NSStringFromCGRect(CGRectMake(10, 20.0 + 60 * i, 300, 40)));
  for (auto _ : state) {
    // Masking runs on the frame queue; here the call is made directly (no thread checks in
    // release builds) so that only the drawing is measured.
    benchmark::DoNotOptimize(handler->occludeSensitiveViewsIntoImage(frame, {}, rects, false, false));
  }
}
BENCHMARK(BM_MaskFrame)->Arg(0)->Arg(1)->Arg(10)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace zerva

BENCHMARK_MAIN();
