#include "platform/WKWebView.h"

#include <algorithm>

#include "platform/NSRunLoop.h"
#include "platform/WebScriptContext.h"

namespace zerva {

ZR_DEFINE_CLASS(WKWebView, UIView, [] { return std::make_shared<WKWebView>(); })

WKWebView::WKWebView(CGRect frame) : UIView(frame) {}

WKWebView::~WKWebView() = default;

std::shared_ptr<UIScrollView> WKWebView::scrollView() const {
  // Made on first use: adding a subview needs this view's shared_ptr, which a constructor lacks.
  if (!scrollView_) {
    scrollView_ = std::make_shared<UIScrollView>(CGRect{CGPointZero, bounds().size});
    const_cast<WKWebView*>(this)->insertSubview(scrollView_, 0);
  }
  return scrollView_;
}

void WKWebView::loadPage(WebPage page) {
  page_ = std::make_shared<const WebPage>(std::move(page));
  scriptContext_.reset();
  scrollView()->setContentSize(page_->resolvedContentSize());
  scrollView()->setContentOffset(CGPointZero);
}

CGRect WKWebView::viewportRect() const {
  UIEdgeInsets insets = safeAreaInsets();
  CGRect b = bounds();
  return CGRectMake(b.origin.x + insets.left, b.origin.y + insets.top,
                    std::max(0.0, b.size.width - insets.left - insets.right),
                    std::max(0.0, b.size.height - insets.top - insets.bottom));
}

void WKWebView::setScriptTimeout(double seconds) {
  scriptTimeout_ = seconds;
  if (scriptContext_) scriptContext_->setTimeoutSeconds(seconds);
}

void WKWebView::setScriptMemoryLimit(size_t bytes) {
  scriptMemoryLimit_ = bytes;
  if (scriptContext_) scriptContext_->setMemoryLimit(bytes);
}

void WKWebView::evaluateJavaScript(std::string script, JavaScriptCompletion completionHandler) {
  std::weak_ptr<WKWebView> weakSelf = std::static_pointer_cast<WKWebView>(shared_from_this());
  NSRunLoop::mainRunLoop().performBlock(
      [weakSelf, script = std::move(script), completionHandler = std::move(completionHandler)] {
        if (auto self = weakSelf.lock()) {
          self->runScript(script, completionHandler);
        } else if (completionHandler) {
          completionHandler(std::nullopt, NSError::errorWithDomain(WKErrorDomain, WKErrorWebViewInvalidated,
                                                                   "The WKWebView was invalidated"));
        }
      });
}

void WKWebView::runScript(const std::string& script, const JavaScriptCompletion& completionHandler) {
  WebScriptContext::Viewport viewport{scrollView()->contentOffset(), viewportRect().size};
  if (!scriptContext_) {
    WebScriptContext::Limits limits;
    limits.timeoutSeconds = scriptTimeout_;
    limits.memoryBytes = scriptMemoryLimit_;
    scriptContext_ = std::make_unique<WebScriptContext>(page_, userScripts_, limits, viewport);
  }
  WebScriptContext::Result result = scriptContext_->evaluate(script, viewport);
  if (completionHandler) completionHandler(std::move(result.value), std::move(result.error));
}

}  // namespace zerva
