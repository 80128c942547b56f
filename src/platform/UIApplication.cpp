#include "platform/UIApplication.h"

#include <algorithm>
#include <mutex>

#include "platform/UIScreen.h"
#include "platform/UIWindow.h"

namespace zerva {

ZR_DEFINE_CLASS(UIApplication, NSObject, nullptr)

namespace {
struct AppSlot {
  std::mutex mutex;
  std::shared_ptr<UIApplication> app;
};

AppSlot& appSlot() {
  static AppSlot slot;
  return slot;
}
}  // namespace

std::shared_ptr<UIApplication> UIApplication::sharedApplication() {
  AppSlot& slot = appSlot();
  std::lock_guard lock(slot.mutex);
  if (!slot.app) slot.app = std::make_shared<UIApplication>();
  return slot.app;
}

void UIApplication::resetSharedApplication() {
  {
    AppSlot& slot = appSlot();
    std::lock_guard lock(slot.mutex);
    slot.app = std::make_shared<UIApplication>();
  }
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
