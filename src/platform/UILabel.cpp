#include "platform/UILabel.h"

#include <algorithm>

#include "platform/NSAttributedString.h"
#include "platform/NSStringDrawing.h"

namespace zerva {

ZR_DEFINE_CLASS(UILabel, UIView, [] { return std::make_shared<UILabel>(); })

// Labels are see-through around their text, as on the platform.
UILabel::UILabel(CGRect frame) : UIView(frame) { setOpaque(false); }

void UILabel::drawRect(CGRect rect) const {
  const NSStringDrawingOptions options =
      NSStringDrawingUsesLineFragmentOrigin | NSStringDrawingUsesFontLeading | NSStringDrawingTruncatesLastVisibleLine;
  if (attributedText_ && attributedText_->length() > 0) {
    const CGRect used = attributedText_->boundingRectWithSize(rect.size, options);
    const double top = rect.origin.y + std::max(0.0, (rect.size.height - used.size.height) / 2);
    attributedText_->drawWithRect({{rect.origin.x, top}, rect.size}, options);
    return;
  }
  if (text_.empty()) return;
  NSMutableParagraphStyle style;
  style.setAlignment(textAlignment_);
  // One line takes the label's own break mode; several wrap at words and end in "…" if cut.
  style.setLineBreakMode(numberOfLines_ == 1 ? lineBreakMode_ : NSLineBreakByWordWrapping);
  NSStringAttributes attributes;
  attributes.font = font_;
  attributes.foregroundColor = textColor_;
  attributes.paragraphStyle = style;
  double height = rect.size.height;
  if (numberOfLines_ > 0) height = std::min(height, static_cast<double>(numberOfLines_) * font_.lineHeight());
  height = std::max(height, font_.lineHeight());
  const CGRect used = boundingRectWithSize(text_, {rect.size.width, height}, options, attributes);
  const double top = rect.origin.y + std::max(0.0, (rect.size.height - used.size.height) / 2);
  drawWithRect(text_, {{rect.origin.x, top}, {rect.size.width, height}}, options, attributes);
}

}  // namespace zerva
