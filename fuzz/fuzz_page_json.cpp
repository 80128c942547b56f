// The stand-in web view's page JSON on any text: a page or an error naming a path, never a crash
// or a stack overflow.
#include <cstdint>
#include <string_view>

#include "platform/WebPage.h"

using namespace zerva;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  NSErrorOrNil error;
  const auto page = WebPage::pageWithJSON(text, &error, "fuzz.json");
  if (page.has_value() == error.has_value()) __builtin_trap();
  if (error && error->localizedDescription().rfind("fuzz.json: $", 0) != 0) __builtin_trap();
  if (page) (void)page->resolvedContentSize();
  return 0;
}
