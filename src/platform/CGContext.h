#pragma once
// A drawing context over a bitmap, driven through the platform's C functions.
//
// Contexts come from UIGraphicsImageRenderer (see UIGraphicsImageRenderer.h): user space is in
// points, origin top-left, y down, already scaled by the renderer's pixel scale. A context is
// valid only while the renderer's actions run.
//
// CGContextRef is a borrowed pointer. Every function accepts nullptr and then does nothing
// (queries answer neutral values), as the platform ignores a NULL context.
//
// Graphics state, saved and restored as a whole: transform (CTM), clip, fill and stroke colours,
// alpha, line width and interpolation quality. The current path is not part of it: it is built
// by the path functions, used up by CGContextClip, CGContextFillPath and CGContextStrokePath,
// and left alone by the rectangle and image functions.

#include <memory>

#include "platform/CGAffineTransform.h"
#include "platform/CGColor.h"
#include "platform/CGGeometry.h"
#include "platform/CGImage.h"
#include "platform/CGPath.h"

namespace zerva {

enum CGInterpolationQuality : int {
  kCGInterpolationDefault = 0,  // smooth (as Medium)
  kCGInterpolationNone = 1,     // nearest neighbour: a straight copy of pixels
  kCGInterpolationLow = 2,      // smooth (as Medium)
  kCGInterpolationMedium = 4,   // bilinear (libyuv's when scaling down onto whole pixels: within
                                // 2 levels of Cairo's, which it replaced for speed)
  kCGInterpolationHigh = 3,     // area-averaging; many times costlier than Medium when scaling down
};

class CGContext {
 public:
  struct Impl;
  explicit CGContext(std::unique_ptr<Impl> impl);
  ~CGContext();
  CGContext(const CGContext&) = delete;
  CGContext& operator=(const CGContext&) = delete;

  Impl& impl() { return *impl_; }

 private:
  std::unique_ptr<Impl> impl_;
};

using CGContextRef = CGContext*;

// Graphics state. A restore without a matching save does nothing.
void CGContextSaveGState(CGContextRef c);
void CGContextRestoreGState(CGContextRef c);

// Transform. The new operation applies to drawing coordinates before the existing transform.
void CGContextConcatCTM(CGContextRef c, CGAffineTransform transform);
void CGContextTranslateCTM(CGContextRef c, CGFloat tx, CGFloat ty);
void CGContextScaleCTM(CGContextRef c, CGFloat sx, CGFloat sy);
void CGContextRotateCTM(CGContextRef c, CGFloat angle);
/// User space to bitmap pixels (includes the renderer's scale).
CGAffineTransform CGContextGetCTM(CGContextRef c);

// Clipping: each call narrows the clip; only a restore widens it.
void CGContextClipToRect(CGContextRef c, CGRect rect);
/// Clips to the current path (non-zero winding) and empties the path.
void CGContextClip(CGContextRef c);
/// The clip's bounds in user space; CGRectNull without a context.
CGRect CGContextGetClipBoundingBox(CGContextRef c);

// Current path.
void CGContextBeginPath(CGContextRef c);
void CGContextMoveToPoint(CGContextRef c, CGFloat x, CGFloat y);
void CGContextAddLineToPoint(CGContextRef c, CGFloat x, CGFloat y);
void CGContextClosePath(CGContextRef c);
void CGContextAddRect(CGContextRef c, CGRect rect);
void CGContextAddPath(CGContextRef c, const CGPath& path);
void CGContextFillPath(CGContextRef c);
void CGContextStrokePath(CGContextRef c);

// Painting with the current colours and alpha.
void CGContextFillRect(CGContextRef c, CGRect rect);
/// Strokes the outline centred on the rectangle's edges, with the current line width.
void CGContextStrokeRect(CGContextRef c, CGRect rect);
/// Makes the rectangle fully transparent, whatever the colours and alpha.
void CGContextClearRect(CGContextRef c, CGRect rect);

// Colours: straight (not premultiplied) components in 0...1; values outside are clamped.
void CGContextSetRGBFillColor(CGContextRef c, CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha);
void CGContextSetRGBStrokeColor(CGContextRef c, CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha);
void CGContextSetFillColorWithColor(CGContextRef c, const CGColor& color);
void CGContextSetStrokeColorWithColor(CGContextRef c, const CGColor& color);
/// Multiplies everything painted afterwards (fills, strokes, images, text); clamped to 0...1.
void CGContextSetAlpha(CGContextRef c, CGFloat alpha);
void CGContextSetLineWidth(CGContextRef c, CGFloat width);
/// Everything painted until the matching end is composited as one picture, with the alpha in
/// force at the begin: overlapping parts of a half-transparent group do not show through each
/// other. Begin saves the graphics state and end restores it.
void CGContextBeginTransparencyLayer(CGContextRef c);
void CGContextEndTransparencyLayer(CGContextRef c);
void CGContextSetInterpolationQuality(CGContextRef c, CGInterpolationQuality quality);
CGInterpolationQuality CGContextGetInterpolationQuality(CGContextRef c);

/// Draws the image stretched over the rectangle with its top row at the rectangle's LARGEST y:
/// in a top-left-origin context the picture comes out upside down, as on the platform. Callers
/// that want it upright flip first, for example translate (0, H) then scale (1, -1).
void CGContextDrawImage(CGContextRef c, CGRect rect, const CGImageRef& image);

/// Saves the graphics state now and restores it when it goes out of scope.
class CGContextStateSaver {
 public:
  explicit CGContextStateSaver(CGContextRef c) : context_(c) { CGContextSaveGState(context_); }
  ~CGContextStateSaver() { restore(); }
  CGContextStateSaver(const CGContextStateSaver&) = delete;
  CGContextStateSaver& operator=(const CGContextStateSaver&) = delete;

  /// Restores early; the destructor then does nothing.
  void restore() {
    if (context_) CGContextRestoreGState(context_);
    context_ = nullptr;
  }

 private:
  CGContextRef context_;
};

// The current context of the calling thread, for drawing calls that take none (UIImage
// drawInRect:, NSString drawWithRect:, UIBezierPath stroke). Each thread has its own stack;
// UIGraphicsImageRenderer pushes its context around the actions.
CGContextRef UIGraphicsGetCurrentContext();
void UIGraphicsPushContext(CGContextRef c);
/// Pops the top context; does nothing on an empty stack.
void UIGraphicsPopContext();

}  // namespace zerva
