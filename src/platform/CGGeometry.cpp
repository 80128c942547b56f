#include "platform/CGGeometry.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <ostream>

namespace zerva {

const CGRect CGRectNull{{std::numeric_limits<CGFloat>::infinity(), std::numeric_limits<CGFloat>::infinity()}, {0, 0}};

CGRect CGRectStandardize(CGRect r) {
  if (CGRectIsNull(r)) return r;
  if (r.size.width < 0) {
    r.origin.x += r.size.width;
    r.size.width = -r.size.width;
  }
  if (r.size.height < 0) {
    r.origin.y += r.size.height;
    r.size.height = -r.size.height;
  }
  return r;
}

CGFloat CGRectGetMinX(CGRect r) { return CGRectStandardize(r).origin.x; }
CGFloat CGRectGetMinY(CGRect r) { return CGRectStandardize(r).origin.y; }
CGFloat CGRectGetMaxX(CGRect r) { r = CGRectStandardize(r); return r.origin.x + r.size.width; }
CGFloat CGRectGetMaxY(CGRect r) { r = CGRectStandardize(r); return r.origin.y + r.size.height; }
CGFloat CGRectGetMidX(CGRect r) { r = CGRectStandardize(r); return r.origin.x + r.size.width / 2; }
CGFloat CGRectGetMidY(CGRect r) { r = CGRectStandardize(r); return r.origin.y + r.size.height / 2; }
CGFloat CGRectGetWidth(CGRect r) { return std::fabs(r.size.width); }
CGFloat CGRectGetHeight(CGRect r) { return std::fabs(r.size.height); }

bool CGRectIsNull(CGRect r) { return std::isinf(r.origin.x) || std::isinf(r.origin.y); }

bool CGRectIsEmpty(CGRect r) { return CGRectIsNull(r) || r.size.width <= 0 || r.size.height <= 0; }

bool CGRectIsInfinite(CGRect r) { return !CGRectIsNull(r) && (std::isinf(r.size.width) || std::isinf(r.size.height)); }

bool CGRectEqualToRect(CGRect a, CGRect b) {
  if (CGRectIsNull(a) || CGRectIsNull(b)) return CGRectIsNull(a) && CGRectIsNull(b);
  return CGRectStandardize(a) == CGRectStandardize(b);
}

bool CGSizeEqualToSize(CGSize a, CGSize b) { return a == b; }
bool CGPointEqualToPoint(CGPoint a, CGPoint b) { return a == b; }

CGRect CGRectUnion(CGRect a, CGRect b) {
  if (CGRectIsNull(a)) return CGRectStandardize(b);
  if (CGRectIsNull(b)) return CGRectStandardize(a);
  a = CGRectStandardize(a);
  b = CGRectStandardize(b);
  const CGFloat minX = std::min(a.origin.x, b.origin.x);
  const CGFloat minY = std::min(a.origin.y, b.origin.y);
  const CGFloat maxX = std::max(CGRectGetMaxX(a), CGRectGetMaxX(b));
  const CGFloat maxY = std::max(CGRectGetMaxY(a), CGRectGetMaxY(b));
  return CGRectMake(minX, minY, maxX - minX, maxY - minY);
}

CGRect CGRectIntersection(CGRect a, CGRect b) {
  if (CGRectIsNull(a) || CGRectIsNull(b)) return CGRectNull;
  a = CGRectStandardize(a);
  b = CGRectStandardize(b);
  const CGFloat minX = std::max(a.origin.x, b.origin.x);
  const CGFloat minY = std::max(a.origin.y, b.origin.y);
  const CGFloat maxX = std::min(CGRectGetMaxX(a), CGRectGetMaxX(b));
  const CGFloat maxY = std::min(CGRectGetMaxY(a), CGRectGetMaxY(b));
  // Touching edges still intersect in a zero-sized rectangle, as on the platform.
  if (maxX < minX || maxY < minY) return CGRectNull;
  return CGRectMake(minX, minY, maxX - minX, maxY - minY);
}

bool CGRectIntersectsRect(CGRect a, CGRect b) {
  const CGRect i = CGRectIntersection(a, b);
  return !CGRectIsNull(i) && i.size.width > 0 && i.size.height > 0;
}

bool CGRectContainsPoint(CGRect r, CGPoint p) {
  if (CGRectIsNull(r)) return false;
  r = CGRectStandardize(r);
  return p.x >= r.origin.x && p.x < CGRectGetMaxX(r) && p.y >= r.origin.y && p.y < CGRectGetMaxY(r);
}

bool CGRectContainsRect(CGRect outer, CGRect inner) {
  if (CGRectIsNull(outer) || CGRectIsNull(inner)) return false;
  return CGRectEqualToRect(CGRectUnion(outer, inner), outer);
}

CGRect CGRectOffset(CGRect r, CGFloat dx, CGFloat dy) {
  if (CGRectIsNull(r)) return r;
  r = CGRectStandardize(r);
  r.origin.x += dx;
  r.origin.y += dy;
  return r;
}

CGRect CGRectInset(CGRect r, CGFloat dx, CGFloat dy) {
  if (CGRectIsNull(r)) return r;
  r = CGRectStandardize(r);
  r.origin.x += dx;
  r.origin.y += dy;
  r.size.width -= 2 * dx;
  r.size.height -= 2 * dy;
  if (r.size.width < 0 || r.size.height < 0) return CGRectNull;
  return r;
}

namespace {

void appendNumber(std::string& out, CGFloat v) {
  char buf[32];
  // Without a precision, to_chars writes the shortest text that reads back exactly.
  const auto res = std::to_chars(buf, buf + sizeof buf, v);
  out.append(buf, res.ptr);
}

class Reader {
 public:
  explicit Reader(std::string_view t) : text_(t) {}

