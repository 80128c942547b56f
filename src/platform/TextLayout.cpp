#include "platform/TextLayout.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "platform/CairoHandles.h"

namespace zerva {

namespace {

constexpr double kPango = PANGO_SCALE;
// Slack when deciding whether a line fits a height: Pango rounds line heights to 1/1024 point,
// while callers compute heights from UIFont::lineHeight() in doubles.
constexpr int kFitSlack = 16;  // Pango units

struct GObjectUnref {
  void operator()(gpointer p) const { g_object_unref(p); }
};
struct AttrListUnref {
  void operator()(PangoAttrList* p) const { pango_attr_list_unref(p); }
};
struct FontDescriptionFree {
  void operator()(PangoFontDescription* p) const { pango_font_description_free(p); }
};
struct IterFree {
  void operator()(PangoLayoutIter* p) const { pango_layout_iter_free(p); }
};

// One per thread: Pango's font maps and layouts must not be shared between threads. Fonts are
// loaded once per thread, and the one layout is reused for every text that thread sets.
struct TextEngine {
  std::unique_ptr<PangoFontMap, GObjectUnref> fontMap{pango_cairo_font_map_new()};
  std::unique_ptr<PangoContext, GObjectUnref> context{pango_font_map_create_context(fontMap.get())};
  std::unique_ptr<PangoLayout, GObjectUnref> layout;

