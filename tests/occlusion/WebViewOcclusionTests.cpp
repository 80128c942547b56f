// Web pages asked for their sensitive elements, and their answers in key-window points.

#include "occlusion/OcclusionTestSupport.h"
#include "platform/WKWebView.h"
#include "scene/ScenePageReader.h"
#include "services/ZRWebViewTracker.h"

namespace zerva::testing {
namespace {

using json = nlohmann::json;

class WebViewOcclusion : public OcclusionTest {
 protected:
  void SetUp() override {
    OcclusionTest::SetUp();
    webView_ = addView<WKWebView>(CGRectMake(0, 100, 390, 700));
    webView_->setSafeAreaInsets(UIEdgeInsetsMake(20, 0, 0, 0));
  }

  void load(bool definesOcclusionFunction) {
    auto page = ScenePageReader::pageWithJSON(R"({"body": [
        {"tag": "input", "type": "password", "frame": [10, 30, 200, 40]},
        {"tag": "input", "type": "email", "frame": [10, 100, 200, 40]}]})");
    ASSERT_TRUE(page) << page.error().localizedDescription();
    webView_->removeAllUserScripts();
    if (definesOcclusionFunction) ZRWebViewTracker::addPageScriptToWebView(*webView_);
    webView_->loadPage(*page);
  }

  json ask() {
    std::optional<json> answer;
    handler_->occlusionRectsForWebView(webView_, [&](json value) { answer = std::move(value); });
    EXPECT_FALSE(answer) << "pages answer later, on the main run loop";
    EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return answer.has_value(); }));
    return answer.value_or(json());
  }

  std::shared_ptr<WKWebView> webView_;
};

TEST_F(WebViewOcclusion, AnswersAreMovedPastTheSafeAreaAndScaledToTheWindowSize) {
  const json answer = json::parse(R"([[10, 30, 200, 40], [10, 30, 0, 40], [10, 30, 200], "x", ["5", 0, 1, 1]])");
  EXPECT_EQ(handler_->addWebViewOcclusionRects(answer, webView_, CGSizeMake(390, 844)),
            (ZRRectStringList{rectString(10, 150, 200, 40), rectString(5, 120, 1, 1)}));
  EXPECT_EQ(handler_->addWebViewOcclusionRects(answer, webView_, CGSizeMake(780, 1688)),
            (ZRRectStringList{rectString(20, 300, 400, 80), rectString(10, 240, 2, 2)}));
  EXPECT_TRUE(handler_->addWebViewOcclusionRects(json::array(), webView_, CGSizeMake(390, 844)).empty());
  // Values with no rect string: not a number, infinite, or past a double's range once scaled.
  const json unwritable = json::parse(R"([["nan", 0, 10, 10], [0, "Infinity", 10, 10], [0, 0, "1e999", 10],
                                           [0, 0, 10, 1e308], [10, 30, 200, 40]])");
  EXPECT_EQ(handler_->addWebViewOcclusionRects(unwritable, webView_, CGSizeMake(780, 1688)),
            ZRRectStringList{rectString(20, 300, 400, 80)});

  webView_->removeFromSuperview();
  EXPECT_TRUE(handler_->addWebViewOcclusionRects(answer, webView_, CGSizeMake(390, 844)).empty()) << "off-window";
}

TEST_F(WebViewOcclusion, AFailedCallSendsTheWholeScriptFromThenOn) {
  load(false);
  ASSERT_TRUE(handler_->isWebScriptInjected());
  EXPECT_EQ(ask(), json::array()) << "the page lacks the function";
  EXPECT_FALSE(handler_->isWebScriptInjected());
  EXPECT_EQ(ask(), json::parse("[[10, 30, 200, 40]]"));
  EXPECT_FALSE(handler_->isWebScriptInjected()) << "never set back";

  handler_->setOccludeAllTextFields(true);
  EXPECT_EQ(ask(), json::parse("[[10, 30, 200, 40], [10, 100, 200, 40]]")) << "text inputs too";
}

TEST_F(WebViewOcclusion, APageWithTheFunctionIsAskedByName) {
  load(true);
  EXPECT_EQ(ask(), json::parse("[[10, 30, 200, 40]]"));
  EXPECT_TRUE(handler_->isWebScriptInjected());

  // A fresh page without the function: the call by name fails, the frame gets no rectangles.
  load(false);
  EXPECT_EQ(ask(), json::array());
  EXPECT_FALSE(handler_->isWebScriptInjected());
}

TEST_F(WebViewOcclusion, OnlyTheStoredWebViewsDisappearanceClearsIt) {
  auto other = std::make_shared<WKWebView>();
  handler_->screenWebViewWillAppear(webView_);
  handler_->screenWebViewDidDisappear(other);
  EXPECT_EQ(handler_->screenWebview(), webView_);
  handler_->screenWebViewDidDisappear(webView_);
  EXPECT_EQ(handler_->screenWebview(), nullptr);

  handler_->screenWebViewWillAppear(other);
  other.reset();
  EXPECT_EQ(handler_->screenWebview(), nullptr) << "held weakly";
}

}  // namespace
}  // namespace zerva::testing
