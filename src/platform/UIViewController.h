#pragma once
// A view controller: a screen's view (made on first use), the controller it presents, and its
// child controllers. A presenting controller keeps the presented one; links upwards are weak.

#include <memory>
#include <string>
#include <vector>

#include "platform/CGGeometry.h"
#include "platform/NSObject.h"
#include "platform/UIKitTypes.h"
#include "platform/UIView.h"

namespace zerva {

class UIViewController : public NSObject {
  ZR_DECLARE_CLASS(UIViewController)
 public:
  UIViewController() = default;

  /// Loads the view on first use (loadView, then viewDidLoad).
  std::shared_ptr<UIView> view();
  std::shared_ptr<UIView> viewIfLoaded() const { return view_; }
  bool isViewLoaded() const { return view_ != nullptr; }
  void setView(std::shared_ptr<UIView> view) { view_ = std::move(view); }

  const std::string& title() const { return title_; }
  void setTitle(std::string title) { title_ = std::move(title); }

  // Presentation
  std::shared_ptr<UIViewController> presentedViewController() const { return presented_; }
  std::shared_ptr<UIViewController> presentingViewController() const { return presenting_.lock(); }
  /// Presents `controller` over this one: its view joins this view's window, on top. Does
  /// nothing when this controller already presents one.
  void presentViewController(const std::shared_ptr<UIViewController>& controller);
  /// Dismisses the controller this one presents (or, when it presents none, itself).
  void dismissViewController();
  UIModalPresentationStyle modalPresentationStyle() const { return modalPresentationStyle_; }
  void setModalPresentationStyle(UIModalPresentationStyle style) { modalPresentationStyle_ = style; }
  CGSize preferredContentSize() const { return preferredContentSize_; }
  void setPreferredContentSize(CGSize size) { preferredContentSize_ = size; }

  // Containment
  const std::vector<std::shared_ptr<UIViewController>>& childViewControllers() const { return children_; }
  std::shared_ptr<UIViewController> parentViewController() const { return parent_.lock(); }
  void addChildViewController(const std::shared_ptr<UIViewController>& child);
  void removeFromParentViewController();

 protected:
  /// Makes the view; by default a plain view the size of the main screen.
  virtual void loadView();
  virtual void viewDidLoad() {}

 private:
  void dismissPresentedController();

  std::shared_ptr<UIView> view_;
  std::string title_;
  std::shared_ptr<UIViewController> presented_;
  std::weak_ptr<UIViewController> presenting_;
  std::vector<std::shared_ptr<UIViewController>> children_;
  std::weak_ptr<UIViewController> parent_;
  UIModalPresentationStyle modalPresentationStyle_ = UIModalPresentationFullScreen;
  CGSize preferredContentSize_;
};

}  // namespace zerva
