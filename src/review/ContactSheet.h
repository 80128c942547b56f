#pragma once
// A contact sheet: every decoded frame of a video as a thumbnail in a grid, each labelled with
// its index and presentation time, to see a whole recording at a glance.

#include <memory>

namespace zerva {

class UIImage;
struct DecodedVideo;

class ContactSheet {
 public:
  /// Thumbnails `thumbnailWidth` points wide (height by the video's aspect), `columns` a row.
  /// nullptr for a video without frames or pixels.
  static std::shared_ptr<UIImage> draw(const DecodedVideo& video, double thumbnailWidth = 120, int columns = 10);
};

}  // namespace zerva
