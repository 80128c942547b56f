#pragma once
// A broad evaluation set for text recognition, drawn as phone screens: each kind of sensitive
// string (Luhn-valid cards in the usual groupings, e-mail addresses, international phone numbers,
// custom words beside punctuation, long digit runs) and at least as many ordinary strings that
// must stay visible (dates, times, prices, order numbers failing Luhn, versions), each under an
// ordinary label, at 10 to 28 points, regular and bold, on white, dark, grey text, coloured bars
// and beside photographs, captured at 1x to 3x. services_tests reads a bounded part of it,
// bench_text_recognition all of it.
//
// A string counts as covered when every pixel of its ink lies in an answered rectangle, and an
// ordinary string as touched when a rectangle reaches more than a point into its ink box.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/CGContext.h"
#include "platform/CGGeometry.h"
#include "platform/CGImage.h"
#include "platform/NSStringDrawing.h"
#include "platform/UIBezierPath.h"
#include "platform/UIGraphicsImageRenderer.h"
#include "platform/UIImage.h"

namespace zerva::textsamples {

enum class Kind { Card, Email, Phone, CustomWord, DigitRun, Ordinary };
enum class Ground { White, Dark, GreyText, Blue, Red, Green, Orange, Purple, Teal, PaleYellow, Photo };

inline const char* kindName(Kind k) {
  constexpr const char* names[] = {"card", "e-mail", "phone", "custom word", "digit run", "ordinary"};
  return names[static_cast<int>(k)];
}
inline const char* groundName(Ground g) {
  constexpr const char* names[] = {"white", "dark", "grey text", "blue", "red", "green",
                                   "orange", "purple", "teal", "pale yellow", "photo"};
  return names[static_cast<int>(g)];
}
inline const std::vector<Ground>& allGrounds() {
  static const std::vector<Ground> all{Ground::White,  Ground::Dark,   Ground::GreyText, Ground::Blue,
                                       Ground::Red,    Ground::Green,  Ground::Orange,   Ground::Purple,
                                       Ground::Teal,   Ground::PaleYellow, Ground::Photo};
  return all;
}

struct Sample {
  std::string label;  // ordinary, drawn before or above the value
  std::string value;
  Kind kind;
  // For custom words beside punctuation: the bytes of `value` that must be hidden; else all.
  std::string hidden = {};
};

inline const std::vector<std::string>& customWords() {
  static const std::vector<std::string> words{"Falcon", "Bluebird", "Project Nimbus", "Orion"};
  return words;
}

inline const std::vector<Sample>& allSamples() {
  static const std::vector<Sample> samples{
      // Cards: 4-4-4-4 with spaces or dashes, none, 4-6-5, 4-6-4, 19 digits.
      {"Card", "4111 1111 1111 1111", Kind::Card},
      {"Card", "5555-5555-5555-4444", Kind::Card},
      {"Amex", "3782 822463 10005", Kind::Card},
      {"Card", "6011000990139424", Kind::Card},
      {"Visa", "4012 8888 8888 1881", Kind::Card},
      {"Card", "5105 1051 0510 5100", Kind::Card},
      {"Diners", "3056 930902 5904", Kind::Card},
      {"Card", "4242-4242-4242-4242", Kind::Card},
      {"JCB", "3530 1113 3330 0000", Kind::Card},
      {"Card", "6304 0000 0000 0000 018", Kind::Card},
      // E-mail addresses: dots, plus tags, digits, underscores, subdomains, capitals.
      {"Email", "jane.appleseed@example.com", Kind::Email},
      {"Email", "m.rossi@posta.example.it", Kind::Email},
      {"Email", "support+billing@shop.example.org", Kind::Email},
      {"Email", "kim_lee99@mail.example.net", Kind::Email},
      {"Email", "John.Smith@Example.COM", Kind::Email},
      {"Email", "a.b.c@d.example.co.uk", Kind::Email},
      {"Email", "first.last+promo@eu.example.com", Kind::Email},
      {"Email", "noreply-2024@news.example.de", Kind::Email},
      {"Email", "Ana.Lima77@Correio.example.br", Kind::Email},
      // Phone numbers as written around the world.
      {"Phone", "+1 (415) 555-0132", Kind::Phone},
      {"Phone", "+44 20 7946 0958", Kind::Phone},
      {"Phone", "(212) 555-0187", Kind::Phone},
      {"Phone", "415-555-0199", Kind::Phone},
      {"Phone", "+49 30 901820", Kind::Phone},
      {"Phone", "+33 1 42 68 53 00", Kind::Phone},
      {"Phone", "+81 3-1234-5678", Kind::Phone},
      {"Phone", "+61 2 9374 4000", Kind::Phone},
      {"Phone", "+91 98765 43210", Kind::Phone},
      {"Phone", "415.555.0132", Kind::Phone},
      // Custom words beside typographic and plain punctuation.
      {"Codename", "\u201CFalcon\u201D", Kind::CustomWord, "Falcon"},
      {"Team", "\u00ABBluebird\u00BB", Kind::CustomWord, "Bluebird"},
      {"Owner", "Falcon\u2019s", Kind::CustomWord, "Falcon"},
      {"Launch", "Project Nimbus\u2026", Kind::CustomWord, "Project Nimbus"},
      {"Unit", "(Orion)", Kind::CustomWord, "Orion"},
      {"Team", "BLUEBIRD!", Kind::CustomWord, "BLUEBIRD"},
      {"Code", "'Orion'", Kind::CustomWord, "Orion"},
      {"Plan", "Falcon, phase 2", Kind::CustomWord, "Falcon"},
      // Long digit runs and references holding one.
      {"Member", "00482913", Kind::DigitRun},
      {"Order", "#7730021945", Kind::DigitRun},
      {"Policy", "99120377", Kind::DigitRun},
      {"Ref", "4409817", Kind::DigitRun},
      {"Account", "120045981", Kind::DigitRun},
      {"Tracking", "1Z999AA10123456784", Kind::DigitRun},
      {"IBAN", "GB29NWBK60161331926819", Kind::DigitRun},
      {"Customer", "No. 000123456", Kind::DigitRun, "000123456"},
      // Ordinary strings: dates, times, prices, order numbers failing Luhn, versions, counts.
      {"Date", "2024-03-15", Kind::Ordinary},
      {"Date", "15.03.2024", Kind::Ordinary},
      {"Date", "03/15/2024", Kind::Ordinary},
      {"Due", "March 3, 2024", Kind::Ordinary},
      {"Updated", "2024-12-31 23:59", Kind::Ordinary},
      {"Delivery", "Mon 12 Feb", Kind::Ordinary},
      {"Date", "Tue, 5 Nov 2024", Kind::Ordinary},
      {"Time", "10:30", Kind::Ordinary},
      {"Alarm", "08:15", Kind::Ordinary},
      {"Time", "9:41 AM", Kind::Ordinary},
      {"Elapsed", "23:59:59", Kind::Ordinary},
      {"Opens", "7:00 PM", Kind::Ordinary},
      {"Total", "$1,234.56", Kind::Ordinary},
      {"Price", "\u20AC99.90", Kind::Ordinary},
      {"Fee", "\u00A312.00", Kind::Ordinary},
      {"Plan", "$249.00/mo", Kind::Ordinary},
      {"Sale", "$0.99", Kind::Ordinary},
      {"Balance", "$12,345,678.90", Kind::Ordinary},
      {"Order", "4111 1111 1111 1112", Kind::Ordinary},
      {"Order", "5555-5555-5555-4445", Kind::Ordinary},
      {"Order", "4532 8812 0094 1230", Kind::Ordinary},
      {"Order", "ORD-2291-7745", Kind::Ordinary},
      {"Ticket", "A12-3345-778", Kind::Ordinary},
      {"Version", "10.2.3", Kind::Ordinary},
      {"Version", "v4.15.2 (build 1203)", Kind::Ordinary},
      {"Release", "17.4.1", Kind::Ordinary},
      {"Package", "2.0.0-beta.3", Kind::Ordinary},
      {"Build", "2024.11.3", Kind::Ordinary},
      {"Address", "192.168.100.200", Kind::Ordinary},
      {"Items", "12 items", Kind::Ordinary},
      {"Progress", "98%", Kind::Ordinary},
      {"Gate", "B22", Kind::Ordinary},
      {"Room", "204", Kind::Ordinary},
      {"ZIP", "94107", Kind::Ordinary},
      {"Step", "4 of 12", Kind::Ordinary},
      {"Rating", "4.8 (2,391)", Kind::Ordinary},
      {"Distance", "12.5 km", Kind::Ordinary},
      {"Weight", "1.25 kg", Kind::Ordinary},
      {"Seat", "14C", Kind::Ordinary},
      {"Flight", "LH 4410", Kind::Ordinary},
      {"Status", "Shipped", Kind::Ordinary},
      {"Name", "Jane Appleseed", Kind::Ordinary},
      {"City", "San Francisco", Kind::Ordinary},
      {"Note", "Falconry club", Kind::Ordinary},
      {"Note", "Orions and bluebirds", Kind::Ordinary},
      {"Contact", "Email us", Kind::Ordinary},
  };
  return samples;
}

// --- Screens ---

inline constexpr CGSize kScreenSize{400, 844};

enum class RowStyle {
  Inline,   // one string: "Label: value"
  Apart,    // the label at the left, the value after a gap of a few spaces
  Stacked,  // the label above the value
};

struct Row {
  Sample sample;
  double size = 14;
  bool bold = false;
  RowStyle style = RowStyle::Apart;
  CGRect labelRect = CGRectNull;  // Inline: the whole string's rectangle
  CGRect valueRect = CGRectNull;
  CGRect bar = CGRectNull;    // coloured ground behind the row (coloured grounds)
  CGRect photo = CGRectNull;  // photograph beside the row (photo ground)
  bool secondaryColour = false;
};

struct Screen {
  Ground ground = Ground::White;
  std::vector<Row> rows;
  CGRect banner = CGRectNull;  // a wide photograph above the rows
  int seed = 0;
};

struct Colour {
  double r, g, b;
};

inline Colour pageColour(Ground g) {
  if (g == Ground::Dark) return {0.07, 0.07, 0.08};
  return {1, 1, 1};
}

inline Colour barColour(Ground g) {
  switch (g) {
    case Ground::Blue: return {0.0, 0.48, 1.0};
    case Ground::Red: return {1.0, 0.23, 0.19};
    case Ground::Green: return {0.20, 0.78, 0.35};
    case Ground::Orange: return {1.0, 0.58, 0.0};
    case Ground::Purple: return {0.69, 0.32, 0.87};
    case Ground::Teal: return {0.19, 0.69, 0.78};
    case Ground::PaleYellow: return {1.0, 0.95, 0.78};
    case Ground::GreyText: return {0.95, 0.95, 0.97};
    default: return pageColour(g);
  }
}

inline bool hasBars(Ground g) {
  return g == Ground::Blue || g == Ground::Red || g == Ground::Green || g == Ground::Orange || g == Ground::Purple ||
         g == Ground::Teal || g == Ground::PaleYellow;
}

inline Colour textColour(Ground g, bool secondary, bool onBar) {
  switch (g) {
    case Ground::Dark: return secondary ? Colour{0.78, 0.78, 0.8} : Colour{1, 1, 1};
    case Ground::GreyText: return secondary ? Colour{0.45, 0.45, 0.47} : Colour{0.56, 0.56, 0.58};
    case Ground::PaleYellow: return onBar ? Colour{0.42, 0.30, 0.0} : Colour{0.1, 0.1, 0.1};
    default: return onBar && hasBars(g) ? Colour{1, 1, 1} : Colour{0.1, 0.1, 0.12};
  }
}

inline NSStringAttributes textAttributes(double size, bool bold, Colour c) {
  NSStringAttributes a;
  a.font = bold ? UIFont::boldSystemFontOfSize(size) : UIFont::systemFontOfSize(size);
  a.foregroundColor = UIColor::colorWithRed(c.r, c.g, c.b, 1);
  return a;
}

inline double textWidth(const std::string& text, double size, bool bold) {
  return boundingRectWithSize(text, {0, 0}, NSStringDrawingUsesLineFragmentOrigin, textAttributes(size, bold, {0, 0, 0}))
      .size.width;
}
inline double lineHeight(double size, bool bold) {
  return boundingRectWithSize("Hg", {0, 0}, NSStringDrawingUsesLineFragmentOrigin, textAttributes(size, bold, {0, 0, 0}))
      .size.height;
}

inline std::string inlineText(const Sample& s) { return s.label + ": " + s.value; }

/// Lays the samples out on as many screens as they need, one row each. Sizes, weights and row
/// styles turn with the sample's index and `variant`, so that each sample meets each of them
/// across variants; a value too wide for the screen is stacked or set smaller.
inline std::vector<Screen> layoutScreens(Ground ground, const std::vector<Sample>& samples,
                                         const std::vector<double>& sizes, int variant) {
  std::vector<Screen> screens;
  const double margin = 16, bottom = kScreenSize.height - 16;
  const bool photos = ground == Ground::Photo;
  const double photoSide = 44, textLeft = photos ? margin + photoSide + 10 : margin;
  const double padX = hasBars(ground) ? 10 : 0;
  double y = bottom;  // forces a first screen
  for (std::size_t i = 0; i < samples.size(); ++i) {
    Row row;
    row.sample = samples[i];
    row.size = sizes[(i * 5 + static_cast<std::size_t>(variant) * 3) % sizes.size()];
    row.bold = (i + static_cast<std::size_t>(variant)) % 2 == 1;
    row.style = static_cast<RowStyle>((i + static_cast<std::size_t>(variant)) % 3);
    row.secondaryColour = (i + static_cast<std::size_t>(variant) / 2) % 2 == 0;
    const double room = kScreenSize.width - textLeft - margin - 2 * padX;
    auto widthOf = [&](RowStyle style) {
      const double s = row.size;
      switch (style) {
        case RowStyle::Inline: return textWidth(inlineText(row.sample), s, row.bold);
        case RowStyle::Apart: return textWidth(row.sample.label, s, row.bold) + 1.2 * s + textWidth(row.sample.value, s, row.bold);
        case RowStyle::Stacked: return std::max(textWidth(row.sample.label, s, row.bold), textWidth(row.sample.value, s, row.bold));
      }
      return 0.0;
    };
    if (widthOf(row.style) > room) row.style = RowStyle::Stacked;
    while (row.size > 10 && widthOf(row.style) > room) row.size -= 1;
    const double lh = lineHeight(row.size, row.bold);
    const double padY = hasBars(ground) ? 0.45 * row.size : 0;
    // Stacked over a bar, the label stands above the bar, clear of it.
    const double valueDrop = lh + 0.25 * row.size + padY;
    const double contentHeight = row.style == RowStyle::Stacked ? valueDrop + lh : lh;
    const double height = std::max(contentHeight + 2 * padY, photos ? photoSide : 0.0);
    if (y + height > bottom) {
      screens.push_back(Screen{ground, {}, CGRectNull, variant * 100 + static_cast<int>(screens.size())});
      y = margin;
      if (photos && screens.size() % 2 == 1) {
        screens.back().banner = CGRectMake(0, 0, kScreenSize.width, 120);
        y = 120 + 12;
      }
    }
    const double top = y + std::max(0.0, (height - contentHeight - 2 * padY) / 2) + padY;
    const double x = textLeft + padX;
    switch (row.style) {
      case RowStyle::Inline:
        row.labelRect = CGRectMake(x, top, textWidth(inlineText(row.sample), row.size, row.bold), lh);
        break;
      case RowStyle::Apart: {
        const double lw = textWidth(row.sample.label, row.size, row.bold);
        row.labelRect = CGRectMake(x, top, lw, lh);
        row.valueRect = CGRectMake(x + lw + 1.2 * row.size, top, textWidth(row.sample.value, row.size, row.bold), lh);
        break;
      }
      case RowStyle::Stacked:
        row.labelRect = CGRectMake(x, top, textWidth(row.sample.label, row.size, row.bold), lh);
        row.valueRect = CGRectMake(x, top + valueDrop, textWidth(row.sample.value, row.size, row.bold), lh);
        break;
    }
    if (hasBars(ground)) {
      // A button or bar: around the whole row, or (stacked) around the value alone.
      const CGRect content = row.style == RowStyle::Stacked ? row.valueRect
                             : row.style == RowStyle::Apart ? CGRectUnion(row.labelRect, row.valueRect)
                                                            : row.labelRect;
      row.bar = CGRectInset(content, -padX, -padY);
    }
    if (photos) row.photo = CGRectMake(margin, y + (height - photoSide) / 2, photoSide, photoSide);
    y += height + 0.6 * row.size + (hasBars(ground) ? 4 : 0);
    screens.back().rows.push_back(std::move(row));
  }
  return screens;
}

// A photograph: smooth shapes and colours with fine grain, different per seed.
inline CGImageRef photograph(int width, int height, int seed) {
  std::vector<std::uint32_t> px(static_cast<std::size_t>(width) * height);
  auto hash = [](std::uint32_t x) {
    x ^= x >> 16, x *= 0x7feb352dU, x ^= x >> 15, x *= 0x846ca68bU, x ^= x >> 16;
    return x;
  };
  const double fx = 2.0 + seed % 3, fy = 1.5 + seed % 5 * 0.5, phase = seed * 0.7;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double u = static_cast<double>(x) / width, v = static_cast<double>(y) / height;
      const double a = std::sin(fx * 3.1 * u + phase) * std::cos(fy * 3.1 * v - phase);
      const double d = std::hypot(u - 0.6, v - 0.4);
      const double grain = (hash(static_cast<std::uint32_t>(seed * 7919 + y * width + x)) % 41) - 20.0;
      auto channel = [&](double base, double k) { return std::clamp(base + k * a + (d < 0.25 ? -60 : 0) + grain, 0.0, 255.0); };
      const auto r = static_cast<std::uint32_t>(channel(140, 90)), g = static_cast<std::uint32_t>(channel(120, -60)),
                 b = static_cast<std::uint32_t>(channel(90 + seed % 4 * 30, 70));
      px[static_cast<std::size_t>(y) * width + x] = 0xFF000000u | r << 16 | g << 8 | b;
    }
  }
  return CGImageCreateWithPixels(width, height, width * 4, px.data());
}

