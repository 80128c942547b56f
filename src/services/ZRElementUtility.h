#pragma once
// Questions about single UI elements.

#include <memory>

namespace zerva {

class UITextField;

class ZRElementUtility {
 public:
  /// The field hides what is typed into it (secure entry).
  static bool isTextInputSecure(const std::shared_ptr<UITextField>& textField);
};

}  // namespace zerva
