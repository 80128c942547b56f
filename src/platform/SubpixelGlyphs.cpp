#include "platform/SubpixelGlyphs.h"

#include <cairo-ft.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "platform/CairoHandles.h"

namespace zerva {

namespace {

constexpr int kPhases = 4;  // glyph positions per device pixel
// Glyph images kept per thread; past this the cache starts again (a few hundred KB at 1x).
constexpr std::size_t kKeptGlyphs = 8192;
// Glyphs placed further out than this many device pixels (or at no number) go to Pango.
constexpr double kFar = 1 << 24;
constexpr int kLargestMask = 32767;  // Cairo's largest image side

/// One glyph's coverage at one scale and quarter-pixel phase, placed relative to the whole
/// device pixel its origin falls in.
struct GlyphImage {
  int left = 0, top = 0, width = 0, height = 0;
  std::vector<std::uint8_t> coverage;
};

struct GlyphKey {
  const cairo_scaled_font_t* font;
  double scaleX, scaleY;
  unsigned long glyph;
  int phase;
  bool operator==(const GlyphKey&) const = default;
};

struct GlyphKeyHash {
  std::size_t operator()(const GlyphKey& k) const {
    std::size_t h = std::hash<const void*>()(k.font);
    auto mix = [&h](std::size_t v) { h ^= v + 0x9e3779b97f4a7c15ULL + (h << 6) + (h >> 2); };
    mix(std::hash<double>()(k.scaleX));
    mix(std::hash<double>()(k.scaleY));
    mix(k.glyph);
    mix(static_cast<std::size_t>(k.phase));
    return h;
  }
};

class GlyphCache {
 public:
  /// Called between lines only: a fresh start drops images a line may still point at.
  void makeRoom() {
    if (glyphs_.size() < kKeptGlyphs) return;
    glyphs_.clear();
    fonts_.clear();
  }

  /// Whether the font's glyphs are outlines of one colour, which this fills; colour and bitmap
  /// glyphs (emoji fonts) are left to Cairo's own drawing. Asked before image() for each font.
  bool drawsFromOutlines(cairo_scaled_font_t* font) {
    if (auto found = fonts_.find(font); found != fonts_.end()) return found->second.outlines;
    bool outlines = false;
    if (cairo_scaled_font_get_type(font) == CAIRO_FONT_TYPE_FT) {
      if (FT_Face face = cairo_ft_scaled_font_lock_face(font)) {
        outlines = FT_IS_SCALABLE(face) && !FT_HAS_COLOR(face);
        cairo_ft_scaled_font_unlock_face(font);
      }
    }
    // A font keyed by its address is held, so that no other font takes that address meanwhile.
    fonts_.emplace(font, FontEntry{CairoUniquePtr<cairo_scaled_font_t>(cairo_scaled_font_reference(font)), outlines});
    return outlines;
  }

  const GlyphImage& image(cairo_scaled_font_t* font, double scaleX, double scaleY, unsigned long glyph, int phase) {
    const GlyphKey key{font, scaleX, scaleY, glyph, phase};
    if (auto found = glyphs_.find(key); found != glyphs_.end()) return found->second;
    return glyphs_.emplace(key, rasterize(font, scaleX, scaleY, glyph, phase)).first->second;
  }

 private:
  GlyphImage rasterize(cairo_scaled_font_t* font, double scaleX, double scaleY, unsigned long glyph, int phase) {
    cairo_glyph_t g{glyph, 0, 0};
    cairo_text_extents_t ink;
    cairo_scaled_font_glyph_extents(font, &g, 1, &ink);
    GlyphImage image;
    if (!(ink.width > 0) || !(ink.height > 0)) return image;
    const double shift = static_cast<double>(phase) / kPhases;
    image.left = static_cast<int>(std::floor(scaleX * ink.x_bearing + shift)) - 1;
    image.top = static_cast<int>(std::floor(scaleY * ink.y_bearing)) - 1;
    image.width = static_cast<int>(std::ceil(scaleX * (ink.x_bearing + ink.width) + shift)) + 1 - image.left;
    image.height = static_cast<int>(std::ceil(scaleY * (ink.y_bearing + ink.height))) + 1 - image.top;
    cairo_t* cr = canvasFor(image.width, image.height);
    if (!cr) return GlyphImage{};
    // The outline comes from the font as Pango made it (kept there for every scale), and is filled
    // scaled and shifted to its place: the coverage Cairo's own glyph would have there.
    cairo_identity_matrix(cr);
    cairo_set_scaled_font(cr, font);
    cairo_new_path(cr);
    cairo_glyph_path(cr, &g, 1);
    CairoUniquePtr<cairo_path_t> outline(cairo_copy_path(cr));
    cairo_new_path(cr);
    const cairo_matrix_t place{scaleX, 0, 0, scaleY, shift - image.left, -static_cast<double>(image.top)};
    cairo_set_matrix(cr, &place);
    cairo_append_path(cr, outline.get());
    cairo_fill(cr);
    if (cairo_status(cr) != CAIRO_STATUS_SUCCESS) {
      // A glyph the font cannot give (a damaged font) leaves the context in error for good: the
      // glyph is left out and the next one gets a new canvas.
      dropCanvas();
      return GlyphImage{};
    }
    cairo_surface_flush(canvas_.get());
    const unsigned char* pixels = cairo_image_surface_get_data(canvas_.get());
    const int stride = cairo_image_surface_get_stride(canvas_.get());
    image.coverage.resize(static_cast<std::size_t>(image.width) * image.height);
    for (int row = 0; row < image.height; ++row) {
      std::memcpy(image.coverage.data() + static_cast<std::size_t>(row) * image.width,
                  pixels + static_cast<std::size_t>(row) * stride, static_cast<std::size_t>(image.width));
    }
    return image;
  }