/// The screen captured at `scale`; without text, its grounds alone (for finding ink).
inline std::shared_ptr<UIImage> drawScreen(const Screen& screen, double scale, bool withText = true) {
  UIGraphicsImageRendererFormat format;
  format.setScale(scale);
  format.setOpaque(true);
  return UIGraphicsImageRenderer(kScreenSize, format).imageWithActions([&](UIGraphicsImageRendererContext& ctx) {
    auto c = ctx.CGContext();
    const Colour page = pageColour(screen.ground);
    CGContextSetRGBFillColor(c, page.r, page.g, page.b, 1);
    CGContextFillRect(c, CGRectMake(0, 0, kScreenSize.width, kScreenSize.height));
    if (!CGRectIsNull(screen.banner)) {
      CGContextDrawImage(c, screen.banner,
                         photograph(static_cast<int>(screen.banner.size.width * scale),
                                    static_cast<int>(screen.banner.size.height * scale), screen.seed));
    }
    int n = 0;
    for (const auto& row : screen.rows) {
      ++n;
      if (!CGRectIsNull(row.photo)) {
        const int side = static_cast<int>(std::lround(row.photo.size.width * scale));
        CGContextDrawImage(c, row.photo, photograph(side, side, screen.seed * 31 + n));
      }
      if (!CGRectIsNull(row.bar)) {
        const Colour b = barColour(screen.ground);
        CGContextSetRGBFillColor(c, b.r, b.g, b.b, 1);
        UIBezierPath::bezierPathWithRoundedRect(row.bar, std::min(10.0, row.bar.size.height / 2)).fill();
      }
      if (!withText) continue;
      const bool onBar = !CGRectIsNull(row.bar);
      const auto value = textAttributes(row.size, row.bold, textColour(screen.ground, row.secondaryColour, onBar));
      const bool labelOnBar = onBar && row.style != RowStyle::Stacked;
      const auto label = textAttributes(row.size, row.bold, textColour(screen.ground, true, labelOnBar));
      if (row.style == RowStyle::Inline) {
        drawWithRect(inlineText(row.sample), row.labelRect, NSStringDrawingUsesLineFragmentOrigin, value);
      } else {
        drawWithRect(row.sample.label, row.labelRect, NSStringDrawingUsesLineFragmentOrigin, label);
        drawWithRect(row.sample.value, row.valueRect, NSStringDrawingUsesLineFragmentOrigin, value);
      }
    }
  });
}

