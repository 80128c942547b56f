// CGRectFromString and friends on any text: never a NaN, an infinity or a crash, and whatever
// reads as a rectangle writes and reads back to the very same bits.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/CGGeometry.h"

using namespace zerva;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const CGRect r = CGRectFromString(text);
  for (double v : {r.origin.x, r.origin.y, r.size.width, r.size.height}) {
    if (!std::isfinite(v)) __builtin_trap();
  }
  const CGRect back = CGRectFromString(NSStringFromCGRect(r));
  if (std::memcmp(&back, &r, sizeof r) != 0) __builtin_trap();
  const CGPoint p = CGPointFromString(text);
  if (!std::isfinite(p.x) || !std::isfinite(p.y)) __builtin_trap();
  return 0;
}
