#pragma once
// A window: the root of a view tree, placed in the screen's interface space by its frame. Like
// the platform's, a new window is hidden until it is made visible.

#include <memory>

#include "platform/UIKitTypes.h"
#include "platform/UIView.h"

namespace zerva {

class UIViewController;

class UIWindow : public UIView {
  ZR_DECLARE_CLASS(UIWindow)
 public:
  explicit UIWindow(CGRect frame = CGRectZero);

  std::shared_ptr<UIWindow> window() const override;

  std::shared_ptr<UIViewController> rootViewController() const { return rootViewController_; }
  /// Puts the controller's view into the window, filling its bounds, in place of the old root's.
  void setRootViewController(std::shared_ptr<UIViewController> controller);

  UITraitCollection traitCollection() const { return traitCollection_; }
  /// The stand-in's own setter: on a device, the screen decides.
  void setTraitCollection(UITraitCollection traits) { traitCollection_ = traits; }

  bool isKeyWindow() const;
  /// Adds the window to the application (when it is not there yet) and makes it the key window.
  void makeKeyWindow();
  void makeKeyAndVisible();

 private:
  std::shared_ptr<UIViewController> rootViewController_;
  UITraitCollection traitCollection_;
};

}  // namespace zerva
