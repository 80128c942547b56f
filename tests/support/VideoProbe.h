#pragma once
// Reads recorded videos back with FFmpeg's own command-line tools, so that what the tests check
// is what any player would see, not what our code believes it wrote.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/CGImage.h"

namespace zerva::testing {

struct ProbedVideo {
  bool readable = false;  // ffprobe found a video stream
  std::string codec;
  std::string pixelFormat;
  int width = 0;
  int height = 0;
  std::string timeBase;
  /// Each decoded frame's presentation time, in milliseconds, in decoding order.
  std::vector<std::int64_t> framePtsMs;
};

ProbedVideo probeVideo(const std::string& path);

/// Every frame decoded to BGRA (no frame duplicated or dropped for timing).
struct DecodedFrames {
  int width = 0;
  int height = 0;
  std::vector<std::vector<std::uint8_t>> frames;
  CGPixel pixelAt(std::size_t frame, int x, int y) const;
};

DecodedFrames decodeFrames(const std::string& path, int width, int height);

/// Largest difference of the colour channels.
int colourDistance(const CGPixel& a, const CGPixel& b);

}  // namespace zerva::testing
