#pragma once
// An immutable picture: a CGImage of pixels and the scale (pixels per point) they were made at.
// Images made from the same CGImage share its pixels.

#include <cstddef>
#include <memory>
#include <string>

#include "platform/CGGeometry.h"
#include "platform/CGImage.h"
#include "platform/NSError.h"
#include "platform/NSObject.h"
#include "platform/NSResult.h"

namespace zerva {

class UIImage : public NSObject {
  ZR_DECLARE_CLASS(UIImage)
 public:
  /// A scale that is not a positive finite number is taken as 1; a null image as an empty one.
  UIImage(CGImageRef image, double scale);

  /// nullptr for a null image.
  static std::shared_ptr<UIImage> imageWithCGImage(CGImageRef image, double scale = 1.0);
  /// Reads a PNG file at scale 1 (never nullptr), or a file-reading error: domain
  /// NSCocoaErrorDomain, code 260 for a missing file, 259 for one that is not a readable PNG;
  /// userInfo "NSFilePath" holds the path.
  static NSResult<std::shared_ptr<UIImage>> imageWithContentsOfFile(const std::string& path);

  /// In points: pixel size divided by the scale.
  CGSize size() const;
  double scale() const { return scale_; }
  std::size_t pixelWidth() const { return image_->width(); }
  std::size_t pixelHeight() const { return image_->height(); }
  const CGImageRef& CGImage() const { return image_; }
  /// The pixel at column x, row y of the bitmap (row 0 at the top).
  CGPixel pixelAt(std::size_t x, std::size_t y) const { return image_->pixelAt(x, y); }

  /// Draws upright into the current context (UIGraphicsGetCurrentContext), stretched over the
  /// rectangle in points; does nothing without a current context.
  void drawInRect(CGRect rect) const;
  /// drawInRect: with the image's own size at the point.
  void drawAtPoint(CGPoint point) const;

 private:
  CGImageRef image_;
  double scale_;
};

/// Writes the image's pixels as a PNG file; std::nullopt on success, else a file-writing error
/// (domain NSCocoaErrorDomain, code 512, userInfo "NSFilePath"). For tests and debugging: it
/// takes milliseconds and must stay off the frame path.
[[nodiscard]] NSErrorOrNil UIImageWritePNGToFile(const UIImage& image, const std::string& path);

}  // namespace zerva
