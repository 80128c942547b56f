// The stand-in web view's page JSON on any text: a page or an error naming a path, never a crash
// or a stack overflow.
#include <cstdint>
#include <string_view>

#include "scene/ScenePageReader.h"

using namespace zerva;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto page = ScenePageReader::pageWithJSON(text, "fuzz.json");
  if (!page && page.error().localizedDescription().rfind("fuzz.json: $", 0) != 0) __builtin_trap();
  if (page) (void)page->resolvedContentSize();
  return 0;
}
