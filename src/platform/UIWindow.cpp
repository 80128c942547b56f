#include "platform/UIWindow.h"

#include "platform/UIApplication.h"
#include "platform/UIViewController.h"

namespace zerva {

ZR_DEFINE_CLASS(UIWindow, UIView, [] { return std::make_shared<UIWindow>(); })

UIWindow::UIWindow(CGRect frame) : UIView(frame) { setHidden(true); }

std::shared_ptr<UIWindow> UIWindow::window() const {
  return std::const_pointer_cast<UIWindow>(std::static_pointer_cast<const UIWindow>(shared_from_this()));
}

void UIWindow::setRootViewController(std::shared_ptr<UIViewController> controller) {
  if (controller == rootViewController_) return;
  if (rootViewController_) {
    if (auto old = rootViewController_->viewIfLoaded(); old && old->superview().get() == this) old->removeFromSuperview();
  }
  rootViewController_ = std::move(controller);
  if (rootViewController_) {
    auto view = rootViewController_->view();
    view->setFrame(bounds());
    insertSubview(view, 0);
  }
}

bool UIWindow::isKeyWindow() const { return UIApplication::sharedApplication()->keyWindow().get() == this; }

void UIWindow::makeKeyWindow() {
  auto app = UIApplication::sharedApplication();
  auto self = std::static_pointer_cast<UIWindow>(shared_from_this());
  app->addWindow(self);
  app->setKeyWindow(self);
}

void UIWindow::makeKeyAndVisible() {
  setHidden(false);
  makeKeyWindow();
}

}  // namespace zerva