// --- Judging an answer ---

/// The ink of a part of a row: pixels of the text's rectangle (between x0 and x1, in points)
/// that differ from the screen drawn without text. In pixels of the capture.
struct Ink {
  std::vector<std::pair<int, int>> pixels;
  CGRect box = CGRectNull;  // in points
};

inline Ink inkOf(const UIImage& drawn, const UIImage& grounds, CGRect area) {
  Ink ink;
  const double s = drawn.scale();
  const CGImage& a = *drawn.CGImage();
  const CGImage& b = *grounds.CGImage();
  const int x0 = std::max(0, static_cast<int>(std::floor(area.origin.x * s)));
  const int x1 = std::min(static_cast<int>(a.width()), static_cast<int>(std::ceil(CGRectGetMaxX(area) * s)));
  const int y0 = std::max(0, static_cast<int>(std::floor(area.origin.y * s)));
  const int y1 = std::min(static_cast<int>(a.height()), static_cast<int>(std::ceil(CGRectGetMaxY(area) * s)));
  int bx0 = 1 << 30, by0 = 1 << 30, bx1 = -1, by1 = -1;
  for (int y = y0; y < y1; ++y) {
    const auto* ra = reinterpret_cast<const std::uint32_t*>(a.data() + static_cast<std::size_t>(y) * a.bytesPerRow());
    const auto* rb = reinterpret_cast<const std::uint32_t*>(b.data() + static_cast<std::size_t>(y) * b.bytesPerRow());
    for (int x = x0; x < x1; ++x) {
      int diff = 0;
      for (int shift = 0; shift < 24; shift += 8) {
        diff = std::max(diff, std::abs(static_cast<int>((ra[x] >> shift) & 0xFF) - static_cast<int>((rb[x] >> shift) & 0xFF)));
      }
      if (diff < 48) continue;
      ink.pixels.emplace_back(x, y);
      bx0 = std::min(bx0, x), by0 = std::min(by0, y), bx1 = std::max(bx1, x), by1 = std::max(by1, y);
    }
  }
  if (bx1 >= 0) ink.box = CGRectMake(bx0 / s, by0 / s, (bx1 + 1 - bx0) / s, (by1 + 1 - by0) / s);
  return ink;
}

