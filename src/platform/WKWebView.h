#pragma once
// A web view: its page scrolls inside its scroll view. Script evaluation comes with the page
// model.

#include <memory>

#include "platform/UIScrollView.h"
#include "platform/UIView.h"

namespace zerva {

class WKWebView : public UIView {
  ZR_DECLARE_CLASS(WKWebView)
 public:
  explicit WKWebView(CGRect frame = CGRectZero);

  /// The scroll view that holds the page, filling the web view.
  std::shared_ptr<UIScrollView> scrollView() const;

 protected:
  void didMoveToSuperview() override { scrollView(); }

 private:
  mutable std::shared_ptr<UIScrollView> scrollView_;
};

}  // namespace zerva
