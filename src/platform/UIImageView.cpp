#include "platform/UIImageView.h"

namespace zerva {

ZR_DEFINE_CLASS(UIImageView, UIView, [] { return std::make_shared<UIImageView>(); })

UIImageView::UIImageView(CGRect frame) : UIView(frame) { setOpaque(false); }

}  // namespace zerva
