#pragma once
// The SDK's web page side of occlusion: the script that asks a page for the rectangles of its
// sensitive elements (docs/web-pages.md describes what it answers).

#include <string>

namespace zerva {

class WKWebView;

class ZRWebViewTracker {
 public:
  /// A JavaScript function expression of one boolean (true: report every text input as well)
  /// that defines "occludeZervaElements" in the page when it is missing and returns its answer:
  /// an array of [x, y, width, height] in CSS pixels of the viewport. ES5, so that it runs in
  /// the stand-in's engine and in browsers alike. Kept in webViewOcclusionScript.js.
  static std::string webViewOcclusionScript();
  /// The script as a page that includes the SDK's web snippet runs it: it defines
  /// "occludeZervaElements" and reports nothing.
  static std::string pageScript();
  /// Registers pageScript() with the web view: every page it loads from then on defines
  /// "occludeZervaElements" before its own scripts run.
  static void addPageScriptToWebView(WKWebView& webView);
};

}  // namespace zerva
