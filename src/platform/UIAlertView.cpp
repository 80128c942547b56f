#include "platform/UIAlertView.h"

namespace zerva {

ZR_DEFINE_CLASS(UIAlertView, UIView, [] { return std::make_shared<UIAlertView>(); })

}  // namespace zerva
