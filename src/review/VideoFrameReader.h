#pragma once
// Reads a video file back frame by frame with FFmpeg: each decoded frame as BGRA pixels with its
// presentation time, in presentation order, none dropped or repeated for timing. For tools that
// show what a recording holds; FFmpeg stays inside the .cpp.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/NSError.h"

namespace zerva {

class UIImage;

struct DecodedVideoFrame {
  double presentationTime = 0;  // seconds
  int width = 0;
  int height = 0;
  /// width x height premultiplied 0xAARRGGBB words (opaque), row 0 at the top.
  std::vector<std::uint32_t> pixels;

  /// The frame as an image at scale 1; nullptr for an empty frame.
  std::shared_ptr<UIImage> image() const;
};

struct DecodedVideo {
  std::string codec;
  int width = 0;
  int height = 0;
  std::vector<DecodedVideoFrame> frames;
};

class VideoFrameReader {
 public:
  /// Every frame of the file's first video stream; nullopt with *error (domain "VideoFrameReader")
  /// naming the file when it cannot be opened or decoded. `keepPixels` false reads the times only.
  static std::optional<DecodedVideo> readFile(const std::string& path, bool keepPixels, NSErrorOrNil* error);
};

}  // namespace zerva