/// Every ink pixel lies in one of the rectangles (with half a point of slack).
inline bool allCovered(const Ink& ink, const std::vector<CGRect>& rects, double scale) {
  if (ink.pixels.empty()) return false;
  for (const auto& [x, y] : ink.pixels) {
    const CGPoint p{(x + 0.5) / scale, (y + 0.5) / scale};
    const bool in = std::any_of(rects.begin(), rects.end(),
                                [&](CGRect r) { return CGRectContainsPoint(CGRectInset(r, -0.5, -0.5), p); });
    if (!in) return false;
  }
  return true;
}

inline bool touches(const Ink& ink, const std::vector<CGRect>& rects) {
  if (CGRectIsNull(ink.box)) return false;
  const CGRect core = CGRectInset(ink.box, 1, 1);
  return std::any_of(rects.begin(), rects.end(), [&](CGRect r) { return CGRectIntersectsRect(r, core); });
}

/// One row's outcome: a sensitive value covered; the ordinary parts (label, ordinary value) not
/// touched.
struct RowOutcome {
  const Row* row = nullptr;
  bool sensitive = false;
  bool covered = false;
  bool valueTouched = false;  // ordinary values only
  bool labelTouched = false;
  CGRect inkBox = CGRectNull;  // of the sensitive part, or of the ordinary value
  CGRect labelBox = CGRectNull;
};

