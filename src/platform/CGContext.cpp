#include "platform/CGContext.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "platform/CGImageScaling.h"
#include "platform/CairoHandles.h"

namespace zerva {

namespace {

struct GState {
  CGColor fill{0, 0, 0, 1};
  CGColor stroke{0, 0, 0, 1};
  double alpha = 1;
  double lineWidth = 1;
  CGInterpolationQuality quality = kCGInterpolationDefault;
  // The clip in device pixels (std::nullopt: none) while every clip so far was a rectangle on
  // the axes; clipIsRect is false once a path or a turned rectangle clipped.
  std::optional<CGRect> deviceClip;
  bool clipIsRect = true;
};

CGColor clampColor(CGColor c) { return {clamp01(c.red), clamp01(c.green), clamp01(c.blue), clamp01(c.alpha)}; }

bool isDrawable(CGRect r) {
  return !CGRectIsNull(r) && std::isfinite(r.origin.x) && std::isfinite(r.origin.y) && std::isfinite(r.size.width) &&
         std::isfinite(r.size.height);
}

cairo_filter_t filterFor(CGInterpolationQuality q) {
  switch (q) {
    case kCGInterpolationNone:
      return CAIRO_FILTER_NEAREST;
    case kCGInterpolationHigh:
      return CAIRO_FILTER_GOOD;
    default:
      // Bilinear for Default, Low and Medium: Cairo's GOOD filter averages areas when scaling
      // down, which costs 15 to 40 times more at factors other than one half.
      return CAIRO_FILTER_BILINEAR;
  }
}

}  // namespace

struct CGContext::Impl {
  CairoUniquePtr<cairo_surface_t> surface;
  CairoUniquePtr<cairo_t> cr;
  // The start (opaque black when true, else clear) the bitmap's pixels are still to be set to:
  // set when something first draws, so that a first image that covers them all writes them
  // instead. Everything that reads or writes pixels goes through pixelsReady().
  std::optional<bool> pendingStartOpaque;
  GState state;
  std::vector<GState> saved;
  // Cairo keeps one path for everything; the platform's rectangle and image calls leave the
  // current path alone, so they set it aside while they paint.
  bool hasPath = false;
  // The alpha each open transparency layer is composited with when it ends.
  std::vector<double> transparencyLayerAlphas;
};

namespace {

/// The cairo_t, for drawing that reads or writes pixels: the bitmap holds its start first.
cairo_t* pixelsReady(CGContext::Impl& impl) {
  if (impl.pendingStartOpaque) {
    fillBitmap(impl.surface.get(), *impl.pendingStartOpaque ? 0xFF000000u : 0u);
    impl.pendingStartOpaque.reset();
  }
  return impl.cr.get();
}

CGRect wholeBitmap(CGContext::Impl& impl) {
  return CGRectMake(0, 0, cairo_image_surface_get_width(impl.surface.get()),
                    cairo_image_surface_get_height(impl.surface.get()));
}

/// The rectangle in device pixels, when the transform keeps it one on whole axes.
std::optional<CGRect> deviceRect(cairo_t* cr, CGRect rect) {
  cairo_matrix_t ctm;
  cairo_get_matrix(cr, &ctm);
  if (ctm.xy != 0 || ctm.yx != 0) return std::nullopt;
  const CGRect r = CGRectStandardize(rect);
  double x1 = r.origin.x, y1 = r.origin.y, x2 = CGRectGetMaxX(r), y2 = CGRectGetMaxY(r);
  cairo_user_to_device(cr, &x1, &y1);
  cairo_user_to_device(cr, &x2, &y2);
  return CGRectStandardize(CGRectMake(x1, y1, x2 - x1, y2 - y1));
}

bool clipLeavesWholeBitmap(CGContext::Impl& impl) {
  return impl.state.clipIsRect &&
         (!impl.state.deviceClip || CGRectContainsRect(*impl.state.deviceClip, wholeBitmap(impl)));
}

/// Whether painting the rectangle (user space) would reach every pixel of the bitmap: no clip
/// narrower than the bitmap, and the rectangle over all of it.
bool paintsWholeBitmap(CGContext::Impl& impl, CGRect rect) {
  if (!clipLeavesWholeBitmap(impl)) return false;
  const auto device = deviceRect(impl.cr.get(), rect);
  return device && CGRectContainsRect(*device, wholeBitmap(impl));
}

/// Whether drawing at the placement would paint every pixel of the bitmap: no clip narrower than
/// the bitmap, and the placement the whole of it.
bool coversWholeBitmap(CGContext::Impl& impl, const ImagePlacement& p) {
  return clipLeavesWholeBitmap(impl) && CGRectEqualToRect(CGRectMake(p.x, p.y, p.width, p.height), wholeBitmap(impl));
}

/// The pixel word Cairo paints for an opaque colour (through 16 bits a channel).
std::uint32_t opaqueWord(const CGColor& c) {
  auto channel = [](double v) { return static_cast<std::uint32_t>(v * 65535.0 + 0.5) >> 8; };
  return 0xFF000000u | channel(c.red) << 16 | channel(c.green) << 8 | channel(c.blue);
}

/// A first opaque fill of the whole of a fresh bitmap: the bitmap starts in its colour instead.
bool fillsFreshBitmap(CGContext::Impl& impl, CGRect rect) {
  if (!impl.pendingStartOpaque || impl.state.alpha < 1 || impl.state.fill.alpha < 1 || !paintsWholeBitmap(impl, rect)) {
    return false;
  }
  fillBitmap(impl.surface.get(), opaqueWord(impl.state.fill));
  impl.pendingStartOpaque.reset();
  return true;
}

/// Copies a row of pixels made opaque (to may be from). Four at a time by hand: the compiler
/// leaves this loop scalar at -O2, which made it slower than Cairo's compositing.
void copyRowOpaque(const std::uint32_t* from, std::uint32_t* to, int count) {
  using Four = std::uint32_t __attribute__((vector_size(16)));
  const Four opaque = {0xFF000000u, 0xFF000000u, 0xFF000000u, 0xFF000000u};
  int x = 0;
  for (; x + 4 <= count; x += 4) {
    Four v;
    std::memcpy(&v, from + x, sizeof v);
    v |= opaque;
    std::memcpy(to + x, &v, sizeof v);
  }
  for (; x < count; ++x) to[x] = from[x] | 0xFF000000u;
}

/// A first image over the whole of a fresh bitmap, written straight into it. Over opaque black
/// the colours are the image's and every pixel becomes opaque; over clear it is the image.
bool writeOverFreshBitmap(CGContext::Impl& impl, const CGImage& image, const ImagePlacement& p) {
  cairo_surface_t* target = impl.surface.get();
  cairo_surface_flush(target);
  unsigned char* pixels = cairo_image_surface_get_data(target);
  const int stride = cairo_image_surface_get_stride(target);
  const bool overBlack = *impl.pendingStartOpaque;
  const bool copy = p.width == static_cast<int>(image.width()) && p.height == static_cast<int>(image.height());
  if (copy && overBlack) {
    // One pass: each row copied and made opaque on the way.
    for (int y = 0; y < p.height; ++y) {
      const int sourceRow = p.bottomUp ? p.height - 1 - y : y;
      const auto* from = reinterpret_cast<const std::uint32_t*>(image.data() + static_cast<std::size_t>(sourceRow) *
                                                                                   image.bytesPerRow());
      auto* to = reinterpret_cast<std::uint32_t*>(pixels + static_cast<std::size_t>(y) * stride);
      copyRowOpaque(from, to, p.width);
    }
  } else {
    if (!writeImagePixels(image, p, pixels, stride)) return false;
    if (overBlack) {
      for (int y = 0; y < p.height; ++y) {
        auto* row = reinterpret_cast<std::uint32_t*>(pixels + static_cast<std::size_t>(y) * stride);
        copyRowOpaque(row, row, p.width);
      }
    }
  }
  cairo_surface_mark_dirty(target);
  impl.pendingStartOpaque.reset();
  return true;
}

class PathSetAside {
 public:
  explicit PathSetAside(CGContext::Impl& impl) : impl_(impl) {
    if (impl_.hasPath) {
      path_.reset(cairo_copy_path(impl_.cr.get()));
      cairo_new_path(impl_.cr.get());
    }
  }
  ~PathSetAside() {
    cairo_new_path(impl_.cr.get());
    if (path_) cairo_append_path(impl_.cr.get(), path_.get());
  }
  PathSetAside(const PathSetAside&) = delete;
  PathSetAside& operator=(const PathSetAside&) = delete;

