#pragma once
// The attributes text is drawn with: font, foreground colour and paragraph style, each of which
// may be absent. A struct rather than a dictionary; the key constants name its fields where the
// platform's calls take a key (removeAttribute:range:, the "missing keys" of a merge).

#include <array>
#include <optional>

#include "platform/NSParagraphStyle.h"
#include "platform/UIColor.h"
#include "platform/UIFont.h"

namespace zerva {

enum class NSAttributedStringKey { Font, ForegroundColor, ParagraphStyle };

inline constexpr NSAttributedStringKey NSFontAttributeName = NSAttributedStringKey::Font;
inline constexpr NSAttributedStringKey NSForegroundColorAttributeName = NSAttributedStringKey::ForegroundColor;
inline constexpr NSAttributedStringKey NSParagraphStyleAttributeName = NSAttributedStringKey::ParagraphStyle;

struct NSStringAttributes {
  static constexpr std::array<NSAttributedStringKey, 3> allKeys{NSFontAttributeName, NSForegroundColorAttributeName,
                                                                NSParagraphStyleAttributeName};

  std::optional<UIFont> font;                      // absent: system font of size 12
  std::optional<UIColor> foregroundColor;          // absent: black
  std::optional<NSParagraphStyle> paragraphStyle;  // absent: the default style

  bool hasValueForKey(NSAttributedStringKey key) const;
  void removeValueForKey(NSAttributedStringKey key);
  /// Copies the value `from` has for the key (or its absence).
  void setValueForKey(NSAttributedStringKey key, const NSStringAttributes& from);
  /// Every value `other` has replaces this one's; values `other` lacks are kept.
  void addEntriesFrom(const NSStringAttributes& other);
  bool empty() const { return !font && !foregroundColor && !paragraphStyle; }

  friend bool operator==(const NSStringAttributes&, const NSStringAttributes&) = default;
};

/// The font text falls back to when none is given.
inline UIFont defaultTextFont() { return UIFont::systemFontOfSize(12); }

}  // namespace zerva