  /// A cleared corner of at least width x height of this thread's glyph canvas, and its context;
  /// nullptr when Cairo cannot make one (out of memory).
  cairo_t* canvasFor(int width, int height) {
    if (!canvas_ || width > canvasWidth_ || height > canvasHeight_) {
      const int newWidth = std::max({canvasWidth_, width, 64}), newHeight = std::max({canvasHeight_, height, 64});
      dropCanvas();
      canvas_.reset(cairo_image_surface_create(CAIRO_FORMAT_A8, newWidth, newHeight));
      canvasContext_.reset(cairo_create(canvas_.get()));
      if (cairo_status(canvasContext_.get()) != CAIRO_STATUS_SUCCESS) {
        dropCanvas();
        return nullptr;
      }
      canvasWidth_ = newWidth;
      canvasHeight_ = newHeight;
    }
    cairo_surface_flush(canvas_.get());
    unsigned char* pixels = cairo_image_surface_get_data(canvas_.get());
    const int stride = cairo_image_surface_get_stride(canvas_.get());
    for (int row = 0; row < height; ++row) std::memset(pixels + static_cast<std::size_t>(row) * stride, 0, width);
    cairo_surface_mark_dirty(canvas_.get());
    return canvasContext_.get();
  }

  void dropCanvas() {
    canvasContext_.reset();
    canvas_.reset();
    canvasWidth_ = canvasHeight_ = 0;
  }