  TextEngine() {
    // Unhinted, so that a text measures the same at every scale and under every transform.
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    pango_cairo_context_set_font_options(context.get(), options);
    cairo_font_options_destroy(options);
    pango_context_set_base_dir(context.get(), PANGO_DIRECTION_LTR);
    layout.reset(pango_layout_new(context.get()));
    pango_layout_set_auto_dir(layout.get(), FALSE);
  }
};

TextEngine& engine() {
  thread_local TextEngine e;
  return e;
}

std::unique_ptr<PangoFontDescription, FontDescriptionFree> fontDescription(const UIFont& font) {
  std::unique_ptr<PangoFontDescription, FontDescriptionFree> d(pango_font_description_new());
  pango_font_description_set_family_static(d.get(), "DejaVu Sans");
  pango_font_description_set_weight(d.get(), font.isBold() ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
  // Absolute: sizes are in user-space units (points), whatever the resolution.
  pango_font_description_set_absolute_size(d.get(), font.pointSize() * kPango);
  return d;
}

guint16 channel16(double v) { return static_cast<guint16>(std::lround(std::clamp(v, 0.0, 1.0) * 65535.0)); }

bool isLimit(double v) { return std::isfinite(v) && v > 0 && v * kPango < INT_MAX / 2; }

double alignmentFactor(NSTextAlignment a) {
  switch (a) {
    case NSTextAlignmentCenter:
      return 0.5;
    case NSTextAlignmentRight:
      return 1.0;
    default:
      return 0.0;
  }
}

struct Line {
  PangoLayoutLine* line;
  PangoRectangle logical;  // layout coordinates, Pango units
  int baseline;
};

// The engine's layout set up for one text and frame, with the lines that show.
class SetText {
 public:
  SetText(std::string_view text, TextRuns runs, const TextFrame& frame, double alpha, bool withColours)
      : layout_(engine().layout.get()), frame_(frame) {
    NSParagraphStyle paragraph;
    if (!runs.empty() && runs.front().attributes.paragraphStyle) paragraph = *runs.front().attributes.paragraphStyle;
    alignment_ = paragraph.alignment();
    configure(text, runs, paragraph, alpha, withColours);
    collectLines();
    chooseVisibleLines();
  }

  TextMetrics metrics() const {
    TextMetrics m;
    if (visible_ == 0) return m;
    double width = 0;
    for (std::size_t i = 0; i < visible_; ++i) width = std::max(width, lines_[i].logical.width / kPango);
    const double top = frame_.lineFragmentOrigin ? 0.0 : -lines_[0].baseline / kPango;
    const double bottom = (lines_[visible_ - 1].logical.y + lines_[visible_ - 1].logical.height) / kPango;
    m.usedRect = CGRectMake(0, top, width, bottom - lines_[0].logical.y / kPango);
    const PangoLayoutLine* last = lines_[visible_ - 1].line;
    m.visibleLength = static_cast<std::size_t>(last->start_index + last->length);
    return m;
  }

  void draw(cairo_t* cr, CGPoint origin) const {
    if (visible_ == 0) return;
    cairo_save(cr);
    cairo_new_path(cr);
    if (clip_) {
      // Lines stop at the frame's edges; the whole height of the drawn lines stays visible.
      const TextMetrics m = metrics();
      cairo_rectangle(cr, origin.x, origin.y + m.usedRect.origin.y, frame_.width, m.usedRect.size.height);
      cairo_clip(cr);
    }
    const double baselineShift = frame_.lineFragmentOrigin ? 0.0 : -lines_[0].baseline / kPango;
    for (std::size_t i = 0; i < visible_; ++i) {
      const Line& l = lines_[i];
      double x = origin.x + l.logical.x / kPango;
      if (manualAlignment_ && isLimit(frame_.width)) {
        x += std::max(0.0, alignmentFactor(alignment_) * (frame_.width - l.logical.width / kPango));
      }
      cairo_move_to(cr, x, origin.y + l.baseline / kPango + baselineShift);
      pango_cairo_show_layout_line(cr, l.line);
    }
    cairo_restore(cr);
  }

 private:
  void configure(std::string_view text, TextRuns runs, const NSParagraphStyle& paragraph, double alpha, bool withColours) {
    PangoLayout* l = layout_;
    pango_layout_set_text(l, text.data(), static_cast<int>(text.size()));

    std::unique_ptr<PangoAttrList, AttrListUnref> attrs(pango_attr_list_new());
    for (const NSAttributedString::Run& run : runs) {
      const auto start = static_cast<guint>(run.range.location);
      const auto end = static_cast<guint>(NSMaxRange(run.range));
      auto add = [&](PangoAttribute* a) {
        a->start_index = start;
        a->end_index = end;
        pango_attr_list_insert(attrs.get(), a);
      };
      add(pango_attr_font_desc_new(fontDescription(run.attributes.font.value_or(defaultTextFont())).get()));
      if (withColours) {
        const CGColor c = run.attributes.foregroundColor ? run.attributes.foregroundColor->cgColor() : CGColor{0, 0, 0, 1};
        add(pango_attr_foreground_new(channel16(c.red), channel16(c.green), channel16(c.blue)));
        // Pango reads an alpha of 0 as "not set"; the smallest step is as good as invisible.
        add(pango_attr_foreground_alpha_new(std::max<guint16>(1, channel16(c.alpha * alpha))));
      }
    }
    pango_layout_set_attributes(l, attrs.get());
    pango_layout_set_font_description(l, fontDescription(defaultTextFont()).get());

    const NSLineBreakMode mode = paragraph.lineBreakMode();
    const bool wraps = mode == NSLineBreakByWordWrapping || mode == NSLineBreakByCharWrapping;
    const bool truncates = mode >= NSLineBreakByTruncatingHead && mode <= NSLineBreakByTruncatingMiddle;
    const bool limitedWidth = isLimit(frame_.width);

    pango_layout_set_single_paragraph_mode(l, !frame_.lineFragmentOrigin);
    pango_layout_set_height(l, -1);
    pango_layout_set_justify(l, FALSE);
    pango_layout_set_alignment(l, PANGO_ALIGN_LEFT);
    pango_layout_set_wrap(l, mode == NSLineBreakByCharWrapping ? PANGO_WRAP_CHAR : PANGO_WRAP_WORD_CHAR);
    pango_layout_set_ellipsize(l, PANGO_ELLIPSIZE_NONE);

    if (limitedWidth && (truncates || (wraps && frame_.lineFragmentOrigin))) {
      pango_layout_set_width(l, static_cast<int>(frame_.width * kPango));
      if (truncates) {
        // Height -1: every paragraph becomes one ellipsized line.
        pango_layout_set_ellipsize(l, mode == NSLineBreakByTruncatingHead     ? PANGO_ELLIPSIZE_START
                                      : mode == NSLineBreakByTruncatingMiddle ? PANGO_ELLIPSIZE_MIDDLE
                                                                              : PANGO_ELLIPSIZE_END);
      }
      switch (alignment_) {
        case NSTextAlignmentCenter:
          pango_layout_set_alignment(l, PANGO_ALIGN_CENTER);
          break;
        case NSTextAlignmentRight:
          pango_layout_set_alignment(l, PANGO_ALIGN_RIGHT);
          break;
        case NSTextAlignmentJustified:
          pango_layout_set_justify(l, TRUE);
          break;
        default:
          break;
      }
      wrapsInPango_ = wraps;
    } else {
      // Unwrapped lines: Pango would align them to the widest line, not to the frame.
      pango_layout_set_width(l, -1);
      manualAlignment_ = true;
      clip_ = mode == NSLineBreakByClipping && limitedWidth;
    }
  }

  void collectLines() {
    lines_.clear();
    std::unique_ptr<PangoLayoutIter, IterFree> iter(pango_layout_get_iter(layout_));
    do {
      Line line{pango_layout_iter_get_line_readonly(iter.get()), {}, pango_layout_iter_get_baseline(iter.get())};
      pango_layout_iter_get_line_extents(iter.get(), nullptr, &line.logical);
      lines_.push_back(line);
    } while (pango_layout_iter_next_line(iter.get()));
  }

  void chooseVisibleLines() {
    visible_ = lines_.size();
    if (frame_.maximumNumberOfLines > 0) visible_ = std::min(visible_, frame_.maximumNumberOfLines);
    if (frame_.lineFragmentOrigin && isLimit(frame_.height)) {
      const int limit = static_cast<int>(frame_.height * kPango) + kFitSlack;
      std::size_t fit = 0;
      while (fit < visible_ && lines_[fit].logical.y + lines_[fit].logical.height <= limit) ++fit;
      // The first line shows even in a frame too low for it.
      visible_ = std::max<std::size_t>(1, fit);
    }
    if (visible_ < lines_.size() && frame_.truncateLastVisibleLine && wrapsInPango_) {
      // Let Pango end the last shown line in an ellipsis: it keeps the lines that fit the height.
      const Line& last = lines_[visible_ - 1];
      pango_layout_set_ellipsize(layout_, PANGO_ELLIPSIZE_END);
      pango_layout_set_height(layout_, last.logical.y + last.logical.height + kFitSlack / 2);
      collectLines();
      visible_ = std::min(visible_, lines_.size());
    }
  }

  PangoLayout* layout_;
  TextFrame frame_;
  NSTextAlignment alignment_ = NSTextAlignmentNatural;
  bool manualAlignment_ = false;
  bool clip_ = false;
  bool wrapsInPango_ = false;
  std::vector<Line> lines_;
  std::size_t visible_ = 0;
};

}  // namespace

TextFrame TextFrame::forOptions(CGSize size, NSStringDrawingOptions options) {
  TextFrame f;
  f.width = size.width;
  f.height = size.height;
  f.lineFragmentOrigin = (options & NSStringDrawingUsesLineFragmentOrigin) != 0;
  f.truncateLastVisibleLine = f.lineFragmentOrigin && (options & NSStringDrawingTruncatesLastVisibleLine) != 0;
  return f;
}

TextMetrics measureText(std::string_view text, TextRuns runs, const TextFrame& frame) {
  if (text.empty()) return {};
  return SetText(text, runs, frame, 1.0, /*withColours=*/false).metrics();
}

void drawText(CGContext& context, CGPoint origin, std::string_view text, TextRuns runs, const TextFrame& frame) {
  const double alpha = contextAlpha(context);
  if (text.empty() || alpha <= 0) return;
  SetText(text, runs, frame, alpha, /*withColours=*/true).draw(cairoOf(context), origin);
}

}  // namespace zerva
