#include "platform/UITextField.h"

#include <algorithm>

#include "platform/NSStringDrawing.h"

namespace zerva {

ZR_DEFINE_CLASS(UITextField, UIView, [] { return std::make_shared<UITextField>(); })

namespace {
// Space between the field's edges and its text.
constexpr double kTextInset = 4;
}  // namespace

UITextField::UITextField(CGRect frame) : UIView(frame) { setOpaque(false); }

std::string UITextField::displayedText() const {
  if (text_.empty()) return hint_;
  if (!secureTextEntry_) return text_;
  // One bullet per character: count the bytes that start a UTF-8 character.
  const auto characters = std::count_if(text_.begin(), text_.end(), [](char c) { return (c & 0xC0) != 0x80; });
  std::string bullets;
  for (long i = 0; i < characters; ++i) bullets += "\u2022";
  return bullets;
}

void UITextField::drawRect(CGRect rect) const {
  const std::string shown = displayedText();
  if (shown.empty()) return;
  NSMutableParagraphStyle style;
  style.setAlignment(textAlignment_);
  style.setLineBreakMode(NSLineBreakByTruncatingTail);
  NSStringAttributes attributes;
  attributes.font = font_;
  attributes.foregroundColor = text_.empty() ? UIColor::colorWithWhite(0.7, 1) : textColor_;
  attributes.paragraphStyle = style;
  const double lineHeight = font_.lineHeight();
  const CGRect line{{rect.origin.x + kTextInset, rect.origin.y + std::max(0.0, (rect.size.height - lineHeight) / 2)},
                    {std::max(0.0, rect.size.width - 2 * kTextInset), lineHeight}};
  drawWithRect(shown, line, NSStringDrawingUsesLineFragmentOrigin | NSStringDrawingTruncatesLastVisibleLine, attributes);
}

}  // namespace zerva
