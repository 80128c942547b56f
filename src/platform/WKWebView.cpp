#include "platform/WKWebView.h"

namespace zerva {

ZR_DEFINE_CLASS(WKWebView, UIView, [] { return std::make_shared<WKWebView>(); })

WKWebView::WKWebView(CGRect frame) : UIView(frame) {}

std::shared_ptr<UIScrollView> WKWebView::scrollView() const {
  // Made on first use: adding a subview needs this view's shared_ptr, which a constructor lacks.
  if (!scrollView_) {
    scrollView_ = std::make_shared<UIScrollView>(CGRect{CGPointZero, bounds().size});
    const_cast<WKWebView*>(this)->insertSubview(scrollView_, 0);
  }
  return scrollView_;
}

}  // namespace zerva
