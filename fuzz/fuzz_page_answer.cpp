// What a web page's script returns for the occlusion query, as the handler reads it: any JSON
// value, from a page in a window at an offset with safe-area insets, for a window size that
// scales it. Every rectangle it yields must be one the masking can paint: finite, with a
// positive width and height, and written as a rect string that reads back the same.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include <nlohmann/json.hpp>

#include "handler/ZRViewVideoHandler.h"
#include "platform/NSLog.h"
#include "platform/UIScreen.h"
#include "platform/UIViewController.h"
#include "platform/UIWindow.h"
#include "platform/WKWebView.h"

using namespace zerva;

namespace {

struct Page {
  std::shared_ptr<ZRViewVideoHandler> handler = ZRViewVideoHandler::create();
  std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRectMake(0, 0, 390, 844));
  std::shared_ptr<WKWebView> webView = std::make_shared<WKWebView>(CGRectMake(0, 100, 390, 700));
  Page() {
    window->addSubview(webView);
    window->makeKeyAndVisible();
    webView->setSafeAreaInsets(UIEdgeInsetsMake(20, 0, 0, 0));
  }
};

Page& page() {
  static Page* page = new Page();  // lives for the run
  return *page;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setNSLogSink([](const std::string&) {});
  (void)page();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first two bytes choose the window size the frame is drawn at (a window of 390 x 844
  // points drawn at 1 to 4 times, or at sizes that do not divide evenly).
  if (size < 2) return 0;
  const CGSize windowSize{390.0 * (1 + data[0] % 4) + data[0] / 4, 844.0 * (1 + data[1] % 4) + data[1] / 4};
  const auto answer = nlohmann::json::parse(data + 2, data + size, nullptr, /*allow_exceptions=*/false);
  if (answer.is_discarded()) return 0;
  const ZRRectStringList rects = page().handler->addWebViewOcclusionRects(answer, page().webView, windowSize);
  for (const std::string& text : rects) {
    const CGRect r = CGRectFromString(text);
    for (double v : {r.origin.x, r.origin.y, r.size.width, r.size.height}) {
      if (!std::isfinite(v)) __builtin_trap();
    }
    if (!(r.size.width > 0 && r.size.height > 0)) __builtin_trap();
    if (NSStringFromCGRect(r) != text) __builtin_trap();
  }
  return 0;
}
