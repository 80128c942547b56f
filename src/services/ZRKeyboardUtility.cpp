#include "services/ZRKeyboardUtility.h"

#include "platform/UIApplication.h"
#include "platform/UIScreen.h"
#include "platform/UIWindow.h"

namespace zerva {

bool ZRKeyboardUtility::isKeyboardVisible() const { return UIApplication::sharedApplication()->keyboard().isVisible(); }

bool ZRKeyboardUtility::isKeyboardFrameChanging() const {
  return UIApplication::sharedApplication()->keyboard().isAnimating();
}

CGRect ZRKeyboardUtility::keyboardFrameInWindow(const std::shared_ptr<UIWindow>& window) const {
  const UIKeyboard& keyboard = UIApplication::sharedApplication()->keyboard();
  if (!window || (!keyboard.isVisible() && !keyboard.isAnimating())) return CGRectZero;
  auto screenSpace = UIScreen::mainScreen()->coordinateSpace();
  if (!screenSpace) return CGRectZero;
  return screenSpace->convertRect(keyboard.frame(), *window);
}

}  // namespace zerva