// Where the bytes [begin, end) of a one-line string fall, in points from its left edge.
inline std::pair<double, double> spanOf(const std::string& text, std::size_t begin, std::size_t end, double size,
                                        bool bold) {
  const double x0 = begin == 0 ? 0 : textWidth(text.substr(0, begin), size, bold);
  return {x0, textWidth(text.substr(0, end), size, bold)};
}

inline std::vector<RowOutcome> judge(const Screen& screen, const UIImage& drawn, const UIImage& grounds,
                                     const std::vector<CGRect>& rects) {
  std::vector<RowOutcome> out;
  const double s = drawn.scale();
  for (const auto& row : screen.rows) {
    RowOutcome o;
    o.row = &row;
    o.sensitive = row.sample.kind != Kind::Ordinary;
    // The value's string and its rectangle; Inline rows hold label and value in one string.
    const bool isInline = row.style == RowStyle::Inline;
    const std::string text = isInline ? inlineText(row.sample) : row.sample.value;
    const CGRect textRect = isInline ? row.labelRect : row.valueRect;
    const std::size_t valueAt = isInline ? row.sample.label.size() + 2 : 0;
    const std::string& hidden = row.sample.hidden.empty() ? row.sample.value : row.sample.hidden;
    const std::size_t hiddenAt = valueAt + row.sample.value.find(hidden);
    auto part = [&](std::size_t begin, std::size_t end) {
      const auto [a, b] = spanOf(text, begin, end, row.size, row.bold);
      CGRect area = textRect;
      area.origin.x += a - 0.3;
      area.size.width = b - a + 0.6;
      return inkOf(drawn, grounds, area);
    };
    if (o.sensitive) {
      const Ink ink = part(hiddenAt, hiddenAt + hidden.size());
      o.covered = allCovered(ink, rects, s);
      o.inkBox = ink.box;
    } else {
      const Ink ink = part(valueAt, text.size());
      o.valueTouched = touches(ink, rects);
      o.inkBox = ink.box;
    }
    const Ink label = isInline ? part(0, row.sample.label.size() + 1) : inkOf(drawn, grounds, row.labelRect);
    o.labelTouched = touches(label, rects);
    o.labelBox = label.box;
    out.push_back(o);
  }
  return out;
}

}  // namespace zerva::textsamples
