#pragma once
// The box of a system alert: a plain view as far as drawing goes; capture code treats its kind
// specially (schematic frames show it as a picture).

#include "platform/UIView.h"

namespace zerva {

class UIAlertView : public UIView {
  ZR_DECLARE_CLASS(UIAlertView)
 public:
  using UIView::UIView;
};

}  // namespace zerva