  bool expect(char c) {
    skipSpace();
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }

  // A decimal number as written: an optional sign, digits, a fraction, an exponent. Not "nan"
  // or "inf" (which from_chars takes), not two signs, not a value beyond a double's range.
  std::optional<CGFloat> number() {
    skipSpace();
    const bool plus = pos_ < text_.size() && text_[pos_] == '+';
    if (plus) ++pos_;  // from_chars refuses a leading plus
    const size_t digit = pos_ + (!plus && pos_ < text_.size() && text_[pos_] == '-' ? 1 : 0);
    if (digit >= text_.size() || !(std::isdigit(static_cast<unsigned char>(text_[digit])) || text_[digit] == '.')) {
      return std::nullopt;
    }
    CGFloat v = 0;
    const char* begin = text_.data() + pos_;
    const auto res = std::from_chars(begin, text_.data() + text_.size(), v, std::chars_format::general);
    if (res.ec != std::errc() || res.ptr == begin || !std::isfinite(v)) return std::nullopt;
    pos_ += static_cast<size_t>(res.ptr - begin);
    return v;
  }

  std::optional<CGPoint> pair() {
    if (!expect('{')) return std::nullopt;
    auto a = number();
    if (!a || !expect(',')) return std::nullopt;
    auto b = number();
    if (!b || !expect('}')) return std::nullopt;
    return CGPoint{*a, *b};
  }

  bool atEnd() {
    skipSpace();
    return pos_ == text_.size();
  }

 private:
  void skipSpace() {
    while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t' || text_[pos_] == '\n')) ++pos_;
  }

  std::string_view text_;
  size_t pos_ = 0;
};

}  // namespace

std::string NSStringFromCGPoint(CGPoint p) {
  std::string out = "{";
  appendNumber(out, p.x);
  out += ", ";
  appendNumber(out, p.y);
  out += "}";
  return out;
}

std::string NSStringFromCGSize(CGSize s) { return NSStringFromCGPoint({s.width, s.height}); }

std::string NSStringFromCGRect(CGRect r) {
  return "{" + NSStringFromCGPoint(r.origin) + ", " + NSStringFromCGSize(r.size) + "}";
}

CGRect CGRectFromString(std::string_view text) {
  Reader in(text);
  if (!in.expect('{')) return CGRectZero;
  auto origin = in.pair();
  if (!origin || !in.expect(',')) return CGRectZero;
  auto size = in.pair();
  if (!size || !in.expect('}') || !in.atEnd()) return CGRectZero;
  return {*origin, {size->x, size->y}};
}

CGPoint CGPointFromString(std::string_view text) {
  Reader in(text);
  auto p = in.pair();
  return p && in.atEnd() ? *p : CGPointZero;
}

CGSize CGSizeFromString(std::string_view text) {
  const CGPoint p = CGPointFromString(text);
  return {p.x, p.y};
}

void PrintTo(const CGPoint& p, std::ostream* os) { *os << NSStringFromCGPoint(p); }
void PrintTo(const CGSize& s, std::ostream* os) { *os << NSStringFromCGSize(s); }
void PrintTo(const CGRect& r, std::ostream* os) { *os << NSStringFromCGRect(r); }

}  // namespace zerva
