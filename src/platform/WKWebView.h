#pragma once
// A web view: its page scrolls inside its scroll view, and scripts run in the page.
//
// The page is a WebPage (the stand-in's own: a device would load markup). Its viewport is the
// web view's bounds inside its safe-area insets; the scroll view's content offset is the page's
// scroll position (CSS pixels are points). Scripts run in a JavaScript heap of this view, made
// at the first evaluation after a page loads and kept until the next load or the view's end,
// so functions one evaluation defines exist for the next. Main thread only.

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/NSError.h"
#include "platform/UIScrollView.h"
#include "platform/UIView.h"
#include "platform/WKError.h"
#include "platform/WebPage.h"

namespace zerva {

class WebScriptContext;

class WKWebView : public UIView {
  ZR_DECLARE_CLASS(WKWebView)
 public:
  /// The script's value, none for undefined or on error: null, booleans, numbers, strings,
  /// arrays and objects as JSON values.
  using JavaScriptCompletion = std::function<void(std::optional<nlohmann::json> result, NSErrorOrNil error)>;

  explicit WKWebView(CGRect frame = CGRectZero);
  ~WKWebView() override;

  /// The scroll view that holds the page, filling the web view.
  std::shared_ptr<UIScrollView> scrollView() const;

  // Page
  /// Shows `page` from its top: sets the scroll view's content size and offset, and drops the
  /// previous page's script heap.
  void loadPage(WebPage page);
  /// The page shown; an empty one until a page loads.
  std::shared_ptr<const WebPage> page() const { return page_; }
  /// The page's viewport in the web view: the bounds inside the safe-area insets.
  CGRect viewportRect() const;
  /// The page as it is scrolled now: form controls as boxes (password values as bullets),
  /// buttons, and the text of other elements; hidden elements are left out.
  void drawRect(CGRect rect) const override;

  // Scripts
  /// Runs `script` in the page later, on the main thread, and calls `completionHandler` there
  /// once with the script's value or an error in WKErrorDomain: a JavaScript exception (its
  /// message in the description and under WKJavaScriptExceptionMessageErrorKey), a script that
  /// ran past scriptTimeout() or out of memory, a value of an unsupported type, or
  /// WKErrorWebViewInvalidated when the view is gone first. Never calls back inside this call.
  void evaluateJavaScript(std::string script, JavaScriptCompletion completionHandler = nullptr);
  /// Real time one evaluation may run before it is stopped (1 s unless set).
  double scriptTimeout() const { return scriptTimeout_; }
  void setScriptTimeout(double seconds);
  /// Memory the page's script heap may hold (64 MiB unless set); past it scripts fail.
  size_t scriptMemoryLimit() const { return scriptMemoryLimit_; }
  void setScriptMemoryLimit(size_t bytes);
  /// Adds a script that every page this view loads runs before its own scripts (the SDK
  /// registers its page script here). Scripts run in the order added, from the page's next
  /// script heap on: the one made at the first evaluation after a load.
  void addUserScript(std::string source) { userScripts_.push_back(std::move(source)); }
  const std::vector<std::string>& userScripts() const { return userScripts_; }
  void removeAllUserScripts() { userScripts_.clear(); }
  /// The page's script heap exists (for tests of when it is made and dropped).
  bool hasScriptContext() const { return scriptContext_ != nullptr; }

 protected:
  void didMoveToSuperview() override { scrollView(); }

 private:
  void runScript(const std::string& script, const JavaScriptCompletion& completionHandler);

  mutable std::shared_ptr<UIScrollView> scrollView_;
  std::shared_ptr<const WebPage> page_ = std::make_shared<const WebPage>();
  std::vector<std::string> userScripts_;
  std::unique_ptr<WebScriptContext> scriptContext_;
  double scriptTimeout_ = 1.0;
  size_t scriptMemoryLimit_ = size_t{64} << 20;
};

}  // namespace zerva
