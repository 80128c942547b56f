// The schematic drawing of any screen description: a JSON array of root views (fuzz/
// HierarchyFromJSON.h) drawn as a schematic frame. Never a crash, a sanitizer report or a hang;
// the frame is the first root's size (bounded here so that runs stay quick) or none at all.
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "HierarchyFromJSON.h"
#include "handler/ZRViewVideoHandler.h"
#include "platform/NSLog.h"
#include "platform/UIImage.h"

using namespace zerva;

namespace {

std::shared_ptr<ZRViewVideoHandler>& handler() {
  static auto* handler = new std::shared_ptr<ZRViewVideoHandler>(ZRViewVideoHandler::create());
  return *handler;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setNSLogSink([](const std::string&) {});
  (void)handler();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto document = nlohmann::json::parse(data, data + size, nullptr, /*allow_exceptions=*/false);
  if (document.is_discarded() || !document.is_array()) return 0;
  std::vector<HVHierarchyDictionary> roots;
  for (const auto& root : document) roots.push_back(fuzzing::hierarchyFromJSON(root));
  if (roots.empty()) return 0;
  // The frame's size comes from the first root; a screen of at most 256 points a side.
  CGRect screen = Zerva_rectFromFastStore(roots.front().get(Zerva_HS_Key_ScreenRect));
  if (std::isfinite(screen.size.width) && std::isfinite(screen.size.height)) {
    screen.size.width = std::fmod(std::fabs(screen.size.width), 256.0);
    screen.size.height = std::fmod(std::fabs(screen.size.height), 256.0);
    roots.front().set(Zerva_HS_Key_ScreenRect, Zerva_rectToFastStore(screen));
  }
  const auto image = handler()->renderSchematicFrame(roots, CGRectZero);
  if (image && (image->size().width > 256 || image->size().height > 256)) __builtin_trap();
  return 0;
}
