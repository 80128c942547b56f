#include "platform/UINavigationController.h"

namespace zerva {

ZR_DEFINE_CLASS(UINavigationController, UIViewController, [] { return std::make_shared<UINavigationController>(); })

std::shared_ptr<UIViewController> UINavigationController::topViewController() const {
  const auto& stack = childViewControllers();
  return stack.empty() ? nullptr : stack.back();
}

void UINavigationController::pushViewController(const std::shared_ptr<UIViewController>& controller) {
  if (!controller) return;
  if (auto old = topViewController()) {
    if (auto v = old->viewIfLoaded()) v->removeFromSuperview();
  }
  addChildViewController(controller);
  showTop();
}

std::shared_ptr<UIViewController> UINavigationController::popViewController() {
  if (childViewControllers().size() < 2) return nullptr;
  auto top = topViewController();
  if (auto v = top->viewIfLoaded()) v->removeFromSuperview();
  top->removeFromParentViewController();
  showTop();
  return top;
}

void UINavigationController::showTop() {
  auto top = topViewController();
  if (!top) return;
  auto container = view();
  auto v = top->view();
  v->setFrame(container->bounds());
  container->addSubview(v);
}

}  // namespace zerva
