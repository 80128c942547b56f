#pragma once
// A stack of controllers: the top one's view fills the navigation controller's view.

#include <memory>
#include <vector>

#include "platform/UIViewController.h"

namespace zerva {

class UINavigationController : public UIViewController {
  ZR_DECLARE_CLASS(UINavigationController)
 public:
  UINavigationController() = default;

  /// The stack, bottom first (the child controllers).
  const std::vector<std::shared_ptr<UIViewController>>& viewControllers() const { return childViewControllers(); }
  std::shared_ptr<UIViewController> topViewController() const;
  void pushViewController(const std::shared_ptr<UIViewController>& controller);
  /// Pops the top controller unless it is the last one; answers the popped one.
  std::shared_ptr<UIViewController> popViewController();

 private:
  void showTop();
};

}  // namespace zerva
