#pragma once
// Hands out the renderers every frame image is drawn in, and makes blank frames.
//
// Renderer format: a class-wide UIGraphicsImageRendererFormat, by default 1 pixel per point
// and opaque. One pixel per point makes a frame's pixel size equal its size in points, which is
// what the video recorder encodes; opaque bitmaps start black, so parts of a frame that no
// drawing covers come out black in the video rather than undefined. A format of more pixels per
// point (a 3x device's) is drawn at one: no video is encoded finer than one pixel per point and
// text recognition reads at one, so the finer bitmap would only be drawn to be scaled back down.
//
// Threads: renderers and blank images are handed out on the main thread and the frame queue; the
// class-wide format is read and set under its own lock from any thread; useImageRenderer is set
// once, when the handler is set up, before frames flow. Ownership: the handler owns its renderer.

#include <memory>

#include "platform/CGGeometry.h"
#include "platform/NSObject.h"
#include "platform/UIColor.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"

namespace zerva {

class ZRImageRenderer : public NSObject {
  ZR_DECLARE_CLASS(ZRImageRenderer)
 public:
  /// Sides above this many points get no renderer: no screen is that large, and the bitmaps
  /// would cost hundreds of megabytes.
  static constexpr double kMaxSide = 8192;
  /// The finest frames are drawn: the full video size is one pixel per point.
  static constexpr double kMaxPixelsPerPoint = 1;

  ZRImageRenderer() = default;

  /// The configuration's enableImprovedScreenCapture. YES: blank images are drawn by a renderer
  /// of rendererFormat(); NO: they are filled in directly at one pixel per point. Both give the
  /// same picture at the default format.
  bool useImageRenderer() const { return useImageRenderer_; }
  void setUseImageRenderer(bool use) { useImageRenderer_ = use; }

  /// A renderer of the size with rendererFormat(), its scale at most kMaxPixelsPerPoint; nullptr
  /// (the caller skips its drawing) for a size that is zero, negative, not finite or beyond
  /// kMaxSide points or kMaxSide pixels a side.
  static std::shared_ptr<UIGraphicsImageRenderer> imageRendererForSize(CGSize size);
  /// What the handler draws in: imageRendererForSize by default. Virtual so that tests can stand
  /// in a renderer that answers nil.
  virtual std::shared_ptr<UIGraphicsImageRenderer> rendererForSize(CGSize size) const {
    return imageRendererForSize(size);
  }
  static UIGraphicsImageRendererFormat rendererFormat();
  static void setRendererFormat(UIGraphicsImageRendererFormat format);

  /// An image of the size filled with the colour; nullptr where imageRendererForSize gives none.
  virtual std::shared_ptr<UIImage> blankImageOfSize(CGSize size, const UIColor& color) const;

 private:
  bool useImageRenderer_ = false;
};

}  // namespace zerva
