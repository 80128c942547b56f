#pragma once
// Makes images by running drawing actions on a fresh bitmap.
//
// Each imageWithActions: call draws into a bitmap of its own of size x scale pixels (rounded up),
// so one renderer can be reused for frame after frame, from any thread, and its images never
// share or leak pixels. The memory may be a dropped image's (BitmapPool), never a live one's, and
// it starts as the format says whatever it held before. Actions draw in points: the context's
// transform already holds the scale.

#include <functional>
#include <memory>

#include "platform/CGContext.h"
#include "platform/CGGeometry.h"
#include "platform/NSObject.h"
#include "platform/UIImage.h"

namespace zerva {

class UIGraphicsImageRendererFormat {
 public:
  /// Scale 1 pixel per point, not opaque.
  static UIGraphicsImageRendererFormat defaultFormat() { return {}; }

  /// Pixels per point.
  double scale() const { return scale_; }
  /// A scale that is not a positive finite number is taken as 1.
  void setScale(double scale);
  /// Opaque bitmaps start opaque black; others start fully transparent.
  bool opaque() const { return opaque_; }
  void setOpaque(bool opaque) { opaque_ = opaque; }

 private:
  double scale_ = 1;
  bool opaque_ = false;
};

class UIGraphicsImageRendererContext {
 public:
  UIGraphicsImageRendererContext(CGContextRef context, UIGraphicsImageRendererFormat format)
      : context_(context), format_(format) {}

  CGContextRef CGContext() const { return context_; }
  const UIGraphicsImageRendererFormat& format() const { return format_; }

 private:
  CGContextRef context_;
  UIGraphicsImageRendererFormat format_;
};

class UIGraphicsImageRenderer : public NSObject {
  ZR_DECLARE_CLASS(UIGraphicsImageRenderer)
 public:
  using Actions = std::function<void(UIGraphicsImageRendererContext&)>;

  /// initWithSize: (default format).
  explicit UIGraphicsImageRenderer(CGSize size);
  /// initWithSize:format:. Negative or non-finite sizes count as zero.
  UIGraphicsImageRenderer(CGSize size, UIGraphicsImageRendererFormat format);

  CGSize size() const { return size_; }
  const UIGraphicsImageRendererFormat& format() const { return format_; }
  /// Bitmap size of the images: size x scale, each side rounded up.
  std::size_t pixelWidth() const;
  std::size_t pixelHeight() const;

  /// Runs the actions on a new bitmap, with its context as the thread's current context, and
  /// returns the picture. nullptr (actions not run) when the bitmap cannot be made: a side beyond
  /// 32767 pixels, or no memory. An exception from the actions propagates; the context is
  /// popped first.
  std::shared_ptr<UIImage> imageWithActions(const Actions& actions) const;

 private:
  CGSize size_;
  UIGraphicsImageRendererFormat format_;
};

}  // namespace zerva
