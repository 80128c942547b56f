#include "platform/UIImageView.h"

#include "platform/UIImage.h"

namespace zerva {

ZR_DEFINE_CLASS(UIImageView, UIView, [] { return std::make_shared<UIImageView>(); })

UIImageView::UIImageView(CGRect frame) : UIView(frame) { setOpaque(false); }

void UIImageView::drawRect(CGRect rect) const {
  if (image_) image_->drawInRect(rect);
}

}  // namespace zerva
