#include "services/ZRWebViewTracker.h"

#include "platform/WKWebView.h"

namespace zerva {

// Made at build time from webViewOcclusionScript.js (see ZRWebViewOcclusionScript.cpp.in).
extern const char ZRWebViewOcclusionScriptSource[];

std::string ZRWebViewTracker::webViewOcclusionScript() { return ZRWebViewOcclusionScriptSource; }

std::string ZRWebViewTracker::pageScript() { return "(" + webViewOcclusionScript() + ")(false);"; }

void ZRWebViewTracker::addPageScriptToWebView(WKWebView& webView) { webView.addUserScript(pageScript()); }

}  // namespace zerva
