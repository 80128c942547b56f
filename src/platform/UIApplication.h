#pragma once
// The running app: its windows in order, the key window, its state, the interface orientation
// and the keyboard. One per process; tests start from a fresh one with resetSharedApplication().
//
// Threads: main thread only, as every UI object (the shared instance itself may be fetched from
// any thread). Ownership: the process owns the shared application; windows added to it are kept
// alive by it until removed, the key window is only referred to.

#include <memory>
#include <vector>

#include "platform/NSObject.h"
#include "platform/UIKeyboard.h"
#include "platform/UIKitTypes.h"

namespace zerva {

class UIWindow;

class UIApplication : public NSObject {
  ZR_DECLARE_CLASS(UIApplication)
 public:
  static std::shared_ptr<UIApplication> sharedApplication();
  /// The stand-in's own: replaces the shared application with a fresh one (no windows, active,
  /// portrait, keyboard down) and the main screen with a default one.
  static void resetSharedApplication();

  /// The app's windows, back to front.
  const std::vector<std::shared_ptr<UIWindow>>& windows() const { return windows_; }
  /// Adds a window on top (does nothing when it is there already).
  void addWindow(const std::shared_ptr<UIWindow>& window);
  void removeWindow(const std::shared_ptr<UIWindow>& window);
  std::shared_ptr<UIWindow> keyWindow() const { return keyWindow_.lock(); }
  void setKeyWindow(const std::shared_ptr<UIWindow>& window) { keyWindow_ = window; }

  UIApplicationState applicationState() const { return state_; }
  void setApplicationState(UIApplicationState state) { state_ = state; }

  /// The main screen's interface orientation.
  UIInterfaceOrientation statusBarOrientation() const;
  /// The stand-in's own: turns the interface (and the main screen's coordinate space).
  void setStatusBarOrientation(UIInterfaceOrientation orientation);

  UIKeyboard& keyboard() { return keyboard_; }
  const UIKeyboard& keyboard() const { return keyboard_; }

 private:
  std::vector<std::shared_ptr<UIWindow>> windows_;
  std::weak_ptr<UIWindow> keyWindow_;
  UIApplicationState state_ = UIApplicationStateActive;
  UIKeyboard keyboard_;
};

}  // namespace zerva
