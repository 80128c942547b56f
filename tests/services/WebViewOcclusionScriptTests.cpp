#include <gtest/gtest.h>

#include "platform/NSRunLoop.h"
#include "platform/WKWebView.h"
#include "scene/ScenePageReader.h"
#include "services/ZRWebViewTracker.h"

namespace zerva {
namespace {

using nlohmann::json;

struct Evaluated {
  std::optional<json> result;
  NSErrorOrNil error;
};

Evaluated evaluate(const std::shared_ptr<WKWebView>& view, const std::string& script) {
  std::optional<Evaluated> out;
  view->evaluateJavaScript(script, [&](std::optional<json> result, NSErrorOrNil error) {
    out = Evaluated{std::move(result), std::move(error)};
  });
  EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return out.has_value(); }));
  return out.value_or(Evaluated{});
}

/// What the SDK sends when the page is not known to define the function.
std::string wholeScript(bool occludeAllTextFields) {
  return "(" + ZRWebViewTracker::webViewOcclusionScript() + ")(" + (occludeAllTextFields ? "true" : "false") + ")";
}

std::shared_ptr<WKWebView> webViewWithPage(const std::string& bodyJSON, bool definesOcclusionFunction) {
  auto page = ScenePageReader::pageWithJSON(R"({"body": )" + bodyJSON + "}");
  EXPECT_TRUE(page) << (page ? "" : page.error().localizedDescription());
  auto view = std::make_shared<WKWebView>(CGRectMake(0, 0, 390, 800));
  if (definesOcclusionFunction) ZRWebViewTracker::addPageScriptToWebView(*view);
  view->loadPage(*page);
  return view;
}

// A sign-up form: one password, one element marked by attribute and one by class, the text
// inputs of every kind, and controls that are never text.
const std::string kSignUpForm = R"([
  {"tag": "form", "frame": [0, 0, 390, 1000], "children": [
    {"tag": "input", "frame": [10, 10, 300, 30]},
    {"tag": "input", "type": "email", "frame": [10, 50, 300, 30]},
    {"tag": "input", "type": "PASSWORD", "frame": [10, 90, 300, 30]},
    {"tag": "input", "type": "tel", "frame": [10, 130, 300, 30]},
    {"tag": "input", "type": "number", "frame": [10, 170, 300, 30]},
    {"tag": "input", "type": "search", "frame": [10, 210, 300, 30]},
    {"tag": "input", "type": "url", "frame": [10, 250, 300, 30]},
    {"tag": "input", "type": "fancy", "frame": [10, 290, 300, 30]},
    {"tag": "textarea", "frame": [10, 330, 300, 60]},
    {"tag": "div", "attributes": {"data-zerva-sensitive": ""}, "frame": [10, 400, 300, 20.5]},
    {"tag": "span", "classes": ["note", "zerva-sensitive"], "frame": [10, 430, 120, 15]},
    {"tag": "input", "type": "checkbox", "frame": [10, 460, 20, 20]},
    {"tag": "input", "type": "submit", "frame": [10, 490, 100, 30]},
    {"tag": "input", "type": "hidden", "frame": [10, 530, 100, 30]},
    {"tag": "select", "frame": [10, 570, 100, 30]},
    {"tag": "div", "classes": ["zerva-sensitive-ish"], "frame": [10, 610, 100, 30]}
  ]}])";

const json kSensitiveOnly = json::parse("[[10, 90, 300, 30], [10, 400, 300, 20.5], [10, 430, 120, 15]]");
const json kWithTextFields = json::parse(R"([
  [10, 10, 300, 30], [10, 50, 300, 30], [10, 90, 300, 30], [10, 130, 300, 30], [10, 170, 300, 30],
  [10, 210, 300, 30], [10, 250, 300, 30], [10, 290, 300, 30], [10, 330, 300, 60],
  [10, 400, 300, 20.5], [10, 430, 120, 15]])");

TEST(WebViewOcclusionScript, APageThatDefinesTheFunctionAnswersItsSensitiveElements) {
  auto view = webViewWithPage(kSignUpForm, true);
  Evaluated e = evaluate(view, "occludeZervaElements(false)");
  ASSERT_FALSE(e.error) << e.error->localizedDescription();
  EXPECT_EQ(e.result, kSensitiveOnly);
  e = evaluate(view, "occludeZervaElements(true)");
  ASSERT_FALSE(e.error) << e.error->localizedDescription();
  EXPECT_EQ(e.result, kWithTextFields);
}

