#pragma once
// Finding things among view controllers and views. Main thread.

#include <memory>

namespace zerva {

class UIView;
class UIViewController;
class WKWebView;

class ZRControllerUtility {
 public:
  /// The controller shown on top: follows presented controllers, the top of navigation stacks,
  /// and otherwise the last child controller whose view is on screen.
  static std::shared_ptr<UIViewController> topViewControllerWithRootViewController(
      const std::shared_ptr<UIViewController>& root);
  /// Presented in a style that leaves part of what is behind it visible (sheets, popovers,
  /// custom and current-context presentations).
  static bool isControllerPresentedInNonFullScreenMode(const std::shared_ptr<UIViewController>& controller);
  /// The first web view in the view's tree, in pre-order, looking at most `level` levels below
  /// the view (the view itself is level 0).
  static std::shared_ptr<WKWebView> webViewinView(const std::shared_ptr<UIView>& view, long level);
};

}  // namespace zerva
