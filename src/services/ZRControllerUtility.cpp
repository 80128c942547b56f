#include "services/ZRControllerUtility.h"

#include "platform/UINavigationController.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"

namespace zerva {

namespace {

bool isOnScreen(const std::shared_ptr<UIViewController>& controller) {
  auto view = controller->viewIfLoaded();
  return view && !view->isHidden() && view->window();
}

}  // namespace

std::shared_ptr<UIViewController> ZRControllerUtility::topViewControllerWithRootViewController(
    const std::shared_ptr<UIViewController>& root) {
  auto controller = root;
  // Bounded: a malformed chain must not hang the frame.
  for (int step = 0; controller && step < 64; ++step) {
    if (auto presented = controller->presentedViewController()) {
      controller = presented;
    } else if (auto nav = std::dynamic_pointer_cast<UINavigationController>(controller); nav && nav->topViewController()) {
      controller = nav->topViewController();
    } else {
      std::shared_ptr<UIViewController> visibleChild;
      for (const auto& child : controller->childViewControllers()) {
        if (isOnScreen(child)) visibleChild = child;
      }
      if (!visibleChild) return controller;
      controller = visibleChild;
    }
  }
  return controller;
}

bool ZRControllerUtility::isControllerPresentedInNonFullScreenMode(const std::shared_ptr<UIViewController>& controller) {
  if (!controller || !controller->presentingViewController()) return false;
  switch (controller->modalPresentationStyle()) {
    case UIModalPresentationFullScreen:
    case UIModalPresentationOverFullScreen:
    case UIModalPresentationNone:
      return false;
    default:
      return true;
  }
}

std::shared_ptr<WKWebView> ZRControllerUtility::webViewinView(const std::shared_ptr<UIView>& view, long level) {
  if (!view || level < 0) return nullptr;
  if (auto web = std::dynamic_pointer_cast<WKWebView>(view)) return web;
  if (level == 0) return nullptr;
  for (const auto& sub : view->subviews()) {
    if (auto web = webViewinView(sub, level - 1)) return web;
  }
  return nullptr;
}

}  // namespace zerva
