#pragma once
// Paragraph styles: how a text's lines are aligned and broken. Plain values; a "mutable copy"
// is just a copy.


namespace zerva {

enum NSTextAlignment : long {
  NSTextAlignmentLeft = 0,
  NSTextAlignmentCenter = 1,
  NSTextAlignmentRight = 2,
  NSTextAlignmentJustified = 3,  // full lines stretched to the width; the last line left
  NSTextAlignmentNatural = 4,    // left: the stand-in writes left to right only
};

enum NSLineBreakMode : long {
  NSLineBreakByWordWrapping = 0,     // wrap at word boundaries; words too long for a line at characters
  NSLineBreakByCharWrapping = 1,     // wrap at any character
  NSLineBreakByClipping = 2,         // one line per paragraph, cut off at the edge
  NSLineBreakByTruncatingHead = 3,   // one line per paragraph, "…" replaces the start
  NSLineBreakByTruncatingTail = 4,   // ... the end
  NSLineBreakByTruncatingMiddle = 5, // ... the middle
};

class NSMutableParagraphStyle;

class NSParagraphStyle {
 public:
  /// Natural alignment, word wrapping.
  static NSParagraphStyle defaultParagraphStyle() { return {}; }

  NSTextAlignment alignment() const { return alignment_; }
  NSLineBreakMode lineBreakMode() const { return lineBreakMode_; }
  NSMutableParagraphStyle mutableCopy() const;

  friend bool operator==(const NSParagraphStyle&, const NSParagraphStyle&) = default;

 protected:
  NSTextAlignment alignment_ = NSTextAlignmentNatural;
  NSLineBreakMode lineBreakMode_ = NSLineBreakByWordWrapping;
};

class NSMutableParagraphStyle : public NSParagraphStyle {
 public:
  NSMutableParagraphStyle() = default;
  explicit NSMutableParagraphStyle(const NSParagraphStyle& style) : NSParagraphStyle(style) {}

  /// Values outside the enumeration read as natural alignment.
  void setAlignment(NSTextAlignment alignment);
  /// Values outside the enumeration read as word wrapping.
  void setLineBreakMode(NSLineBreakMode mode);
};

inline NSMutableParagraphStyle NSParagraphStyle::mutableCopy() const { return NSMutableParagraphStyle(*this); }

}  // namespace zerva
