#include "platform/UILabel.h"

namespace zerva {

ZR_DEFINE_CLASS(UILabel, UIView, [] { return std::make_shared<UILabel>(); })

// Labels are see-through around their text, as on the platform.
UILabel::UILabel(CGRect frame) : UIView(frame) { setOpaque(false); }

}  // namespace zerva
