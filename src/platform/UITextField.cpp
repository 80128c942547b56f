#include "platform/UITextField.h"

namespace zerva {

ZR_DEFINE_CLASS(UITextField, UIView, [] { return std::make_shared<UITextField>(); })

UITextField::UITextField(CGRect frame) : UIView(frame) { setOpaque(false); }

}  // namespace zerva
