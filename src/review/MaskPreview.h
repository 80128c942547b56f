#pragma once
// A mask preview: one frame as the app showed it beside the frame as recorded, every hidden
// rectangle outlined on both and labelled with where it came from, under a title line.

#include <memory>
#include <string>

#include "handler/ZRFrameInspector.h"
#include "platform/UIColor.h"

namespace zerva {

class UIImage;

class MaskPreview {
 public:
  /// `shown` is what the screen showed (the frame's own capture when nullptr); rectangles are in
  /// points of the frame's capture. nullptr when the frame has no image.
  static std::shared_ptr<UIImage> draw(const ZRFrameInspection& frame, const std::shared_ptr<UIImage>& shown,
                                       const std::string& title);
  /// One outline colour per source, so that sources are told apart at a glance.
  static UIColor colourForSource(ZRHiddenRectSource source);
};

}  // namespace zerva