 private:
  CGContext::Impl& impl_;
  CairoUniquePtr<cairo_path_t> path_;
};

void setSource(CGContext::Impl& impl, const CGColor& c) {
  cairo_set_source_rgba(impl.cr.get(), c.red, c.green, c.blue, c.alpha * impl.state.alpha);
}

void addRect(cairo_t* cr, CGRect r) {
  r = CGRectStandardize(r);
  cairo_rectangle(cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
}

void appendPath(cairo_t* cr, const CGPath& path) {
  for (const CGPathElement& e : path.elements()) {
    switch (e.type) {
      case kCGPathElementMoveToPoint:
        cairo_move_to(cr, e.points[0].x, e.points[0].y);
        break;
      case kCGPathElementAddLineToPoint:
        cairo_line_to(cr, e.points[0].x, e.points[0].y);
        break;
      case kCGPathElementAddCurveToPoint:
        cairo_curve_to(cr, e.points[0].x, e.points[0].y, e.points[1].x, e.points[1].y, e.points[2].x, e.points[2].y);
        break;
      case kCGPathElementCloseSubpath:
        cairo_close_path(cr);
        break;
    }
  }
}

}  // namespace

CGContext::CGContext(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
CGContext::~CGContext() = default;

cairo_t* cairoOf(CGContext& context) { return pixelsReady(context.impl()); }

double contextAlpha(CGContext& context) { return context.impl().state.alpha; }

std::unique_ptr<CGContext> makeBitmapContext(CairoUniquePtr<cairo_surface_t> surface, double scale, bool opaque) {
  auto impl = std::make_unique<CGContext::Impl>();
  impl->cr.reset(cairo_create(surface.get()));
  impl->surface = std::move(surface);
  impl->pendingStartOpaque = opaque;
  cairo_scale(impl->cr.get(), scale, scale);
  return std::make_unique<CGContext>(std::move(impl));
}

CGImageRef takeImage(CGContext& context) {
  CGContext::Impl& impl = context.impl();
  pixelsReady(impl);  // nothing drawn: the start
  impl.cr.reset();
  return makeImage(std::move(impl.surface));
}

void drawImageInRect(CGContext& context, CGRect rect, const CGImage& image, bool upright) {
  CGContext::Impl& impl = context.impl();
  if (!isDrawable(rect) || impl.state.alpha <= 0) return;
  const CGRect r = CGRectStandardize(rect);
  const double iw = static_cast<double>(image.width()), ih = static_cast<double>(image.height());
  if (r.size.width <= 0 || r.size.height <= 0 || iw <= 0 || ih <= 0) return;

  cairo_t* cr = impl.cr.get();
  PathSetAside aside(impl);
  CairoUniquePtr<cairo_pattern_t> pattern(cairo_pattern_create_for_surface(surfaceOf(image)));
  // The pattern matrix maps user space onto image pixels.
  const double sx = iw / r.size.width, sy = ih / r.size.height;
  cairo_matrix_t m;
  if (upright) {
    cairo_matrix_init(&m, sx, 0, 0, sy, -r.origin.x * sx, -r.origin.y * sy);
  } else {
    cairo_matrix_init(&m, sx, 0, 0, -sy, -r.origin.x * sx, CGRectGetMaxY(r) * sy);
  }
  cairo_pattern_set_matrix(pattern.get(), &m);
  cairo_matrix_t userFromImage = m;
  if (cairo_matrix_invert(&userFromImage) == CAIRO_STATUS_SUCCESS) {
    if (auto placement = wholePixelPlacement(cr, image, userFromImage)) {
      const bool copy = placement->width == static_cast<int>(iw) && placement->height == static_cast<int>(ih);
      // Smooth qualities but High (Cairo's area averaging) scale down by libyuv; a copy is the
      // same at every quality.
      const bool smoothDown = !copy && placement->width <= iw && placement->height <= ih &&
                              impl.state.quality != kCGInterpolationNone && impl.state.quality != kCGInterpolationHigh;
      if ((copy || smoothDown) && impl.pendingStartOpaque && impl.state.alpha >= 1 &&
          coversWholeBitmap(impl, *placement) && writeOverFreshBitmap(impl, image, *placement)) {
        return;
      }
      if (smoothDown && compositeImagePixels(pixelsReady(impl), image, *placement, impl.state.alpha)) return;
    }
  }
  // Over a fresh clear bitmap that the picture covers whole, painting over clear is painting.
  const bool replacesClear = impl.pendingStartOpaque == false && impl.state.alpha >= 1 && paintsWholeBitmap(impl, r);
  if (replacesClear) {
    impl.pendingStartOpaque.reset();
  } else {
    pixelsReady(impl);
  }
  cairo_pattern_set_filter(pattern.get(), filterFor(impl.state.quality));
  // Edge pixels repeat outward, so smoothing does not fade the picture's border to clear.
  cairo_pattern_set_extend(pattern.get(), CAIRO_EXTEND_PAD);
  cairo_set_source(cr, pattern.get());
  cairo_rectangle(cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
  if (replacesClear) {
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_fill(cr);
    cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
  } else if (impl.state.alpha >= 1) {
    cairo_fill(cr);
  } else {
    cairo_save(cr);
    cairo_clip(cr);
    cairo_paint_with_alpha(cr, impl.state.alpha);
    cairo_restore(cr);
  }
}

void paintPathAside(CGContext& context, const CGPath& path, bool stroke, double lineWidth) {
  CGContext::Impl& impl = context.impl();
  cairo_t* cr = pixelsReady(impl);
  PathSetAside aside(impl);
  appendPath(cr, path);
  if (stroke) {
    setSource(impl, impl.state.stroke);
    cairo_set_line_width(cr, lineWidth);
    cairo_stroke(cr);
  } else {
    setSource(impl, impl.state.fill);
    cairo_set_fill_rule(cr, CAIRO_FILL_RULE_WINDING);
    cairo_fill(cr);
  }
}

// --- Graphics state ---

void CGContextSaveGState(CGContextRef c) {
  if (!c) return;
  cairo_save(c->impl().cr.get());
  c->impl().saved.push_back(c->impl().state);
}

void CGContextRestoreGState(CGContextRef c) {
  if (!c || c->impl().saved.empty()) return;
  cairo_restore(c->impl().cr.get());
  c->impl().state = c->impl().saved.back();
  c->impl().saved.pop_back();
}

// --- Transform ---

void CGContextConcatCTM(CGContextRef c, CGAffineTransform t) {
  if (!c) return;
  cairo_matrix_t m;
  cairo_matrix_init(&m, t.a, t.b, t.c, t.d, t.tx, t.ty);
  // A singular matrix would put the cairo_t into an error state for good; the platform just
  // draws nothing afterwards, which an empty clip reproduces.
  const double det = t.a * t.d - t.b * t.c;
  if (!std::isfinite(det) || det == 0 || !std::isfinite(t.tx) || !std::isfinite(t.ty)) {
    PathSetAside aside(c->impl());
    cairo_rectangle(c->impl().cr.get(), 0, 0, 0, 0);
    cairo_clip(c->impl().cr.get());
    c->impl().state.deviceClip = CGRectZero;
    return;
  }
  cairo_transform(c->impl().cr.get(), &m);
}

void CGContextTranslateCTM(CGContextRef c, CGFloat tx, CGFloat ty) {
  CGContextConcatCTM(c, CGAffineTransformMakeTranslation(tx, ty));
}

void CGContextScaleCTM(CGContextRef c, CGFloat sx, CGFloat sy) { CGContextConcatCTM(c, CGAffineTransformMakeScale(sx, sy)); }

void CGContextRotateCTM(CGContextRef c, CGFloat angle) { CGContextConcatCTM(c, CGAffineTransformMakeRotation(angle)); }

CGAffineTransform CGContextGetCTM(CGContextRef c) {
  if (!c) return CGAffineTransformIdentity;
  cairo_matrix_t m;
  cairo_get_matrix(c->impl().cr.get(), &m);
  return {m.xx, m.yx, m.xy, m.yy, m.x0, m.y0};
}

// --- Clipping ---

void CGContextClipToRect(CGContextRef c, CGRect rect) {
  if (!c) return;
  GState& state = c->impl().state;
  if (const auto device = isDrawable(rect) ? deviceRect(c->impl().cr.get(), rect) : std::optional(CGRectZero)) {
    state.deviceClip = state.deviceClip ? CGRectIntersection(*state.deviceClip, *device) : *device;
  } else {
    state.clipIsRect = false;
  }
  PathSetAside aside(c->impl());
  if (isDrawable(rect)) {
    addRect(c->impl().cr.get(), rect);
  } else {
    cairo_rectangle(c->impl().cr.get(), 0, 0, 0, 0);
  }
  cairo_clip(c->impl().cr.get());
}

void CGContextClip(CGContextRef c) {
  if (!c) return;
  c->impl().state.clipIsRect = false;
  cairo_set_fill_rule(c->impl().cr.get(), CAIRO_FILL_RULE_WINDING);
  cairo_clip(c->impl().cr.get());
  c->impl().hasPath = false;
}

CGRect CGContextGetClipBoundingBox(CGContextRef c) {
  if (!c) return CGRectNull;
  double x1, y1, x2, y2;
  cairo_clip_extents(c->impl().cr.get(), &x1, &y1, &x2, &y2);
  return CGRectMake(x1, y1, x2 - x1, y2 - y1);
}

// --- Current path ---

void CGContextBeginPath(CGContextRef c) {
  if (!c) return;
  cairo_new_path(c->impl().cr.get());
  c->impl().hasPath = false;
}

void CGContextMoveToPoint(CGContextRef c, CGFloat x, CGFloat y) {
  if (!c) return;
  cairo_move_to(c->impl().cr.get(), x, y);
  c->impl().hasPath = true;
}

void CGContextAddLineToPoint(CGContextRef c, CGFloat x, CGFloat y) {
  if (!c) return;
  cairo_line_to(c->impl().cr.get(), x, y);
  c->impl().hasPath = true;
}

void CGContextClosePath(CGContextRef c) {
  if (!c) return;
  cairo_close_path(c->impl().cr.get());
}

void CGContextAddRect(CGContextRef c, CGRect rect) {
  if (!c || !isDrawable(rect)) return;
  addRect(c->impl().cr.get(), rect);
  c->impl().hasPath = true;
}

void CGContextAddPath(CGContextRef c, const CGPath& path) {
  if (!c || CGPathIsEmpty(path)) return;
  appendPath(c->impl().cr.get(), path);
  c->impl().hasPath = true;
}

void CGContextFillPath(CGContextRef c) {
  if (!c) return;
  pixelsReady(c->impl());
  setSource(c->impl(), c->impl().state.fill);
  cairo_set_fill_rule(c->impl().cr.get(), CAIRO_FILL_RULE_WINDING);
  cairo_fill(c->impl().cr.get());
  c->impl().hasPath = false;
}

void CGContextStrokePath(CGContextRef c) {
  if (!c) return;
  pixelsReady(c->impl());
  setSource(c->impl(), c->impl().state.stroke);
  cairo_set_line_width(c->impl().cr.get(), c->impl().state.lineWidth);
  cairo_stroke(c->impl().cr.get());
  c->impl().hasPath = false;
}

// --- Painting ---

void CGContextFillRect(CGContextRef c, CGRect rect) {
  if (!c || !isDrawable(rect) || fillsFreshBitmap(c->impl(), rect)) return;
  pixelsReady(c->impl());
  PathSetAside aside(c->impl());
  addRect(c->impl().cr.get(), rect);
  setSource(c->impl(), c->impl().state.fill);
  cairo_fill(c->impl().cr.get());
}

void CGContextStrokeRect(CGContextRef c, CGRect rect) {
  if (!c || !isDrawable(rect)) return;
  pixelsReady(c->impl());
  PathSetAside aside(c->impl());
  addRect(c->impl().cr.get(), rect);
  setSource(c->impl(), c->impl().state.stroke);
  cairo_set_line_width(c->impl().cr.get(), c->impl().state.lineWidth);
  cairo_stroke(c->impl().cr.get());
}

void CGContextClearRect(CGContextRef c, CGRect rect) {
  if (!c || !isDrawable(rect)) return;
  cairo_t* cr = pixelsReady(c->impl());
  PathSetAside aside(c->impl());
  cairo_save(cr);
  cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
  addRect(cr, rect);
  cairo_fill(cr);
  cairo_restore(cr);
}

// --- Colours and parameters ---

void CGContextSetRGBFillColor(CGContextRef c, CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha) {
  CGContextSetFillColorWithColor(c, CGColor{red, green, blue, alpha});
}

void CGContextSetRGBStrokeColor(CGContextRef c, CGFloat red, CGFloat green, CGFloat blue, CGFloat alpha) {
  CGContextSetStrokeColorWithColor(c, CGColor{red, green, blue, alpha});
}

void CGContextSetFillColorWithColor(CGContextRef c, const CGColor& color) {
  if (c) c->impl().state.fill = clampColor(color);
}

void CGContextSetStrokeColorWithColor(CGContextRef c, const CGColor& color) {
  if (c) c->impl().state.stroke = clampColor(color);
}

void CGContextBeginTransparencyLayer(CGContextRef c) {
  if (!c) return;
  auto& impl = c->impl();
  CGContextSaveGState(c);
  impl.transparencyLayerAlphas.push_back(impl.state.alpha);
  impl.state.alpha = 1;
  cairo_push_group(pixelsReady(impl));
}

void CGContextEndTransparencyLayer(CGContextRef c) {
  if (!c || c->impl().transparencyLayerAlphas.empty()) return;
  auto& impl = c->impl();
  const double alpha = impl.transparencyLayerAlphas.back();
  impl.transparencyLayerAlphas.pop_back();
  cairo_pop_group_to_source(pixelsReady(impl));
  {
    PathSetAside aside(impl);
    cairo_paint_with_alpha(impl.cr.get(), alpha);
  }
  CGContextRestoreGState(c);
}

void CGContextSetAlpha(CGContextRef c, CGFloat alpha) {
  if (c) c->impl().state.alpha = clamp01(alpha);
}

void CGContextSetLineWidth(CGContextRef c, CGFloat width) {
  if (c && std::isfinite(width) && width >= 0) c->impl().state.lineWidth = width;
}

void CGContextSetInterpolationQuality(CGContextRef c, CGInterpolationQuality quality) {
  if (c) c->impl().state.quality = quality;
}

CGInterpolationQuality CGContextGetInterpolationQuality(CGContextRef c) {
  return c ? c->impl().state.quality : kCGInterpolationDefault;
}

void CGContextDrawImage(CGContextRef c, CGRect rect, const CGImageRef& image) {
  if (c && image) drawImageInRect(*c, rect, *image, /*upright=*/false);
}

// --- Current context ---

namespace {
std::vector<CGContextRef>& contextStack() {
  thread_local std::vector<CGContextRef> stack;
  return stack;
}
}  // namespace

CGContextRef UIGraphicsGetCurrentContext() {
  auto& stack = contextStack();
  return stack.empty() ? nullptr : stack.back();
}

void UIGraphicsPushContext(CGContextRef c) { contextStack().push_back(c); }

void UIGraphicsPopContext() {
  auto& stack = contextStack();
  if (!stack.empty()) stack.pop_back();
}

}  // namespace zerva
