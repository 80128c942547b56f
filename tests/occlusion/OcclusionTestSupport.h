#pragma once
// A handler test with a visible key window filling the default screen and a root controller,
// and helpers that place views and read rect strings back.

#include <algorithm>
#include <memory>
#include <vector>

#include "platform/UITextField.h"
#include "platform/UIView.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "support/HandlerTestSupport.h"

namespace zerva::testing {

class OcclusionTest : public HandlerTest {
 protected:
  void SetUp() override {
    HandlerTest::SetUp();
    window_ = std::make_shared<UIWindow>(UIScreen::mainScreen()->bounds());
    root_ = std::make_shared<UIViewController>();
    window_->setRootViewController(root_);
    root_->view()->setBackgroundColor(UIColor::whiteColor());
    window_->makeKeyAndVisible();
  }

  void TearDown() override {
    window_.reset();
    root_.reset();
    HandlerTest::TearDown();
  }

  template <class View = UIView>
  std::shared_ptr<View> addView(CGRect frame, const std::shared_ptr<UIView>& parent = nullptr) {
    auto view = std::make_shared<View>(frame);
    (parent ? parent : root_->view())->addSubview(view);
    return view;
  }

  static bool contains(const std::vector<std::shared_ptr<UIView>>& views, const std::shared_ptr<UIView>& view) {
    return std::find(views.begin(), views.end(), view) != views.end();
  }

  size_t entryCount() const {
    auto views = handler_->sensitiveViews();
    return views ? views->size() : 0;
  }

  static std::string rectString(double x, double y, double w, double h) {
    return NSStringFromCGRect(CGRectMake(x, y, w, h));
  }

  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<UIViewController> root_;
};

}  // namespace zerva::testing
