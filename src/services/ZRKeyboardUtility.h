#pragma once
// The keyboard as the capture code asks about it. Main thread, like the keyboard itself.

#include <memory>

#include "platform/CGGeometry.h"

namespace zerva {

class UIWindow;

class ZRKeyboardUtility {
 public:
  bool isKeyboardVisible() const;
  /// The keyboard is sliding in or out.
  bool isKeyboardFrameChanging() const;
  /// The keyboard's frame now, in the window's points; the zero rectangle when it is neither
  /// shown nor moving, or when there is no window.
  CGRect keyboardFrameInWindow(const std::shared_ptr<UIWindow>& window) const;
};

}  // namespace zerva
