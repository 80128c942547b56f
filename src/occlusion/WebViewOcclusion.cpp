// The screen's web view, the page query for its sensitive elements and their key-window rects.
// The two screen calls on any thread; the query and the conversion on the main thread.

#include <cmath>
#include <cstdlib>

#include "handler/ZRThreadChecks.h"
#include "handler/ZRViewVideoHandler.h"
#include "occlusion/WindowScale.h"
#include "platform/MutexLock.h"
#include "platform/StringWithFormat.h"
#include "platform/UIScreen.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"
#include "services/ZRWebViewTracker.h"

namespace zerva {

namespace {

// Appear and disappear may race on two threads; the test-and-clear of disappear must not drop
// a web view that appeared in between.
Mutex& screenWebviewChangeMutex() {
  static Mutex mutex;
  return mutex;
}

// A number as the page's value answers doubleValue: numbers, booleans and numeric text.
std::optional<double> doubleValueOf(const nlohmann::json& value) {
  if (value.is_number()) return value.get<double>();
  if (value.is_boolean()) return value.get<bool>() ? 1.0 : 0.0;
  if (value.is_string()) return std::strtod(value.get_ref<const std::string&>().c_str(), nullptr);
  return std::nullopt;
}

}  // namespace

void ZRViewVideoHandler::screenWebViewWillAppear(const std::shared_ptr<WKWebView>& webView) {
  MutexLock lock(screenWebviewChangeMutex());
  setScreenWebview(webView);
}

void ZRViewVideoHandler::screenWebViewDidDisappear(const std::shared_ptr<WKWebView>& webView) {
  MutexLock lock(screenWebviewChangeMutex());
  if (screenWebview() == webView) setScreenWebview(nullptr);
}

void ZRViewVideoHandler::occlusionRectsForWebView(const std::shared_ptr<WKWebView>& webView,
                                                  WebViewRectsCompletion completionHandler) {
  ZR_ASSERT_MAIN_THREAD();
  auto completion = [completionHandler = std::move(completionHandler)](nlohmann::json answer) {
    if (completionHandler) completionHandler(std::move(answer));
  };
  // No page to ask: the frame still goes on, without web rectangles.
  if (!webView) {
    completion(nlohmann::json::array());
    return;
  }

  const std::string argument = occludeAllTextFields() ? "true" : "false";
  const std::string script =
      isWebScriptInjected() ? stringWithFormat("occludeZervaElements(%@)", argument)
                            : stringWithFormat("(%@)(%@)", ZRWebViewTracker::webViewOcclusionScript(), argument);

  std::weak_ptr<ZRViewVideoHandler> weakSelf = std::static_pointer_cast<ZRViewVideoHandler>(shared_from_this());
  webView->evaluateJavaScript(
      script, [weakSelf, completion](std::optional<nlohmann::json> result, NSErrorOrNil error) {
        if (error) {
          // The page lacks the function (or failed): send the whole script from now on.
          if (auto self = weakSelf.lock()) self->setIsWebScriptInjected(false);
        }
        completion(result && result->is_array() ? std::move(*result) : nlohmann::json::array());
      });
}

ZRRectStringList ZRViewVideoHandler::addWebViewOcclusionRects(const nlohmann::json& answer,
                                                              const std::shared_ptr<WKWebView>& webView,
                                                              CGSize windowSize) const {
  ZR_ASSERT_MAIN_THREAD();
  ZRRectStringList rects;
  if (!answer.is_array() || answer.empty() || !webView) return rects;
  auto window = webView->window();
  if (!window) return rects;

  // The page measures from the viewport: the web view's area inside its safe-area insets.
  auto screenSpace = UIScreen::mainScreen()->coordinateSpace();
  const CGPoint origin = screenSpace ? webView->convertRect(webView->bounds(), *screenSpace).origin
                                     : webView->layer()->convertRect(webView->bounds(), nullptr).origin;
  const UIEdgeInsets insets = webView->safeAreaInsets();
  const double offsetX = origin.x + insets.left;
  const double offsetY = origin.y + insets.top;

  const CGSize scale = ZRWindowScale(window->bounds(), windowSize);
  const double sx = scale.width;
  const double sy = scale.height;

  for (const auto& element : answer) {
    if (!element.is_array() || element.size() != 4) continue;
    const auto a = doubleValueOf(element[0]);
    const auto b = doubleValueOf(element[1]);
    const auto c = doubleValueOf(element[2]);
    const auto d = doubleValueOf(element[3]);
    if (!a || !b || !c || !d) continue;
    const double width = *c * sx;
    const double height = *d * sy;
    const double x = (*a + offsetX) * sx;
    const double y = (*b + offsetY) * sy;
    // "NaN", "Infinity" or a number past a double's range once scaled has no rect string (it
    // would read back as the zero rectangle): dropped like any other malformed quadruple.
    if (width > 0 && height > 0 && std::isfinite(x) && std::isfinite(y) && std::isfinite(width) &&
        std::isfinite(height)) {
      rects.push_back(NSStringFromCGRect(CGRectMake(x, y, width, height)));
    }
  }
  inspectRects(rects, ZRHiddenRectSource::WebPage);
  return rects;
}

}  // namespace zerva
