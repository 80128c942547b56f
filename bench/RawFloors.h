#pragma once
// The raw libraries doing a frame's work with nothing of ours around them: Cairo and Pango
// drawing a scanned screen, Cairo masking and turning, libyuv scaling and converting, x264
// encoding. Each stage of bench_handler is timed next to its floor from here in the same run.

#include <cairo.h>
#include <libyuv.h>
#include <pango/pangocairo.h>
#include <x264.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/CairoHandles.h"
#include "platform/UIImage.h"
#include "services/HVHierarchyDictionary.h"

namespace zerva::bench {

struct CairoSurfaceDeleter {
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
using RawSurface = std::unique_ptr<cairo_surface_t, CairoSurfaceDeleter>;

inline RawSurface rawSurface(int width, int height) {
  return RawSurface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
}

/// A scanned screen flattened to what Cairo and Pango need: clipped boxes and laid-out texts.
class RawScreen {
 public:
  RawScreen(const std::vector<HVHierarchyDictionary>& roots, double pixelsPerPoint) : scale_(pixelsPerPoint) {
    if (roots.empty()) return;
    const CGRect screen = Zerva_rectFromFastStore(roots.front().get(Zerva_HS_Key_ScreenRect));
    width_ = static_cast<int>(std::ceil(screen.size.width * scale_));
    height_ = static_cast<int>(std::ceil(screen.size.height * scale_));
    // Layouts are made once, as a cache of laid-out texts would keep them between frames.
    RawSurface scratch = rawSurface(1, 1);
    cairo_t* cr = cairo_create(scratch.get());
    for (const auto& root : roots) flatten(root, cr);
    cairo_destroy(cr);
  }
  ~RawScreen() {
    for (auto& v : views_)
      if (v.layout) g_object_unref(v.layout);
  }
  RawScreen(const RawScreen&) = delete;
  RawScreen& operator=(const RawScreen&) = delete;

  int width() const { return width_; }
  int height() const { return height_; }
  std::size_t views() const { return views_.size(); }

  /// A new opaque bitmap with every box and text drawn, as a schematic frame is.
  RawSurface draw() const {
    RawSurface surface = rawSurface(width_, height_);
    cairo_t* cr = cairo_create(surface.get());
    cairo_scale(cr, scale_, scale_);
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_paint(cr);
    for (const View& v : views_) {
      cairo_save(cr);
      cairo_rectangle(cr, v.clip.origin.x, v.clip.origin.y, v.clip.size.width, v.clip.size.height);
      cairo_clip(cr);
      if (v.filled) {
        cairo_set_source_rgba(cr, v.r, v.g, v.b, v.a);
        cairo_rectangle(cr, v.rect.origin.x, v.rect.origin.y, v.rect.size.width, v.rect.size.height);
        cairo_fill(cr);
      }
      if (v.picture) {
        // Scaled into the view's rectangle, bilinear, as pictures are drawn.
        const double sx = cairo_image_surface_get_width(v.picture) / v.rect.size.width;
        const double sy = cairo_image_surface_get_height(v.picture) / v.rect.size.height;
        cairo_pattern_t* pattern = cairo_pattern_create_for_surface(v.picture);
        cairo_matrix_t m;
        cairo_matrix_init(&m, sx, 0, 0, sy, -v.rect.origin.x * sx, -v.rect.origin.y * sy);
        cairo_pattern_set_matrix(pattern, &m);
        cairo_pattern_set_filter(pattern, CAIRO_FILTER_BILINEAR);
        cairo_set_source(cr, pattern);
        cairo_rectangle(cr, v.rect.origin.x, v.rect.origin.y, v.rect.size.width, v.rect.size.height);
        cairo_fill(cr);
        cairo_pattern_destroy(pattern);
      }
      if (v.layout) {
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_move_to(cr, v.rect.origin.x, v.rect.origin.y);
        pango_cairo_show_layout(cr, v.layout);
      }
      cairo_restore(cr);
    }
    cairo_destroy(cr);
    cairo_surface_flush(surface.get());
    return surface;
  }

 private:
  struct View {
    CGRect rect, clip;
    bool filled = false;
    double r = 0, g = 0, b = 0, a = 0;
    PangoLayout* layout = nullptr;
    cairo_surface_t* picture = nullptr;  // the scanned image's own bitmap, kept alive by it
  };

