#pragma once
// A label: text drawn in a font and colour, with alignment, a line limit and a line-break mode.

#include <memory>
#include <string>

#include "platform/NSParagraphStyle.h"
#include "platform/UIFont.h"
#include "platform/UIView.h"

namespace zerva {

class NSAttributedString;

class UILabel : public UIView {
  ZR_DECLARE_CLASS(UILabel)
 public:
  explicit UILabel(CGRect frame = CGRectZero);

  const std::string& text() const { return text_; }
  void setText(std::string text) { text_ = std::move(text); }
  /// Styled text; drawn instead of `text` when set and not empty.
  std::shared_ptr<const NSAttributedString> attributedText() const { return attributedText_; }
  void setAttributedText(std::shared_ptr<const NSAttributedString> text) { attributedText_ = std::move(text); }
  const UIFont& font() const { return font_; }
  void setFont(UIFont font) { font_ = font; }
  const UIColor& textColor() const { return textColor_; }
  void setTextColor(UIColor color) { textColor_ = color; }
  NSTextAlignment textAlignment() const { return textAlignment_; }
  void setTextAlignment(NSTextAlignment alignment) { textAlignment_ = alignment; }
  /// 0 means as many lines as the text needs.
  long numberOfLines() const { return numberOfLines_; }
  void setNumberOfLines(long lines) { numberOfLines_ = lines < 0 ? 0 : lines; }
  NSLineBreakMode lineBreakMode() const { return lineBreakMode_; }
  void setLineBreakMode(NSLineBreakMode mode) { lineBreakMode_ = mode; }

  /// The text, centred vertically, in at most numberOfLines lines.
  void drawRect(CGRect rect) const override;

 private:
  std::string text_;
  std::shared_ptr<const NSAttributedString> attributedText_;
  UIFont font_ = UIFont::systemFontOfSize(17);
  UIColor textColor_ = UIColor::blackColor();
  NSTextAlignment textAlignment_ = NSTextAlignmentNatural;
  long numberOfLines_ = 1;
  NSLineBreakMode lineBreakMode_ = NSLineBreakByTruncatingTail;
};

}  // namespace zerva