TEST(WebViewOcclusionScript, TheWholeScriptDefinesTheFunctionWhereThePageLacksIt) {
  auto view = webViewWithPage(kSignUpForm, false);
  Evaluated e = evaluate(view, "occludeZervaElements(false)");
  ASSERT_TRUE(e.error);
  EXPECT_EQ(e.error->code(), WKErrorJavaScriptExceptionOccurred);
  EXPECT_NE(e.error->localizedDescription().find("ReferenceError"), std::string::npos);
  EXPECT_NE(e.error->localizedDescription().find("occludeZervaElements"), std::string::npos);

  e = evaluate(view, wholeScript(false));
  ASSERT_FALSE(e.error) << e.error->localizedDescription();
  EXPECT_EQ(e.result, kSensitiveOnly);
  e = evaluate(view, "occludeZervaElements(true)");  // defined by the call before
  ASSERT_FALSE(e.error) << e.error->localizedDescription();
  EXPECT_EQ(e.result, kWithTextFields);
  // Sending the whole script again keeps answering, through the function already there.
  EXPECT_EQ(evaluate(view, wholeScript(true)).result, kWithTextFields);
}

TEST(WebViewOcclusionScript, RectanglesAreMeasuredInTheScrolledViewport) {
  auto view = webViewWithPage(kSignUpForm, true);
  view->setSafeAreaInsets(UIEdgeInsetsMake(47, 0, 34, 0));  // measured inside the insets: no shift
  view->scrollView()->setContentOffset(CGPointMake(4, 380));
  EXPECT_EQ(evaluate(view, "occludeZervaElements(false)").result,
            json::parse("[[6, -290, 300, 30], [6, 20, 300, 20.5], [6, 50, 120, 15]]"));
}

TEST(WebViewOcclusionScript, LeavesOutWhatIsNotShownOrHasNoArea) {
  auto view = webViewWithPage(R"([
    {"tag": "input", "type": "password", "display": "none", "frame": [0, 0, 100, 30]},
    {"tag": "input", "type": "password", "hidden": true, "frame": [0, 40, 100, 30]},
    {"tag": "input", "type": "password", "visibility": "hidden", "frame": [0, 80, 100, 30]},
    {"tag": "input", "type": "password", "visibility": "collapse", "frame": [0, 120, 100, 30]},
    {"tag": "input", "type": "password", "frame": [0, 160, 0, 30]},
    {"tag": "input", "type": "password", "frame": [0, 200, 100, 0]},
    {"tag": "div", "display": "none", "frame": [0, 240, 300, 100], "children": [
      {"tag": "div", "display": "block", "frame": [0, 240, 300, 100], "children": [
        {"tag": "input", "type": "password", "display": "block", "frame": [0, 250, 100, 30]}]}]},
    {"tag": "section", "hidden": true, "frame": [0, 350, 300, 40], "children": [
      {"tag": "textarea", "attributes": {"data-zerva-sensitive": ""}, "frame": [0, 350, 100, 30]}]},
    {"tag": "div", "visibility": "hidden", "frame": [0, 400, 300, 100], "children": [
      {"tag": "input", "type": "password", "frame": [0, 410, 100, 30]},
      {"tag": "input", "type": "password", "visibility": "visible", "frame": [0, 450, 100, 30]}]},
    {"tag": "input", "type": "password", "hidden": true, "display": "inline-block", "frame": [0, 500, 100, 30]}
  ])",
                              true);
  // Shown: the visible child of a hidden parent, and the hidden attribute overridden by a style.
  EXPECT_EQ(evaluate(view, "occludeZervaElements(true)").result, json::parse("[[0, 450, 100, 30], [0, 500, 100, 30]]"));
}

TEST(WebViewOcclusionScript, EditableElementsAreTextInputWhenEveryTextInputIsAsked) {
  auto view = webViewWithPage(R"([
    {"tag": "div", "attributes": {"contenteditable": ""}, "frame": [0, 0, 300, 100], "children": [
      {"tag": "p", "attributes": {"contenteditable": "true"}, "frame": [0, 0, 300, 20]}]},
    {"tag": "div", "attributes": {"contenteditable": "TRUE"}, "frame": [0, 110, 300, 40]},
    {"tag": "div", "attributes": {"contenteditable": "plaintext-only"}, "frame": [0, 160, 300, 40]},
    {"tag": "div", "attributes": {"contenteditable": "false"}, "frame": [0, 210, 300, 40]},
    {"tag": "div", "attributes": {"contenteditable": ""}, "display": "none", "frame": [0, 260, 300, 40]}
  ])",
                              false);
  EXPECT_EQ(evaluate(view, wholeScript(false)).result, json::array());
  // The editor once, by its outermost element; "false" and hidden editors not at all.
  EXPECT_EQ(evaluate(view, "occludeZervaElements(true)").result,
            json::parse("[[0, 0, 300, 100], [0, 110, 300, 40], [0, 160, 300, 40]]"));
}

TEST(WebViewOcclusionScript, APageWithNothingSensitiveAnswersAnEmptyArray) {
  auto view = webViewWithPage(R"([{"tag": "p", "text": "Hello", "frame": [0, 0, 100, 20]}])", false);
  EXPECT_EQ(evaluate(view, wholeScript(true)).result, json::array());
}

}  // namespace
}  // namespace zerva
