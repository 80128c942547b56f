#pragma once
// Finds secret pixels in a decoded video frame (SecretPalette) and draws a frame with its leaks
// outlined, for people to see where a mask failed.

#include <cstddef>
#include <limits>
#include <memory>
#include <vector>

#include "platform/CGGeometry.h"

namespace zerva {

struct DecodedVideoFrame;
class UIImage;

/// What one frame holds of the secret colour.
struct FrameLeakScan {
  std::size_t leakedPixels = 0;
  /// Each group of touching secret pixels (8-neighbourhood), as its bounding box in video pixels.
  std::vector<CGRect> leaks;
  /// The closest a pixel that is not secret came to the secret colour, leaving out the two
  /// pixels around each leak (its blended edge).
  double nearestCleanDistance = std::numeric_limits<double>::infinity();

  CGRect bounds() const;
};

class LeakScanner {
 public:
  static FrameLeakScan scan(const DecodedVideoFrame& frame);
  /// The frame with a ring around each leak; nullptr for an empty frame.
  static std::shared_ptr<UIImage> drawLeaks(const DecodedVideoFrame& frame, const FrameLeakScan& scan);
};

}  // namespace zerva
