#include "platform/UIViewController.h"

#include <algorithm>

#include "platform/UIScreen.h"
#include "platform/UIWindow.h"

namespace zerva {

ZR_DEFINE_CLASS(UIViewController, NSObject, [] { return std::make_shared<UIViewController>(); })

std::shared_ptr<UIView> UIViewController::view() {
  if (!view_) {
    loadView();
    if (!view_) view_ = std::make_shared<UIView>(UIScreen::mainScreen()->bounds());
    viewDidLoad();
  }
  return view_;
}

void UIViewController::loadView() { view_ = std::make_shared<UIView>(UIScreen::mainScreen()->bounds()); }

void UIViewController::presentViewController(const std::shared_ptr<UIViewController>& controller) {
  if (!controller || presented_ || controller.get() == this) return;
  presented_ = controller;
  controller->presenting_ = std::static_pointer_cast<UIViewController>(shared_from_this());
  auto window = view()->window();
  if (window) window->addSubview(controller->view());
}

void UIViewController::dismissViewController() {
  if (presented_) {
    dismissPresentedController();
  } else if (auto presenting = presenting_.lock()) {
    presenting->dismissPresentedController();
  }
}

void UIViewController::dismissPresentedController() {
  auto controller = std::move(presented_);
  presented_.reset();
  if (!controller) return;
  controller->dismissPresentedController();  // what it presents goes too
  if (auto v = controller->viewIfLoaded()) v->removeFromSuperview();
  controller->presenting_.reset();
}

void UIViewController::addChildViewController(const std::shared_ptr<UIViewController>& child) {
  if (!child || child.get() == this) return;
  child->removeFromParentViewController();
  children_.push_back(child);
  child->parent_ = std::static_pointer_cast<UIViewController>(shared_from_this());
}

void UIViewController::removeFromParentViewController() {
  auto parent = parent_.lock();
  parent_.reset();
  if (!parent) return;
  std::erase_if(parent->children_, [this](const auto& c) { return c.get() == this; });
}

}  // namespace zerva
