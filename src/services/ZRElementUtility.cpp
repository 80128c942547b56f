#include "services/ZRElementUtility.h"

#include "platform/UITextField.h"

namespace zerva {

bool ZRElementUtility::isTextInputSecure(const std::shared_ptr<UITextField>& textField) {
  return textField && textField->isSecureTextEntry();
}

}  // namespace zerva
