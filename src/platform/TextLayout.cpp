#include "platform/TextLayout.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/CairoHandles.h"
#include "platform/SubpixelGlyphs.h"

namespace zerva {

namespace {

constexpr double kPango = PANGO_SCALE;
// Slack when deciding whether a line fits a height: Pango rounds line heights to 1/1024 point,
// while callers compute heights from UIFont::lineHeight() in doubles.
constexpr int kFitSlack = 16;  // Pango units
// Laid-out texts kept per thread. A screen redrawn frame after frame sets the same labels
// again; keeping them makes measuring and drawing them again nearly free.
constexpr std::size_t kKeptLayouts = 256;
// Larger than any screen; Pango's sizes must stay well inside an int of 1/1024 points.
constexpr double kLargestFontSize = 10000;

struct PangoRelease {
  void operator()(PangoFontMap* p) const { g_object_unref(p); }
  void operator()(PangoContext* p) const { g_object_unref(p); }
  void operator()(PangoLayout* p) const { g_object_unref(p); }
  void operator()(PangoAttrList* p) const { pango_attr_list_unref(p); }
  void operator()(PangoFontDescription* p) const { pango_font_description_free(p); }
  void operator()(PangoLayoutIter* p) const { pango_layout_iter_free(p); }
};
template <typename T>
using PangoUniquePtr = std::unique_ptr<T, PangoRelease>;

PangoUniquePtr<PangoFontDescription> fontDescription(double size, bool bold) {
  PangoUniquePtr<PangoFontDescription> d(pango_font_description_new());
  pango_font_description_set_family_static(d.get(), "DejaVu Sans");
  pango_font_description_set_weight(d.get(), bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
  // Absolute: sizes are in user-space units (points), whatever the resolution. Pango keeps sizes
  // as whole 1/1024 points in an int; a size beyond kLargestFontSize is drawn at it.
  pango_font_description_set_absolute_size(d.get(), (size > 0 ? std::min(size, kLargestFontSize) : 0.0) * kPango);
  return d;
}

guint16 channel16(double v) { return static_cast<guint16>(std::lround(std::clamp(v, 0.0, 1.0) * 65535.0)); }

bool isLimit(double v) { return std::isfinite(v) && v > 0 && v * kPango < INT_MAX / 2; }

int pangoWidthFor(double width) { return isLimit(width) ? static_cast<int>(width * kPango) : -1; }

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

bool wrapsLines(NSLineBreakMode m) { return m == NSLineBreakByWordWrapping || m == NSLineBreakByCharWrapping; }
bool truncatesLines(NSLineBreakMode m) { return m >= NSLineBreakByTruncatingHead && m <= NSLineBreakByTruncatingMiddle; }

// Everything that decides how Pango sets a text, except the width (Entry::fits judges that).
struct LayoutKey {
  struct Run {
    std::size_t start, end;
    double fontSize;
    bool bold;
    std::optional<CGColor> colour;  // only when the runs differ in colour
    friend bool operator==(const Run&, const Run&) = default;
  };
  std::string text;
  std::vector<Run> runs;
  NSLineBreakMode mode = NSLineBreakByWordWrapping;
  bool justify = false;
  bool lineFragmentOrigin = true;
  // Pango ends the line that stops at this height (Pango units) in an ellipsis; -1: not cut.
  int ellipsisHeight = -1;
  friend bool operator==(const LayoutKey&, const LayoutKey&) = default;
};

struct LayoutKeyHash {
  std::size_t operator()(const LayoutKey& k) const {
    std::size_t h = std::hash<std::string>()(k.text);
    auto mix = [&](std::size_t v) { h ^= v + 0x9e3779b97f4a7c15ull + (h << 6) + (h >> 2); };
    for (const LayoutKey::Run& r : k.runs) {
      mix(r.end);
      mix(std::hash<double>()(r.fontSize));
      mix(r.bold);
    }
    mix(static_cast<std::size_t>(k.mode));
    mix(static_cast<std::size_t>(k.ellipsisHeight));
    mix(k.justify * 2u + k.lineFragmentOrigin);
    return h;
  }
};

struct Line {
  PangoLayoutLine* line;   // owned by the entry's layout
  PangoRectangle logical;  // layout coordinates, Pango units
  int baseline;
};

// One laid-out text.
struct Entry {
  LayoutKey key;
  PangoUniquePtr<PangoLayout> layout;
  int pangoWidth = -1;
  // No line was wrapped or shortened: any width at least as wide as the widest line sets the
  // same lines (a label measured at its view's width and drawn a point wider, say).
  bool widthFree = false;
  int widestLine = 0;
  std::vector<Line> lines;

  bool fits(int width) const {
    if (width == pangoWidth) return true;
    if (key.justify || !widthFree) return false;
    return width < 0 || width >= widestLine;
  }
};

// An entry and how many of its lines show in the frame asked for.
struct Placed {
  const Entry* entry = nullptr;
  std::size_t visible = 0;
};

// One per thread: Pango's font maps and layouts must not be shared between threads. Fonts are
// loaded once per thread.
class TextEngine {
 public:
  TextEngine() {
    // Unhinted, so that a text measures the same at every scale and under every transform.
    CairoUniquePtr<cairo_font_options_t> options(cairo_font_options_create());
    cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
    pango_cairo_context_set_font_options(context_.get(), options.get());  // the context copies them
    pango_context_set_base_dir(context_.get(), PANGO_DIRECTION_LTR);
    // Glyphs keep their fractional advances instead of whole points, so 2x and 3x pictures
    // space letters as finely as their pixels allow.
    pango_context_set_round_glyph_positions(context_.get(), FALSE);
  }

  Placed layOut(std::string_view text, TextRuns runs, const TextFrame& frame, double alpha) {
    const int width = pangoWidthFor(frame.width);
    LayoutKey key = keyFor(text, runs, frame, alpha);
    const Entry& whole = entryFor(std::move(key), width);
    std::size_t visible = visibleLines(whole, frame);
    const bool cut = visible < whole.lines.size() && frame.truncateLastVisibleLine && width > 0 &&
                     wrapsLines(whole.key.mode) && whole.key.lineFragmentOrigin;
    if (!cut) return {&whole, visible};
    // The last shown line ends in an ellipsis: Pango keeps the lines that fit this height.
    const Line& last = whole.lines[visible - 1];
    LayoutKey cutKey = whole.key;
    cutKey.ellipsisHeight = last.logical.y + last.logical.height + kFitSlack / 2;
    const Entry& shortened = entryFor(std::move(cutKey), width);
    return {&shortened, std::min(visible, shortened.lines.size())};
  }

 private:
  static LayoutKey keyFor(std::string_view text, TextRuns runs, const TextFrame& frame, double alpha) {
    LayoutKey key;
    key.text.assign(text);
    NSParagraphStyle paragraph;
    if (!runs.empty() && runs.front().attributes.paragraphStyle) paragraph = *runs.front().attributes.paragraphStyle;
    key.mode = paragraph.lineBreakMode();
    key.justify = paragraph.alignment() == NSTextAlignmentJustified;
    key.lineFragmentOrigin = frame.lineFragmentOrigin;
    const bool oneColour = std::all_of(runs.begin(), runs.end(), [&](const NSAttributedString::Run& r) {
      return r.attributes.foregroundColor == runs.front().attributes.foregroundColor;
    });
    for (const NSAttributedString::Run& run : runs) {
      const UIFont font = run.attributes.font.value_or(defaultTextFont());
      LayoutKey::Run r{run.range.location, NSMaxRange(run.range), font.pointSize(), font.isBold(), std::nullopt};
      if (!oneColour) {
        CGColor c = run.attributes.foregroundColor ? run.attributes.foregroundColor->cgColor() : CGColor{0, 0, 0, 1};
        c.alpha *= alpha;
        r.colour = c;
      }
      key.runs.push_back(r);
    }
    return key;
  }

  static std::size_t visibleLines(const Entry& e, const TextFrame& frame) {
    std::size_t visible = e.lines.size();
    if (frame.maximumNumberOfLines > 0) visible = std::min(visible, frame.maximumNumberOfLines);
    if (frame.lineFragmentOrigin && isLimit(frame.height)) {
      const int limit = static_cast<int>(frame.height * kPango) + kFitSlack;
      std::size_t fit = 0;
      while (fit < visible && e.lines[fit].logical.y + e.lines[fit].logical.height <= limit) ++fit;
      // The first line shows even in a frame too low for it.
      visible = std::max<std::size_t>(1, fit);
    }
    return visible;
  }

  // The kept entry for the key when it fits the width; else the key laid out anew, in the place
  // of the least recently used entry once kKeptLayouts are kept.
  const Entry& entryFor(LayoutKey key, int width) {
    auto found = index_.find(key);
    if (found != index_.end()) {
      kept_.splice(kept_.begin(), kept_, found->second);
      if (!found->second->fits(width)) layOutAnew(*found->second, width);
      return *found->second;
    }
    if (kept_.size() >= kKeptLayouts) {
      kept_.splice(kept_.begin(), kept_, std::prev(kept_.end()));
      index_.erase(kept_.front().key);
    } else {
      kept_.emplace_front();
      kept_.front().layout.reset(pango_layout_new(context_.get()));
      pango_layout_set_auto_dir(kept_.front().layout.get(), FALSE);
    }
    Entry& e = kept_.front();
    e.key = std::move(key);
    index_.emplace(e.key, kept_.begin());
    layOutAnew(e, width);
    return e;
  }

  static void layOutAnew(Entry& e, int width) {
    PangoLayout* l = e.layout.get();
    const LayoutKey& key = e.key;
    pango_layout_set_text(l, key.text.data(), static_cast<int>(key.text.size()));

    PangoUniquePtr<PangoAttrList> attrs(pango_attr_list_new());
    for (const LayoutKey::Run& run : key.runs) {
      auto add = [&](PangoAttribute* a) {
        a->start_index = static_cast<guint>(run.start);
        a->end_index = static_cast<guint>(run.end);
        pango_attr_list_insert(attrs.get(), a);
      };
      add(pango_attr_font_desc_new(fontDescription(run.fontSize, run.bold).get()));
      if (run.colour) {
        add(pango_attr_foreground_new(channel16(run.colour->red), channel16(run.colour->green), channel16(run.colour->blue)));
        // Pango reads an alpha of 0 as "not set"; the smallest step is as good as invisible.
        add(pango_attr_foreground_alpha_new(std::max<guint16>(1, channel16(run.colour->alpha))));
      }
    }
    pango_layout_set_attributes(l, attrs.get());
    const UIFont fallback = defaultTextFont();
    pango_layout_set_font_description(l, fontDescription(fallback.pointSize(), fallback.isBold()).get());

    pango_layout_set_single_paragraph_mode(l, !key.lineFragmentOrigin);
    // Alignment is applied when drawing, so it never costs a layout; only justified text needs
    // Pango to spread the words.
    pango_layout_set_alignment(l, PANGO_ALIGN_LEFT);
    pango_layout_set_justify(l, key.justify);
    pango_layout_set_wrap(l, key.mode == NSLineBreakByCharWrapping ? PANGO_WRAP_CHAR : PANGO_WRAP_WORD_CHAR);

    const bool widthMatters = width > 0 && (truncatesLines(key.mode) || (wrapsLines(key.mode) && key.lineFragmentOrigin));
    // Setting a text without a width costs Pango about a third less, and gives the same lines
    // when they fit. Tried first when a rough estimate says they will.
    if (widthMatters && !key.justify && key.ellipsisHeight < 0 && likelyFits(key, width)) {
      setWidth(l, key, -1);
      collectLines(e);
      if (e.widestLine <= width) return;
    }
    setWidth(l, key, widthMatters ? width : -1);
    collectLines(e);
  }

  // Running text in DejaVu Sans averages 0.51 to 0.55 em a character.
  static bool likelyFits(const LayoutKey& key, int width) {
    double estimate = 0;
    for (const LayoutKey::Run& r : key.runs) estimate += static_cast<double>(r.end - r.start) * r.fontSize * 0.55;
    return estimate * kPango <= width;
  }

  static void setWidth(PangoLayout* l, const LayoutKey& key, int width) {
    pango_layout_set_ellipsize(l, PANGO_ELLIPSIZE_NONE);
    pango_layout_set_height(l, -1);
    pango_layout_set_width(l, width);
    if (width < 0) return;
    if (truncatesLines(key.mode)) {
      // Height -1: every paragraph becomes one ellipsized line.
      pango_layout_set_ellipsize(l, key.mode == NSLineBreakByTruncatingHead     ? PANGO_ELLIPSIZE_START
                                    : key.mode == NSLineBreakByTruncatingMiddle ? PANGO_ELLIPSIZE_MIDDLE
                                                                                : PANGO_ELLIPSIZE_END);
    } else if (key.ellipsisHeight >= 0) {
      pango_layout_set_ellipsize(l, PANGO_ELLIPSIZE_END);
      pango_layout_set_height(l, key.ellipsisHeight);
    }
  }

  static void collectLines(Entry& e) {
    PangoLayout* l = e.layout.get();
    e.pangoWidth = pango_layout_get_width(l);
    e.lines.clear();
    e.widestLine = 0;
    PangoUniquePtr<PangoLayoutIter> iter(pango_layout_get_iter(l));
    do {
      Line line{pango_layout_iter_get_line_readonly(iter.get()), {}, pango_layout_iter_get_baseline(iter.get())};
      pango_layout_iter_get_line_extents(iter.get(), nullptr, &line.logical);
      e.widestLine = std::max(e.widestLine, line.logical.width);
      e.lines.push_back(line);
    } while (pango_layout_iter_next_line(iter.get()));
    e.widthFree = e.key.ellipsisHeight < 0 && !pango_layout_is_ellipsized(l) &&
                  std::all_of(e.lines.begin(), e.lines.end(), [](const Line& line) { return line.line->is_paragraph_start; });
  }

  PangoUniquePtr<PangoFontMap> fontMap_{pango_cairo_font_map_new()};
  PangoUniquePtr<PangoContext> context_{pango_font_map_create_context(fontMap_.get())};
  std::list<Entry> kept_;  // most recently used first
  std::unordered_map<LayoutKey, std::list<Entry>::iterator, LayoutKeyHash> index_;
};

TextEngine& engine() {
  thread_local TextEngine e;
  return e;
}

TextMetrics metricsOf(const Placed& placed, bool lineFragmentOrigin) {
  TextMetrics m;
  if (placed.visible == 0) return m;
  const auto& lines = placed.entry->lines;
  const Line& last = lines[placed.visible - 1];
  double width = 0;
  for (std::size_t i = 0; i < placed.visible; ++i) width = std::max(width, lines[i].logical.width / kPango);
  const double top = lineFragmentOrigin ? 0.0 : -lines[0].baseline / kPango;
  const double height = (last.logical.y + last.logical.height - lines[0].logical.y) / kPango;
  m.usedRect = CGRectMake(0, top, width, height);
  m.visibleLength = static_cast<std::size_t>(last.line->start_index + last.line->length);
  return m;
}

void drawPlaced(cairo_t* cr, CGPoint origin, const Placed& placed, const TextFrame& frame, NSTextAlignment alignment,
                const std::optional<CGColor>& colour) {
  if (placed.visible == 0) return;
  const auto& lines = placed.entry->lines;
  cairo_save(cr);
  cairo_new_path(cr);
  if (colour) cairo_set_source_rgba(cr, colour->red, colour->green, colour->blue, colour->alpha);
  const bool limited = isLimit(frame.width);
  if (placed.entry->key.mode == NSLineBreakByClipping && limited) {
    // Lines stop at the frame's edges; the whole height of the drawn lines stays visible.
    const TextMetrics m = metricsOf(placed, frame.lineFragmentOrigin);
    cairo_rectangle(cr, origin.x, origin.y + m.usedRect.origin.y, frame.width, m.usedRect.size.height);
    cairo_clip(cr);
  }
  const double baselineShift = frame.lineFragmentOrigin ? 0.0 : -lines[0].baseline / kPango;
  const double factor = alignmentFactor(alignment);
  for (std::size_t i = 0; i < placed.visible; ++i) {
    const Line& l = lines[i];
    double x = origin.x + l.logical.x / kPango;
    // Lines wider than the frame (clipped ones) start at its left edge.
    if (limited && factor > 0) x += std::max(0.0, factor * (frame.width - l.logical.width / kPango));
    const double baseline = origin.y + l.baseline / kPango + baselineShift;
    if (colour && drawLineSubpixel(cr, l.line, x, baseline)) continue;
    cairo_move_to(cr, x, baseline);
    pango_cairo_show_layout_line(cr, l.line);
  }
  cairo_restore(cr);
}

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
  return metricsOf(engine().layOut(text, runs, frame, 1.0), frame.lineFragmentOrigin);
}

void drawText(CGContext& context, CGPoint origin, std::string_view text, TextRuns runs, const TextFrame& frame) {
  const double alpha = contextAlpha(context);
  if (text.empty() || alpha <= 0) return;
  const Placed placed = engine().layOut(text, runs, frame, alpha);
  NSTextAlignment alignment = NSTextAlignmentNatural;
  std::optional<CGColor> colour;
  if (!runs.empty()) {
    const NSStringAttributes& first = runs.front().attributes;
    if (first.paragraphStyle) alignment = first.paragraphStyle->alignment();
    // Text of one colour is drawn with the cairo source; several colours are in the layout.
    if (placed.entry->key.runs.empty() || !placed.entry->key.runs.front().colour) {
      colour = first.foregroundColor ? first.foregroundColor->cgColor() : CGColor{0, 0, 0, 1};
      colour->alpha *= alpha;
    }
  }
  drawPlaced(cairoOf(context), origin, placed, frame, alignment, colour);
}

}  // namespace zerva

// Fontconfig, GLib and HarfBuzz, under Pango, are not ours. Fontconfig leaves ~300 bytes
// unreachable; all three synchronise threads inside themselves, where ThreadSanitizer cannot
// see it in the uninstrumented libraries (fontconfig's start-up on a thread of Pango's, GLib's
// slice allocator handing memory between threads, HarfBuzz's shared scratch object). Defined
// here so that every program that sets text, and only those, tell the sanitizers to ignore
// those libraries; without a sanitizer nothing calls these.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
extern "C" const char* __tsan_default_suppressions() {
  return "race:libfontconfig.so\nrace:libglib-2.0.so\nrace:libharfbuzz.so\n";
}
