// Costs of the per-frame work around the screen: describing it, drawing it, and blurring it.

#include <benchmark/benchmark.h>

#include "platform/NSRunLoop.h"
#include "platform/ProcessClock.h"
#include "platform/UIApplication.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIWindow.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"
#include "services/HVHierarchyScanner.h"
#include "services/ZRImageBlur.h"

namespace zerva {
namespace {

// The demo app on its feed screen: about 80 views, 36 labels and 12 pictures.
std::unique_ptr<ScenePlayer> feedScreen() {
  static ScopedManualClock clock;
  auto scene = SceneLoader::loadFile(ZERVA_SOURCE_DIR "/scenes/demo-app.json");
  if (!scene) return nullptr;
  auto player = std::make_unique<ScenePlayer>(std::move(*scene));
  player->start(NSRunLoop::currentRunLoop());
  NSRunLoop::currentRunLoop().runUntilDate(player->startTime() + 3.6);
  return player;
}

void BM_ScanScreen(benchmark::State& state) {
  auto player = feedScreen();
  HVHierarchyScanner scanner(false);
  size_t roots = 0;
  for (auto _ : state) roots += scanner.hierarchySnapshotFromWindow(nullptr, {}).size();
  benchmark::DoNotOptimize(roots);
}
BENCHMARK(BM_ScanScreen)->Unit(benchmark::kMicrosecond);

void BM_DrawScreen(benchmark::State& state) {
  auto player = feedScreen();
  const double scale = static_cast<double>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(player->renderScreen(scale));
}
BENCHMARK(BM_DrawScreen)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond);

void BM_BlurScreen(benchmark::State& state) {
  auto player = feedScreen();
  const auto frame = player->renderScreen(static_cast<double>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(ZRBlurImage(frame, 24));
}
BENCHMARK(BM_BlurScreen)->Arg(1)->Arg(3)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace zerva

BENCHMARK_MAIN();
