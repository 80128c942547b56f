// Scene files on any text: a scene or an error naming the file and a JSON path, never both or
// neither, never a crash; a scene that loads is built (windows, screens, views), drawn once and
// taken down again.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/NSLog.h"
#include "platform/NSRunLoop.h"
#include "platform/UIImage.h"
#include "scene/SceneLoader.h"
#include "scene/ScenePlayer.h"

using namespace zerva;

namespace {
char gScratch[] = "/tmp/zerva-fuzz-scene-XXXXXX";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Image files are looked for next to the scene: an empty scratch folder.
  if (!mkdtemp(gScratch)) std::abort();
  std::atexit([] {
    std::error_code ignored;
    std::filesystem::remove_all(gScratch, ignored);
  });
  setNSLogSink([](const std::string&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  auto scene = SceneLoader::loadText(text, "fuzz.json", gScratch);
  if (!scene && scene.error().localizedDescription().rfind("fuzz.json", 0) != 0) __builtin_trap();
  if (!scene) return 0;
  ScenePlayer player(std::move(*scene));
  player.start(NSRunLoop::mainRunLoop());
  (void)player.renderScreen(0.25);
  player.stop();
  return 0;
}