  void flatten(const HVHierarchyDictionary& d, cairo_t* cr) {
    View v;
    v.rect = Zerva_rectFromFastStore(d.get(Zerva_HS_Key_ScreenRect));
    v.clip = Zerva_rectFromFastStore(d.get(Zerva_HS_Key_ClipToRect));
    if (auto colour = d.color(Zerva_HS_Key_BackgroundColour)) {
      v.filled = true;
      colour->getRed(&v.r, &v.g, &v.b, &v.a);
    }
    if (auto image = d.image(Zerva_HS_Key_DirectImage)) {
      pictures_.push_back(image);
      v.picture = surfaceOf(*image->CGImage());
    }
    if (auto title = d.dictionary(Zerva_HS_Key_ViewTitle)) {
      if (auto text = title->string(Zerva_HS_Key_ViewTitle_Text)) {
        const auto font = title->font(Zerva_HS_Key_ViewTitle_Font);
        v.layout = pango_cairo_create_layout(cr);
        PangoFontDescription* desc = pango_font_description_from_string("DejaVu Sans");
        pango_font_description_set_absolute_size(desc, (font ? font->pointSize() : 17) * PANGO_SCALE);
        pango_layout_set_font_description(v.layout, desc);
        pango_font_description_free(desc);
        pango_layout_set_width(v.layout, static_cast<int>(v.rect.size.width * PANGO_SCALE));
        pango_layout_set_text(v.layout, text->c_str(), -1);
        pango_layout_get_pixel_extents(v.layout, nullptr, nullptr);  // laid out now, not per frame
      }
    }
    views_.push_back(v);
    if (auto children = d.array(Zerva_HS_Key_Views))
      for (const auto& child : *children) flatten(child, cr);
  }

