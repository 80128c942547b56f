#pragma once
// A one-line text input. A secure field shows bullets in place of its characters.

#include <string>

#include "platform/NSParagraphStyle.h"
#include "platform/UIFont.h"
#include "platform/UIView.h"

namespace zerva {

class UITextField : public UIView {
  ZR_DECLARE_CLASS(UITextField)
 public:
  explicit UITextField(CGRect frame = CGRectZero);

  const std::string& text() const { return text_; }
  void setText(std::string text) { text_ = std::move(text); }
  const std::string& hint() const { return hint_; }
  void setHint(std::string hint) { hint_ = std::move(hint); }
  const UIFont& font() const { return font_; }
  void setFont(UIFont font) { font_ = font; }
  const UIColor& textColor() const { return textColor_; }
  void setTextColor(UIColor color) { textColor_ = color; }
  NSTextAlignment textAlignment() const { return textAlignment_; }
  void setTextAlignment(NSTextAlignment alignment) { textAlignment_ = alignment; }
  bool isSecureTextEntry() const { return secureTextEntry_; }
  void setSecureTextEntry(bool secure) { secureTextEntry_ = secure; }

  /// What the field shows: its text on one line (a bullet per character when secure), or the
  /// hint in grey when empty.
  std::string displayedText() const;
  void drawRect(CGRect rect) const override;

 private:
  std::string text_;
  std::string hint_;
  UIFont font_ = UIFont::systemFontOfSize(17);
  UIColor textColor_ = UIColor::blackColor();
  NSTextAlignment textAlignment_ = NSTextAlignmentNatural;
  bool secureTextEntry_ = false;
};

}  // namespace zerva