  CairoUniquePtr<cairo_surface_t> canvas_;
  CairoUniquePtr<cairo_t> canvasContext_;
  int canvasWidth_ = 0, canvasHeight_ = 0;
  std::unordered_map<GlyphKey, GlyphImage, GlyphKeyHash> glyphs_;
  struct FontEntry {
    CairoUniquePtr<cairo_scaled_font_t> held;
    bool outlines;
  };
  std::unordered_map<const cairo_scaled_font_t*, FontEntry> fonts_;
};

/// Attributes that draw more than the glyphs in the context's one colour.
bool drawsOnlyGlyphs(const PangoItem* item) {
  for (GSList* a = item->analysis.extra_attrs; a; a = a->next) {
    switch (static_cast<PangoAttribute*>(a->data)->klass->type) {
      case PANGO_ATTR_FOREGROUND:
      case PANGO_ATTR_BACKGROUND:
      case PANGO_ATTR_UNDERLINE:
      case PANGO_ATTR_UNDERLINE_COLOR:
      case PANGO_ATTR_STRIKETHROUGH:
      case PANGO_ATTR_STRIKETHROUGH_COLOR:
      case PANGO_ATTR_OVERLINE:
      case PANGO_ATTR_OVERLINE_COLOR:
      case PANGO_ATTR_SHAPE:
      case PANGO_ATTR_RISE:
      case PANGO_ATTR_FOREGROUND_ALPHA:
      case PANGO_ATTR_BACKGROUND_ALPHA:
        return false;
      default:
        break;
    }
  }
  return true;
}

struct PlacedGlyph {
  const GlyphImage* image;
  int x, y;  // device pixel of the image's top left corner
};

}  // namespace

bool drawLineSubpixel(cairo_t* cr, PangoLayoutLine* line, double x, double baseline) {
  cairo_matrix_t m;
  cairo_get_matrix(cr, &m);
  if (m.xy != 0 || m.yx != 0 || !(m.xx > 0) || !(m.yy > 0)) return false;
  thread_local GlyphCache cache;
  thread_local std::vector<PlacedGlyph> placed;
  cache.makeRoom();
  placed.clear();
  double penX = 0;  // Pango units from x
  for (GSList* r = line->runs; r; r = r->next) {
    const auto* run = static_cast<const PangoGlyphItem*>(r->data);
    if (!drawsOnlyGlyphs(run->item) || run->start_x_offset != 0 || run->end_x_offset != 0) return false;
    cairo_scaled_font_t* font = pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(run->item->analysis.font));
    if (!font || cairo_scaled_font_status(font) != CAIRO_STATUS_SUCCESS || !cache.drawsFromOutlines(font)) {
      return false;
    }
    cairo_matrix_t em;
    cairo_scaled_font_get_font_matrix(font, &em);
    if (std::hypot(em.yx, em.yy) * m.yy > kLargestSubpixelEm || std::hypot(em.xx, em.xy) * m.xx > kLargestSubpixelEm) {
      return false;
    }
    const PangoGlyphString* glyphs = run->glyphs;
    for (int i = 0; i < glyphs->num_glyphs; ++i) {
      const PangoGlyphInfo& info = glyphs->glyphs[i];
      if (info.glyph != PANGO_GLYPH_EMPTY) {
        if (info.glyph & PANGO_GLYPH_UNKNOWN_FLAG) return false;  // Pango draws these as boxes
        const double ux = x + (penX + info.geometry.x_offset) / double(PANGO_SCALE);
        const double uy = baseline + (info.geometry.y_offset - run->y_offset) / double(PANGO_SCALE);
        const double deviceX = m.x0 + m.xx * ux, deviceY = m.y0 + m.yy * uy;
        if (!(std::abs(deviceX) < kFar) || !(std::abs(deviceY) < kFar)) return false;
        const double quarter = std::round(deviceX * kPhases), whole = std::floor(quarter / kPhases);
        const GlyphImage& image =
            cache.image(font, m.xx, m.yy, info.glyph, static_cast<int>(quarter - whole * kPhases));
        if (image.width > 0) {
          placed.push_back(
              {&image, static_cast<int>(whole) + image.left, static_cast<int>(std::round(deviceY)) + image.top});
        }
      }
      penX += info.geometry.width;
    }
  }
  if (placed.empty()) return true;
  // The mask covers the glyphs inside the clip.
  double cx0, cy0, cx1, cy1;
  cairo_clip_extents(cr, &cx0, &cy0, &cx1, &cy1);
  auto pixel = [](double v) { return static_cast<int>(v < kFar ? (v > -kFar ? v : -kFar) : kFar); };
  int left = pixel(std::floor(m.x0 + m.xx * cx0)), top = pixel(std::floor(m.y0 + m.yy * cy0));
  int right = pixel(std::ceil(m.x0 + m.xx * cx1)), bottom = pixel(std::ceil(m.y0 + m.yy * cy1));
  int gx0 = INT32_MAX, gy0 = INT32_MAX, gx1 = INT32_MIN, gy1 = INT32_MIN;
  for (const PlacedGlyph& p : placed) {
    gx0 = std::min(gx0, p.x);
    gy0 = std::min(gy0, p.y);
    gx1 = std::max(gx1, p.x + p.image->width);
    gy1 = std::max(gy1, p.y + p.image->height);
  }
  left = std::max(left, gx0);
  top = std::max(top, gy0);
  right = std::min(right, gx1);
  bottom = std::min(bottom, gy1);
  if (right <= left || bottom <= top) return true;
  const int width = right - left, height = bottom - top;
  // Only an unbounded target gets here (bitmaps are smaller); Cairo's own path copes with it.
  if (width > kLargestMask || height > kLargestMask) return false;
  const int stride = cairo_format_stride_for_width(CAIRO_FORMAT_A8, width);
  thread_local std::vector<std::uint8_t> mask;
  mask.assign(static_cast<std::size_t>(stride) * height, 0);
  for (const PlacedGlyph& p : placed) {
    const int x0 = std::max(p.x, left), x1 = std::min(p.x + p.image->width, right);
    const int y0 = std::max(p.y, top), y1 = std::min(p.y + p.image->height, bottom);
    for (int y = y0; y < y1; ++y) {
      const std::uint8_t* in =
          p.image->coverage.data() + static_cast<std::size_t>(y - p.y) * p.image->width + (x0 - p.x);
      std::uint8_t* out = mask.data() + static_cast<std::size_t>(y - top) * stride + (x0 - left);
      for (int i = 0; i < x1 - x0; ++i) {
        // Overlapping glyphs combine as Cairo's over: a + b - ab.
        out[i] = static_cast<std::uint8_t>(out[i] + in[i] - (out[i] * in[i] + 127) / 255);
      }
    }
  }
  CairoUniquePtr<cairo_surface_t> surface(
      cairo_image_surface_create_for_data(mask.data(), CAIRO_FORMAT_A8, width, height, stride));
  cairo_save(cr);
  cairo_identity_matrix(cr);
  cairo_mask_surface(cr, surface.get(), left, top);
  cairo_restore(cr);
  return true;
}

}  // namespace zerva
