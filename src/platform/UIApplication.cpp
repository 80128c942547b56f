#include "platform/UIApplication.h"

#include <algorithm>

#include "platform/SharedInstanceSlot.h"
#include "platform/UIScreen.h"
#include "platform/UIWindow.h"

namespace zerva {

ZR_DEFINE_CLASS(UIApplication, NSObject, nullptr)

namespace {
SharedInstanceSlot<UIApplication>& appSlot() {
  static SharedInstanceSlot<UIApplication> slot;
  return slot;
}
}  // namespace

std::shared_ptr<UIApplication> UIApplication::sharedApplication() { return appSlot().get(); }

void UIApplication::resetSharedApplication() {
  appSlot().replace(nullptr);
  UIScreen::setMainScreen(nullptr);
}

void UIApplication::addWindow(const std::shared_ptr<UIWindow>& window) {
  if (!window || std::find(windows_.begin(), windows_.end(), window) != windows_.end()) return;
  windows_.push_back(window);
}

void UIApplication::removeWindow(const std::shared_ptr<UIWindow>& window) {
  std::erase(windows_, window);
  if (keyWindow_.lock() == window) keyWindow_.reset();
}

UIInterfaceOrientation UIApplication::statusBarOrientation() const {
  return UIScreen::mainScreen()->interfaceOrientation();
}

void UIApplication::setStatusBarOrientation(UIInterfaceOrientation orientation) {
  UIScreen::mainScreen()->setInterfaceOrientation(orientation);
}

}  // namespace zerva