  double scale_;
  int width_ = 0, height_ = 0;
  std::vector<View> views_;
  std::vector<std::shared_ptr<const UIImage>> pictures_;
};

/// Masking: a copy of the frame with opaque boxes over the rectangles (in points).
inline RawSurface rawMask(cairo_surface_t* frame, const std::vector<CGRect>& rects, double pixelsPerPoint) {
  RawSurface out = rawSurface(cairo_image_surface_get_width(frame), cairo_image_surface_get_height(frame));
  cairo_t* cr = cairo_create(out.get());
  cairo_set_source_surface(cr, frame, 0, 0);
  cairo_paint(cr);
  cairo_scale(cr, pixelsPerPoint, pixelsPerPoint);
  cairo_set_source_rgb(cr, 0.1, 0.1, 0.1);
  for (const CGRect& r : rects) cairo_rectangle(cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
  cairo_fill(cr);
  cairo_destroy(cr);
  cairo_surface_flush(out.get());
  return out;
}

/// The landscape redraw: a quarter turn clockwise, nearest neighbour.
inline RawSurface rawQuarterTurn(cairo_surface_t* frame) {
  const int w = cairo_image_surface_get_width(frame), h = cairo_image_surface_get_height(frame);
  RawSurface out = rawSurface(h, w);
  cairo_t* cr = cairo_create(out.get());
  cairo_translate(cr, h, 0);
  cairo_rotate(cr, M_PI / 2);
  cairo_set_source_surface(cr, frame, 0, 0);
  cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
  cairo_paint(cr);
  cairo_destroy(cr);
  cairo_surface_flush(out.get());
  return out;
}

/// A frame's pixels, as the recorder is handed them.
struct RawPixels {
  int width = 0, height = 0;
  std::vector<std::uint8_t> argb;
};

inline RawPixels pixelsOf(cairo_surface_t* s) {
  cairo_surface_flush(s);
  RawPixels p{cairo_image_surface_get_width(s), cairo_image_surface_get_height(s), {}};
  p.argb.resize(static_cast<std::size_t>(p.width) * p.height * 4);
  libyuv::ARGBCopy(cairo_image_surface_get_data(s), cairo_image_surface_get_stride(s), p.argb.data(), p.width * 4,
                   p.width, p.height);
  return p;
}

/// The downscale to the video size: libyuv's bilinear filter.
inline RawPixels rawDownscale(const RawPixels& in, int width, int height) {
  RawPixels out{width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width) * height * 4)};
  libyuv::ARGBScale(in.argb.data(), in.width * 4, in.width, in.height, out.argb.data(), width * 4, width, height,
                    libyuv::kFilterBilinear);
  return out;
}

/// The recorder's screen tuning in x264's own terms (ZRMp4VideoWriter with tuneForScreens).
inline constexpr const char* kScreenTuning =
    "me=umh:subme=6:psy=0:partitions=i8x8,i4x4:weightp=0:scenecut=20";
/// The screen tuning as it was before sub-8x8 partitions and weighted prediction were dropped and
/// the scene-cut threshold halved: what the encoder settings benchmark compares against.
inline constexpr const char* kScreenTuningBefore = "me=umh:subme=6:psy=0";

/// x264 driven directly, with the recorder's settings for a quality: preset, tune, rate factor,
/// one thread, no B-frames, and `tuning` (x264 "key=value:..." options, nullptr for none) with
/// its motion search range. Luma PSNR of every frame is kept when asked for.
class RawX264 {
 public:
  RawX264(int width, int height, int crf, double fps, int motionSearchRange, const char* tuning = kScreenTuning,
          bool psnr = false)
      : width_(width), height_(height) {
    x264_param_t p;
    x264_param_default_preset(&p, "veryfast", "zerolatency");
    p.i_width = width;
    p.i_height = height;
    p.i_csp = X264_CSP_I420;
    p.i_threads = 1;
    p.i_fps_num = static_cast<std::uint32_t>(std::lround(fps));
    p.i_fps_den = 1;
    p.i_keyint_max = static_cast<int>(std::lround(fps * 10));
    p.i_bframe = 0;
    p.rc.i_rc_method = X264_RC_CRF;
    p.rc.f_rf_constant = static_cast<float>(crf);
    p.analyse.b_psnr = psnr;
    // x264 keeps PSNR only at its info level, at which it also prints a summary on closing.
    p.pf_log = [](void*, int, const char*, va_list) {};
    if (motionSearchRange > 0 && tuning) {
      p.analyse.i_me_range = motionSearchRange;
      std::string options(tuning);
      for (std::size_t at = 0; at < options.size();) {
        const std::size_t end = std::min(options.find(':', at), options.size());
        const std::string option = options.substr(at, end - at);
        const std::size_t eq = option.find('=');
        x264_param_parse(&p, option.substr(0, eq).c_str(), option.substr(eq + 1).c_str());
        at = end + 1;
      }
    }
    x264_param_apply_profile(&p, "high");
    encoder_ = x264_encoder_open(&p);
    x264_picture_alloc(&picture_, X264_CSP_I420, width, height);
  }
  ~RawX264() {
    x264_picture_clean(&picture_);
    if (encoder_) x264_encoder_close(encoder_);
  }
  RawX264(const RawX264&) = delete;
  RawX264& operator=(const RawX264&) = delete;

  /// libyuv's BT.601 conversion into the encoder's picture.
  void convert(const RawPixels& frame) {
    libyuv::ARGBToI420(frame.argb.data(), frame.width * 4, picture_.img.plane[0], picture_.img.i_stride[0],
                       picture_.img.plane[1], picture_.img.i_stride[1], picture_.img.plane[2],
                       picture_.img.i_stride[2], width_, height_);
  }
  /// Encodes the converted picture; the bytes it came to.
  int encode() {
    picture_.i_pts = pts_++;
    x264_nal_t* nals = nullptr;
    int count = 0;
    x264_picture_t out;
    const int bytes = x264_encoder_encode(encoder_, &nals, &count, &picture_, &out);
    if (bytes > 0) lumaPsnr_.push_back(std::min(99.0, out.prop.f_psnr[0]));
    return bytes;
  }
  /// Luma PSNR of each encoded frame's reconstruction (what a decoder shows), when asked for.
  const std::vector<double>& lumaPsnr() const { return lumaPsnr_; }

 private:
  int width_, height_;
  x264_t* encoder_ = nullptr;
  x264_picture_t picture_{};
  std::int64_t pts_ = 0;
  std::vector<double> lumaPsnr_;
};

}  // namespace zerva::bench
