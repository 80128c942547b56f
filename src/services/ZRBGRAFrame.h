#pragma once
// A borrowed view of one frame's pixels as the drawing code stores them: rows of bytesPerRow
// bytes, top row first, each pixel the bytes B, G, R, A (a native-endian 0xAARRGGBB word on
// little-endian machines), colour premultiplied by alpha. The view owns nothing.

#include <cstddef>
#include <cstdint>

namespace zerva {

struct ZRBGRAFrame {
  int width = 0;
  int height = 0;
  std::size_t bytesPerRow = 0;
  const std::uint8_t* pixels = nullptr;

  bool isValid() const {
    return width > 0 && height > 0 && pixels && bytesPerRow >= static_cast<std::size_t>(width) * 4;
  }
};

}  // namespace zerva
